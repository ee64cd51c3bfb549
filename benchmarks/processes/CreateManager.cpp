#include "plugin/VrelManager.h"

#include <QString>

int main(int /*argc*/, char* argv[])
{
    VrelManager const manager;
    return QString::fromUtf8(argv[0]).isEmpty() ? 1 : 0;
}
