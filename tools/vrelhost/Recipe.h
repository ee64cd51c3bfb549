#pragma once

#include "tools/vrelhost/RequestTemplate.h"

#include <QString>

#include <optional>
#include <vector>

class LogHandler;

/**
 * What is to be done on a device: one request, or, written as a JSON array, steps to be taken in order. A
 * step is a request or a wait for the device.
 */
struct Recipe
{
    struct Step
    {
        std::optional<RequestTemplate> request; ///< nothing for a wait
        QString command;                        ///< "wait" for a wait
        int wait = 0;                           ///< seconds
    };

    static constexpr int kLongestWait = 86400; ///< seconds: a day

    std::vector<Step> steps;
    bool isArray = false; ///< results are told by step

    /**
     * Reads it from where an argument says: the JSON text itself (it begins with "{" or "["), "-" for
     * standard input, or the path of a file. Steps that the library or the tool does not take are rejected.
     * @return nothing, with the cause logged at level 1, or in `error` when there is no JSON to be judged
     */
    static std::optional<Recipe> read(QString const& argument, LogHandler& log, QString& error);

    bool needsPath() const;
    bool has(char const* command) const;

    /** The first step, from 1, that writes to a file of the same name for every device; 0 without one. */
    int sharedFileStep() const;

    /** What is said of a step that is rejected. @param number from 1 */
    QString rejection(int number, QString const& cause = {}) const;
};

/** Reads one request likewise. @return nothing, with the cause in `error` */
std::optional<JsonObject> readRequest(QString const& argument, QString& error);
