#include "external/LogConsoleHandler.h"
#include "framework/LogLines.h"
#include "tests/fuzz/Require.h"

#include <QMetaMethod>
#include <QProcess>

#include <algorithm>
#include <cstring>
#include <deque>

/**
 * @file
 * What a downloader prints: the input is its output in the pieces in which it comes. A byte 1 stands before a
 * piece of standard output, 2 before one of standard error.
 */
namespace {

using Records = std::deque<LogLine>;

/** A process that prints what it is told to and is never started. */
class Printer : public QProcess
{
public:
    Printer() { setOpenMode(ReadOnly | Unbuffered); }

    void print(int channel, QByteArray const& bytes)
    {
        static QMetaMethod const s_ready[] = {QMetaMethod::fromSignal(&QProcess::readyReadStandardOutput),
                                              QMetaMethod::fromSignal(&QProcess::readyReadStandardError)};
        m_bytes = bytes;
        s_ready[channel].invoke(this, Qt::DirectConnection);
    }

protected:
    qint64 readData(char* data, qint64 most) override
    {
        int const size = std::min(static_cast<int>(most), m_bytes.size());
        std::memcpy(data, m_bytes.constData(), static_cast<std::size_t>(size));
        m_bytes.remove(0, size);
        return size;
    }

private:
    QByteArray m_bytes;
};

LogLine plain(int channel, QByteArray const& bytes)
{
    LogLine line;
    line.level = channel == QProcess::StandardOutput ? kProgressLevel : kWarningLevel;
    line.text = QString::fromUtf8(bytes.constData(), bytes.size());
    return line;
}

bool take(Records& records, std::initializer_list<LogLine> const& expected)
{
    auto const isSame = [](LogLine const& a, LogLine const& b) {
        return a.level == b.level && a.isLabelled == b.isLabelled && toText(a) == toText(b) &&
               (!a.isLabelled || a.label == b.label);
    };
    if (records.size() < expected.size() ||
        !std::equal(expected.begin(), expected.end(), records.begin(), isSame))
        return false;
    records.erase(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(expected.size()));
    return true;
}

/** Takes what a line is logged as: its text, or what stands before JSON, and what that says. */
bool takeLine(Records& records, int channel, QByteArray line)
{
    if (line.endsWith('\r'))
        line.chop(1);
    for (int start = line.indexOf('{'); start >= 0; start = line.indexOf('{', start + 1)) {
        auto const structured = fromJson(line.mid(start));
        if (structured && (start == 0 ? take(records, {*structured})
                                      : take(records, {plain(channel, line.left(start)), *structured})))
            return true;
    }
    return !fromJson(line) && take(records, {plain(channel, line)});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    static Printer s_process;
    Records records;
    LogLine last;
    setLogSink([&](LogLine const& line) {
        require(line.level >= 0 && line.level <= kHighestLogLevel, "levels are in their range");
        records.push_back(line);
        last = line;
    });
    LogConsoleHandler const log(s_process);
    QByteArray unfinished[2];
    auto const print = [&](int channel, QByteArray const& piece) {
        s_process.print(channel, piece);
        QByteArray& rest = unfinished[channel];
        rest += piece;
        for (int end = rest.indexOf('\n'); end >= 0; end = rest.indexOf('\n')) {
            require(takeLine(records, channel, rest.left(end)), "a line is logged when it ends");
            rest.remove(0, end + 1);
        }
        require(records.empty(), "nothing else is logged");
    };
    int channel = QProcess::StandardOutput;
    auto const* start = data;
    for (auto const* next = data; next < data + size; ++next) {
        if (*next != 1 && *next != 2)
            continue;
        print(channel, {reinterpret_cast<char const*>(start), static_cast<int>(next - start)});
        channel = *next - 1;
        start = next + 1;
    }
    print(channel, {reinterpret_cast<char const*>(start), static_cast<int>(data + size - start)});
    Q_EMIT s_process.finished(0, QProcess::NormalExit);
    for (int const stream : {QProcess::StandardOutput, QProcess::StandardError})
        require(unfinished[stream].isEmpty() || takeLine(records, stream, unfinished[stream]),
                "what was left unfinished is logged at the end");
    require(records.empty(), "nothing else is logged at the end");
    auto const again = fromJson(toJson(last)); // of one alone: it takes longer than all the rest
    require(again && toText(*again).toUtf8() == toText(last).toUtf8(), "a record as JSON reads back");
    return 0;
}
