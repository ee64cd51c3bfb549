#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "readtoken": copies the token held in a slot into a file. */
class VrelReadToken : public VrelTableCommand<VrelReadToken>
{
public:
    static constexpr char const* kCommandId = "readtoken";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelReadToken> parameters();

private:
    QString m_fwModulePath;
    QString m_targetPath;
    unsigned char m_slot = 0;
};

} // namespace VrelUtilsCommand
