#pragma once

#include <string>
#include <string_view>

namespace VrelRig {

/** Writes a file of a tree that is not in its place yet, and so needs no care for half-written files. */
void writeNewFile(std::string const& path, std::string_view content);

} // namespace VrelRig
