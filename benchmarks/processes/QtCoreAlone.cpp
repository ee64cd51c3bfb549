#include <QString>

int main(int /*argc*/, char* argv[])
{
    return QString::fromUtf8(argv[0]).isEmpty() ? 1 : 0;
}
