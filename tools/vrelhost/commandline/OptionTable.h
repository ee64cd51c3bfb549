#pragma once

#include "tools/common/CommandLine.h"
#include "tools/vrelhost/request/Refusal.h"

#include <QCommandLineParser>
#include <QList>

#include <cstddef>
#include <limits>
#include <optional>
#include <variant>

/**
 * An option, and the member of a struct of values that takes its value when it is given. One that takes none
 * is read by other means.
 */
template <typename Values>
struct OptionRow
{
    struct Number
    {
        static constexpr int kMost = std::numeric_limits<int>::max();

        std::optional<int> Values::*member;
        char const* unit;
        int least = 1;
        int most = kMost;
        bool hasNoLimit = false; ///< -1 is one, too
    };

    char const* name;
    char const* value; ///< what its value is called; empty for a switch
    std::variant<std::monostate, bool Values::*, QString Values::*, std::optional<QString> Values::*, Number>
        target;
    char const* help;
};

template <typename Values, std::size_t N>
QList<QCommandLineOption> definitions(OptionRow<Values> const (&rows)[N])
{
    QList<QCommandLineOption> options;
    for (OptionRow<Values> const& row : rows)
        options << option(QLatin1String(row.name), row.help, row.value);
    return options;
}

template <typename Values>
int readNumber(QString const& text, OptionRow<Values> const& row,
               typename OptionRow<Values>::Number const& number)
{
    constexpr int kNoLimit = -1;
    bool isNumber = false;
    int const value = text.toInt(&isNumber);
    bool const isNoLimit = number.hasNoLimit && value == kNoLimit;
    if (!isNumber || !(isNoLimit || (value >= number.least && value <= number.most)))
        throw Refusal(QStringLiteral("--%1 must be a number of %2 from %3 to %4%5")
                          .arg(QLatin1String(row.name), QLatin1String(number.unit))
                          .arg(number.least)
                          .arg(number.most)
                          .arg(QLatin1String(number.hasNoLimit ? ", or -1 for no limit" : "")));
    return value;
}

/** Fills in what is given; throws Refusal for a value that makes no sense. */
// Not inline: of a small struct GCC would warn that it has no room for types that none of its members has.
template <typename Values, std::size_t N>
[[gnu::noinline]] void readOptions(QCommandLineParser const& parser, OptionRow<Values> const (&rows)[N],
                                   Values& values)
{
    using Row = OptionRow<Values>;
    for (Row const& row : rows) {
        QLatin1String const name(row.name);
        if (!parser.isSet(name))
            continue;
        QString const text = parser.value(name);
        if (auto const* const isGiven = std::get_if<bool Values::*>(&row.target))
            values.*(*isGiven) = true;
        else if (auto const* const value = std::get_if<QString Values::*>(&row.target))
            values.*(*value) = text;
        else if (auto const* const optional = std::get_if<std::optional<QString> Values::*>(&row.target))
            values.*(*optional) = text;
        else if (auto const* const number = std::get_if<typename Row::Number>(&row.target))
            values.*(number->member) = readNumber(text, row, *number);
    }
}
