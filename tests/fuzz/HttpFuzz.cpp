#include "tests/fuzz/Require.h"
#include "tools/vrelhost/ledger/LedgerDatabase.h"
#include "tools/vrelview/HttpServer.h"
#include "tools/vrelview/Site.h"

#include <QCoreApplication>

#include <arpa/inet.h>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

/**
 * @file
 * What a browser, or something that is none, sends to vrelview: the input is all bytes of a connection.
 */
namespace {

constexpr std::uint16_t kNamedPort = 8480; // of the inputs; the server has any free one

std::string s_directory = "/dev/shm/vrel-fuzz-XXXXXX"; // where nothing waits for a disk

/** On a ledger of one board, until the process ends. */
class View
{
public:
    View()
    {
        require(::mkdtemp(s_directory.data()) != nullptr &&
                    std::atexit([] { std::filesystem::remove_all(s_directory); }) == 0,
                "there is a place for the ledger");
        std::ofstream(s_directory + "/log.jsonl") << R"({"text":"line"})" << '\n';
        QString const directory = QString::fromStdString(s_directory);
        QString const file = directory + QStringLiteral("/ledger.db");
        LedgerDatabase(file, LedgerDatabase::Access::Write)
            .run(QStringLiteral(
                     "INSERT INTO services VALUES ('S', 'A', '1-1', 'J', 'T', 'in-process', 1, 2, 1, "
                     "'success', NULL, '%1/log.jsonl', '1', '1', 0, NULL)")
                     .arg(directory));
        ListenAddress address{"127.0.0.1", 0};
        QString error;
        int const socket = address.open(error);
        m_port = address.port;
        address.port = kNamedPort;
        m_site = new Site(file, QString(), address);
        m_server = new HttpServer(socket, *m_site);
        for (auto const lane : {HttpSite::Lane::Quick, HttpSite::Lane::Slow})
            std::thread([this, lane] { m_server->serve(lane); }).detach();
    }

    /** All that it says to these bytes and a last request, without which it would wait for more. */
    QByteArray answerTo(QByteArray const& bytes)
    {
        int const socket = ::socket(AF_INET, SOCK_STREAM, 0);
        constexpr std::uint32_t kPorts = 20000; // of an address, some of which were used up for a minute
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK + m_connections++ / kPorts);
        static_cast<void>(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address));
        address.sin_port = htons(m_port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bool const isConnected =
            ::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        require(isConnected, "the server lives");
        QByteArray const all = bytes + "\r\n\r\nGET / HTTP/1.1\r\nHost: other\r\nConnection: close\r\n\r\n";
        static_cast<void>(
            ::send(socket, all.constData(), static_cast<std::size_t>(all.size()), MSG_NOSIGNAL));
        QByteArray answer;
        QByteArray part(65536, '\0');
        for (ssize_t size = 0;
             (size = ::recv(socket, part.data(), static_cast<std::size_t>(part.size()), 0)) > 0;) {
            answer.append(part.constData(), static_cast<int>(size));
            if (answer.contains("text/event-stream"))
                break; // has no end
        }
        static_cast<void>(::close(socket));
        m_server->announceLife(); // who has gone is noticed
        return answer;
    }

private:
    std::uint16_t m_port = 0;
    std::uint32_t m_connections = 0;
    Site* m_site = nullptr;
    HttpServer* m_server = nullptr;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    static int s_count = 0;
    static char* s_arguments[] = {nullptr};
    static auto* const s_application = new QCoreApplication(s_count, s_arguments);
    static auto& s_view = *new View;
    static_cast<void>(s_application);

    QByteArray const bytes(reinterpret_cast<char const*>(data), static_cast<int>(size));
    QByteArray const answer = s_view.answerTo(bytes);
    require(answer.isEmpty() || answer.startsWith("HTTP/1."), "an answer is one");
    require(!answer.contains("HTTP/1.1 500") && !answer.contains("HTTP/1.1 503"),
            "nothing is the server's fault");
    bool const isAnswered = answer.contains("HTTP/1.1 200");
    require(!isAnswered || answer.contains("\nX-Content-Type-Options: nosniff"),
            "an answer has the headers that protect");
    require(!isAnswered || bytes.contains(":8480"),
            "nothing is told to those who call the server by another name");
    return 0;
}
