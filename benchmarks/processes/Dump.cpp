#include "commands/cardreport/VrelRawDump.h"

#include <QFile>

#include <cstdio>

/** Prints a file as `xxd -p` does. */
int main(int argc, char* argv[])
{
    QFile file(QFile::decodeName(argc > 1 ? argv[1] : ""));
    if (!file.open(QIODevice::ReadOnly))
        return 1;
    QByteArray const bytes = file.readAll();
    QString text;
    VrelUtilsCommand::rawDump(reinterpret_cast<unsigned char const*>(bytes.constData()),
                              static_cast<unsigned int>(bytes.size()), false, false, 30, QString(), text);
    return std::puts(text.toLatin1().constData()) < 0 ? 1 : 0;
}
