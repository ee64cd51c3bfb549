#pragma once

#include <QString>

#include <limits>
#include <optional>

/** Which services of a ledger are asked for; what is not set holds for all. */
struct LedgerFilter
{
    std::optional<QString> job;
    std::optional<QString> serial; ///< the whole of it
    std::optional<QString> station;
    std::optional<QString> result;                     ///< one of isResult
    qint64 since = std::numeric_limits<qint64>::min(); ///< of their begin, in ms since 1970 (UTC)
    qint64 until = std::numeric_limits<qint64>::max(); ///< before this
    qint64 limit = std::numeric_limits<qint64>::max(); ///< of the rows that are yielded
    qint64 offset = 0;

    /** Whether it is a word for how a board's service ended or stands. */
    static bool isResult(QString const& word);

    /** All of these words, for people. */
    static QString resultWords();

    /**
     * A time as ISO 8601 has it, UTC without a zone, or as an age such as 90s, 15m, 8h, 3d.
     * @param now what ages count from
     * @return nothing, with the cause in `error`, when it is neither
     */
    static std::optional<qint64> readTime(QString const& text, qint64 now, QString& error);
};
