#include "commands/VrelFileBytes.h"

#include <cstdio>
#include <memory>

namespace VrelUtilsCommand {

std::size_t readFileBytes(QString const& path, long offset, unsigned char* bytes, std::size_t size)
{
    // Named in UTF-8 as towards the vendor API, so that both mean the same file in every locale.
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const file(std::fopen(path.toUtf8().constData(), "rb"),
                                                               &std::fclose);
    if (!file)
        return 0;
    static_cast<void>(std::setvbuf(file.get(), nullptr, _IONBF, 0));
    if (offset != 0 && std::fseek(file.get(), offset, SEEK_SET) != 0)
        return 0;
    return std::fread(bytes, 1, size, file.get());
}

} // namespace VrelUtilsCommand
