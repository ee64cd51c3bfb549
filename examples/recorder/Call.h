#pragma once

#include "external/IVrelAPI.h"

#include <QJsonObject>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

/** One call of a vendor operation: what it is called with, and the places that its answer goes to. */
class Call
{
public:
    /** @param serial null for an operation without a device */
    explicit Call(char const* operation, char const* serial = nullptr);

    /** A number, which tells this call from others of the operation, as the serial number does. */
    Call& with(char const* name, std::uint32_t number);
    Call& with(char const* name, VrelIfpRecord const& record);
    /** A file that the operation reads. Another call with a file of another name is the same call. */
    Call& reads(char const* name, char const* path);
    /** A file that the operation writes: its name does not count either, its content is part of the answer.
     */
    Call& writes(char const* name, char const* path);

    Call& gives(char const* name, std::uint32_t* number);
    template <typename Record>
    Call& gives(char const* name, Record* record)
    {
        return givesBytes(name, reinterpret_cast<char*>(record), sizeof *record);
    }
    Call& gives(VrelApiVersionRecord* version);
    Call& gives(VrelDeviceList* devices);

    /** "call", "with" and "files" of a recorded line. */
    QJsonObject question() const;
    bool hasDevice() const { return m_with.contains("serial"); }
    /** Whether a recorded line is of this call. */
    bool isOf(QJsonObject const& line) const;
    /** What the operation has left at the places. */
    QJsonObject answer() const;
    /** Puts a recorded answer there. @return false when it lacks something, or a file cannot be written */
    bool give(QJsonObject const& answer) const;

private:
    using Read = std::function<QJsonValue()>;
    using Write = std::function<bool(QJsonValue const&)>;

    struct Place
    {
        QString name;
        Read read;
        Write write;
    };

    Call& givesBytes(char const* name, char* bytes, std::size_t size);
    Call& addPlace(char const* name, Read read, Write write);

    QString const m_operation;
    QJsonObject m_with;
    QJsonObject m_files;
    std::vector<Place> m_places;
};
