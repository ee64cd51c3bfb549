#pragma once

#include "commands/support/VrelDeviceType.h"
#include "commands/support/VrelLogCallback.h"
#include "external/IVrelAPI.h"
#include "external/LogHandler.h"
#include "plugin/VrelApiManager.h"
#include "plugin/VrelErrorText.h"

#include <QByteArray>
#include <QString>

namespace VrelUtilsCommand {

/** Logs a line of progress or result: its fixed text, and what follows it. */
void logProgress(LogHandler& log, char const* text, QString const& value = QString());

/** Logs the line that every command with a recovery module begins with. */
void logModuleVersion(QString const& modulePath, LogHandler& log);

/** Logs which storage device a command works on. */
void logStorageDevice(DeviceType type, unsigned char index, LogHandler& log);

/** Eight lower-case hexadecimal digits. */
QString paddedHex(std::uint32_t number);

/** Two lower-case hexadecimal digits a byte, in memory order. */
template <std::size_t Size>
QString hexDigits(std::uint8_t const (&bytes)[Size])
{
    return QString::fromLatin1(QByteArray(reinterpret_cast<char const*>(bytes), Size).toHex());
}

/** One vendor API operation of a command, from its start line to its success or error line. */
class Procedure
{
public:
    /** Logs the start line. @param name as it stands in both lines; `api` has an API object */
    Procedure(char const* name, VrelApiManager const& api, LogHandler& log);

    /**
     * Calls the operation and logs its success line, or its error text.
     *
     * @param arguments of the operation up to the serial number, in its order: texts go as UTF-8, device
     * types as their codes, all else as it is. What every operation takes behind them is added here.
     * @return whether the operation succeeded
     */
    template <typename... Parameters, typename... Arguments>
    bool carryOut(int (IVrelAPI::*operation)(Parameters...), Arguments const&... arguments)
    {
        if (!attempt(operation, arguments...))
            return false;
        logSuccess();
        return true;
    }

    /** The same without the success line, for results that are logged before it. */
    template <typename... Parameters, typename... Arguments>
    bool attempt(int (IVrelAPI::*operation)(Parameters...), Arguments const&... arguments)
    {
        VrelErrorText errorText;
        IVrelAPI* const api = m_api.operator->();
        return succeeded(
            (api->*operation)(argument(arguments)..., errorText.buffer(), vrelLogCallback, &m_log),
            errorText);
    }

    void logSuccess() const;

private:
    /** A text as a NUL-terminated argument, never null. */
    class Utf8
    {
    public:
        explicit Utf8(QString const& text)
            : m_bytes(text.toUtf8())
        {
        }
        operator char const*() const { return m_bytes.constData(); } // NOLINT(google-explicit-constructor)

    private:
        QByteArray const m_bytes;
    };

    static Utf8 argument(QString const& text) { return Utf8(text); }
    static std::uint8_t argument(DeviceType type) { return deviceCode(type); }
    template <typename T>
    static T const& argument(T const& value)
    {
        return value;
    }

    bool succeeded(int result, VrelErrorText const& errorText) const;

    QString const m_name;
    VrelApiManager const& m_api;
    LogHandler& m_log;
};

} // namespace VrelUtilsCommand
