#include "Journal.h"

#include "Call.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <deque>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace {

QLatin1String const kMessages("messages");
QLatin1String const kResult("result");
QLatin1String const kError("error");
QLatin1String const kGave("gave");

constexpr int kNoSuchCall = 1;

/** Takes an operation's messages down on their way to the caller. */
struct Messages
{
    VrelApiLogCallback log = nullptr;
    void* context = nullptr;
    std::mutex mutex;
    QJsonArray taken;

    static void take(unsigned long level, char const* text, void* messages)
    {
        auto& self = *static_cast<Messages*>(messages);
        std::unique_lock<std::mutex> lock(self.mutex);
        self.taken.append(QJsonArray{static_cast<qint64>(level), QString::fromUtf8(text)});
        lock.unlock();
        if (self.log != nullptr)
            self.log(level, text, self.context);
    }
};

class Recording : public Journal
{
public:
    explicit Recording(QString const& file)
        : m_file(file)
    {
        if (!m_file.open(QIODevice::Append))
            qWarning("Cannot record to '%s': %s", qPrintable(file), qPrintable(m_file.errorString()));
    }

    int answer(Call const& call, char* errorText, VrelApiLogCallback log, void* context,
               Pass const& pass) override
    {
        QJsonObject line = call.question();
        line.insert("time", QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
        Messages& messages = newMessages(log, context);
        QElapsedTimer timer;
        timer.start();
        int const result = pass(Messages::take, &messages);
        line.insert("duration", timer.elapsed());
        line.insert(kResult, result);
        if (result == 0)
            line.insert(kGave, call.answer());
        else
            line.insert(kError, QString::fromUtf8(errorText,
                                                  static_cast<int>(qstrnlen(errorText, kVrelErrorTextSize))));
        std::unique_lock<std::mutex> lock(messages.mutex);
        line.insert(kMessages, messages.taken);
        lock.unlock();
        write(QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n');
        return result;
    }

private:
    /** They stay: a thread of the vendor library may log when its operation is long over. */
    Messages& newMessages(VrelApiLogCallback log, void* context)
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        Messages& messages = m_messages.emplace_back();
        messages.log = log;
        messages.context = context;
        return messages;
    }

    void write(QByteArray const& line)
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        if (m_file.isOpen() && (m_file.write(line) != line.size() || !m_file.flush()))
            qWarning("Cannot record to '%s': %s", qPrintable(m_file.fileName()),
                     qPrintable(m_file.errorString()));
    }

    std::mutex m_mutex;
    std::deque<Messages> m_messages;
    QFile m_file;
};

class Playback : public Journal
{
public:
    explicit Playback(QString const& fileName)
    {
        QFile file(fileName);
        if (!file.open(QIODevice::ReadOnly))
            qWarning("Cannot play '%s': %s", qPrintable(fileName), qPrintable(file.errorString()));
        while (!file.atEnd())
            m_lines.push_back({QJsonDocument::fromJson(file.readLine()).object()});
    }

    int answer(Call const& call, char* errorText, VrelApiLogCallback log, void* context,
               Pass const& /*pass*/) override
    {
        auto const line = take(call);
        if (!line)
            return fail(call, "The recording has no further call like", errorText);
        QJsonArray const messages = line->value(kMessages).toArray();
        for (auto const& message : messages) {
            if (log != nullptr)
                log(static_cast<unsigned long>(message[0].toInt()), message[1].toString().toUtf8(), context);
        }
        int const result = line->value(kResult).toInt(kNoSuchCall);
        if (result == 0 && !call.give(line->value(kGave).toObject()))
            return fail(call, "The recording lacks a part of the answer, or a file cannot be written, of",
                        errorText);
        if (result != 0)
            say(line->value(kError).toString(), errorText);
        return result;
    }

private:
    struct Line
    {
        QJsonObject json;
        bool isPlayed = false;
    };

    /** The first line of this call that was not played; without one, of what is asked again and again, the
     * last. */
    std::optional<QJsonObject> take(Call const& call)
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        Line* last = nullptr;
        for (Line& line : m_lines) {
            if (!call.isOf(line.json))
                continue;
            last = &line;
            if (!std::exchange(line.isPlayed, true))
                return line.json;
        }
        return last != nullptr && !call.hasDevice() ? std::make_optional(last->json) : std::nullopt;
    }

    static int fail(Call const& call, char const* what, char* errorText)
    {
        QByteArray const question = QJsonDocument(call.question()).toJson(QJsonDocument::Compact);
        say(QStringLiteral("%1 %2").arg(QLatin1String(what), QString::fromUtf8(question)), errorText);
        return kNoSuchCall;
    }

    static void say(QString const& text, char* errorText)
    {
        if (errorText != nullptr && !text.isEmpty())
            qstrncpy(errorText, text.toUtf8(), kVrelErrorTextSize);
    }

    std::mutex m_mutex;
    std::vector<Line> m_lines;
};

} // namespace

std::unique_ptr<Journal> Journal::recordTo(QString const& file)
{
    return std::make_unique<Recording>(file);
}

std::unique_ptr<Journal> Journal::playFrom(QString const& file)
{
    return std::make_unique<Playback>(file);
}
