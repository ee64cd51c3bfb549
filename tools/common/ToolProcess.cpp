#include "tools/common/ToolProcess.h"

#include "external/LogHandler.h"
#include "framework/LogLines.h"

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

/** Takes the places of closed ones, which other files would get; what is written there is lost, and is told
 * so. */
void openStandardStreams()
{
    int file = 0;
    do {
        file = ::open("/dev/null", O_RDONLY);
    } while (file >= 0 && file <= STDERR_FILENO);
    if (file > STDERR_FILENO)
        static_cast<void>(::close(file));
}

void resetSignals()
{
    for (int const signal : {SIGCHLD, SIGINT, SIGQUIT, SIGTERM})
        static_cast<void>(std::signal(signal, SIG_DFL));
    for (int const signal : {SIGPIPE, SIGXFSZ})
        static_cast<void>(std::signal(signal, SIG_IGN));
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

void say(QString const& text)
{
    if (s_log != nullptr)
        s_log->logMessage(kErrorLevel, text);
    else // not even main has begun
        writeWhole(stderr, "error: " + text.toUtf8() + '\n');
}

/** Ends the process; of several threads that come here only the first has its say. */
[[noreturn]] void endForeign(QString const& how)
{
    static std::mutex s_isSaid;
    s_isSaid.lock();
    say(QStringLiteral(
            "The vendor library or another one called %1 during an operation; treat that operation as failed")
            .arg(how));
    if (s_lastAct != nullptr)
        s_lastAct();
    ::_exit(ExitFailure);
}

bool isLibrarysChild()
{
    return s_process != 0 && ::getpid() != s_process;
}

extern "C" void judgeExit(int code, void* /*unused*/)
{
    int const own = s_ownEnd;
    if (own == code || isLibrarysChild())
        return;
    ::on_exit(judgeExit, nullptr); // for the next thread that exits meanwhile
    if (own != kNotYet)
        ::_exit(own);
    endForeign(QStringLiteral("exit(%1)").arg(code));
}

extern "C" void judgeQuickExit()
{
    if (!isLibrarysChild())
        endForeign(QStringLiteral("quick_exit"));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they are not ready yet
extern "C" void judgeLast(int /*argc*/, char** /*argv*/, char** /*environment*/)
{
    ::on_exit(judgeExit, nullptr);
    static_cast<void>(std::at_quick_exit(judgeQuickExit));
}

/** Before the libraries' own constructors, so that it is called after their destructors, which may exit too.
 */
[[gnu::section(".preinit_array"), gnu::used]] void (*const s_judgeLast)(int, char**, char**) = judgeLast;
#endif

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
    static_cast<void>(std::at_quick_exit(judgeQuickExit)); // without it, quick_exit goes on unseen
}

int ToolProcess::end(int exitCode)
{
    s_ownEnd = exitCode;
    return exitCode;
}
