#include "tools/vrelhost/request/SourceFiles.h"

#include "tools/common/CommandLine.h"
#include "tools/vrelhost/request/Refusal.h"
#include "tools/vrelhost/request/RequestRules.h"

#include <QFileInfo>

#include <algorithm>

namespace {

/** Why a file cannot be read, as the end of a sentence; empty when it can. */
QString fault(QString const& file)
{
    QFileInfo const info(file);
    if (!info.exists())
        return QStringLiteral("does not exist");
    if (info.isDir())
        return QStringLiteral("is a folder");
    return info.isReadable() ? QString() : QStringLiteral("cannot be read");
}

} // namespace

void SourceFiles::addRequest(JsonObject const& request)
{
    for (auto const& [key, file] : RequestRules::readFiles(request)) {
        if (isMade(file) || m_needed.contains(file))
            continue;
        m_needed << file;
        QString const cause = fault(file);
        if (!cause.isEmpty())
            throw Refusal(QStringLiteral("\"%1\" names the file '%2', which %3").arg(key, file, cause),
                          Refusal::NoAdvice);
    }
    QString const written = RequestRules::writtenFile(request);
    if (!written.isEmpty())
        m_written.insert(RequestRules::canonicalName(written));
}

void SourceFiles::requireProgram(QString const& name) const
{
    QString const program = findProgram(name);
    QString const cause = isMade(program) ? QString() : executableFault(program);
    if (!cause.isEmpty())
        throw Refusal(
            QStringLiteral("\"exec\" names the program '%1', which cannot be run: %2").arg(name, cause),
            Refusal::NoAdvice);
}

bool SourceFiles::isMade(QString const& file) const
{
    auto const isNamed = [&file](QString const& word) { return word.contains(file); };
    return std::any_of(m_arguments.begin(), m_arguments.end(), isNamed) ||
           m_written.count(RequestRules::canonicalName(file)) > 0;
}
