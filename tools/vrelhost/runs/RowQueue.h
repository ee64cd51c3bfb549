#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QString>

#include <deque>

class Console;

/**
 * Rows of results on their way to standard output: while nobody reads it they wait, up to a bound, and the
 * work goes on. From one thread.
 */
class RowQueue
{
public:
    explicit RowQueue(Console const& console)
        : m_console(console)
    {
    }

    /** @param what it is, for people */
    void add(QByteArray const& row, QString const& what);

    /** Writes what is taken at once; to be called again and again. */
    void flush();

    /** Waits until all is written, or an end is asked for: what is not written then is reported. */
    void finish();

private:
    struct Row
    {
        QByteArray text;
        QString what;
    };

    void drop(Row const& row) const;

    Console const& m_console;
    std::deque<Row> m_rows;
    int m_size = 0; ///< of all of them, in bytes
    QElapsedTimer m_waiting;
    bool m_isReported = false;
};
