#include "tools/vrelview/ListenAddress.h"

#include <QRegularExpression>

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

/** An address in the form that the system takes. */
struct SocketAddress
{
    sockaddr_storage storage = {};
    socklen_t size = 0;

    bool set(QByteArray const& address, quint16 port)
    {
        auto* const v4 = reinterpret_cast<sockaddr_in*>(&storage);
        auto* const v6 = reinterpret_cast<sockaddr_in6*>(&storage);
        if (::inet_pton(AF_INET, address == "localhost" ? "127.0.0.1" : address.constData(), &v4->sin_addr) ==
            1) {
            v4->sin_family = AF_INET;
            v4->sin_port = htons(port);
            size = sizeof *v4;
        } else if (::inet_pton(AF_INET6, address.constData(), &v6->sin6_addr) == 1) {
            v6->sin6_family = AF_INET6;
            v6->sin6_port = htons(port);
            size = sizeof *v6;
        }
        return size > 0;
    }

    sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
};

/** Connections get these from the socket that they are accepted on. */
void setOptions(int socket)
{
    constexpr int kOn = 1;
    constexpr int kLongestSilence = 20000; // milliseconds that a reader may leave what is sent unacknowledged
    auto const set = [socket](int level, int name, int value) {
        static_cast<void>(::setsockopt(socket, level, name, &value, sizeof value));
    };
    set(SOL_SOCKET, SO_REUSEADDR, kOn);
    set(SOL_SOCKET, SO_KEEPALIVE, kOn);
    set(IPPROTO_TCP, TCP_NODELAY, kOn);
    set(IPPROTO_TCP, TCP_USER_TIMEOUT, kLongestSilence);
}

} // namespace

std::optional<ListenAddress> ListenAddress::read(QString const& text)
{
    static QRegularExpression const s_form(
        QStringLiteral("\\A(?:\\[([0-9A-Fa-f:.]+)\\]|([0-9.]+|localhost)):([0-9]{1,5})\\z"));
    constexpr int kHighestPort = 65535;
    auto const match = s_form.match(text);
    int const port = match.captured(3).toInt();
    QByteArray const address = (match.captured(1) + match.captured(2)).toLatin1();
    if (!match.hasMatch() || port > kHighestPort || !SocketAddress().set(address, 0))
        return std::nullopt;
    return ListenAddress{address, static_cast<quint16>(port)};
}

int ListenAddress::open(QString& error)
{
    SocketAddress bound;
    bound.set(address, port);
    int const socket = ::socket(bound.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    setOptions(socket);
    if (socket < 0 || ::bind(socket, bound.get(), bound.size) != 0 || ::listen(socket, SOMAXCONN) != 0 ||
        ::getsockname(socket, bound.get(), &bound.size) != 0) {
        error = QStringLiteral("Cannot listen on %1: %2; name another address with --listen")
                    .arg(QString::fromLatin1(url()), qt_error_string());
        static_cast<void>(::close(socket));
        return -1;
    }
    port = ntohs(reinterpret_cast<sockaddr_in*>(&bound.storage)->sin_port); // in the same place for IPv6
    return socket;
}

QByteArray ListenAddress::url() const
{
    QByteArray const host = address.contains(':') ? '[' + address + ']' : address;
    return "http://" + host + ':' + QByteArray::number(port) + '/';
}

bool ListenAddress::isThisMachineOnly() const
{
    return address == "localhost" || address.startsWith("127.") || address == "::1";
}

bool ListenAddress::isOwnHost(QByteArray const& host) const
{
    constexpr int kUsualPort = 80; // which browsers leave out
    if (!isThisMachineOnly())
        return true;
    QList<QByteArray> const names{"localhost", "127.0.0.1", "[::1]", address};
    QByteArray const end = ':' + QByteArray::number(port);
    QByteArray const asked = host.toLower();
    return (asked.endsWith(end) && names.contains(asked.chopped(end.size()))) ||
           (port == kUsualPort && names.contains(asked));
}
