#pragma once

#include "commands/support/VrelDeviceType.h"
#include "external/JsonObject.h"
#include "external/LogHandler.h"

#include <QString>

#include <cstddef>
#include <variant>

namespace VrelUtilsCommand {

/** In place of a type word: hosts are told the list of device type names. */
constexpr char const* kDeviceNames = nullptr;

/** The rules of one parameter, whatever it is stored in. */
struct ParameterRule
{
    enum Flag : unsigned
    {
        Required = 0,
        Optional = 1U << 0U,    ///< may be absent and then keeps its default
        RejectEmpty = 1U << 1U, ///< an empty text is not accepted
        OmitEmpty = 1U << 2U,   ///< an empty text is left out of the stored parameters
        CopyLast = 1U << 3U     ///< copied from a request after all the others
    };

    char const* key;  ///< JSON name
    char const* type; ///< as told to hosts, in brackets when optional; how it is read follows from its field
    unsigned flags = Required;

    bool has(Flag flag) const { return (flags & flag) != 0; }
    QString keyText() const { return QLatin1String(key); }
};

/** One row of a command's table of parameters: its rules and the field of T that holds it. */
template <typename T>
struct Parameter
{
    using Field = std::variant<QString T::*, unsigned char T::*, unsigned int T::*, DeviceType T::*>;

    ParameterRule rule;
    Field field;
};

/** A command's parameters, in the order in which they are read and judged; refers to static rows. */
template <typename T>
class ParameterTable
{
public:
    constexpr ParameterTable() = default;

    template <std::size_t Size>
    constexpr ParameterTable(Parameter<T> const (&rows)[Size]) // NOLINT(google-explicit-constructor)
        : m_rows(rows)
        , m_size(Size)
    {
    }

    constexpr Parameter<T> const* begin() const { return m_rows; }
    constexpr Parameter<T> const* end() const { return m_rows + m_size; }

private:
    Parameter<T> const* m_rows = nullptr;
    std::size_t m_size = 0;
};

/**
 * Reads a parameter into `value` and judges it; a bad one is logged at level 1, for example as "Missing value
 * for slot parameter". An absent optional one leaves `value` alone.
 */
bool readParameter(ParameterRule const& rule, JsonObject const& params, QString& value, LogHandler& log);
bool readParameter(ParameterRule const& rule, JsonObject const& params, unsigned char& value,
                   LogHandler& log);
bool readParameter(ParameterRule const& rule, JsonObject const& params, unsigned int& value, LogHandler& log);
bool readParameter(ParameterRule const& rule, JsonObject const& params, DeviceType& value, LogHandler& log);

/**
 * Copies a parameter's value unchanged from a request.
 * @return false with `error` set, for example to "Missing value for 'slot' parameter", when it is missing
 *        though required, or unusable
 */
bool copyParameter(ParameterRule const& rule, JsonObject const& params, JsonObject& copy, QString& error);

/** Puts a stored parameter into `params` under its JSON name. */
void storeParameter(ParameterRule const& rule, QString const& value, JsonObject& params);
void storeParameter(ParameterRule const& rule, unsigned char value, JsonObject& params);
void storeParameter(ParameterRule const& rule, unsigned int value, JsonObject& params);
void storeParameter(ParameterRule const& rule, DeviceType value, JsonObject& params);

/** The accepted device type names, in their order. */
QStringList deviceTypeNames();

} // namespace VrelUtilsCommand
