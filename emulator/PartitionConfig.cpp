#include "emulator/PartitionConfig.h"

#include "emulator/NumberText.h"
#include "emulator/RigError.h"

#include <QXmlStreamReader>

#include <set>

namespace VrelRig {

namespace {

void readPartition(QXmlStreamReader& reader, std::set<QString>& names)
{
    if (reader.name() != QLatin1String("partition")) {
        reader.raiseError("element 'partition' is expected");
        return;
    }
    auto const name = reader.attributes().value("name").toString();
    auto const size = parseNumber(reader.attributes().value("size").toString().toStdString());
    if (name.isEmpty() || !names.insert(name).second)
        reader.raiseError("a partition needs a 'name' of its own");
    else if (!size || *size == 0)
        reader.raiseError("a partition needs a 'size' in bytes");
    else
        reader.skipCurrentElement();
}

} // namespace

unsigned checkPartitionConfig(std::string const& xml, std::string const& path)
{
    QXmlStreamReader reader(QByteArray::fromStdString(xml));
    std::set<QString> names;
    if (reader.readNextStartElement() && reader.name() != QLatin1String("partitions"))
        reader.raiseError("the root element 'partitions' is expected");
    while (reader.readNextStartElement())
        readPartition(reader, names);
    while (!reader.atEnd())
        reader.readNext();
    if (reader.hasError())
        throw RigError("Bad partition configuration " + quoted(path) + ": line " +
                       std::to_string(reader.lineNumber()) + ", column " +
                       std::to_string(reader.columnNumber()) + ": " + reader.errorString().toStdString());
    return static_cast<unsigned>(names.size());
}

} // namespace VrelRig
