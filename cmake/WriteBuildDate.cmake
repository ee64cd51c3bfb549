# Writes the moment of the build, or of SOURCE_DATE_EPOCH, as "Wednesday June 03rd 2020, 18:40:37 UTC".
string(TIMESTAMP stamp "%A;%B;%d;%Y;%H:%M:%S" UTC)
list(GET stamp 0 weekday)
list(GET stamp 1 month)
list(GET stamp 2 day)
list(GET stamp 3 year)
list(GET stamp 4 time)

set(suffix th)
if(NOT day MATCHES "^1.$")
    if(day MATCHES "1$")
        set(suffix st)
    elseif(day MATCHES "2$")
        set(suffix nd)
    elseif(day MATCHES "3$")
        set(suffix rd)
    endif()
endif()

file(WRITE ${OUTPUT}
    "#define VREL_BUILD_DATE \"${weekday} ${month} ${day}${suffix} ${year}, ${time} UTC\"\n")
