#include "commands/VrelFlashUtils.h"
#include "framework/JsonText.h"
#include "plugin/VrelManager.h"
#include "tests/fuzz/Require.h"
#include "tests/support/FakeVendor.h"
#include "tests/support/LogRecorder.h"

#include <algorithm>

/**
 * @file
 * A JSON request through all that the front end makes of it: the input is the request's text.
 */
namespace {

constexpr char const* kHeld = R"({"command":"erasetoken","fw_rux":"held","slot":7})";

bool hasError(LogRecorder const& recorder)
{
    auto const records = recorder.records();
    return std::any_of(records.begin(), records.end(), [](LogLine const& line) { return line.level == 1; });
}

bool isPartOf(JsonObject const& part, JsonObject const& whole)
{
    return std::all_of(part.begin(), part.end(), [&whole](auto const& entry) {
        QVariant value;
        return whole.getValue(entry.first, value) == JsonObject::Present && value == entry.second;
    });
}

void checkRun(VrelFlashUtils& utils, int result)
{
    LogRecorder const recorder; // also keeps the lines off standard error
    LogHandler log;
    FakeVendor vendor;
    vendor.result = result;
    VrelManager manager;
    bool const success = utils.run(manager.fetchApi(), QStringLiteral("SN"), log);
    require(success == (result == 0), "a run succeeds when its operation does");
    require(vendor.calls.size() == 1, "a run is one operation");
    require(hasError(recorder) != success, "a failed run, and only that, logs an error");
}

void checkAccepted(VrelFlashUtils& utils, JsonObject const& types)
{
    JsonObject const stored = utils.getParameters();
    QVariant type;
    for (auto const& entry : stored)
        require(types.empty() || types.getValue(entry.first, type) == JsonObject::Present,
                "every stored parameter has a type");
    LogHandler log;
    VrelFlashUtils again;
    require(again.parseArguments(stored, log), "stored parameters are accepted");
    require(toCompactJson(again.getParameters()) == toCompactJson(stored), "and stored as they were");
    checkRun(utils, 0);
    checkRun(utils, -1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    QString error;
    auto const request =
        parseJsonObject(QByteArray(reinterpret_cast<char const*>(data), static_cast<int>(size)), error);
    if (!request) {
        require(!error.isEmpty(), "unreadable text is explained");
        return 0;
    }
    JsonObject const types = VrelFlashUtils::getParameterTypes(*request);
    JsonObject const copy = VrelFlashUtils::getParameters(*request, error);
    require(isPartOf(copy, *request), "a copy holds nothing but the request's own");
    require(error.isEmpty() || copy.empty(), "a failed copy is empty");

    JsonObject const held = *parseJsonObject(kHeld, error);
    LogRecorder const recorder;
    LogHandler log;
    VrelFlashUtils utils(held);
    bool const isAccepted = utils.parseArguments(*request, log);
    require(hasError(recorder) != isAccepted, "a rejected request, and only that, logs an error");
    if (isAccepted) {
        require(error.isEmpty(), "what is accepted can be copied");
        checkAccepted(utils, types);
    } else {
        require(toCompactJson(utils.getParameters()) == kHeld, "a rejected request leaves the held command");
    }
    return 0;
}
