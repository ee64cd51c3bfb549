#include "external/LogHandler.h"
#include "plugin/VrelProcessWait.h"
#include "tests/support/LogRecorder.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QProcess>
#include <QThread>

#include <cerrno>
#include <csignal>
#include <sys/wait.h>

namespace {

constexpr unsigned long kLate = 700; ///< milliseconds

/** What a process does, and how the wait for it ends. */
struct Case
{
    char const* name;
    char const* script;
    long long timeout; ///< as VrelProcessWait takes it
    bool exits;
    int exitCode = 0;
    void (*whenRead)(QProcess&) = nullptr;  ///< whenever there is output
    void (*whenBegun)(QProcess&) = nullptr; ///< between start and wait

    friend std::ostream& operator<<(std::ostream& stream, Case const& entry) { return stream << entry.name; }
};

void readLate(QProcess& process)
{
    QThread::msleep(kLate);
    process.readAllStandardOutput();
}

/** So that there is always more. */
void readSlowly(QProcess& process)
{
    QThread::msleep(2);
    process.readAllStandardOutput();
}

void end(QProcess& process)
{
    process.waitForFinished();
}

Case const kCases[] = {
    {"Success", "exit 0", 10000, true},
    {"ExitCode", "exit 3", 10000, true, 3},
    {"Crash", "kill -SEGV $$", 10000, false},
    {"WithoutLimit", "sleep 0.3; exit 4", -1, true, 4},
    {"Hang", "exec sleep 100", 400, false},
    {"DeafHang", "trap '' TERM HUP INT; while :; do :; done", 400, false},
    {"NoTime", "exec sleep 100", 0, false},
    {"NegativeTime", "exec sleep 100", -2, false},
    {"Flood", "exec yes", 400, false, 0, readSlowly},
    {"ErrorFlood", "exec yes >&2", 400, false},
    {"FloodOfAChild", "yes & exec sleep 100", 400, false},
    {"FloodOfAnOrphan", "yes & exit 5", 10000, true, 5},
    {"PipeHeldByAnOrphan", "sleep 3 & exit 6", 2000, true, 6},
    {"StreamsClosed", "exec <&- >&- 2>&-; sleep 0.3; exit 7", 10000, true, 7},
    {"StreamsClosedAndHang", "exec <&- >&- 2>&-; exec sleep 100", 400, false},
    {"Stopped", "kill -STOP $$", 400, false},
    {"OutputHandledLate", "echo text", kLate / 2, true, 0, readLate},
    {"HangWithOutputHandledLate", "echo text; exec sleep 100", kLate / 2, false, 0, readLate},
    {"EndedBefore", "echo text; exit 0", 10000, false, 0, nullptr, end},
};

class ProcessWaitTest : public ::testing::TestWithParam<Case>
{
};

TEST_P(ProcessWaitTest, EndsAsTheProcessDoesOrInTime)
{
    constexpr int kMargin = 2000; //< of a machine that is busy
    Case const& entry = GetParam();
    QProcess process;
    if (entry.whenRead != nullptr)
        QObject::connect(&process, &QProcess::readyReadStandardOutput, [&] { entry.whenRead(process); });
    process.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QString::fromUtf8(entry.script)});
    auto const pid = static_cast<pid_t>(process.processId());
    if (entry.whenBegun != nullptr)
        entry.whenBegun(process);
    QElapsedTimer timer;
    timer.start();
    LogRecorder const recorder;
    EXPECT_EQ(
        VrelProcessWait::waitForExit(process, static_cast<unsigned long long>(entry.timeout), LogHandler()),
        entry.exits ? std::optional(entry.exitCode) : std::nullopt);
    EXPECT_LT(timer.elapsed(), entry.timeout + kMargin);
    EXPECT_EQ(::kill(pid, 0), -1) << "it is still there";
    EXPECT_EQ(recorder.lines(), Lines());
}

INSTANTIATE_TEST_SUITE_P(All, ProcessWaitTest, ::testing::ValuesIn(kCases),
                         [](auto const& entry) { return std::string(entry.param.name); });

TEST(ProcessStartTest, WhatDoesNotStartHasNotExited)
{
    for (char const* const program : {"/", "/nonexistent", "/etc/passwd"}) {
        QProcess process;
        process.start(QString::fromUtf8(program), QStringList());
        EXPECT_FALSE(VrelProcessWait::waitForExit(process, 1000, LogHandler())) << program;
        EXPECT_FALSE(VrelProcessWait::waitForExit(process, 1000, LogHandler())) << program << " asked again";
    }
}

void reapAll(int /*signal*/)
{
    int const error = errno;
    while (::waitpid(-1, nullptr, WNOHANG) > 0) {
    }
    errno = error;
}

/** Qt takes what it finds in such a status's place: often a success. */
TEST(ProcessStatusTest, OneThatTheHostTookIsNone)
{
    std::pair<void (*)(int), int> const hosts[] = {
        {SIG_IGN, 0}, {SIG_DFL, SA_NOCLDWAIT}, {reapAll, SA_RESTART}};
    for (auto const& [handler, flags] : hosts) {
        struct sigaction action = {};
        action.sa_handler = handler;
        action.sa_flags = flags;
        ::sigaction(SIGCHLD, &action, nullptr);
        for (char const* const script :
             {"exit 0", "exit 3", "sleep 0.1; exit 4", "echo text; kill -SEGV $$"}) {
            LogRecorder const recorder;
            QProcess process;
            process.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QString::fromUtf8(script)});
            EXPECT_EQ(VrelProcessWait::waitForExit(process, 10000, LogHandler()), std::nullopt) << script;
            EXPECT_EQ(recorder.lines().size(), 1U) << script;
            EXPECT_EQ(recorder.lines().front().rfind("1 The exit status is lost: ", 0), 0U);
        }
    }
    ::signal(SIGCHLD, SIG_DFL);
}

} // namespace
