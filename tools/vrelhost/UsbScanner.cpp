#include "tools/vrelhost/UsbScanner.h"

#include "external/LogHandler.h"
#include "framework/LogSink.h"

#include <QByteArray>
#include <QFile>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

/** An entry's name as text and, since not every name is one, as bytes. */
using Name = std::pair<QString, std::string>;

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool isDevice(std::string const& name)
{
    constexpr std::size_t kHubPrefix = 3;
    bool const isRootHub = name.size() > kHubPrefix && name.compare(0, kHubPrefix, "usb") == 0 &&
                           std::all_of(name.begin() + kHubPrefix, name.end(), isDigit);
    return !isRootHub && name.find(':') == std::string::npos;
}

/** Names of all devices, sorted; what went wrong is left in `error`. */
std::vector<Name> deviceNames(fs::path const& root, std::error_code& error)
{
    std::vector<Name> names;
    fs::directory_iterator entry(root, error);
    while (!error && entry != fs::directory_iterator()) {
        std::string const name = entry->path().filename().string();
        if (isDevice(name))
            names.emplace_back(QString::fromStdString(name), name);
        entry.increment(error);
    }
    std::sort(names.begin(), names.end());
    return names;
}

/** Whether the files of an entry are there, but not for this user. */
bool isDenied(fs::path const& entry)
{
    for (char const* const name : {"idVendor", "idProduct"}) {
        if (::access((entry / name).c_str(), R_OK) != 0 && errno == EACCES)
            return true;
    }
    return false;
}

/** A file of four hexadecimal digits and at most a line end. */
std::optional<std::uint16_t> readId(fs::path const& path)
{
    constexpr int kDigits = 4;
    std::error_code error;
    // Anything else, such as a pipe, could block.
    if (!fs::is_regular_file(path, error))
        return std::nullopt;
    char buffer[kDigits + 2];
    std::ifstream file(path, std::ios::binary);
    file.read(buffer, sizeof buffer);
    QByteArray text(buffer, static_cast<int>(file.gcount()));
    if (text.endsWith('\n'))
        text.chop(1);
    bool const isHex = std::all_of(text.begin(), text.end(), [](char digit) {
        return std::isxdigit(static_cast<unsigned char>(digit));
    });
    if (text.size() != kDigits || !isHex)
        return std::nullopt;
    return text.toUShort(nullptr, 16);
}

} // namespace

UsbScanner::UsbScanner(QString root, LogHandler const& log)
    : m_root(std::move(root))
    , m_log(log)
{
}

std::optional<std::list<DummyDevice>> UsbScanner::scan() const
{
    fs::path const root = QFile::encodeName(m_root).toStdString();
    std::error_code error;
    std::vector<Name> const names = deviceNames(root, error);
    if (error && error != std::errc::no_such_file_or_directory) {
        m_log.logMessage(
            kErrorLevel,
            QStringLiteral("Cannot read the USB devices in '%1': %2; --sysfs names another place")
                .arg(m_root, QString::fromStdString(error.message())));
        return std::nullopt;
    }
    std::list<DummyDevice> devices;
    for (auto const& [text, name] : names) {
        auto const vendor = readId(root / name / "idVendor");
        auto const product = readId(root / name / "idProduct");
        if (!vendor || !product) {
            m_log.logMessage(kWarningLevel,
                             QStringLiteral("'%1' is left out: %2")
                                 .arg(text, isDenied(root / name)
                                                ? QStringLiteral("no permission to read its idVendor and "
                                                                 "idProduct; scan with more rights")
                                                : QStringLiteral("it has no readable idVendor and "
                                                                 "idProduct")));
            continue;
        }
        DummyDevice& device = devices.emplace_back();
        device.port = PortNumber(PortNumber::UsbConnection, text);
        device.vendorId = *vendor;
        device.productId = *product;
        device.properties[QStringLiteral("usb.devicePath")] = text;
    }
    return devices;
}
