#include "CommandWorker.h"

#include "commands/VrelFlashUtils.h"
#include "host/framework/LogSink.h"
#include "plugin/VrelManager.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <map>
#include <unistd.h>
#include <utility>

namespace {

std::mutex s_mutex; ///< guards the table of handlers, and every worker's error

/** Whose lines are whose. Handlers stay: a thread of the vendor library may log when its operation is long
 * over. */
std::map<LogHandler const*, CommandWorker*>& handlers()
{
    static auto& s_handlers = *new std::map<LogHandler const*, CommandWorker*>;
    return s_handlers;
}

LogHandler& newHandler(CommandWorker* worker)
{
    auto& handler = *new LogHandler;
    std::lock_guard<std::mutex> const lock(s_mutex);
    handlers().emplace(&handler, worker);
    return handler;
}

} // namespace

/** Waits in an event loop, which time-out and cancellation reach, and ends with all that it has started. */
class CommandWorker::Downloader : public QProcess, public VrelFlashUtils::ExeRunner
{
public:
    explicit Downloader(CommandWorker& worker)
        : m_worker(worker)
    {
    }

    void run(QProcess& /*process*/, QString const& exe, QStringList const& args,
             unsigned long long timeout) override
    {
        setStandardInputFile(nullDevice());
        start(exe, args, ReadOnly);
        if (!waitForStarted())
            return;
        connect(&m_worker, &CommandWorker::cancelled, this,
                [this] { end("Cancelled: the downloader was ended"); });
        if (m_worker.m_isCancelled) // before that was connected
            end("Cancelled: the downloader was ended");
        QTimer timer;
        connect(&timer, &QTimer::timeout, this,
                [this] { end("The downloader's time was over; it was ended"); });
        if (static_cast<int>(timeout) >= 0)
            timer.start(static_cast<int>(timeout));
        QEventLoop loop;
        connect(this, qOverload<int, ExitStatus>(&QProcess::finished), &loop, &QEventLoop::quit);
        if (state() != NotRunning)
            loop.exec();
        success = exitStatus() == NormalExit && exitCode() == 0;
    }

protected:
    void setupChildProcess() override { ::setpgid(0, 0); }

private:
    void end(char const* why)
    {
        m_worker.fail(why);
        ::kill(-static_cast<pid_t>(processId()), SIGKILL);
    }

    CommandWorker& m_worker;
};

CommandWorker::CommandWorker(Route& route, QString serial, std::vector<JsonObject> requests)
    : m_route(route)
    , m_serial(std::move(serial))
    , m_requests(std::move(requests))
    , m_log(newHandler(this))
    , m_thread(QThread::create([this] { work(); }))
{
}

CommandWorker::~CommandWorker()
{
    cancel();
    m_thread->wait();
    std::lock_guard<std::mutex> const lock(s_mutex);
    handlers()[&m_log] = nullptr;
}

void CommandWorker::start()
{
    m_thread->start();
}

void CommandWorker::cancel()
{
    m_isCancelled = true;
    Q_EMIT cancelled();
}

void CommandWorker::dispatch(LogLine const& line)
{
    static QRegularExpression const s_percent(QStringLiteral("\\b(\\d{1,2}|100) ?%"));
    QString const text = line.text + line.label + line.value; // a labelled line has no text
    std::lock_guard<std::mutex> const lock(s_mutex);
    auto const user = handlers().find(line.origin);
    if (user == handlers().end() || user->second == nullptr) {
        static_cast<void>(std::fprintf(stderr, "%s: %s\n", qPrintable(line.prefix), qPrintable(text)));
        return;
    }
    if (line.level <= kErrorLevel)
        user->second->m_error = text;
    Q_EMIT user->second->line(line.level, text);
    auto const percent = s_percent.match(text);
    if (line.level == kProgressLevel && percent.hasMatch())
        Q_EMIT user->second->progress(percent.captured(1).toInt());
}

void CommandWorker::work()
{
    bool succeeded = true;
    {
        // Held from the first request to the last, but not at all while downloaders run.
        VrelApiManager const api =
            m_route.downloader.isEmpty() ? m_route.manager.fetchApi() : VrelApiManager();
        succeeded = std::all_of(m_requests.begin(), m_requests.end(),
                                [&](JsonObject const& request) { return carryOut(request, api); });
    }
    std::unique_lock<std::mutex> lock(s_mutex);
    QString const error = succeeded ? QString() : m_error;
    lock.unlock();
    Q_EMIT finished(succeeded, error);
}

bool CommandWorker::carryOut(JsonObject const& request, VrelApiManager const& api)
{
    VrelFlashUtils command;
    if (!command.parseArguments(request, m_log))
        return false;
    QString const& exe = m_route.downloader;
    std::unique_lock<std::mutex> downloaderRuns(m_route.downloaderRuns, std::defer_lock);
    if (!exe.isEmpty())
        downloaderRuns.lock();
    // What the library refuses without a word is told here.
    if (m_isCancelled)
        return fail(QStringLiteral("Cancelled: %1 was not begun").arg(command.getCommandId()));
    if (exe.isEmpty() && !api)
        return fail(QStringLiteral("The vendor API is not available: another process may be using it"));
    if (exe.isEmpty())
        return command.run(api, m_serial, m_log);
    if (!QFileInfo(exe).isExecutable())
        return fail(QStringLiteral("Cannot run the downloader '%1'").arg(exe));
    Downloader downloader(*this);
    command.commonRun(downloader, exe, m_serial, m_log, downloader,
                      static_cast<unsigned long long>(m_route.timeout));
    return downloader.success;
}

bool CommandWorker::fail(QString const& error)
{
    m_log.logMessage(kErrorLevel, error);
    return false;
}
