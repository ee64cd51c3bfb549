#!/bin/bash
# Checks that vrelhost's man page and completion know every subcommand, option, command and parameter that it lists.
# usage: tool_docs.sh TOOL MAN_PAGE COMPLETION
set -u
PATH=$(dirname "$1"):$PATH
man_page=$2
. "$3"
status=0

fail()
{
    echo "$1" >&2
    status=1
}

# The completions of a command line, sorted.
complete_line()
{
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    _vrelhost
    ((${#COMPREPLY[@]} == 0)) || printf '%s\n' "${COMPREPLY[@]}" | sort
}

expect()
{
    local expected=$1
    shift
    diff <(printf '%s' "$expected" | tr '|' '\n' | sort) <(complete_line "$@") ||
        fail "'$*' is not completed to '$expected'"
}

# usage: expect_option OPTION SECTION WORD ...    (a section of the man page; words before the option)
expect_option()
{
    local option=$1 section=$2
    shift 2
    awk -v name="$section" '/^\.S[HS]/ { gsub("\"", ""); on = $2 == name } on { gsub(/\\/, ""); print }' "$man_page" |
        grep -qE -e "$option( |\"|$)" || fail "The man page's section $section does not tell of $option"
    complete_line vrelhost "$@" "$option" | grep -qxF -e "$option" || fail "'vrelhost $*' is not completed by $option"
}

help=$(vrelhost --help)
subcommand=
while IFS= read -r line; do
    if [[ $line =~ ^' '{2}([a-z]+) ]]; then
        subcommand=${BASH_REMATCH[1]}
        grep -qE "^\.SS \"?$subcommand( |$)" "$man_page" || fail "The man page does not tell of $subcommand"
        complete_line vrelhost '' | grep -qx "$subcommand" || fail "vrelhost is not completed by $subcommand"
    fi
    for option in $(grep -oE -e '--[a-z-]+' <<<"$line"); do
        expect_option "$option" "${subcommand:-OPTIONS}" $subcommand
    done
    while read -r option values; do
        [[ -z $option ]] || expect "$values" vrelhost $subcommand "$option" ''
    done < <(grep -oE -e '--[a-z-]+ [a-z]+(\|[a-z]+)+' <<<"$line")
done <<<"$help"
[[ -n $subcommand ]] || fail 'vrelhost --help lists no subcommand'

usages=$(vrelhost usages)
commands=$(grep -oP '^\t\K[a-z]+' <<<"$usages")
expect "${commands//$'\n'/|}" vrelhost types ''
for command in $commands; do
    grep -qx "\.B $command" "$man_page" || fail "The man page does not tell of the command $command"
    request="'{\"command\": \"$command\", "
    keys=$(sed -n "/^\t$command\t*$/,/^$/ s/^\t* *--\([^ ]*\) .*/\1/p" <<<"$usages" | sort)
    [[ $(complete_line vrelhost run "$request" | grep -oE '[^"]+("?:? ?)$' | tr -d '": ' | sort -u) == "$keys" ]] ||
        fail "The parameters of $command are not completed"
done

expect '{"command": "readbootmedia|{"command": "readtoken' vrelhost run "'{\"command\": \"re"
expect '{"slot": 1, "command": |{"slot": 1, "command":' vrelhost run "'{\"slot\": 1, \"c"
expect '{"command":"clearrpmb", "device": "emmc", |{"command":"clearrpmb", "device": "emmc"}' \
    vrelhost --log-level 5 run --sn X "'{\"command\":\"clearrpmb\", \"device\": \"e"
expect '' vrelhost types readtoken ''
expect '' vrelhost nonsense ''
[[ -z $(complete_line /nowhere/vrelhost run "'{\"command\": \"re" 2>&1) ]] || fail 'A missing vrelhost is told of'
exit $status
