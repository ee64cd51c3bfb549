#pragma once

#include "framework/LogSink.h"

#include <QString>
#include <QStringList>

#include <map>

/**
 * What names in braces stand for in a device's texts: {serial}, {path}, and names that are added. {{serial}}
 * is the word {serial} itself. A name that nothing gives stays as it is written, braces and all.
 */
class Placeholders
{
public:
    explicit Placeholders(DeviceName const& device);

    void add(QString const& name, QString const& value);

    /**
     * A text with values in place of names; what is put in is not looked at. Serial number and path come from
     * outside and mostly get into file names: Refusal is thrown where one is asked for that is not known or
     * could lead to another directory.
     */
    QString fill(QString const& text) const;

    bool has(QString const& name) const { return m_values.count(name) > 0; }

    /** Whether a text asks for any of them. */
    bool change(QString const& text) const;

    /** The names that a text asks for, whether anything gives them or not. */
    static QStringList namesIn(QString const& text);

    /** The name that a text asks for and nothing else; null without one. */
    static QString onlyName(QString const& text);

private:
    std::map<QString, QString> m_values;
};
