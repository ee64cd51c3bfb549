#include "tools/vrelhost/runs/RowQueue.h"

#include "external/LogHandler.h"
#include "framework/LogSink.h"
#include "tools/vrelhost/log/Console.h"
#include "tools/vrelhost/runs/Interruption.h"

#include <chrono>
#include <thread>

void RowQueue::add(QByteArray const& row, QString const& what)
{
    constexpr int kMost = 1024 * 1024;
    flush();
    if (m_size + row.size() > kMost) {
        drop({row, what});
        return;
    }
    if (m_rows.empty())
        m_waiting.start();
    m_rows.push_back({row, what});
    m_size += row.size();
    flush();
}

void RowQueue::flush()
{
    constexpr qint64 kPatience = 1000; // milliseconds
    while (!m_rows.empty() && m_console.takesOutput()) {
        Row& row = m_rows.front();
        QByteArray const piece = row.text.left(m_console.atOnce());
        row.text.remove(0, piece.size());
        m_size -= piece.size();
        if (m_console.print(piece, row.what) != 0 || row.text.isEmpty()) {
            m_size -= row.text.size();
            m_rows.pop_front();
        }
        m_waiting.restart();
    }
    bool const isLate = !m_rows.empty() && m_waiting.hasExpired(kPatience);
    if (isLate && !m_isReported)
        m_console.log().logMessage(kWarningLevel,
                                   "Standard output is not being read: results wait, and the work goes on");
    m_isReported = isLate;
}

void RowQueue::finish()
{
    constexpr std::chrono::milliseconds kPause(20);
    for (flush(); !m_rows.empty() && !Interruption::isRequested(); flush())
        std::this_thread::sleep_for(kPause);
    for (Row const& row : m_rows)
        drop(row);
    m_rows.clear();
}

void RowQueue::drop(Row const& row) const
{
    m_console.log().logMessage(
        kErrorLevel, QStringLiteral("Cannot write %1: standard output is not being read").arg(row.what));
}
