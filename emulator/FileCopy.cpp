#include "emulator/FileCopy.h"

#include "emulator/RigError.h"

#include <algorithm>
#include <array>

namespace VrelRig {

void copyBytes(InputFile const& source, std::uint64_t offset, std::uint64_t length, OutputFile& target)
{
    std::array<char, 64 * 1024> chunk;
    while (length > 0) {
        auto const wanted = std::min<std::uint64_t>(length, chunk.size());
        auto const count = source.read(offset, chunk.data(), static_cast<std::size_t>(wanted));
        if (count == 0)
            throw RigError(quoted(source.path()) + " became shorter while it was read");
        target.write({chunk.data(), count});
        offset += count;
        length -= count;
    }
}

} // namespace VrelRig
