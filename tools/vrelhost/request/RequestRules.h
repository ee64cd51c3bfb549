#pragma once

#include "external/JsonObject.h"
#include "framework/LogSink.h"

#include <QString>

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

class LogHandler;

/** What a request has to be so that the tool runs it; the library itself takes more. */
namespace RequestRules {

/**
 * Whether the library accepts a request and its command has all of its keys, so that a misspelled one does
 * not go unnoticed. What is wrong is logged at level 1.
 */
bool accept(JsonObject const& request, LogHandler& log);

/** The file that a request writes to, as it names it; empty when it writes none. */
QString writtenFile(JsonObject const& request);

/** Key and name of each file that a request reads. */
std::vector<std::pair<QString, QString>> readFiles(JsonObject const& request);

/**
 * Throws Refusal when a request reads what is no regular file, such as a pipe, of which each of several
 * devices would get a part.
 */
void requireShareable(JsonObject const& request);

/** The same text for one file however its directories and links are named, also for one that is not there
 * yet. */
std::string canonicalName(QString const& file);

} // namespace RequestRules

/** The files that requests write to, each for one device alone, also when another one appears later. Any
 * thread. */
class TargetFiles
{
public:
    /**
     * Takes the file that a device's request writes to. Throws Refusal when another device has it, under
     * whatever name.
     */
    void take(JsonObject const& request, DeviceName const& device);

private:
    std::mutex m_mutex;
    std::map<std::string, QString> m_owners; ///< serial numbers, by canonical names
};
