#pragma once

#include <QByteArray>
#include <QString>

#include <exception>
#include <utility>

/** Why a ledger cannot be read or written, as a sentence for people that names the file. */
class LedgerError : public std::exception
{
public:
    enum Kind
    {
        Refused,     ///< it is something else, damaged, or of a newer version: asking again is of no use
        Unavailable, ///< missing, locked, not permitted, a full disk: may work another time
    };

    LedgerError(Kind kind, QString text)
        : m_kind(kind)
        , m_text(std::move(text))
        , m_bytes(m_text.toUtf8())
    {
    }

    Kind kind() const { return m_kind; }
    QString const& text() const { return m_text; }
    char const* what() const noexcept override { return m_bytes.constData(); }

private:
    Kind m_kind;
    QString m_text;
    QByteArray m_bytes;
};
