#pragma once

#include "tools/vrelview/HttpMessage.h"

#include <chrono>
#include <map>
#include <mutex>
#include <optional>

/**
 * Answers that are given again until what they are made of has changed, so that any number of readers costs
 * one look. One that took long is given for some time more, or a busy ledger would be read without a pause.
 * From any thread.
 */
class KeptAnswers
{
public:
    using Clock = std::chrono::steady_clock;

    /** Nothing when it is to be made. */
    std::optional<HttpAnswer> find(QByteArray const& target);

    /**
     * @param state what `state` yielded before the answer was made
     * @param cost the time that this took
     */
    void keep(QByteArray const& target, HttpAnswer const& answer, quint64 state, Clock::duration cost);

    quint64 state() const;

    /** Answers made so far are those of before; with a prefix of targets, only these. */
    void setOutdated(QByteArray const& prefix = {});

    /** Whether someone got an answer of before that would be made anew now; once for each. */
    bool isRenewalDue();

private:
    struct Kept
    {
        HttpAnswer answer;
        Clock::time_point until; ///< given even though it is of before
        bool isOutdated = false;
    };

    mutable std::mutex m_mutex;
    std::map<QByteArray, Kept> m_kept; ///< by target
    int m_size = 0;
    quint64 m_state = 0;
    std::optional<Clock::time_point> m_renewal;
};
