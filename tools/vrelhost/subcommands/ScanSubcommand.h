#pragma once

#include "tools/vrelhost/subcommands/ScanReport.h"

#include <optional>
#include <vector>

class LogHandler;
struct ScanOptions;

/**
 * One scan as a host carries it out: finds devices, lets the library's filter claim its own, and asks the
 * library's property managers for serial numbers. A claimed device without one is listed all the same, and
 * logged at level 2.
 * @return the devices in the order of their paths; nothing, with the cause logged, when they could not be
 * read or a downloader not be waited for
 */
std::optional<std::vector<ScannedDevice>> findAndIdentify(ScanOptions const& options, LogHandler const& log);
