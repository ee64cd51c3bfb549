#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <map>

/** A request as far as this program looks at it. */
struct HttpRequest
{
    QByteArray method;
    QList<QByteArray> hosts; ///< the values of all its Host lines
    QByteArray target;       ///< path and query as they were sent
    QByteArray path;         ///< the same, decoded
    std::map<QString, QString> query;
    bool hasBody = false;

    /** Takes a target apart. @return false when it is no path, or has a percent sign that stands for nothing
     */
    bool setTarget(QByteArray const& text);
};

struct HttpAnswer
{
    int status = 200;
    QByteArray type = "text/plain; charset=utf-8";
    QByteArray body;
    QByteArray allow; ///< the methods of status 405

    /** Yields what follows the body, part by part, until one is empty. */
    std::function<QByteArray()> more = nullptr;

    int file = -1; ///< a descriptor whose bytes are the body; closed when they are sent
    quint64 offset = 0;
    quint64 size = 0;

    bool isEvents = false; ///< it has no end: the server's announcements follow

    /** A sentence for people, without its end. */
    static HttpAnswer refusal(int status, QString const& cause);
};
