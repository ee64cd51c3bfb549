#include "tests/emulator/EmulatorFixture.h"

namespace {

using A = Operation::Arguments;

/** Places for whatever an operation answers. */
struct Answers
{
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    std::uint32_t third = 0;
    std::uint32_t fourth = 0;
    VrelPlatformId uniqueId = {};
    VrelIdResponse response = {};
    VrelTokenPartId partId = {};
    VrelCardInfo cardInfo = {};
    VrelIfpRecord ifp = {};
    VrelReadRegion region = {0, 0, 1};
    std::uint32_t size = sizeof(VrelCardInfo);
    std::uint8_t type = kEmmc;
};

using R = Answers;

char const* resolve(char const* A::*text, A const& a, R&)
{
    return a.*text;
}

template <typename T>
T* resolve(T R::*answer, A const& a, R& r)
{
    return a.withNullAnswers ? nullptr : &(r.*answer);
}

template <typename T>
T resolve(T value, A const&, R&)
{
    return value;
}

/** Calls an operation with texts of the arguments, places for answers, and fixed values. */
template <typename Member, typename... Given>
auto call(Member operation, Given... given)
{
    return [=](IVrelAPI& api, A const& a) {
        Answers r;
        return (api.*operation)(resolve(given, a, r)..., a.errorText, nullptr, nullptr);
    };
}

constexpr std::uint8_t kSlot = 15;
constexpr std::uint32_t kFlags = 0;
constexpr char const* kNone = "";

} // namespace

std::vector<Operation> const& deviceOperations()
{
    using I = IVrelAPI;
    static std::vector<Operation> const s_operations = {
        {"idDevice", false, false,
         call(&I::idDevice, kFlags, &R::ifp, &R::first, &R::uniqueId, &R::second, &R::response, &A::serial)},
        {"startOver", false, false, call(&I::startOver, &R::first, &R::second, &R::third, &A::serial)},
        {"fwRecovery", true, false, call(&I::fwRecovery, &A::module, &A::serial, &R::ifp)},
        {"downloadFwOs", true, true,
         call(&I::downloadFwOs, &A::module, &A::input, &R::first, kNone, kNone, &A::serial)},
        {"configPartitions", true, true,
         call(&I::configPartitions, &A::module, &A::input, kEmmc, kZero, &A::serial)},
        {"getTokenPid", true, false,
         call(&I::getTokenPid, &A::module, kFlags, &R::partId, &R::first, &R::second, &R::third, &R::fourth,
              &A::serial)},
        {"getCardInfo", true, false,
         call(&I::getCardInfo, &A::module, &R::type, kZero, &R::cardInfo, &R::size, &A::serial)},
        {"clearRpmb", true, false, call(&I::clearRpmb, &A::module, kEmmc, kZero, &A::serial)},
        {"idDeviceIfpFile", false, true,
         call(&I::idDeviceIfpFile, kFlags, &A::input, &R::first, &R::uniqueId, &R::second, &R::response,
              &A::serial)},
        {"writeToken", true, true, call(&I::writeToken, &A::module, &A::input, kSlot, &A::serial)},
        {"readToken", true, false, call(&I::readToken, &A::module, &A::output, kSlot, &A::serial)},
        {"eraseToken", true, false, call(&I::eraseToken, &A::module, kSlot, &A::serial)},
        {"setDeviceLifecycleStage", true, true,
         call(&I::setDeviceLifecycleStage, &A::module, &A::input, &A::serial)},
        {"oemIfpProvision", true, true, call(&I::oemIfpProvision, &A::module, &A::input, &A::serial)},
        {"getCardInfoToFile", true, false,
         call(&I::getCardInfoToFile, &A::module, &R::type, kZero, &A::output, &A::serial)},
        {"readBootMedia", true, false,
         call(&I::readBootMedia, &A::module, kEmmc, kZero, &R::region, &A::output, &A::serial)},
        {"downloadOemKeyManifest", true, true,
         call(&I::downloadOemKeyManifest, &A::module, &A::input, &A::serial)},
        {"setCapabilities", true, true, call(&I::setCapabilities, &A::module, &A::input, &A::serial)},
    };
    return s_operations;
}
