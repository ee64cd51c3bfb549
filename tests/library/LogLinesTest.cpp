#include "framework/LogLines.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include <csignal>
#include <fcntl.h>
#include <sys/time.h>

namespace {

/** Lines are lost where a write is broken off by a signal, is done in part, or would block. */
TEST(LogLinesTest, LinesArriveWholeHoweverSlowlyTheyAreTaken)
{
    QTemporaryDir const directory;
    QFile taken(directory.filePath(QStringLiteral("taken")));
    QByteArray const bytes(700000, 'x');
    for (int const flags : {0, O_NONBLOCK}) {
        QByteArray const reader = "sleep 0.2; cat >" + QFile::encodeName(taken.fileName());
        std::FILE* const stream = ::popen(reader.constData(), "w");
        ::fcntl(::fileno(stream), F_SETFL, ::fcntl(::fileno(stream), F_GETFL) | flags);
        struct sigaction interrupting = {};
        interrupting.sa_handler = [](int) {};
        struct sigaction previous = {};
        ::sigaction(SIGALRM, &interrupting, &previous);
        itimerval const often = {{0, 1000}, {0, 1000}};
        ::setitimer(ITIMER_REAL, &often, nullptr);
        EXPECT_TRUE(writeWhole(stream, bytes + '\n'));
        EXPECT_TRUE(writeWhole(stream, "next\n"));
        itimerval const never = {};
        ::setitimer(ITIMER_REAL, &never, nullptr);
        ::sigaction(SIGALRM, &previous, nullptr);
        ::pclose(stream);
        ASSERT_TRUE(taken.open(QIODevice::ReadOnly));
        EXPECT_TRUE(taken.readAll() == bytes + "\nnext\n");
        taken.close();
    }
}

} // namespace
