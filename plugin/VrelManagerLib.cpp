#include "plugin/VrelManagerLib.h"

#include "VrelBuildDate.h"

char const* VrelManagerLib::getVersion()
{
    return "1.0.0.0";
}

char const* VrelManagerLib::getBuildDate()
{
    return VREL_BUILD_DATE;
}

char const* VrelManagerLib_getVersion()
{
    return VrelManagerLib::getVersion();
}

char const* VrelManagerLib_getBuildDate()
{
    return VrelManagerLib::getBuildDate();
}
