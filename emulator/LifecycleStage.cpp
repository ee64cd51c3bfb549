#include "emulator/LifecycleStage.h"

#include "emulator/CallerArgument.h"
#include "emulator/JsonFile.h"
#include "emulator/RigLayout.h"

#include <algorithm>
#include <array>

namespace VrelRig {

namespace {

constexpr std::array<char const*, 4> kStages = {"development", "manufacturing", "production",
                                                "decommissioned"};
constexpr std::uint64_t kMaximumTokenSize = 4096;

std::string trimmed(std::string const& text)
{
    constexpr char const* kWhiteSpace = " \t\r\n";
    auto const first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

std::size_t rankOf(std::string const& stage, std::string const& source)
{
    auto const found = std::find(kStages.begin(), kStages.end(), stage);
    if (found != kStages.end())
        return static_cast<std::size_t>(found - kStages.begin());
    std::string known;
    for (auto const* const name : kStages)
        known += (known.empty() ? "" : ", ") + std::string(name);
    throw RigError(quoted(source) + " names no lifecycle stage (" + known + ")");
}

std::string lifecycleText(std::string const& stage, std::uint32_t count)
{
    return jsonText({{"stage", jsonValue(stage)}, {"count", static_cast<qint64>(count)}});
}

} // namespace

std::string initialLifecycle()
{
    return lifecycleText(kStages.front(), 0);
}

void advanceLifecycleStage(RigDevice const& device, char const* tokenPath, OperationLog const& log)
{
    auto const wanted = trimmed(readCallerFile(tokenPath, "lifecycle token", kMaximumTokenSize));
    auto const path = device.file(RigLayout::kLifecycle);
    JsonFile const lifecycle(path);
    auto const stage = lifecycle.text("stage");
    if (rankOf(wanted, tokenPath) <= rankOf(stage, path))
        throw RigError("The lifecycle stage moves forward only: it is " + quoted(stage) + ", asked for is " +
                       quoted(wanted));
    device.rig().store(path, lifecycleText(wanted, lifecycle.number("count") + 1));
    log.info("Lifecycle stage: " + stage + " -> " + wanted);
}

} // namespace VrelRig
