#include "tools/vrelhost/TerminalLog.h"

#include "framework/LogLines.h"
#include "tools/vrelhost/ReportText.h"

#include <QStringList>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <iterator>
#include <sys/ioctl.h>
#include <system_error>
#include <unistd.h>

namespace {

constexpr char const* kEraseLine = "\r\x1b[K";
constexpr char const* kDefaultColour = "\x1b[0m";

/** By level: errors red, warnings yellow, what only the curious want faint. */
constexpr char const* kColours[] = {"\x1b[31m", "\x1b[31m", "\x1b[33m", "", "\x1b[2m", "\x1b[2m"};

constexpr int kNowhere = -1;

/** The descriptor of the terminal whose last line shows work. */
std::atomic<int> s_drawnOn{kNowhere};
std::atomic<bool> s_isOver{false}; ///< the process is about to end: nothing is drawn any more
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "a signal handler uses them");

bool canMove()
{
    QByteArray const terminal = qgetenv("TERM");
    return !terminal.isEmpty() && terminal != "dumb";
}

int columns(std::FILE* stream)
{
    constexpr int kUsual = 80;
    winsize size = {};
    bool const isKnown = ::ioctl(::fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : kUsual;
}

/** As much of a text as surely fits; characters that may be wide count twice. */
QString cut(QString const& text, int width)
{
    constexpr ushort kFirstWide = 0x1100;
    int size = 0;
    for (; size < text.size(); ++size) {
        width -= text.at(size).unicode() < kFirstWide ? 1 : 2;
        if (width < 0)
            break;
    }
    if (size > 0 && size < text.size() && text.at(size - 1).isHighSurrogate())
        --size;
    return text.left(size);
}

/** Line ends stay; nothing else moves the cursor. */
QString printableLines(QString const& text)
{
    QStringList lines = text.split(QLatin1Char('\n'));
    std::transform(lines.begin(), lines.end(), lines.begin(), ReportText::printable);
    return lines.join(QLatin1Char('\n'));
}

} // namespace

bool TerminalLog::isTerminal(std::FILE* stream)
{
    return ::isatty(::fileno(stream)) == 1;
}

void TerminalLog::eraseAtOnce()
{
    s_isOver = true;
    int const terminal = s_drawnOn.exchange(kNowhere);
    if (terminal != kNowhere)
        static_cast<void>(::write(terminal, kEraseLine, std::strlen(kEraseLine)));
}

TerminalLog::TerminalLog(std::FILE* stream, Logger::LogLevel maxLevel)
    : m_stream(stream)
    , m_maxLevel(maxLevel)
    , m_canMove(canMove())
    , m_hasColours(m_canMove && qEnvironmentVariableIsEmpty("NO_COLOR"))
{
}

TerminalLog::~TerminalLog()
{
    showWork(false);
}

void TerminalLog::write(LogLine const& line)
{
    if (line.level > m_maxLevel)
        return;
    int const last = static_cast<int>(std::size(kColours)) - 1;
    QByteArray const colour = m_hasColours ? kColours[std::clamp(line.level, 0, last)] : "";
    QByteArray const text = printableLines(toReadableText(line)).toUtf8();

    std::lock_guard const lock(m_mutex);
    bool const wasDrawn = m_isDrawn;
    erase();
    put(colour + text + (colour.isEmpty() ? "" : kDefaultColour) + '\n');
    m_latest = toText(line);
    if (wasDrawn)
        draw();
}

void TerminalLog::showWork(bool isShown)
{
    {
        std::lock_guard const lock(m_mutex);
        m_isWorking = isShown && m_canMove;
        m_time.start();
    }
    m_end.notify_one();
    if (m_redrawer.joinable())
        m_redrawer.join();
    if (!isShown || !m_canMove)
        return;
    try {
        m_redrawer = std::thread([this] { redrawUntilEnd(); });
    } catch (std::system_error const&) {
        // Without another thread there is only the log.
    }
}

void TerminalLog::showProgress(int done, int total)
{
    std::lock_guard const lock(m_mutex);
    m_progress = QStringLiteral("%1/%2  ").arg(done).arg(total);
}

/** Waits first: work that is soon over shows nothing. */
void TerminalLog::redrawUntilEnd()
{
    constexpr std::chrono::milliseconds kInterval(200);
    std::unique_lock lock(m_mutex);
    while (!m_end.wait_for(lock, kInterval, [this] { return !m_isWorking; }))
        draw();
    erase();
}

void TerminalLog::draw()
{
    constexpr double kMillisecondsPerSecond = 1000;
    QString const time =
        QString::number(static_cast<double>(m_time.elapsed()) / kMillisecondsPerSecond, 'f', 1);
    QString const text = ReportText::printable(time + QStringLiteral(" s  ") + m_progress + m_latest);
    m_isDrawn = true;
    s_drawnOn = ::fileno(m_stream);
    // The last column stays free: a full line would make some terminals go to the next.
    put(kEraseLine + cut(text, columns(m_stream) - 1).toUtf8());
    if (s_isOver)
        erase();
}

void TerminalLog::erase()
{
    if (m_isDrawn)
        put(kEraseLine);
    m_isDrawn = false;
    s_drawnOn = kNowhere;
}

void TerminalLog::put(QByteArray const& bytes) const
{
    writeWhole(m_stream, bytes); // a log that cannot be written stops nothing
}
