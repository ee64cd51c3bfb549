#pragma once

#include "emulator/Files.h"

#include <QJsonObject>

#include <cstdint>
#include <string>

namespace VrelRig {

/**
 * A JSON object in a file of the rig. Numbers may be written as numbers or as texts ("15680", "0x3D40"); byte
 * sequences are texts of hexadecimal digits. Whatever is wrong gives a RigError that names the file and the
 * key.
 */
class JsonFile
{
public:
    /** Reads the file. @throws RigError with the offset of a syntax error */
    JsonFile(Directory const& directory, std::string const& name);

    std::string const& path() const { return m_path; }

    std::string text(char const* key) const;
    std::uint32_t number(char const* key) const;

    /** Writes what it holds to a place of the caller's. @throws RigError also for no place */
    void tell(char const* key, std::uint32_t* place) const;

    template <std::size_t N>
    void tell(char const* key, std::uint8_t (&place)[N]) const
    {
        tellBytes(key, place, N);
    }

private:
    void tellBytes(char const* key, std::uint8_t* place, std::size_t length) const;
    [[noreturn]] void refuse(char const* key, std::string const& expected) const;

    std::string m_path;
    QJsonObject m_object;
};

/** Writes a record of what has been done, with how often it has ("count"). */
void storeCounted(Directory const& directory, std::string const& name, QJsonObject record);

} // namespace VrelRig
