#include "tools/common/ToolProcess.h"
#include "tools/vrelhost/commandline/HostTool.h"
#include "tools/vrelhost/log/TerminalLog.h"

#include <QCoreApplication>

namespace {

int run(int argc, char* argv[])
{
    HostTool tool(stdout, stderr); // first, so that what Qt has to say finds the log
    QCoreApplication const application(argc, argv);
    return tool.run(QCoreApplication::arguments().mid(1));
}

} // namespace

int main(int argc, char* argv[])
{
    ToolProcess::begin("vrelhost", TerminalLog::eraseAtOnce);
    return ToolProcess::end(run(argc, argv));
}
