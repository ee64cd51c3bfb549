#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

/** Where a server listens, as --listen names it. */
struct ListenAddress
{
    QByteArray address; ///< an IP address, or localhost
    quint16 port = 0;   ///< 0 for any free one

    /** Reads ADDRESS:PORT, an IPv6 address in brackets. */
    static std::optional<ListenAddress> read(QString const& text);

    /**
     * Opens a socket that listens there, and sets the port that it has.
     * @return -1, with the cause in `error`, when the address cannot be had
     */
    int open(QString& error);

    /** The page's address for a browser. */
    QByteArray url() const;

    /**
     * Whether requests to this host, the value of their Host line, are meant for this server. A page of
     * another site can have its own name lead to this machine, and would then read what is served to this
     * machine only.
     */
    bool isOwnHost(QByteArray const& host) const;

private:
    bool isThisMachineOnly() const;
};
