#pragma once

/**
 * @file
 * The library's version, for hosts that are built with several of them. docs/versions.md tells what it
 * promises.
 */

#define VREL_VERSION_MAJOR 1 ///< counts the breaks of the binary interface
#define VREL_VERSION_MINOR 0 ///< counts additions
#define VREL_VERSION_PATCH 0 ///< counts repairs
#define VREL_VERSION_BUILD 0 ///< counts what changes no file that is installed

/** A version as one number, to compare VREL_VERSION with. */
#define VREL_VERSION_CHECK(major, minor, patch, build)                                                       \
    (((major) << 24) | ((minor) << 16) | ((patch) << 8) | (build))

/** The version of these headers; VrelManagerLib::getVersion() tells that of the library that was loaded. */
#define VREL_VERSION                                                                                         \
    VREL_VERSION_CHECK(VREL_VERSION_MAJOR, VREL_VERSION_MINOR, VREL_VERSION_PATCH, VREL_VERSION_BUILD)

/** The same as text, for example "1.0.0.0". */
#define VREL_VERSION_STR                                                                                     \
    VREL_VERSION_TEXT(VREL_VERSION_MAJOR, VREL_VERSION_MINOR, VREL_VERSION_PATCH, VREL_VERSION_BUILD)
#define VREL_VERSION_TEXT(major, minor, patch, build) VREL_VERSION_JOINED(major, minor, patch, build)
#define VREL_VERSION_JOINED(major, minor, patch, build) #major "." #minor "." #patch "." #build
