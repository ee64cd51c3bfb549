#pragma once

#include <QCommandLineOption>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

class QCommandLineParser;

/** What the options of `run` ask for. */
struct RunOptions
{
    /** A device as the command line names it. */
    struct Device
    {
        bool isPath; ///< a USB path, otherwise a serial number
        QString text;
    };

    std::vector<Device> devices; ///< in the order given
    bool isAll = false;          ///< on every device that the vendor API lists
    bool isMany = false;         ///< results are wanted per device
    std::optional<int> jobs;     ///< devices at a time; all without
    std::optional<QString> exe;  ///< the downloader, as findProgram yields it; in-process without
    int timeout = 0;             ///< milliseconds, -1 for no limit
    bool isDryRun = false;
    bool isJson = false; ///< results as JSON
    QStringList idle;    ///< a line for each option that has no effect beside the others

    bool hasPath() const;

    static QList<QCommandLineOption> definitions();

    /** @return nothing, with the cause in `error`, for values or combinations that make no sense */
    static std::optional<RunOptions> read(QCommandLineParser const& parser, QString& error);
};
