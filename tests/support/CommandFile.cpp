#include "tests/support/CommandFile.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <set>

namespace {

CommandFile readCommandFile(QString const& path)
{
    static std::set<std::string> const s_keys{"usage",     "types",  "request", "rejected", "stored", "copy",
                                              "arguments", "vendor", "serial",  "killed",   "log"};
    CommandFile command;
    command.name = QFileInfo(path).baseName().toStdString();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s cannot be read", qPrintable(path));
    Rows* rows = &command.description;
    std::string* value = nullptr;
    for (QByteArray const& text : file.readAll().split('\n')) {
        std::string const line = text.toStdString();
        if (line.empty() || line.front() == '#')
            continue;
        if (line.rfind("    ", 0) == 0 && value != nullptr) {
            *value += (value->empty() ? "" : "\n") + line.substr(4);
            continue;
        }
        std::size_t const end = std::min(line.find(' '), line.size());
        std::string const key = line.substr(0, end);
        if (s_keys.count(key) == 0)
            qFatal("%s has a line '%s', which is no key", qPrintable(path), key.c_str());
        if (key == "request")
            rows = &command.requests.emplace_back();
        value = &(*rows)[key];
        *value = line.substr(std::min(end + 1, line.size()));
    }
    return command;
}

} // namespace

std::vector<CommandFile> const& commandFiles()
{
    static std::vector<CommandFile> const s_files = [] {
        std::vector<CommandFile> files;
        QDir const directory(QStringLiteral(VREL_TEST_COMMANDS));
        for (QString const& name : directory.entryList({QStringLiteral("*.txt")}, QDir::Files, QDir::Name))
            files.push_back(readCommandFile(directory.filePath(name)));
        return files;
    }();
    return s_files;
}

std::vector<CommandFile> commandFilesWith(char const* key)
{
    std::vector<CommandFile> files;
    for (CommandFile const& file : commandFiles()) {
        if (std::any_of(file.requests.begin(), file.requests.end(),
                        [key](Rows const& rows) { return rows.count(key) != 0; }))
            files.push_back(file);
    }
    return files;
}

Lines linesOf(Rows const& rows, char const* key)
{
    auto const row = rows.find(key);
    if (row == rows.end() || row->second.empty())
        return Lines();
    Lines lines;
    for (QString line : QString::fromStdString(row->second).split(QLatin1Char('\n'))) {
        line.replace(QLatin1String("\\n"), QLatin1String("\n"))
            .replace(QLatin1String("\\t"), QLatin1String("\t"));
        lines.push_back(line.toStdString());
    }
    return lines;
}

QStringList wordsOf(std::string const& line)
{
    QStringList words = QString::fromStdString(line).split(QRegularExpression(QStringLiteral("[ \n]")));
    return words.replaceInStrings(QStringLiteral("\"\""), QString());
}

Lines asExpected(Lines lines, Lines const& expected)
{
    for (std::size_t i = 0; i < lines.size(); ++i) {
        std::string& line = lines[i];
        line.erase(line.find_last_not_of(' ') + 1);
        std::size_t const cut = i < expected.size() ? expected[i].find("...") : std::string::npos;
        if (cut != std::string::npos && line.size() > cut)
            line.replace(cut, std::string::npos, "...");
    }
    return lines;
}

void writeInputs(QString const& directory)
{
    std::pair<char const*, QByteArray> const files[] = {
        {"fw.bin", QByteArray(130, 'm') + QByteArray("\x02\x01", 2) + QByteArray(4000, 'm')},
        {"ifp.bin", QByteArray(44, '\x5A')},
        {"short.bin", QByteArray(12, '\x5A')},
    };
    for (auto const& [name, content] : files) {
        QFile file(QDir(directory).filePath(QLatin1String(name)));
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("%s cannot be written", name);
    }
}
