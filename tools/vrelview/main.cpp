#include "tools/common/ReportText.h"
#include "tools/vrelview/HttpServer.h"
#include "tools/vrelview/Site.h"
#include "tools/vrelview/ViewOptions.h"

#include <QCoreApplication>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

enum ExitCode : int
{
    Ended = 0,
    NoAddress = 1,
    Rejected = 2
};

constexpr auto kLook = 200ms;
constexpr auto kLife = 5s;
constexpr int kBehindStations = 5; // of the system's 19 degrees of niceness

std::atomic<bool> s_isEnding{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler uses it");

extern "C" void requestEnd(int /*signal*/)
{
    s_isEnding = true;
}

/** Whatever the starter may have left of signals. */
void setSignals()
{
    struct sigaction action = {};
    action.sa_handler = requestEnd;
    for (int const signal : {SIGINT, SIGTERM})
        ::sigaction(signal, &action, nullptr);
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // of readers that have gone
    sigset_t none;
    sigemptyset(&none);
    static_cast<void>(::sigprocmask(SIG_SETMASK, &none, nullptr));
}

void print(std::FILE* stream, QString const& text)
{
    static_cast<void>(std::fputs(text.toUtf8().constData(), stream));
    static_cast<void>(std::fflush(stream));
}

int reject(QString const& cause)
{
    print(stderr,
          QStringLiteral("error: %1 (vrelview --help shows the usage)\n").arg(ReportText::printable(cause)));
    return Rejected;
}

/** Until a signal. */
void watch(HttpServer& server, Site& site)
{
    QString fault;
    auto alive = std::chrono::steady_clock::now();
    while (!s_isEnding) {
        QByteArray const news = site.news();
        if (!news.isEmpty())
            server.announceChange(news);
        if (site.fault() != fault && !site.fault().isEmpty())
            print(stderr, QStringLiteral("warning: %1\n").arg(ReportText::printable(site.fault())));
        fault = site.fault();
        if (std::chrono::steady_clock::now() - alive > kLife) {
            server.announceLife();
            alive = std::chrono::steady_clock::now();
        }
        server.dropSlow();
        std::this_thread::sleep_for(kLook);
    }
}

/** The ledger is watched apart from the answers, which may take longer. */
void serve(HttpServer& server, Site& site)
{
    std::thread quick([&server] { server.serve(HttpSite::Lane::Quick); });
    std::thread slow([&server] { server.serve(HttpSite::Lane::Slow); });
    watch(server, site);
    server.end();
    quick.join();
    slow.join();
}

int run(int argc, char* argv[])
{
    QCoreApplication const application(argc, argv);
    ViewOptions options = ViewOptions::read(QCoreApplication::arguments());
    if (!options.fault.isEmpty())
        return reject(options.fault);
    print(stdout, options.answer);
    if (!options.answer.isEmpty())
        return Ended;
    QString error;
    int const socket = options.listen.open(error);
    if (socket < 0) {
        print(stderr, QStringLiteral("error: %1\n").arg(error));
        return NoAddress;
    }
    static_cast<void>(::nice(kBehindStations) == 0);
    Site site(options.ledger, options.title, options.listen);
    HttpServer server(socket, site);
    if (!server.isRunning()) {
        print(stderr, QStringLiteral("error: The system has no thread or no memory for the server\n"));
        return NoAddress;
    }
    print(stdout, QString::fromLatin1(options.listen.url()) + QLatin1Char('\n'));
    serve(server, site);
    return Ended;
}

} // namespace

int main(int argc, char* argv[])
{
    setSignals();
    return run(argc, argv);
}
