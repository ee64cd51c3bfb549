#pragma once

#include "tools/vrelhost/request/RequestTemplate.h"

#include <QJsonValue>
#include <QString>
#include <QStringList>

#include <memory>
#include <variant>

class TableFile;

/** One step of a recipe: a request, or what is done between requests. Its texts may hold placeholders. */
struct Step
{
    static constexpr int kLongest = 86400; ///< seconds: a day

    /** Until the vendor API lists the device, or lists it again. */
    struct Wait
    {
        int seconds = 0;
        bool isForRestart = false;
    };

    /** A program with its arguments. */
    struct Exec
    {
        QStringList words;
        int seconds = 60;
    };

    /** The device's row of a table: any that no device has, for good, or the one of its serial number. */
    struct Row
    {
        bool isTaken = false;
        std::shared_ptr<TableFile> table;
    };

    QJsonValue json;
    QString command;                                                            ///< as results name it
    std::variant<std::monostate, RequestTemplate, Wait, Exec, Row> action = {}; ///< set by parse

    /** Fills in what the JSON says, as far as that goes. Throws Refusal when it is no step. */
    void parse();

    /** Likewise, where it can be nothing but a request. */
    void parseRequest();

    template <typename Action>
    Action const* as() const
    {
        return std::get_if<Action>(&action);
    }

    /** The placeholders that it asks for. */
    QStringList names() const;
};
