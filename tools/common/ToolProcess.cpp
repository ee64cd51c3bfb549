#include "tools/common/ToolProcess.h"

#include "external/LogHandler.h"
#include "framework/LogLines.h"

#include <QString>
#include <QtGlobal>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <mutex>
#include <sys/syscall.h>
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
    s_log->logMessage(kWarningLevel, text);
}

void say(QString const& text)
{
    if (s_log != nullptr)
        s_log->logMessage(kErrorLevel, text);
    else // not even main has begun
        writeWhole(stderr, "error: " + text.toUtf8() + '\n');
}

[[noreturn]] void endAtOnce(int code)
{
    for (;;)
        ::syscall(SYS_exit_group, code); // what _exit is without the one below
}

/** The call may come from a signal's handler, while what it interrupted holds what saying so needs. */
void limitLastWords()
{
    constexpr unsigned kSeconds = 3;
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    static_cast<void>(std::signal(SIGALRM, SIG_DFL));
    static_cast<void>(::pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr));
    ::alarm(kSeconds);
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
    endAtOnce(ExitFailure);
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
        endAtOnce(own);
    endForeign(QStringLiteral("exit(%1)").arg(code));
}

[[noreturn]] void endJudged(char const* how, int code)
{
    int const own = s_ownEnd;
    if (isLibrarysChild())
        endAtOnce(code);
    if (own != kNotYet)
        endAtOnce(own);
    limitLastWords();
    endForeign(QStringLiteral("%1(%2)").arg(QLatin1String(how)).arg(code));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they are not ready yet
extern "C" void judgeLast(int /*argc*/, char** /*argv*/, char** /*environment*/)
{
    s_process = ::getpid();
    ::on_exit(judgeExit, nullptr);
}

/**
 * Before the libraries' own constructors, so that it is called after their destructors, which may exit too,
 * and when another thread exits before the first call of judgeExit has registered the next one.
 */
[[gnu::section(".preinit_array"), gnu::used]] void (*const s_judgeLast)(int, char**, char**) = judgeLast;
#endif

} // namespace

// In place of the C library's, also for other libraries: these run no handlers of exit.

extern "C" [[gnu::visibility("default")]] void _exit(int code)
{
    endJudged("_exit", code);
}

extern "C" [[gnu::visibility("default")]] void _Exit(int code) noexcept
{
    endJudged("_Exit", code);
}

extern "C" [[gnu::visibility("default")]] void quick_exit(int code) noexcept
{
    using Function = void (*)(int);
    auto const original = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "quick_exit"));
    if (isLibrarysChild() && original != nullptr)
        original(code);
    endJudged("quick_exit", code);
}

void ToolProcess::begin(char const* name, void (*lastAct)())
{
    openStandardStreams();
    resetSignals();
    s_process = ::getpid();
    s_lastAct = lastAct;
    s_log = new LogHandler;
    s_log->setName(QString::fromUtf8(name));
    qInstallMessageHandler(logQtMessage);
    ::on_exit(judgeExit, nullptr); // before the libraries' own
}

int ToolProcess::end(int exitCode)
{
    s_ownEnd = exitCode;
    return exitCode;
}
