#pragma once

#include "external/JsonObject.h"

#include <QString>
#include <QStringList>

#include <set>
#include <string>

/**
 * The files that steps need before anything is done, but for those that an earlier step makes. Steps are
 * shown in their order, with their placeholders filled in.
 */
class SourceFiles
{
public:
    /** Throws Refusal, which names key and file, when a request reads one that cannot be read. */
    void addRequest(JsonObject const& request);

    /** Throws Refusal when a program cannot be run. */
    void requireProgram(QString const& name) const;

    /** A program may make the files that its arguments name. */
    void addArguments(QStringList const& arguments) { m_arguments += arguments; }

    /** Those that requests read, each once, without those that an earlier step makes. */
    QStringList const& needed() const { return m_needed; }

private:
    bool isMade(QString const& file) const;

    std::set<std::string> m_written;
    QStringList m_arguments;
    QStringList m_needed;
};
