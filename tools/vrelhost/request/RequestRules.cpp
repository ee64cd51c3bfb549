#include "tools/vrelhost/request/RequestRules.h"

#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "tools/common/ReportText.h"
#include "tools/vrelhost/request/Refusal.h"

#include <QStringList>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <sys/stat.h>
#include <system_error>

namespace {

QString const kCommandParameter = QStringLiteral("command");

/** The parameters that name a file to be written; of all other files it is known that they are read. */
constexpr std::pair<char const*, char const*> kWritten[] = {
    {"getcardinfo", "path"},
    {"readbootmedia", "path"},
    {"readtoken", "path"},
};

/** What a link that leads to no file yet stands for; what is written to it becomes that file. */
std::filesystem::path behindLinks(std::filesystem::path path)
{
    constexpr int kMostLinks = 40; // a ring of links has no end
    std::error_code error;
    for (int i = 0; i < kMostLinks && std::filesystem::is_symlink(path, error); ++i)
        path = path.parent_path() / std::filesystem::read_symlink(path, error);
    return path;
}

std::string nativeName(QString const& file)
{
    return file.toUtf8().toStdString(); // as the library hands it on
}

/** Of the parameter that names a file to be written; empty without one. */
QString writtenKey(JsonObject const& request)
{
    QString command;
    request.getString(kCommandParameter, command);
    auto const written =
        std::find_if(std::begin(kWritten), std::end(kWritten),
                     [&command](auto const& entry) { return command == QLatin1String(entry.first); });
    return written == std::end(kWritten) ? QString() : QString::fromLatin1(written->second);
}

} // namespace

bool RequestRules::accept(JsonObject const& request, LogHandler& log)
{
    bool isAccepted = VrelFlashUtils().parseArguments(request, log);
    JsonObject const types = VrelFlashUtils::getParameterTypes(request);
    if (!isAccepted && types.empty())
        return false; // there is no such command
    QStringList keys;
    for (auto const& entry : types)
        keys << entry.first;
    if (keys.isEmpty())
        keys << kCommandParameter; // of a command without parameters
    for (auto const& entry : request) {
        if (keys.contains(entry.first))
            continue;
        QString command;
        request.getString(kCommandParameter, command);
        log.logMessage(kErrorLevel, QStringLiteral("Unknown key '%1': the keys of the command '%2' are %3")
                                        .arg(entry.first, command, keys.join(QStringLiteral(", "))));
        isAccepted = false;
    }
    return isAccepted;
}

QString RequestRules::writtenFile(JsonObject const& request)
{
    QString file;
    request.getString(writtenKey(request), file);
    return file;
}

std::vector<std::pair<QString, QString>> RequestRules::readFiles(JsonObject const& request)
{
    std::vector<std::pair<QString, QString>> files;
    for (auto const& [key, type] : VrelFlashUtils::getParameterTypes(request)) {
        QString file;
        bool const isRead = type.toString().contains(QLatin1String("file")) && key != writtenKey(request);
        if (isRead && request.getString(key, file) == JsonObject::Present && !file.isEmpty())
            files.emplace_back(key, file);
    }
    return files;
}

void RequestRules::requireShareable(JsonObject const& request)
{
    for (auto const& [key, file] : readFiles(request)) {
        struct stat status = {};
        bool const isThere = ::stat(nativeName(file).c_str(), &status) == 0;
        if (isThere && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode))
            throw Refusal(
                QStringLiteral(
                    "\"%1\" names '%2', which is not a regular file, for all devices: give each its own, "
                    "with {serial} or {path} in the name")
                    .arg(key, file),
                Refusal::NoAdvice);
    }
}

std::string RequestRules::canonicalName(QString const& file)
{
    std::string const name = nativeName(file);
    std::error_code error;
    std::filesystem::path const path =
        std::filesystem::weakly_canonical(std::filesystem::absolute(behindLinks(name), error), error);
    return error ? name : path.string();
}

void TargetFiles::take(JsonObject const& request, DeviceName const& device)
{
    QString const file = RequestRules::writtenFile(request);
    if (file.isEmpty())
        return;
    std::lock_guard const lock(m_mutex);
    std::string const name = RequestRules::canonicalName(file);
    std::error_code error;
    bool const isThere = std::filesystem::exists(name, error); // perhaps with another name, too
    for (auto const& [taken, owner] : m_owners) {
        bool const isSame = taken == name || (isThere && std::filesystem::equivalent(taken, name, error));
        if (isSame && owner != device.serial)
            throw Refusal(
                QStringLiteral("The devices '%1' and '%2' would write to the same file '%3': give each "
                               "its own, with {serial} or {path} in the name")
                    .arg(ReportText::printable(owner), ReportText::printable(device.serial), file),
                Refusal::NoAdvice);
    }
    m_owners.emplace(name, device.serial);
}
