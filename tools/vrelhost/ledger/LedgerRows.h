#pragma once

#include <QString>

#include <optional>
#include <vector>

/**
 * @file
 * What a ledger tells. Times are in milliseconds since 1970 (UTC), durations in milliseconds, results the
 * words of LedgerFilter, those of steps "success", "failure" and "not run".
 */

/** How far a recipe came, such as "5/5". @param at the command that is under way, broke off or failed, if any
 */
QString stepText(qint64 done, qint64 all, QString const& at);

struct LedgerStep
{
    int number = 0; ///< from 1
    QString command;
    QString result;
    qint64 duration = 0; ///< 0 when it was not run
    QString error;       ///< null without one
};

/** A file that a service read. */
struct LedgerInput
{
    QString name;
    qint64 size = 0;
    QString sha256; ///< in hexadecimal digits
};

/** One time that one board was served. */
struct LedgerService
{
    QString service; ///< a UUID
    QString serial;
    QString path; ///< null when it was not known
    QString job;
    QString station;
    QString route;
    qint64 began = 0;
    std::optional<qint64> ended; ///< nothing when it is under way or interrupted; duration likewise
    std::optional<qint64> duration;
    QString result;
    QString error;         ///< null without one
    QString log;           ///< the log file; null without one
    bool isRecipe = false; ///< otherwise its one step is a request
    std::vector<LedgerStep> steps;
    std::vector<LedgerInput> inputs;
    QString tool;
    QString library;

    /** As stepText; null for a request. */
    QString step() const;
};

/** A board in a job, by its last service. */
struct LedgerBoard
{
    QString serial;
    QString job;
    QString station;
    QString path; ///< null when it was not known
    QString result;
    qint64 attempts = 0;
    qint64 first = 0;           ///< when the first service began
    std::optional<qint64> last; ///< when the last one ended
    QString step;               ///< as that of a service
    QString error;
};

/** A job in numbers. */
struct LedgerSummary
{
    struct Step
    {
        int number = 0;
        QString command;
        qint64 runs = 0;
        qint64 failures = 0;
        double median = 0;
        qint64 longest = 0;
    };

    /** Of boards whose last service failed. */
    struct Error
    {
        QString text;
        std::optional<qint64> step; ///< the one that failed, from 1; nothing when none did
        QString command;
        qint64 boards = 0;
    };

    QString job;
    qint64 boards = 0;
    qint64 success = 0;
    qint64 failure = 0;
    qint64 interrupted = 0;
    qint64 underWay = 0;
    qint64 firstPass = 0;        ///< boards whose first service in the job succeeded
    qint64 firstPassAtRest = 0;  ///< those of them that are not under way
    qint64 began = 0;            ///< of the first service
    std::optional<qint64> ended; ///< of the last end
    std::vector<Step> steps;
    std::vector<Error> errors; ///< that of most boards first

    std::optional<double> firstPassYield() const;
    std::optional<double> yield() const;
    std::optional<double> perHour() const;
};
