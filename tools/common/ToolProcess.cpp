#include "tools/common/ToolProcess.h"

#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "tools/common/ExitCode.h"

#include <QString>
#include <QtGlobal>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

namespace {

constexpr int kNotYet = -1;

std::atomic<int> s_ownEnd{kNotYet}; ///< the exit code that main has chosen
pid_t s_process = 0;
void (*s_lastAct)() = nullptr;
LogHandler* s_log = nullptr; ///< never destroyed, since threads of a library may outlive all

void openStandardStreams()
{
    int file = 0;
    do {
        file = ::open("/dev/null", O_RDWR);
    } while (file >= 0 && file <= STDERR_FILENO);
    if (file > STDERR_FILENO)
        static_cast<void>(::close(file));
}

void resetSignals()
{
    for (int const signal : {SIGCHLD, SIGINT, SIGQUIT, SIGTERM})
        static_cast<void>(std::signal(signal, SIG_DFL));
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    sigset_t none;
    sigemptyset(&none);
    static_cast<void>(::sigprocmask(SIG_SETMASK, &none, nullptr));
}

void logQtMessage(QtMsgType /*type*/, QMessageLogContext const& /*context*/, QString const& text)
{
    thread_local bool t_isLogging = false; // what logging itself brings about would come without end
    if (t_isLogging)
        return;
    t_isLogging = true;
    s_log->logMessage(kWarningLevel, text);
    t_isLogging = false;
}

/** Ends the process; of several threads that come here only the first has its say. */
[[noreturn]] void endForeign(QString const& how)
{
    static std::mutex s_isSaid;
    s_isSaid.lock();
    s_log->logMessage(kErrorLevel, QStringLiteral("The vendor library or another one ended the process by %1 "
                                                  "before its work was done: take what was being done for failed")
                                       .arg(how));
    if (s_lastAct != nullptr)
        s_lastAct();
    ::_exit(ExitFailure);
}

extern "C" void judgeExit(int code, void* /*unused*/)
{
    int const own = s_ownEnd;
    if (own == code || ::getpid() != s_process) // a library's children end as they like
        return;
    ::on_exit(judgeExit, nullptr); // for the next thread that exits meanwhile
    if (own != kNotYet)
        ::_exit(own);
    endForeign(QStringLiteral("exit(%1)").arg(code));
}

extern "C" void judgeQuickExit()
{
    if (::getpid() == s_process)
        endForeign(QStringLiteral("quick_exit"));
}

} // namespace

void ToolProcess::begin(char const* name, void (*lastAct)())
{
    openStandardStreams();
    resetSignals();
    s_process = ::getpid();
    s_lastAct = lastAct;
    s_log = new LogHandler;
    s_log->setName(QString::fromUtf8(name));
    qInstallMessageHandler(logQtMessage);
    // Twice: another thread may exit before the first call has registered the next one.
    for (int i = 0; i < 2; ++i)
        ::on_exit(judgeExit, nullptr);
    std::at_quick_exit(judgeQuickExit);
}

int ToolProcess::end(int exitCode)
{
    s_ownEnd = exitCode;
    return exitCode;
}
