#pragma once

#include "tools/vrelhost/ledger/LedgerRows.h"

#include <deque>
#include <future>
#include <mutex>
#include <optional>
#include <sys/types.h>
#include <tuple>

/**
 * The files that boards are served with, in size and SHA-256. A file is read once, for however many boards at
 * once, until it changes. Any thread.
 */
class InputFiles
{
public:
    /** @return nothing for what is no regular file, or cannot be read */
    std::optional<LedgerInput> describe(QString const& name);

private:
    /** Device, inode, size, and times of change in seconds and nanoseconds. */
    using Stamp = std::tuple<dev_t, ino_t, off_t, time_t, long, time_t, long>;
    using Hash = std::shared_future<QString>; ///< null when it could not be read

    std::mutex m_mutex;
    std::deque<std::pair<Stamp, Hash>> m_known; ///< the latest last
};
