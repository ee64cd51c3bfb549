#include "tools/common/ToolProcess.h"
#include "tools/vrelhost/commandline/HostTool.h"
#include "tools/vrelhost/log/TerminalLog.h"
#include "tools/vrelhost/subcommands/Subcommands.h"

#include <QCoreApplication>

namespace {

int run(int argc, char* argv[])
{
#define VRELHOST_ROWS(source) Subcommands::source(),
    // First, so that what Qt has to say finds the log.
    HostTool tool({VRELHOST_SUBCOMMANDS(VRELHOST_ROWS)}, stdout, stderr);
#undef VRELHOST_ROWS
    QCoreApplication const application(argc, argv);
    return tool.run(QCoreApplication::arguments().mid(1));
}

} // namespace

int main(int argc, char* argv[])
{
    ToolProcess::begin("vrelhost", TerminalLog::eraseAtOnce);
    return ToolProcess::end(run(argc, argv));
}
