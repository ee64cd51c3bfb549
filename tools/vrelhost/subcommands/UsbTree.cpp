#include "tools/vrelhost/subcommands/UsbTree.h"

#include "external/LogHandler.h"
#include "framework/LogSink.h"

#include <QByteArray>
#include <QFile>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
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
bool isUnreadable(fs::path const& entry)
{
    for (char const* const name : {"idVendor", "idProduct"}) {
        if (::access((entry / name).c_str(), R_OK) != 0 && errno == EACCES)
            return true;
    }
    return false;
}

/** What a file of a number and at most a line end holds, up to one character more than `digits`. */
QByteArray readNumber(fs::path const& path, int digits)
{
    std::error_code error;
    // Anything else, such as a pipe, could block.
    if (!fs::is_regular_file(path, error))
        return QByteArray();
    QByteArray text(digits + 2, '\0');
    int const file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    ssize_t const length = file < 0 ? 0 : ::read(file, text.data(), static_cast<std::size_t>(text.size()));
    ::close(file);
    text.truncate(std::max(static_cast<int>(length), 0));
    return text.endsWith('\n') ? text.chopped(1) : text;
}

std::optional<std::uint16_t> readId(fs::path const& path)
{
    constexpr int kDigits = 4;
    QByteArray const text = readNumber(path, kDigits);
    bool const isHex = std::all_of(text.begin(), text.end(), [](char digit) {
        return std::isxdigit(static_cast<unsigned char>(digit));
    });
    if (text.size() != kDigits || !isHex)
        return std::nullopt;
    return text.toUShort(nullptr, 16);
}

/** A number of at most three digits, filled up with zeros; empty when there is none. */
QString threeDigits(fs::path const& path)
{
    constexpr int kDigits = 3;
    QByteArray const text = readNumber(path, kDigits).trimmed();
    bool isNumber = false;
    uint const number = text.toUInt(&isNumber);
    return isNumber && text.size() <= kDigits
               ? QStringLiteral("%1").arg(number, kDigits, 10, QLatin1Char('0'))
               : QString();
}

fs::path nativePath(QString const& path)
{
    return QFile::encodeName(path).toStdString();
}

} // namespace

std::optional<std::list<DummyDevice>> UsbTree::devices(QString const& root, LogHandler const& log)
{
    fs::path const tree = nativePath(root);
    std::error_code error;
    std::vector<Name> const names = deviceNames(tree, error);
    if (error && error != std::errc::no_such_file_or_directory) {
        log.logMessage(
            kErrorLevel,
            QStringLiteral("Cannot read the USB devices in '%1': %2; name another directory with --sysfs")
                .arg(root, QString::fromStdString(error.message())));
        return std::nullopt;
    }
    std::list<DummyDevice> devices;
    for (auto const& [text, name] : names) {
        auto const vendor = readId(tree / name / "idVendor");
        auto const product = readId(tree / name / "idProduct");
        if (!vendor || !product) {
            log.logMessage(
                kWarningLevel,
                QStringLiteral("'%1' is left out: %2")
                    .arg(text,
                         isUnreadable(tree / name)
                             ? QStringLiteral(
                                   "no permission to read its idVendor and idProduct; run the scan as root")
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

QString UsbTree::node(QString const& root, QString const& device, QString const& nodes)
{
    fs::path const entry = nativePath(root) / nativePath(device);
    QString const bus = threeDigits(entry / "busnum");
    QString const number = threeDigits(entry / "devnum");
    if (bus.isEmpty() || number.isEmpty())
        return QString();
    return QStringList{nodes, bus, number}.join(QLatin1Char('/'));
}

bool UsbTree::isDenied(QString const& node)
{
    int const file = ::open(QFile::encodeName(node).constData(), O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0)
        return errno == EACCES || errno == EPERM;
    ::close(file);
    return false;
}
