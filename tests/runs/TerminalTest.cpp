#include "tests/runs/ToolFixture.h"

#include <QRegularExpression>

#include <algorithm>
#include <csignal>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr unsigned short kColumns = 40;
constexpr char const* kEraseLine = "\r\x1b[K";

char const* const kRequest = R"({"command": "erasetoken", "fw_rux": "fw.bin", "slot": 3})";

class TerminalTest : public ToolFixture
{
protected:
    /** Runs the tool with all its streams on a terminal; returns what the terminal got, with plain line ends.
     */
    QByteArray onTerminal(QStringList const& arguments) const
    {
        std::vector<QByteArray> words{VREL_HOST_TOOL};
        for (QString const& argument : arguments)
            words.push_back(argument.toUtf8());
        std::vector<char*> pointers;
        for (QByteArray& word : words)
            pointers.push_back(word.data());
        pointers.push_back(nullptr);
        std::vector<QByteArray> environment;
        for (QString const& variable : m_environment.toStringList())
            environment.push_back(variable.toUtf8());
        std::vector<char*> variables;
        for (QByteArray& variable : environment)
            variables.push_back(variable.data());
        variables.push_back(nullptr);

        QByteArray const directory = m_directory.path().toUtf8();
        winsize const size = {25, kColumns, 0, 0};
        int terminal = -1;
        pid_t const child = ::forkpty(&terminal, nullptr, nullptr, &size);
        if (child == 0) {
            if (::chdir(directory.constData()) == 0)
                ::execve(pointers.front(), pointers.data(), variables.data());
            ::_exit(127);
        }
        QByteArray output;
        char buffer[4096];
        constexpr int kPatience = 60000;
        pollfd readable = {terminal, POLLIN, 0};
        for (ssize_t count = 1; count > 0;) {
            if (::poll(&readable, 1, kPatience) <= 0) {
                ADD_FAILURE() << "hangs after: " << output.data();
                ::kill(child, SIGKILL);
            }
            count = ::read(terminal, buffer, sizeof buffer);
            output.append(buffer, static_cast<int>(std::max<ssize_t>(count, 0)));
        }
        ::waitpid(child, nullptr, 0);
        ::close(terminal);
        return output.replace("\r\n", "\n");
    }

    void set(char const* name, char const* value)
    {
        m_environment.insert(QString::fromUtf8(name), QString::fromUtf8(value));
    }
};

TEST_F(TerminalTest, ShowsWorkBelowTheLinesAndTakesItAwayAgain)
{
    ASSERT_EQ(host(options({"rig", "create", "rig", "--devices", "2"})).exitCode, 0);
    set("TERM", "xterm");
    set("VREL_RIG_DELAY_MS", "900");
    QByteArray const output = onTerminal(options({"run", kRequest, "--all", "--jobs", "1"}));

    EXPECT_TRUE(output.contains("\x1b[31m1-1.1 VREL0001: error: Token slot 3 is empty\x1b[0m\n"))
        << output.data();
    int drawn = 0;
    for (QByteArray const& line : output.split('\n')) {
        // Each drawing ends where the next, or an erasure, begins.
        QList<QByteArray> parts;
        for (QString const& part : QString::fromUtf8(line).split(QString::fromUtf8(kEraseLine)))
            parts << part.toUtf8();
        for (int i = 1; i + 1 < parts.size(); ++i) {
            EXPECT_LT(parts.at(i).size(), kColumns) << parts.at(i).data();
            drawn += parts.at(i).contains(" s  ") ? 1 : 0;
        }
        EXPECT_FALSE(parts.last().contains(" s  ")) << "left over: " << parts.last().data();
    }
    EXPECT_GE(drawn, 4);
    EXPECT_TRUE(output.contains(" s  0/2  Starting ERASE")) << output.data();
    EXPECT_TRUE(output.contains(" s  1/2  Starting ERASE"));

    set("FAKE_DEED", "exit on a thread");
    set("LD_LIBRARY_PATH", VREL_OTHER_API_DIR);
    QByteArray const broken = onTerminal(options({"run", kRequest}));
    EXPECT_TRUE(broken.contains(" s  Starting ERASE")) << broken.data();
    EXPECT_TRUE(broken.endsWith(kEraseLine)) << "left over: " << broken.data();
    m_environment.remove(QStringLiteral("LD_LIBRARY_PATH"));

    // Without what steers, it is what a pipe gets.
    set("NO_COLOR", "1");
    QString text = QString::fromUtf8(onTerminal(options({"run", kRequest, "--sn", "VREL0001"})));
    EXPECT_TRUE(text.contains(QString::fromUtf8(kEraseLine)));
    text.remove(QRegularExpression(QStringLiteral("\r\x1b\\[K[0-9.]+ s  [^\r]*(?=\r)")))
        .remove(QString::fromUtf8(kEraseLine));
    EXPECT_EQ(text.toUtf8(), execute(VREL_HOST_TOOL, options({"run", kRequest, "--sn", "VREL0001"})).log);
}

TEST_F(TerminalTest, PlainWherePlainIsWantedAndSafeFromTexts)
{
    QStringList const odd = options({"run", kRequest, "--sn", "a\x1b[2J\x07\u009b31m"});
    QByteArray const safe = "RuX module version: 513\nStarting ERASE TOKEN procedure\n"
                            "error: No device with serial number 'a?[2J??31m'\n";
    set("TERM", "dumb");
    EXPECT_EQ(onTerminal(odd), safe);
    set("TERM", "xterm");
    set("NO_COLOR", "1");
    EXPECT_EQ(onTerminal(odd), safe);
    set("NO_COLOR", "");
    EXPECT_EQ(onTerminal(odd),
              QByteArray(safe).replace("error: ", "\x1b[31merror: ").replace("'\n", "'\x1b[0m\n"));
    EXPECT_TRUE(onTerminal(options({"--log-format", "json"}) + odd).startsWith("{\"level\":3"));
}

} // namespace
