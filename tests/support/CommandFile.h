#pragma once

#include "tests/support/LogRecorder.h"

#include <QString>
#include <QStringList>

#include <map>
#include <ostream>
#include <string>
#include <vector>

/** The device that commands are run on. */
constexpr char const* kSerial = "0A1B2C3D";

/** What stands behind each key; further lines, indented in the file, each after a line end. */
using Rows = std::map<std::string, std::string>;

/** A command's data file: `tests/commands/README.md` tells its form. */
struct CommandFile
{
    std::string name;
    Rows description;           ///< what stands above the requests
    std::vector<Rows> requests; ///< each "request" with the rows below it

    /** Whether the registry knows it: only then has it a line of arguments. */
    bool isRegistered() const { return requests.front().count("arguments") != 0; }

    friend std::ostream& operator<<(std::ostream& stream, CommandFile const& file)
    {
        return stream << file.name;
    }
};

/** All of them, in the order of their names. */
std::vector<CommandFile> const& commandFiles();

/** Those that have a row below one of their requests. */
std::vector<CommandFile> commandFilesWith(char const* key);

/** The lines of a row, with "\n" and "\t" as what they stand for. */
Lines linesOf(Rows const& rows, char const* key);

/** The words of a line of arguments. */
QStringList wordsOf(std::string const& line);

/** Lines as they came, cut where the expected ones end in "...", and without blanks at their ends. */
Lines asExpected(Lines lines, Lines const& expected);

/** Writes what requests name into a directory: fw.bin (version 513), ifp.bin, short.bin. */
void writeInputs(QString const& directory);
