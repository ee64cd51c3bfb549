#include "tools/vrelhost/ledger/LedgerRows.h"

#include <algorithm>

namespace {

std::optional<double> share(qint64 part, qint64 whole)
{
    return whole > 0 ? std::make_optional(static_cast<double>(part) / static_cast<double>(whole))
                     : std::nullopt;
}

} // namespace

QString stepText(qint64 done, qint64 all, QString const& at)
{
    QString const text = QStringLiteral("%1/%2").arg(at.isNull() ? done : done + 1).arg(all);
    return at.isNull() ? text : text + QLatin1Char(' ') + at;
}

QString LedgerService::step() const
{
    if (!isRecipe)
        return QString();
    auto const at = std::find_if(steps.begin(), steps.end(), [](LedgerStep const& step) {
        return step.result != QLatin1String("success");
    });
    bool const isReached = at != steps.end() && (!ended || at->result == QLatin1String("failure"));
    return stepText(at - steps.begin(), static_cast<qint64>(steps.size()),
                    isReached ? at->command : QString());
}

std::optional<double> LedgerSummary::firstPassYield() const
{
    return share(firstPassAtRest, boards - underWay);
}

std::optional<double> LedgerSummary::yield() const
{
    return share(success, boards - underWay);
}

std::optional<double> LedgerSummary::perHour() const
{
    constexpr qint64 kHour = 3600000;
    constexpr qint64 kFewest = 2;
    return boards < kFewest || !ended ? std::nullopt : share(success * kHour, *ended - began);
}
