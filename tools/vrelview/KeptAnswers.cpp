#include "tools/vrelview/KeptAnswers.h"

#include <algorithm>

std::optional<HttpAnswer> KeptAnswers::find(QByteArray const& target)
{
    std::lock_guard const lock(m_mutex);
    auto const found = m_kept.find(target);
    if (found == m_kept.end())
        return std::nullopt;
    Kept const& kept = found->second;
    if (kept.isOutdated && Clock::now() >= kept.until)
        return std::nullopt;
    if (kept.isOutdated)
        m_renewal = std::min(m_renewal.value_or(kept.until), kept.until);
    return kept.answer;
}

void KeptAnswers::keep(QByteArray const& target, HttpAnswer const& answer, quint64 state,
                       Clock::duration cost)
{
    constexpr int kMost = 4 * 1024 * 1024;
    constexpr auto kCheap = std::chrono::milliseconds(100);
    constexpr int kPause = 4; // times the cost
    int const size = answer.body.size() + target.size();
    std::lock_guard const lock(m_mutex);
    if (size > kMost)
        return;
    if (m_size + size > kMost) {
        m_kept.clear();
        m_size = 0;
    }
    auto const now = Clock::now();
    Kept& kept = m_kept[target];
    m_size += size - (kept.answer.body.isEmpty() ? 0 : kept.answer.body.size() + target.size());
    kept = {answer, cost < kCheap ? now : now + kPause * cost, state != m_state};
}

quint64 KeptAnswers::state() const
{
    std::lock_guard const lock(m_mutex);
    return m_state;
}

void KeptAnswers::setOutdated(QByteArray const& prefix)
{
    std::lock_guard const lock(m_mutex);
    ++m_state;
    for (auto& [target, kept] : m_kept)
        kept.isOutdated = kept.isOutdated || target.startsWith(prefix);
}

bool KeptAnswers::isRenewalDue()
{
    std::lock_guard const lock(m_mutex);
    bool const isDue = m_renewal && Clock::now() >= *m_renewal;
    if (isDue)
        m_renewal.reset();
    return isDue;
}
