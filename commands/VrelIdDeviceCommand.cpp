#include "commands/VrelIdDeviceCommand.h"

#include "commands/support/VrelProcedure.h"

#include <QStringList>

namespace VrelUtilsCommand {

namespace {

/** "00" stands for no error; codes come without leading zeros. */
QString imageErrors(VrelIdResponse const& response)
{
    QStringList texts;
    for (std::uint8_t const error : response.imageErrors)
        texts << (error == 0 ? QStringLiteral("00") : QString::number(error, 16));
    return texts.join(QLatin1Char(' '));
}

} // namespace

QString VrelIdDeviceCommand::getUsage()
{
    return QStringLiteral("\tiddevice\n"
                          "\t    --flags arg [= 0]     [Optional] FW download command flags\n"
                          "\t    --ifp arg             [Optional] Path to IFP emulation file\n");
}

ParameterTable<VrelIdDeviceCommand> VrelIdDeviceCommand::parameters()
{
    using Self = VrelIdDeviceCommand;
    static constexpr Parameter<Self> kRows[] = {
        {{"flags", "[uint32_t]", ParameterRule::Optional}, &Self::m_flags},
        {{"ifp", "[file]", ParameterRule::Optional}, &Self::m_ifpPath},
    };
    return kRows;
}

bool VrelIdDeviceCommand::carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const
{
    std::uint32_t oemId = 0;
    VrelPlatformId uniqueId = {};
    std::uint32_t responseFlags = 0;
    VrelIdResponse response = {};
    logProgress(log, "Flags: ", QString::number(m_flags));
    Procedure procedure("ID DEVICE", api, log);
    VrelIfpRecord ifp = {};
    bool const identified = m_ifpPath.isEmpty()
                                ? procedure.carryOut(&IVrelAPI::idDevice, m_flags, &ifp, &oemId, &uniqueId,
                                                     &responseFlags, &response, serial)
                                : procedure.carryOut(&IVrelAPI::idDeviceIfpFile, m_flags, m_ifpPath, &oemId,
                                                     &uniqueId, &responseFlags, &response, serial);
    if (!identified)
        return false;
    logProgress(log, "Response flags: ", QString::number(responseFlags));
    logProgress(log, "OEM platform ID: ", paddedHex(oemId));
    logProgress(log, "Unique platform ID: ", hexDigits(uniqueId.bytes));
    logProgress(log, "Image errors: ", imageErrors(response));
    return true;
}

} // namespace VrelUtilsCommand
