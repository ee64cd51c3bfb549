#include "tools/vrelhost/request/Recipe.h"

#include "external/LogHandler.h"
#include "framework/JsonText.h"
#include "tools/vrelhost/request/Placeholders.h"
#include "tools/vrelhost/request/Refusal.h"
#include "tools/vrelhost/request/RequestRules.h"
#include "tools/vrelhost/request/SourceFiles.h"
#include "tools/vrelhost/request/TableFile.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>
#include <unistd.h>

namespace {

/** Far above any request; keeps a wrong path such as a device file from filling the memory. */
constexpr qint64 kLargestRequest = qint64{1024} * 1024;

bool open(QFile& file, QString const& argument)
{
    if (argument == QLatin1String("-"))
        return file.open(STDIN_FILENO, QIODevice::ReadOnly); // as a stream it would end at a pause
    file.setFileName(argument);
    return file.open(QIODevice::ReadOnly);
}

[[noreturn]] void refuse(QString const& argument, QString const& cause)
{
    throw Refusal(QStringLiteral("Cannot read the request '%1': %2").arg(argument, cause));
}

/** All that a file or standard input holds. */
QByteArray content(QString const& argument)
{
    QFile file;
    QByteArray text;
    if (open(file, argument))
        text = file.read(kLargestRequest + 1);
    if (file.error() != QFileDevice::NoError)
        refuse(argument, file.errorString());
    if (text.size() > kLargestRequest)
        refuse(argument, QStringLiteral("it is larger than %1 bytes").arg(kLargestRequest));
    return text;
}

bool isJson(QString const& argument)
{
    return argument.startsWith(QLatin1Char('{')) || argument.startsWith(QLatin1Char('['));
}

/** The text that an argument stands for. */
QByteArray textOf(QString const& argument)
{
    QByteArray const text = argument.isEmpty() || isJson(argument) ? argument.toUtf8() : content(argument);
    if (text.trimmed().isEmpty())
        refuse(argument, QStringLiteral("it is empty"));
    return text;
}

template <typename Parsed>
Parsed parsed(std::optional<Parsed> (*parse)(QByteArray const& text, QString& error), QByteArray const& text,
              QString const& argument)
{
    QString cause;
    auto const result = parse(text, cause);
    if (!result)
        refuse(argument, cause);
    return *result;
}

/** A device's name, or a text of a table without rows. */
QString const kSample = QStringLiteral("0");

/** Judges steps in their order, as far as they are the same for every device. */
class StepJudge
{
public:
    StepJudge(bool isForMany, LogHandler& log)
        : m_isForMany(isForMany)
        , m_log(log)
    {
    }

    /** Throws Refusal; the cause is empty when it was logged. */
    void judge(Step& step)
    {
        step.parse();
        if (auto const* const request = step.as<RequestTemplate>()) {
            judgeRequest(*request);
            m_files.addRequest(request->fixedPart(m_sample));
        } else if (auto const* const exec = step.as<Step::Exec>()) {
            judgeProgram(exec->words);
        } else if (auto const* const row = step.as<Step::Row>()) {
            judgeTable(row->table);
        }
        m_asked += step.names();
    }

    /** A request alone, whose files are not required. */
    void judgeAlone(Step& step)
    {
        step.parseRequest();
        judgeRequest(*step.as<RequestTemplate>());
    }

private:
    void judgeRequest(RequestTemplate const& request)
    {
        for (auto const& table : m_tables)
            judgeRows(request, *table);
        if (!RequestRules::accept(request.fill(m_sample), m_log))
            throw Refusal(QString());
        if (m_isForMany)
            RequestRules::requireShareable(request.fixedPart(m_sample));
    }

    /** Values of a column may be no numbers. */
    void judgeRows(RequestTemplate const& request, TableFile& file) const
    {
        auto const table = file.current();
        Placeholders values = m_sample;
        std::size_t row = 0;
        try {
            for (; row < table->rows().size(); ++row) {
                TableFile::fill(values, *table, row);
                request.fill(values);
            }
        } catch (Refusal const& refusal) {
            throw Refusal(QStringLiteral("row %1 of '%2' cannot be used: %3")
                              .arg(row + 1)
                              .arg(file.name(), refusal.cause()));
        }
    }

    void judgeProgram(QStringList words)
    {
        if (!m_sample.change(words.constFirst()))
            m_files.requireProgram(m_sample.fill(words.constFirst()));
        for (QString& word : words)
            word = m_sample.fill(word);
        m_files.addArguments(words.mid(1));
    }

    void judgeTable(std::shared_ptr<TableFile> const& file)
    {
        for (QString const& column : file->placeholders()) {
            if (m_sample.has(column))
                throw Refusal(QStringLiteral("the table '%1' has a column '%2', and so has an earlier one")
                                  .arg(file->name(), column));
            if (m_asked.contains(column))
                throw Refusal(QStringLiteral("an earlier step uses {%1}, which the table '%2' provides")
                                  .arg(column, file->name()));
            m_sample.add(column, kSample);
        }
        auto const table = file->current();
        if (!table->rows().empty())
            TableFile::fill(m_sample, *table, 0);
        m_tables.push_back(file);
    }

    bool const m_isForMany;
    LogHandler& m_log;
    SourceFiles m_files;
    Placeholders m_sample{{kSample, kSample}};
    QStringList m_asked; ///< placeholders that steps have asked for
    std::vector<std::shared_ptr<TableFile>> m_tables;
};

} // namespace

Recipe Recipe::read(QString const& argument)
{
    constexpr int kDigits = 12;
    QByteArray const text = textOf(argument);
    QJsonDocument const json = parsed(parseJson, text, argument);
    Recipe recipe;
    recipe.isArray = json.isArray();
    recipe.digest = QString::fromLatin1(
        QCryptographicHash::hash(json.toJson(QJsonDocument::Compact), QCryptographicHash::Sha256)
            .toHex()
            .left(kDigits));
    for (QJsonValue const value : recipe.isArray ? json.array() : QJsonArray{json.object()})
        recipe.steps.push_back({value, {}});
    if (recipe.steps.empty())
        refuse(argument, QStringLiteral("it is a recipe without steps"));
    recipe.repeatedKey = findRepeatedKey(text);
    return recipe;
}

bool Recipe::accept(bool isForMany, LogHandler& log)
{
    StepJudge judge(isForMany, log);
    for (Step& step : steps) {
        auto const number = static_cast<int>(&step - steps.data()) + 1;
        try {
            if (repeatedKey && (!isArray || repeatedKey->element + 1 == number))
                throw Refusal(QStringLiteral("\"%1\" appears twice as a key").arg(repeatedKey->key));
            isArray ? judge.judge(step) : judge.judgeAlone(step);
        } catch (Refusal const& refusal) {
            if (isArray)
                log.logMessage(kErrorLevel, rejection(number, refusal.cause()));
            else if (!refusal.cause().isEmpty())
                log.logMessage(kErrorLevel, refusal.cause());
            return false;
        }
    }
    return true;
}

bool Recipe::needsPath() const
{
    return std::any_of(steps.begin(), steps.end(),
                       [](Step const& step) { return step.names().contains(QStringLiteral("path")); });
}

int Recipe::find(char const* command) const
{
    auto const found = std::find_if(steps.begin(), steps.end(), [command](Step const& step) {
        return step.command == QLatin1String(command);
    });
    return found == steps.end() ? 0 : static_cast<int>(found - steps.begin()) + 1;
}

QStringList Recipe::commands() const
{
    QStringList commands;
    for (Step const& step : steps)
        commands << step.command;
    return commands;
}

int Recipe::sharedFileStep() const
{
    // Other boards come to the same place.
    Placeholders one({QStringLiteral("A"), QStringLiteral("1-1")});
    Placeholders other({QStringLiteral("B"), QStringLiteral("1-1")});
    auto const isShared = [&](Step const& step) {
        if (auto const* const row = step.as<Step::Row>()) {
            for (QString const& column : row->table->placeholders()) {
                one.add(column, QStringLiteral("A"));
                other.add(column, QStringLiteral("B"));
            }
        }
        auto const* const request = step.as<RequestTemplate>();
        QString const name = request == nullptr ? QString() : RequestRules::writtenFile(request->request());
        return !name.isEmpty() &&
               RequestRules::canonicalName(one.fill(name)) == RequestRules::canonicalName(other.fill(name));
    };
    auto const shared = std::find_if(steps.begin(), steps.end(), isShared);
    return shared == steps.end() ? 0 : static_cast<int>(shared - steps.begin()) + 1;
}

QString Recipe::stepName(int number) const
{
    QString const& command = steps.at(static_cast<std::size_t>(number) - 1).command;
    return QStringLiteral("Step %1%2")
        .arg(QString::number(number), command.isEmpty() ? command : QStringLiteral(" (%1)").arg(command));
}

QString Recipe::rejection(int number, QString const& cause) const
{
    return QStringLiteral("%1 of the recipe is rejected%2; nothing was run")
        .arg(stepName(number), cause.isEmpty() ? cause : QStringLiteral(": ") + cause);
}

JsonObject readRequest(QString const& argument)
{
    return parsed(parseJsonObject, textOf(argument), argument);
}
