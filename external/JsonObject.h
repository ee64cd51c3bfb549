#pragma once

#include "external/HostExport.h"

#include <QString>
#include <QStringList>
#include <QVariant>

#include <map>

/**
 * The host's JSON object: a map from key to value, iterated in ascending key order (UTF-16 code units).
 *
 * A value; copies are independent. One object is used by one thread at a time.
 */
class HOST_EXPORT JsonObject
{
public:
    /** Results of the typed reads. */
    enum ReadResult
    {
        Present = 0,  ///< present and of the requested type; the out-argument is filled
        Unusable = 1, ///< present but not usable as that type; the out-argument is untouched
        Absent = 2    ///< no such key; the out-argument is untouched
    };

    using Entries = std::map<QString, QVariant>;
    using const_iterator = Entries::const_iterator;

    JsonObject();
    JsonObject(JsonObject const& other);
    JsonObject& operator=(JsonObject const& other);
    ~JsonObject();

    bool empty() const;
    const_iterator begin() const;
    const_iterator end() const;

    /** Reads a text; only a text is usable, and only one without a NUL. */
    int getString(QString const& key, QString& out) const;
    /** Reads a whole number from 0 to 255; texts, truth values and fractions are unusable. */
    int getUInt8(QString const& key, unsigned char& out) const;
    /** Reads a whole number from 0 to 4294967295; texts, truth values and fractions are unusable. */
    int getUInt32(QString const& key, unsigned int& out) const;
    /** Reads a value of any type; only null is unusable. */
    int getValue(QString const& key, QVariant& out) const;

    /**
     * Stores a value, replacing an earlier one. A single value yields its usual text from
     * QVariant::toString(): numbers are kept as numbers, never as characters. A list of several has no text.
     */
    void setValue(QString const& key, char const* utf8);
    void setValue(QString const& key, QString const& value);
    void setValue(QString const& key, QStringList const& value);
    void setValue(QString const& key, QVariant const& value);
    void setValue(QString const& key, unsigned char const& value);
    void setValue(QString const& key, unsigned int const& value);
    /** For plain numbers in a host's source; a negative one is stored, and unusable when it is read. */
    void setValue(QString const& key, int value) { setValue(key, QVariant(value)); }
    void setValue(QString const& key, bool value) { setValue(key, QVariant(value)); }

    /**
     * Stores the name of `value` as a text.
     * @return false, with the object unchanged, when `names` has no name for it.
     */
    template <typename T>
    bool setValue(QString const& key, std::map<T, QString> const& names, T const& value)
    {
        auto const name = names.find(value);
        if (name == names.end())
            return false;
        setValue(key, name->second);
        return true;
    }

private:
    Entries m_entries;
};
