#include "commands/VrelStartOver.h"

#include "commands/support/VrelProcedure.h"

namespace VrelUtilsCommand {

QString VrelStartOver::getUsage()
{
    return QStringLiteral("\tstartover\t\n"
                          "\t    --flags arg           fw download command flags\n");
}

ParameterTable<VrelStartOver> VrelStartOver::parameters()
{
    using Self = VrelStartOver;
    static constexpr Parameter<Self> kRows[] = {
        {{"flags", "uint32_t"}, &Self::m_flags},
    };
    return kRows;
}

bool VrelStartOver::carryOut(VrelApiManager const& api, QString const& serial, LogHandler& log) const
{
    std::uint32_t flags = m_flags;
    std::uint32_t operation = 0;
    std::uint32_t operationContext = 0;
    Procedure procedure("STARTOVER", api, log);
    logProgress(log, "Flags: ", QString::number(flags));
    if (!procedure.carryOut(&IVrelAPI::startOver, &flags, &operation, &operationContext, serial))
        return false;
    logProgress(log, "Current operation: ", QString::number(operation, 16));
    logProgress(log, "Current context: ", QString::number(operationContext, 16));
    return true;
}

} // namespace VrelUtilsCommand
