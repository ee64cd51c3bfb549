#include "plugin/VrelManagerLib.h"

#include "VrelBuildDate.h"
#include "plugin/VrelVersion.h"

char const* VrelManagerLib::getVersion()
{
    return VREL_VERSION_STR;
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
