#pragma once

#include "commands/VrelTableCommand.h"

namespace VrelUtilsCommand {

/**
 * "setdevicelifecyclestage": applies a token that sets the device's lifecycle stage. Complete, but not
 * registered: no request reaches it.
 */
class VrelSetDeviceLifecycleStage : public VrelTableCommand<VrelSetDeviceLifecycleStage>
{
public:
    static constexpr char const* kCommandId = "setdevicelifecyclestage";

    bool carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const;

    static QString getUsage();
    static ParameterTable<VrelSetDeviceLifecycleStage> parameters();

private:
    QString m_fwModulePath;
    QString m_tokenPath;
};

} // namespace VrelUtilsCommand
