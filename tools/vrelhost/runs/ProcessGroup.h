#pragma once

class QProcess;
class QString;
class QStringList;

/** Programs that lead a session, and so a process group, of their own; an Interruption can end the group. */
namespace ProcessGroup {

/** When what is left of the group is killed. */
enum class End
{
    WhenKilled, ///< once the program was
    Always,     ///< once the program has ended, however it did
};

/** Starts one. The end of this thread, however it comes, kills the program. */
void start(QProcess& process, QString const& program, QStringList const& arguments, End end);

/** Reaps what such programs have left and has ended since; while none runs. */
void reapLeft();

} // namespace ProcessGroup
