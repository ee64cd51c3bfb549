#pragma once

#include "plugin/VrelApiManager.h"
#include "plugin/VrelExport.h"

#include <QString>
#include <QStringList>

#include <memory>

class JsonObject;
class LogHandler;
class QProcess;

namespace VrelUtilsCommand {
class VrelCommand;
}

/**
 * Front end of the commands: takes one command as a JSON request and carries it out on one device, in-process
 * through the vendor API or by starting the downloader executable with an equivalent command line.
 *
 * A request's key "command" names the command; its other keys are the parameters. An object is used by one
 * thread at a time; runs block the calling thread and leave the object unchanged.
 */
class VREL_EXPORT VrelFlashUtils
{
public:
    class ExeRunner;
    class DefaultExeRunner;

    /** Holds no command. */
    VrelFlashUtils();

    /** Parses `json`; what is wrong with it is logged without a name. See getCommandId for the outcome. */
    VrelFlashUtils(JsonObject const& json); // NOLINT(google-explicit-constructor): hosts pass requests on

    VrelFlashUtils(VrelFlashUtils const&) = delete;
    VrelFlashUtils& operator=(VrelFlashUtils const&) = delete;
    virtual ~VrelFlashUtils();

    /**
     * Takes over the command of a request. A bad request is logged at level 1, every bad parameter on a line
     * of its own; the command held before then stays.
     */
    bool parseArguments(JsonObject const& json, LogHandler& log);

    /** The held command's name; "null" without one. */
    QString getCommandId();

    /** The held command's parameters, with the key "command" set to its name; empty without a command. */
    JsonObject getParameters();

    /** The usage texts of all commands, one after the other in the order of their names. */
    static QString getUsages();

    /**
     * Copies a command's parameters out of a request without checking their values.
     * @param error why the result is empty, when a parameter is missing or unusable; otherwise unchanged
     */
    static JsonObject getParameters(JsonObject const& json, QString& error);

    /**
     * The type of every parameter of the command named by "command", by its key: "file", "uint8_t",
     * "uint32_t", in brackets when optional, or the list of accepted values; "command" itself is a list of
     * the one name. Empty for a name that is not registered and for a command without parameters.
     */
    static JsonObject getParameterTypes(JsonObject const& json);

    /**
     * Carries the command out through the vendor API.
     * @param serial the device; handed to the vendor API unchanged. One with a NUL is refused at level 1.
     * @return whether it succeeded; false, with nothing logged, without a command or an API object
     */
    bool run(VrelApiManager api, QString const& serial, LogHandler& log);

    /**
     * Carries the command out by running the downloader executable.
     *
     * Its exit status has to reach this process: a host neither ignores SIGCHLD (nor leaves it ignored as its
     * starter did) nor waits for all its children (`waitpid(-1, …)`) meanwhile. Where the status is lost the
     * run has failed, which is logged at level 1.
     *
     * @param exe path of the downloader; one that is not an executable file yields false, with nothing logged
     * @param serial the device; not passed on when empty. One with a NUL is refused at level 1.
     * @param timeout milliseconds, of which the low 32 bits count, read as a signed number: -1 waits without
     *        limit, other negative numbers do not wait. A process still running then is killed.
     * @return whether the process ended by itself with exit code 0
     */
    bool run(QString const& exe, QString const& serial, LogHandler& log, unsigned long long timeout);

    /**
     * The same on the caller's process and by the caller's strategy. The outcome is left in `runner.success`,
     * which stays as it was when there is no command to run or `exe` is not an executable file.
     */
    void commonRun(QProcess& process, QString const& exe, QString const& serial, LogHandler& log,
                   ExeRunner& runner, unsigned long long timeout);

private:
    QStringList exeArguments(QString const& serial) const;

    std::unique_ptr<VrelUtilsCommand::VrelCommand> command;
};

/** How an executable is started and waited for. */
class VREL_EXPORT VrelFlashUtils::ExeRunner
{
public:
    ExeRunner();
    virtual ~ExeRunner();

    /**
     * Runs `exe` on `process` and stores the outcome in `success`. The arguments go to it as UTF-8.
     * @param timeout as for VrelFlashUtils::run
     */
    virtual void run(QProcess& process, QString const& exe, QStringList const& args,
                     unsigned long long timeout) = 0;

    /** Outcome of the last run: the process ended by itself with exit code 0. */
    bool success = false;
};

/**
 * The standard strategy: starts the process, waits for its end, and kills it when the time is over. Used by
 * the run without a strategy; hosts cannot make one.
 */
class VREL_LOCAL VrelFlashUtils::DefaultExeRunner : public ExeRunner
{
public:
    explicit DefaultExeRunner(LogHandler const& log);

    void run(QProcess& process, QString const& exe, QStringList const& args,
             unsigned long long timeout) override;

private:
    LogHandler const& m_log;
};
