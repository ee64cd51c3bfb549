#include "tools/vrelhost/log/TerminalLog.h"

#include "framework/LogLines.h"
#include "tools/common/ReportText.h"

#include <QStringList>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <iterator>
#include <sys/ioctl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace {

/** To the end of the screen; the cursor stands in the first of the lines that show work. */
constexpr char const* kErase = "\r\x1b[J";
constexpr char const* kDefaultColour = "\x1b[0m";

/** By level: errors red, warnings yellow, what only the curious want faint. */
constexpr char const* kColours[] = {"\x1b[31m", "\x1b[31m", "\x1b[33m", "", "\x1b[2m", "\x1b[2m"};

constexpr int kNowhere = -1;

/** The descriptor of the terminal whose last lines show work. */
std::atomic<int> s_drawnOn{kNowhere};
std::atomic<bool> s_isOver{false}; ///< the process is about to end: nothing is drawn any more
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "a signal handler uses them");

bool canMove()
{
    QByteArray const terminal = qgetenv("TERM");
    return !terminal.isEmpty() && terminal != "dumb";
}

winsize windowSize(std::FILE* stream)
{
    constexpr winsize kUsual = {24, 80, 0, 0};
    winsize size = {};
    bool const isKnown =
        ::ioctl(::fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0;
    return isKnown ? size : kUsual;
}

QString seconds(QElapsedTimer const& time)
{
    constexpr double kMillisecondsPerSecond = 1000;
    return QString::number(static_cast<double>(time.elapsed()) / kMillisecondsPerSecond, 'f', 1) +
           QStringLiteral(" s");
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
        --size; // not half a surrogate pair
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
        static_cast<void>(::write(terminal, kErase, std::strlen(kErase)));
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
    int const last = static_cast<int>(std::size(kColours)) - 1;
    QByteArray const colour = m_hasColours ? kColours[std::clamp(line.level, 0, last)] : "";

    std::lock_guard const lock(m_mutex);
    Device* const device = find(line.origin);
    if (line.level <= std::max(m_maxLevel, kProgressLevel))
        (device == nullptr ? m_latest : device->latest) = toText(line);
    if (line.level > m_maxLevel)
        return;
    bool const wasDrawn = m_isDrawn;
    erase();
    put(colour + printableLines(toReadableText(line)).toUtf8() + (colour.isEmpty() ? "" : kDefaultColour) +
        '\n');
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

void TerminalLog::showProgress(QString progress)
{
    std::lock_guard const lock(m_mutex);
    m_progress = std::move(progress);
}

void TerminalLog::showEnd(QString end)
{
    std::lock_guard const lock(m_mutex);
    m_ending = std::move(end);
}

void TerminalLog::beginDevice(LogHandler const& log, QString const& label)
{
    std::lock_guard const lock(m_mutex);
    auto const place =
        std::upper_bound(m_devices.begin(), m_devices.end(), label,
                         [](QString const& text, Device const& device) { return text < device.label; });
    m_devices.insert(place, {&log, label, QString(), {}, QString()})->time.start();
}

void TerminalLog::showStep(LogHandler const& log, QString const& step)
{
    std::lock_guard const lock(m_mutex);
    if (Device* const device = find(&log))
        device->step = step;
}

void TerminalLog::endDevice(LogHandler const& log)
{
    std::lock_guard const lock(m_mutex);
    if (Device* const device = find(&log))
        m_devices.erase(m_devices.begin() + (device - m_devices.data()));
}

void TerminalLog::writeBetween(std::function<void()> const& write)
{
    std::lock_guard const lock(m_mutex);
    bool const wasDrawn = m_isDrawn;
    erase();
    write();
    if (wasDrawn)
        draw();
}

TerminalLog::Device* TerminalLog::find(LogHandler const* log)
{
    auto const found = std::find_if(m_devices.begin(), m_devices.end(),
                                    [log](Device const& device) { return device.log == log; });
    return found == m_devices.end() ? nullptr : &*found;
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

/** @param most lines, at least one, which tells of all */
QStringList TerminalLog::workLines(int most) const
{
    auto const joined = [](QStringList parts) {
        parts.removeAll(QString());
        return parts.join(QStringLiteral("  "));
    };
    QStringList lines;
    for (Device const& device : m_devices) {
        if (lines.size() + 1 < most)
            lines << joined({device.label, device.step, seconds(device.time), device.latest});
    }
    int const others = static_cast<int>(m_devices.size()) - lines.size();
    QString const rest = others == 0 ? QString() : QStringLiteral("and %1 more at work").arg(others);
    return lines << joined(
               {seconds(m_time), m_progress, m_ending, rest, m_devices.empty() ? m_latest : QString()});
}

void TerminalLog::draw()
{
    winsize const size = windowSize(m_stream);
    QStringList lines = workLines(size.ws_row - 1); // a line of the log stays to be seen
    // The last column stays free: a full line would make some terminals go to the next.
    for (QString& line : lines)
        line = cut(ReportText::printable(line), size.ws_col - 1);
    QString const toFirst = lines.size() > 1 ? QStringLiteral("\x1b[%1A\r").arg(lines.size() - 1) : QString();
    m_isDrawn = true;
    s_drawnOn = ::fileno(m_stream);
    put(kErase + (lines.join(QLatin1Char('\n')) + toFirst).toUtf8());
    if (s_isOver)
        erase();
}

void TerminalLog::erase()
{
    if (m_isDrawn)
        put(kErase);
    m_isDrawn = false;
    s_drawnOn = kNowhere;
}

void TerminalLog::put(QByteArray const& bytes) const
{
    writeWhole(m_stream, bytes); // a log that cannot be written stops nothing
}
