#include "CommandWorker.h"

#include "host/framework/JsonText.h"
#include "host/framework/LogSink.h"
#include "plugin/VrelManager.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QSocketNotifier>
#include <QTextStream>
#include <QThread>

#include <algorithm>
#include <iterator>
#include <map>
#include <unistd.h>
#include <utility>

namespace {

/** USB path → serial number. */
using Devices = std::map<QString, QString>;

/** Asks the vendor API for its devices again and again, on a thread of its own, since that may take its time.
 */
class DeviceWatch : public QObject
{
    Q_OBJECT

public:
    explicit DeviceWatch(CommandWorker::Route& route)
        : m_route(route)
        , m_thread(QThread::create([this] {
            for (; !m_thread->isInterruptionRequested(); QThread::msleep(kInterval))
                look();
        }))
    {
    }

    ~DeviceWatch() override
    {
        m_thread->requestInterruption();
        m_thread->wait();
    }

    void start() { m_thread->start(); }

Q_SIGNALS:
    void appeared(QString const& path, QString const& serial);
    void vanished(QString const& path, QString const& serial);

private:
    static constexpr unsigned long kInterval = 100;

    void look()
    {
        std::unique_lock<std::mutex> const noDownloader(m_route.downloaderRuns, std::try_to_lock);
        VrelApiManager api = noDownloader ? m_route.manager.fetchApi() : VrelApiManager();
        Devices devices;
        if (api.getDeviceList(devices) != 0)
            return; // what is not known has not vanished
        Devices const before = std::exchange(m_devices, devices);
        for (auto const& [path, serial] : difference(before, devices))
            Q_EMIT vanished(path, serial);
        for (auto const& [path, serial] : difference(devices, before))
            Q_EMIT appeared(path, serial);
    }

    static Devices difference(Devices const& all, Devices const& without)
    {
        Devices rest;
        std::set_difference(all.begin(), all.end(), without.begin(), without.end(),
                            std::inserter(rest, rest.end()));
        return rest;
    }

    CommandWorker::Route& m_route;
    Devices m_devices;
    std::unique_ptr<QThread> const m_thread;
};

/** A request or an array of them; nothing when the text is neither. */
std::vector<JsonObject> readRequests(QByteArray const& text)
{
    QString error;
    std::vector<JsonObject> requests;
    if (auto const json = parseJson(text, error)) {
        for (auto const& request : json->isArray() ? json->array() : QJsonArray{json->object()})
            requests.push_back(toJsonObject(request.toObject()));
    }
    return requests;
}

void show(QString const& device, QString const& text)
{
    static QTextStream s_output(stdout);
    s_output << device << ": " << text << Qt::endl;
}

} // namespace

/** usage: event-loop-host REQUEST|[REQUEST,...] [DOWNLOADER]; serves each device that appears, until its
 * input ends */
int main(int argc, char* argv[])
{
    QCoreApplication const application(argc, argv);
    setLogSink(CommandWorker::dispatch);
    VrelManager manager;
    CommandWorker::Route route{manager, QCoreApplication::arguments().value(2)};
    auto const requests = readRequests(QCoreApplication::arguments().value(1).toUtf8());
    std::map<QString, std::unique_ptr<CommandWorker>> workers; // by serial number
    bool isEnding = false;
    int exitCode = 0;
    auto const endIfDone = [&] {
        if (isEnding && workers.empty())
            QCoreApplication::exit(exitCode);
    };

    QObject host; // of what lives on this thread, whose event loop never waits for a device
    DeviceWatch watch(route);
    QObject::connect(&watch, &DeviceWatch::vanished, &host,
                     [](QString const& path, QString const& serial) { show(path + ' ' + serial, "gone"); });
    QObject::connect(&watch, &DeviceWatch::appeared, &host, [&](QString const& path, QString const& serial) {
        if (isEnding || workers.count(serial) != 0)
            return;
        QString const device = path + ' ' + serial;
        auto const& worker = workers[serial] = std::make_unique<CommandWorker>(route, serial, requests);
        QObject::connect(worker.get(), &CommandWorker::line, &host, [device](int level, QString const& text) {
            if (level <= kProgressLevel)
                show(device, text);
        });
        QObject::connect(worker.get(), &CommandWorker::progress, &host,
                         [device](int percent) { show(device, QString(percent / 5, '#')); });
        QObject::connect(worker.get(), &CommandWorker::finished, &host,
                         [&, device, serial](bool succeeded, QString const& error) {
                             show(device, succeeded ? "PASS" : "FAIL: " + error);
                             exitCode = succeeded ? exitCode : 1;
                             workers.erase(serial);
                             endIfDone();
                         });
        worker->start();
    });
    watch.start();

    QFile input;
    input.open(STDIN_FILENO, QIODevice::ReadOnly | QIODevice::Unbuffered);
    QSocketNotifier commands(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&commands, &QSocketNotifier::activated, &host, [&] {
        QString const line = QString::fromUtf8(input.readLine()).trimmed(); // "cancel SERIAL"
        auto const worker = workers.find(line.section(' ', 1));
        if (worker != workers.end())
            worker->second->cancel();
        isEnding = line.isEmpty();
        commands.setEnabled(!isEnding);
        endIfDone();
    });
    return QCoreApplication::exec();
}

#include "main.moc"
