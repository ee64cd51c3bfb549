#pragma once

#include <QCommandLineOption>
#include <QList>
#include <QString>

#include <optional>

class LogHandler;
class QCommandLineParser;

/** What the options of `scan` ask for. */
struct ScanOptions
{
    QString root;               ///< of the tree of USB devices
    QString nodes;              ///< directory of the device nodes, BUS/DEVICE of three digits each
    std::optional<QString> exe; ///< the downloader that tells serial numbers; the vendor API without
    bool isJson;

    static QList<QCommandLineOption> definitions();

    /**
     * What does not stop a scan is logged.
     * @return nothing, with the cause in `error`, for values that make no sense
     */
    static std::optional<ScanOptions> read(QCommandLineParser const& parser, LogHandler const& log,
                                           QString& error);
};
