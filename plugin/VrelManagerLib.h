#pragma once

#include "plugin/VrelExport.h"

/**
 * @file
 * The library's version and date, for hosts that link it and for those that look symbols up by name.
 */

/** The library's identity. All texts are static and NUL-terminated. */
namespace VrelManagerLib {
/** The library's own version, for example "1.0.0.0". */
VREL_EXPORT char const* getVersion();
/** Moment of the build, for example "Wednesday June 03rd 2020, 18:40:37 UTC". */
VREL_EXPORT char const* getBuildDate();
} // namespace VrelManagerLib

extern "C" {
/** VrelManagerLib::getVersion() for hosts that look symbols up by name. */
VREL_EXPORT char const* VrelManagerLib_getVersion();
/** VrelManagerLib::getBuildDate() for hosts that look symbols up by name. */
VREL_EXPORT char const* VrelManagerLib_getBuildDate();
}
