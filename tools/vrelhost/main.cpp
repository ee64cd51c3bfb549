#include "tools/common/StandardStreams.h"
#include "tools/vrelhost/HostTool.h"

#include <QCoreApplication>

int main(int argc, char* argv[])
{
    openStandardStreams();
    QCoreApplication const application(argc, argv);
    return HostTool(stdout, stderr).run(QCoreApplication::arguments().mid(1));
}
