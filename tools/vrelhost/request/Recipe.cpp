#include "tools/vrelhost/request/Recipe.h"

#include "external/LogHandler.h"
#include "framework/JsonText.h"
#include "tools/vrelhost/request/Placeholders.h"
#include "tools/vrelhost/request/Refusal.h"
#include "tools/vrelhost/request/RequestRules.h"
#include "tools/vrelhost/request/SourceFiles.h"

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

/** What `parse` makes of the text that an argument stands for. */
template <typename Parsed>
Parsed readAs(std::optional<Parsed> (*parse)(QByteArray const& text, QString& error), QString const& argument)
{
    QByteArray const text = argument.isEmpty() || isJson(argument) ? argument.toUtf8() : content(argument);
    if (text.trimmed().isEmpty())
        refuse(argument, QStringLiteral("it is empty"));
    QString cause;
    auto const parsed = parse(text, cause);
    if (!parsed)
        refuse(argument, cause);
    return *parsed;
}

/** Judges steps in their order, as far as they are the same for every device. */
class StepJudge
{
public:
    explicit StepJudge(LogHandler& log)
        : m_log(log)
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
        }
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
        if (!RequestRules::accept(request.fill(m_sample), m_log))
            throw Refusal(QString());
    }

    void judgeProgram(QStringList words)
    {
        if (!m_sample.change(words.constFirst()))
            m_files.requireProgram(m_sample.fill(words.constFirst()));
        for (QString& word : words)
            word = m_sample.fill(word);
        m_files.addArguments(words.mid(1));
    }

    LogHandler& m_log;
    SourceFiles m_files;
    Placeholders m_sample{{QStringLiteral("0"), QStringLiteral("0")}};
};

} // namespace

Recipe Recipe::read(QString const& argument)
{
    constexpr int kDigits = 12;
    QJsonDocument const json = readAs(parseJson, argument);
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
    return recipe;
}

bool Recipe::accept(LogHandler& log)
{
    StepJudge judge(log);
    for (Step& step : steps) {
        try {
            isArray ? judge.judge(step) : judge.judgeAlone(step);
        } catch (Refusal const& refusal) {
            int const number = static_cast<int>(&step - steps.data()) + 1;
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

bool Recipe::has(char const* command) const
{
    return std::any_of(steps.begin(), steps.end(),
                       [command](Step const& step) { return step.command == QLatin1String(command); });
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
    auto const isShared = [](Step const& step) {
        auto const* const request = step.as<RequestTemplate>();
        if (request == nullptr)
            return false;
        QString const name = RequestRules::writtenFile(request->request());
        auto const one = request->fill(Placeholders({QStringLiteral("A"), QStringLiteral("1-1")}));
        auto const other = request->fill(Placeholders({QStringLiteral("B"), QStringLiteral("1-2")}));
        return !name.isEmpty() && RequestRules::writtenFile(one) == RequestRules::writtenFile(other);
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
    return readAs(parseJsonObject, argument);
}
