#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "writetoken": stores a token file in a slot. */
class VrelWriteToken : public VrelTableCommand<VrelWriteToken>
{
public:
    static constexpr char const* kCommandId = "writetoken";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelWriteToken> parameters();

private:
    QString m_fwModulePath;
    QString m_tokenPath;
    unsigned char m_slot = 0;
};

} // namespace VrelUtilsCommand
