#include "tools/vrelhost/runs/TokenCheck.h"

#include "external/LogHandler.h"
#include "framework/LogSink.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>
#include <QUuid>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <optional>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

namespace {

/** Why a file cannot be read, which anything but a regular one might keep waiting; empty once it is open. */
QString openRegular(QFile& file, QString const& name, int flags)
{
    int const descriptor =
        ::open(QFile::encodeName(name).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | flags);
    struct stat status = {};
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0)
        return qt_error_string();
    file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
    return S_ISREG(status.st_mode) ? QString() : QStringLiteral("it is not a regular file");
}

/** The first byte that differs, which may be behind the end of one; nothing when there is none. */
std::optional<qint64> firstDifference(QFile& one, QFile& other)
{
    constexpr qint64 kPiece = 65536;
    for (qint64 offset = 0;; offset += kPiece) {
        QByteArray const left = one.read(kPiece);
        QByteArray const right = other.read(kPiece);
        auto const place = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
        if (place.first != left.end() || place.second != right.end())
            return offset + (place.first - left.begin());
        if (left.isEmpty())
            return std::nullopt;
    }
}

/** Starts what removes a directory once a line comes by `input` or nobody has its other end any more; 0 when
 * it cannot be started. */
pid_t startRemover(QByteArray directory, int input)
{
    char shell[] = "sh";
    char option[] = "-c";
    char script[] = "read -r _; exec rm -rf -- \"$0\"";
    char* const arguments[] = {shell, option, script, directory.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    sigset_t all;
    sigfillset(&all);
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawnattr_init(&attributes);
    ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    for (int const stream : {STDOUT_FILENO, STDERR_FILENO}) // whoever reads them does not wait for it
        ::posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
    ::posix_spawnattr_setsigmask(&attributes, &all); // it outlives what ends a service's processes, too
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK);
    pid_t process = 0;
    bool const isStarted = ::posix_spawn(&process, "/bin/sh", &actions, &attributes, arguments, environ) == 0;
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    return isStarted ? process : 0;
}

} // namespace

TokenCheck::TokenCheck()
    : m_directory(QDir::temp().absoluteFilePath(QStringLiteral("vrelhost-") +
                                                QUuid::createUuid().toString(QUuid::Id128)))
{
    QByteArray const name = QFile::encodeName(m_directory);
    int ends[2] = {};
    if (::pipe2(ends, O_CLOEXEC) == 0) {
        m_life = ends[1];
        m_remover = startRemover(name, ends[0]); // first, so that the directory is never without it
        ::close(ends[0]);
    }
    if (m_remover > 0 && ::mkdir(name.constData(), S_IRWXU) == 0)
        return;
    m_fault = QStringLiteral(
                  "Cannot create a temporary directory for --verify: %1; set TMPDIR to another directory")
                  .arg(qt_error_string());
    if (m_remover > 0)
        ::kill(m_remover, SIGKILL); // it has nothing of ours to remove
}

TokenCheck::~TokenCheck()
{
    if (m_remover <= 0)
        return;
    static_cast<void>(::write(m_life, "\n", 1)); // what a library has forked may hold this end, too
    ::close(m_life);
    ::waitpid(m_remover, nullptr, 0);
    if (m_fault.isEmpty())
        QDir(m_directory).removeRecursively(); // where the other process could not
}

QString TokenCheck::fault(JsonObject const& written)
{
    QString token;
    written.getString(QStringLiteral("token"), token);
    QFileInfo const file(token);
    if (!file.exists() || file.isFile())
        return QString();
    return QStringLiteral("--verify reads the token file twice: '%1' must be a regular file").arg(token);
}

bool TokenCheck::isRight(JsonObject const& written, std::function<bool(JsonObject const&)> const& readBack,
                         LogHandler& log) const
{
    unsigned char slot = 0;
    QString name;
    QString module;
    written.getUInt8(QStringLiteral("slot"), slot);
    written.getString(QStringLiteral("token"), name);
    written.getString(QStringLiteral("fw_rux"), module);
    QTemporaryFile target(m_directory + QStringLiteral("/token-XXXXXX"));
    auto const fail = [&log, slot](QString const& cause) {
        log.logMessage(kErrorLevel, QStringLiteral("Token slot %1: ").arg(slot) + cause);
        return false;
    };
    if (!target.open())
        return fail(QStringLiteral("cannot create a file for the token read back: ") + target.errorString());

    JsonObject request;
    request.setValue(QStringLiteral("command"), QStringLiteral("readtoken"));
    request.setValue(QStringLiteral("fw_rux"), module);
    request.setValue(QStringLiteral("path"), target.fileName());
    request.setValue(QStringLiteral("slot"), slot);
    if (!readBack(request))
        return false;
    QFile token;
    QFile copy; // opened anew: what is read back may have taken the file's place, but not be a link to the
                // token
    for (auto const& [file, path, flags] :
         {std::tuple(&token, name, 0), std::tuple(&copy, target.fileName(), O_NOFOLLOW)}) {
        QString const cause = openRegular(*file, path, flags);
        if (!cause.isEmpty())
            return fail(QStringLiteral("cannot compare '%1': %2").arg(path, cause));
    }
    auto const difference = firstDifference(token, copy);
    return !difference ||
           fail(QStringLiteral("what was read back differs from '%1' at byte %2").arg(name).arg(*difference));
}
