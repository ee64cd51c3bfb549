#pragma once

#include "tools/vrelhost/ScannedDevice.h"

#include <QByteArray>

#include <vector>

/** A scan's result in its two forms, UTF-8 with a line end. */
namespace ScanReport {

/** A table for people; what cannot be printed shows as '?'. */
QByteArray toTable(std::vector<ScannedDevice> const& devices);

/** One line of compact JSON: an array of objects with the keys path, vendor, product, claimed and serial. */
QByteArray toJson(std::vector<ScannedDevice> const& devices);

} // namespace ScanReport
