#include <QCoreApplication>

int main(int argc, char* argv[])
{
    QCoreApplication const application(argc, argv);
    return 0;
}
