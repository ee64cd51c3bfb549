#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/** "erasetoken": clears a slot. */
class VrelEraseToken : public VrelTableCommand<VrelEraseToken>
{
public:
    static constexpr char const* kCommandId = "erasetoken";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelEraseToken> parameters();

private:
    QString m_fwModulePath;
    unsigned char m_slot = 0;
};

} // namespace VrelUtilsCommand
