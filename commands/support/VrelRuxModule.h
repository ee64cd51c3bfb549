#pragma once

#include <QString>

namespace VrelUtilsCommand {

/** Version of the RuX recovery module in a file, in decimal; "Unknown" when the file does not give one. */
QString getRuxModuleVersion(QString const& path);

} // namespace VrelUtilsCommand
