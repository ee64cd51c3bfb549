#include "plugin/VrelProcessWait.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QProcess>
#include <QThread>

#include <csignal>
#include <limits>

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
    {"LeastTime", "exec sleep 100", std::numeric_limits<int>::min(), false},
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
    {"EndedBefore", "echo text; exit 8", 10000, true, 8, nullptr, end},
    {"CrashedBefore", "kill -KILL $$", 10000, false, 0, nullptr, end},
};

class ProcessWaitTest : public ::testing::TestWithParam<Case>
{
};

TEST_P(ProcessWaitTest, EndsAsTheProcessDoesOrInTime)
{
    constexpr int kPatience = 5000;
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
    EXPECT_EQ(VrelProcessWait::waitForExit(process, static_cast<unsigned long long>(entry.timeout)),
              entry.exits);
    EXPECT_LT(timer.elapsed(), kPatience);
    EXPECT_TRUE(!entry.exits || process.exitCode() == entry.exitCode) << process.exitCode();
    EXPECT_EQ(::kill(pid, 0), -1) << "it is still there";
}

INSTANTIATE_TEST_SUITE_P(All, ProcessWaitTest, ::testing::ValuesIn(kCases),
                         [](auto const& entry) { return std::string(entry.param.name); });

TEST(ProcessStartTest, WhatDoesNotStartHasNotExited)
{
    for (char const* const program : {"/", "/nonexistent", "/etc/passwd"}) {
        QProcess process;
        process.start(QString::fromUtf8(program), QStringList());
        EXPECT_FALSE(VrelProcessWait::waitForExit(process, 1000)) << program;
        EXPECT_FALSE(VrelProcessWait::waitForExit(process, 1000)) << program << " asked again";
    }
}

} // namespace
