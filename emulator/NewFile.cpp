#include "emulator/NewFile.h"

#include "emulator/FileSystem.h"
#include "emulator/RigError.h"

#include <fstream>

namespace VrelRig {

void writeNewFile(std::string const& path, std::string_view content)
{
    std::ofstream file(path, std::ios::binary);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    if (!file)
        throw RigError(systemErrorText("write", path));
}

} // namespace VrelRig
