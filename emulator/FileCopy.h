#pragma once

#include "emulator/InputFile.h"
#include "emulator/OutputFile.h"

namespace VrelRig {

/** Copies `length` bytes from `offset`, in pieces. @throws RigError when the source ends before */
void copyBytes(InputFile const& source, std::uint64_t offset, std::uint64_t length, OutputFile& target);

} // namespace VrelRig
