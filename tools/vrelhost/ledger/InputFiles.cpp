#include "tools/vrelhost/ledger/InputFiles.h"

#include <QCryptographicHash>
#include <QFile>

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/** Of files that are read for one board each nothing needs to be kept. */
constexpr std::size_t kMostKnown = 64;

QString hashOf(QString const& name)
{
    QFile file(name);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) || !hash.addData(&file))
        return QString();
    return QString::fromLatin1(hash.result().toHex());
}

} // namespace

std::optional<LedgerInput> InputFiles::describe(QString const& name)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(name).constData(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    Stamp const stamp = {status.st_dev,         status.st_ino,          status.st_size,
                         status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_ctim.tv_sec,
                         status.st_ctim.tv_nsec};
    std::unique_lock lock(m_mutex);
    auto known = std::find_if(m_known.begin(), m_known.end(),
                              [&stamp](auto const& entry) { return entry.first == stamp; });
    std::promise<QString> promise;
    bool const isNew = known == m_known.end();
    if (isNew && m_known.size() == kMostKnown)
        m_known.pop_front();
    Hash const hash =
        isNew ? m_known.emplace_back(stamp, promise.get_future().share()).second : known->second;
    lock.unlock();
    if (isNew)
        promise.set_value(hashOf(name));
    QString const& text = hash.get();
    return text.isNull() ? std::nullopt : std::make_optional(LedgerInput{name, status.st_size, text});
}
