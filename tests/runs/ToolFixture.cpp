#include "tests/runs/ToolFixture.h"

#include "tests/support/CommandFile.h"

#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

QStringList ToolFixture::Outcome::lines() const
{
    QStringList lines;
    for (QByteArray const& line : log.split('\n')) {
        QJsonObject const json = QJsonDocument::fromJson(line).object();
        if (!json.isEmpty())
            lines << QString::number(json[QLatin1String("level")].toInt()) + QLatin1Char(' ') +
                         (json.contains(QLatin1String("label"))
                              ? json[QLatin1String("label")].toString() + QLatin1Char('|') +
                                    json[QLatin1String("value")].toString()
                              : json[QLatin1String("text")].toString());
    }
    return lines;
}

ToolFixture::ToolFixture()
{
    m_environment.insert(QStringLiteral("VREL_RIG"), path("rig"));
    writeInputs(m_directory.path());
    write("token.bin", QByteArray("token\0\r\n\xFF", 9) + QByteArray(5000, '\x80'));
}

QByteArray ToolFixture::read(char const* name) const
{
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void ToolFixture::write(char const* name, QByteArray const& content) const
{
    QFile file(path(name));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(content);
}

void ToolFixture::start(QProcess& process, char const* program, QStringList const& arguments) const
{
    process.setWorkingDirectory(m_directory.path());
    process.setProcessEnvironment(m_environment);
    process.start(QString::fromUtf8(program), arguments);
}

ToolFixture::Outcome ToolFixture::execute(char const* program, QStringList const& arguments) const
{
    QProcess process;
    start(process, program, arguments);
    process.closeWriteChannel();
    EXPECT_TRUE(process.waitForFinished(60000)) << arguments.join(QLatin1Char(' ')).toStdString();
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

ToolFixture::Outcome ToolFixture::host(QStringList const& arguments) const
{
    return execute(VREL_HOST_TOOL,
                   QStringList{QStringLiteral("--log-format"), QStringLiteral("json")} + arguments);
}

ToolFixture::Outcome ToolFixture::runRequest(QString const& request, QStringList const& options) const
{
    return host(
        QStringList{QStringLiteral("run"), request, QStringLiteral("--sn"), QString::fromUtf8(kFirst)} +
        options);
}

Files ToolFixture::rig() const
{
    Files files;
    QDirIterator entries(path("rig"), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        QFile file(entries.next());
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        files[file.fileName()] = file.readAll();
    }
    return files;
}

QStringList options(std::initializer_list<char const*> texts)
{
    QStringList list;
    for (char const* const text : texts)
        list << QString::fromUtf8(text);
    return list;
}
