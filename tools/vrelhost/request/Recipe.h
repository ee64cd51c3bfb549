#pragma once

#include "framework/JsonText.h"
#include "tools/vrelhost/request/Step.h"

#include <QString>

#include <vector>

class LogHandler;

/**
 * What is to be done on a device: one request, or, written as a JSON array, steps to be taken in order.
 */
struct Recipe
{
    std::vector<Step> steps; ///< before accept, only their JSON
    bool isArray = false;    ///< results are told by step
    QString digest;          ///< of the JSON, whatever its layout: twelve hexadecimal digits
    std::optional<RepeatedKey> repeatedKey = {};

    /**
     * Reads it from where an argument says: the JSON text itself (it begins with "{" or "["), "-" for
     * standard input, or the path of a file.
     * Throws Refusal when there are no steps to be had.
     */
    static Recipe read(QString const& argument);

    /**
     * Whether library and tool take all steps, for any device, and the files that they name without
     * placeholders are there. The first step that is refused is logged at level 1; where a single request
     * lacks a file, that is logged at level 2.
     * @param isForMany whether several devices may read what it names
     */
    bool accept(bool isForMany, LogHandler& log);

    bool needsPath() const;
    bool has(char const* command) const { return find(command) > 0; }

    /** The first step, from 1, of a command; 0 without one. */
    int find(char const* command) const;
    QStringList commands() const;

    /** The first step, from 1, that writes to the same file for all devices at one place; 0 without one. */
    int sharedFileStep() const;

    /** What messages call a step. @param number from 1 */
    QString stepName(int number) const;

    /** What is said of a step that is rejected. @param number from 1 */
    QString rejection(int number, QString const& cause = {}) const;
};

/** Reads one request likewise. */
JsonObject readRequest(QString const& argument);
