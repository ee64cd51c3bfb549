#include "framework/LogLines.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

namespace {

/** Lines are lost where a write is broken off by a signal, is done in part, or would block. */
TEST(LogLinesTest, LinesArriveWholeHoweverSlowlyTheyAreTaken)
{
    for (int const flags : {0, O_NONBLOCK}) {
        int ends[2] = {};
        ASSERT_EQ(::pipe2(ends, flags), 0);
        std::FILE* const stream = ::fdopen(ends[1], "w");
        QByteArray taken;
        std::thread reader([&taken, source = ends[0]] {
            ::fcntl(source, F_SETFL, 0);
            sigset_t alarm;
            sigemptyset(&alarm);
            sigaddset(&alarm, SIGALRM);
            ::pthread_sigmask(SIG_BLOCK, &alarm, nullptr); // they are the writer's
            char buffer[5000];
            for (ssize_t count = 1; count > 0;) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                count = ::read(source, buffer, sizeof buffer);
                taken.append(buffer, static_cast<int>(std::max<ssize_t>(count, 0)));
            }
        });
        struct sigaction interrupting = {};
        interrupting.sa_handler = [](int) {};
        struct sigaction previous = {};
        ::sigaction(SIGALRM, &interrupting, &previous);
        itimerval const often = {{0, 1000}, {0, 1000}};
        ::setitimer(ITIMER_REAL, &often, nullptr);
        QByteArray const bytes(700000, 'x');
        EXPECT_TRUE(writeWhole(stream, bytes + '\n'));
        EXPECT_TRUE(writeWhole(stream, "next\n"));
        itimerval const never = {};
        ::setitimer(ITIMER_REAL, &never, nullptr);
        ::sigaction(SIGALRM, &previous, nullptr);
        std::fclose(stream);
        reader.join();
        EXPECT_TRUE(taken == bytes + "\nnext\n") << taken.size();
        ::close(ends[0]);
    }
}

} // namespace
