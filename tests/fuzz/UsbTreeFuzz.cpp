#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "tests/fuzz/Require.h"
#include "tools/vrelhost/subcommands/UsbTree.h"

#include <QByteArrayList>
#include <QRegularExpression>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

/**
 * @file
 * A tree of USB devices: the input holds a name and two attributes for each, all ended by a NUL; or a name,
 * what the entry is and nothing. First bytes tell what to make: '=' a file, '>' a link, '/' a directory, '|'
 * a pipe. The attributes are those of an ID, or, under a name with a '#', those of a node.
 */
namespace {

std::string s_root = "/dev/shm/vrel-fuzz-XXXXXX"; // where nothing waits for a disk

/** @return whether it is there now and was not before */
bool make(std::string const& path, QByteArray const& what)
{
    QByteArray const rest = what.mid(1);
    if (what.startsWith('>') && !rest.startsWith('/') && !rest.contains("../..")) // none out of the tree
        return ::symlink(rest.constData(), path.c_str()) == 0;
    if (what.startsWith('/'))
        return ::mkdir(path.c_str(), S_IRWXU) == 0;
    if (what.startsWith('|'))
        return ::mkfifo(path.c_str(), S_IRWXU) == 0;
    int const file = what.startsWith('=') ? ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, S_IRWXU) : -1;
    if (file < 0)
        return false;
    require(::write(file, rest.constData(), static_cast<std::size_t>(rest.size())) == rest.size(),
            "it is written");
    return ::close(file) == 0;
}

QByteArray contentOf(std::string const& path)
{
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return QByteArray();
    std::ifstream file(path, std::ios::binary);
    return QByteArray::fromStdString({std::istreambuf_iterator<char>(file), {}});
}

/** The ID in the file that an attribute has become, also by a link to it or to its device; -1 for none. */
int idOf(std::string const& path, QByteArray const& attribute)
{
    bool const isLinked = attribute.isEmpty() || attribute.startsWith('>');
    QByteArray text =
        isLinked ? contentOf(path) : attribute.mid(attribute.startsWith('=') ? 1 : attribute.size());
    if (text.size() == 5 && text.endsWith('\n'))
        text.chop(1);
    bool const isId = text.size() == 4 &&
                      text.toStdString().find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
    return isId ? text.toInt(nullptr, 16) : -1;
}

bool hasNode(std::string const& name)
{
    return name.find('#') != std::string::npos;
}

/** Whether a node lies where nodes do: below two directories named by numbers. */
bool isNode(QString const& node)
{
    static QRegularExpression const s_form(QStringLiteral("^/dev/\\d{3}/\\d{3}$"));
    return node.isEmpty() || s_form.match(node).hasMatch();
}

/** A USB path is no interface, which has a colon, and no root hub, which is "usb" and a number. */
bool isDevice(std::string const& name)
{
    bool const isHub = name.rfind("usb", 0) == 0 && name.size() > 3 &&
                       name.find_first_not_of("0123456789", 3) == std::string::npos;
    return !isHub && name.find(':') == std::string::npos;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    static bool const s_isMade =
        ::mkdtemp(s_root.data()) != nullptr && std::atexit([] { std::filesystem::remove_all(s_root); }) == 0;
    require(s_isMade, "there is a place for the tree");
    auto const fields = QByteArray(reinterpret_cast<char const*>(data), static_cast<int>(size)).split('\0');
    std::map<std::pair<QString, std::string>, std::pair<QByteArray, QByteArray>> entries;
    for (int i = 0; i + 3 < std::min(fields.size(), 24); i += 3) {
        std::string const path = s_root + '/' + fields[i].constData();
        bool const hasFiles = !fields[i + 2].isEmpty();
        if (fields[i].contains('/') || !make(path, hasFiles ? "/" : fields[i + 1]))
            continue;
        auto& [vendor, product] = entries[{QString::fromUtf8(fields[i]), fields[i].toStdString()}];
        if (hasFiles && hasNode(path)) {
            make(path + "/busnum", fields[i + 1]);
            make(path + "/devnum", fields[i + 2]);
            continue;
        }
        if (hasFiles && make(path + "/idVendor", fields[i + 1]))
            vendor = fields[i + 1];
        if (hasFiles && make(path + "/idProduct", fields[i + 2]))
            product = fields[i + 2];
    }

    int warnings = 0;
    setLogSink([&warnings](LogLine const& line) { warnings += line.level == kWarningLevel ? 1 : 0; });
    LogHandler const log;
    auto const devices = UsbTree::devices(QString::fromStdString(s_root), log);
    require(devices.has_value(), "a tree that is there can be read");
    auto device = devices->begin();
    for (auto const& [names, attributes] : entries) {
        std::string const path = s_root + '/' + names.second;
        int const vendor = idOf(path + "/idVendor", attributes.first);
        int const product = idOf(path + "/idProduct", attributes.second);
        if (!isDevice(names.second))
            continue;
        if (vendor < 0 || product < 0) {
            --warnings;
            continue;
        }
        require(device != devices->end() && device->vendorId == vendor && device->productId == product &&
                    device->properties.at(QStringLiteral("usb.devicePath")) == names.first,
                "each device is found, in order, with its IDs");
        ++device;
    }
    require(device == devices->end() && warnings == 0, "all else is left out, each with a warning");
    for (auto const& entry : entries) {
        auto const& [text, name] = entry.first;
        if (hasNode(name))
            require(isNode(UsbTree::node(QString::fromStdString(s_root), text, QStringLiteral("/dev"))),
                    "a node lies below two numbers");
        for (char const* const file :
             {hasNode(name) ? "/busnum" : "/idVendor", hasNode(name) ? "/devnum" : "/idProduct", ""})
            std::remove((s_root + '/' + name + file).c_str());
    }
    return 0;
}
