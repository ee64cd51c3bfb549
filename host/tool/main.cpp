#include "host/tool/HostTool.h"

#include <QCoreApplication>

int main(int argc, char* argv[])
{
    QCoreApplication const application(argc, argv);
    return HostTool(stdout, stderr).run(QCoreApplication::arguments().mid(1));
}
