#pragma once

#include <gtest/gtest.h>

#include <QByteArray>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <initializer_list>
#include <map>

using Files = std::map<QString, QByteArray>;

/** Serial number of a rig's first device, at 1-4.2. */
constexpr char const* kFirst = "0A1B2C3D";

inline QString const kWrite =
    QStringLiteral(R"({"command": "writetoken", "fw_rux": "fw.bin", "token": "token.bin", "slot": 3})");

/** Starts the tools on a rig of its own, in a directory of its own. */
class ToolFixture : public ::testing::Test
{
protected:
    struct Outcome
    {
        int exitCode = -1;
        QByteArray output;
        QByteArray log;

        /** The log's lines as "LEVEL text", or "LEVEL label|value". */
        QStringList lines() const;
    };

    ToolFixture();

    QString path(char const* name) const { return m_directory.filePath(QString::fromUtf8(name)); }
    QByteArray read(char const* name) const;
    void write(char const* name, QByteArray const& content) const;

    void start(QProcess& process, char const* program, QStringList const& arguments) const;
    Outcome execute(char const* program, QStringList const& arguments) const;
    /** Runs the host tool with its log as JSON. */
    Outcome host(QStringList const& arguments) const;
    /** Runs a request on the rig's first device. */
    Outcome runRequest(QString const& request, QStringList const& options) const;

    /** Every file of the rig with its content. */
    Files rig() const;

    QTemporaryDir m_directory;
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
};

QStringList options(std::initializer_list<char const*> texts);
