#pragma once

#include "tools/vrelhost/request/RequestTemplate.h"

#include <QJsonValue>
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
        QJsonValue json;
        QString command;                        ///< "wait" for a wait
        int wait;                               ///< seconds
        std::optional<RequestTemplate> request; ///< nothing for a wait
    };

    static constexpr int kLongestWait = 86400; ///< seconds: a day

    std::vector<Step> steps; ///< before accept, only their JSON
    bool isArray = false;    ///< results are told by step

    /**
     * Reads it from where an argument says: the JSON text itself (it begins with "{" or "["), "-" for
     * standard input, or the path of a file.
     * Throws Refusal when there are no steps to be had.
     */
    static Recipe read(QString const& argument);

    /** Whether library and tool take all steps, for any device. The first that is not is logged at level 1.
     */
    bool accept(LogHandler& log);

    bool needsPath() const;
    bool has(char const* command) const;

    /** The first step, from 1, that writes to a file of the same name for every device; 0 without one. */
    int sharedFileStep() const;

    /** What is said of a step that is rejected. @param number from 1 */
    QString rejection(int number, QString const& cause = {}) const;
};

/** Reads one request likewise. */
JsonObject readRequest(QString const& argument);
