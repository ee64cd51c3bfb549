#include "tools/vrelhost/ledger/LedgerFilter.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QStringList>

namespace {

QStringList const& words()
{
    static QStringList const s_words = {QStringLiteral("success"), QStringLiteral("failure"),
                                        QStringLiteral("interrupted"), QStringLiteral("under way")};
    return s_words;
}

/** In milliseconds. */
qint64 lengthOf(QChar unit)
{
    constexpr qint64 kSecond = 1000;
    constexpr qint64 kMinute = 60 * kSecond;
    constexpr qint64 kHour = 60 * kMinute;
    constexpr qint64 kDay = 24 * kHour;
    switch (unit.toLatin1()) {
    case 's':
        return kSecond;
    case 'm':
        return kMinute;
    case 'h':
        return kHour;
    default:
        return kDay;
    }
}

} // namespace

bool LedgerFilter::isResult(QString const& word)
{
    return words().contains(word);
}

QString LedgerFilter::resultWords()
{
    return words().join(QStringLiteral(", "));
}

std::optional<qint64> LedgerFilter::readTime(QString const& text, qint64 now, QString& error)
{
    static QRegularExpression const s_age(QStringLiteral("\\A([0-9]{1,9})([smhd])\\z"));
    auto const age = s_age.match(text);
    if (age.hasMatch())
        return now - age.capturedRef(1).toLongLong() * lengthOf(age.capturedRef(2).at(0));
    QDateTime time = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (time.timeSpec() == Qt::LocalTime)
        time.setTimeSpec(Qt::UTC);
    if (time.isValid())
        return time.toMSecsSinceEpoch();
    error =
        QStringLiteral("'%1' is not a time: give one such as 2024-05-31T08:00:00Z (UTC without a zone), or "
                       "an age such as 90s, 15m, 8h or 3d")
            .arg(text);
    return std::nullopt;
}
