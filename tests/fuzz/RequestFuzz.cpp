#include "commands/VrelFlashUtils.h"
#include "framework/JsonText.h"
#include "plugin/VrelManager.h"
#include "tests/fuzz/Require.h"
#include "tests/support/FakeVendor.h"
#include "tests/support/LogRecorder.h"

#include <algorithm>
#include <sanitizer/lsan_interface.h>

/**
 * @file
 * A JSON request through all that the front end makes of it: the input is the request's text.
 */
namespace {

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

bool hasOnlyKeysOf(JsonObject const& object, JsonObject const& other)
{
    return std::all_of(object.begin(), object.end(), [&other](auto const& entry) {
        QVariant value;
        return other.getValue(entry.first, value) == JsonObject::Present;
    });
}

JsonObject heldRequest()
{
    JsonObject request;
    request.setValue(QStringLiteral("command"), "erasetoken");
    request.setValue(QStringLiteral("fw_rux"), "held");
    request.setValue(QStringLiteral("slot"), 7U);
    return request;
}

void checkRun(VrelFlashUtils& utils, int result)
{
    LogRecorder const recorder;
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
    if (!types.empty())
        require(hasOnlyKeysOf(stored, types), "every stored parameter has a type");
    LogHandler log;
    VrelFlashUtils again;
    require(again.parseArguments(stored, log), "stored parameters are accepted");
    require(toCompactJson(again.getParameters()) == toCompactJson(stored), "and stored as they were");
    checkRun(utils, 0);
    checkRun(utils, -1);
}

/** Without the leaks of Qt's own parser, which loses nested values when keys are given twice. */
std::optional<JsonObject> parse(QByteArray const& text, QString& error)
{
    __lsan::ScopedDisabler const leaksAreQts;
    return parseJsonObject(text, error);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    QString error;
    auto const request =
        parse(QByteArray(reinterpret_cast<char const*>(data), static_cast<int>(size)), error);
    if (!request) {
        require(!error.isEmpty(), "unreadable text is explained");
        return 0;
    }
    JsonObject const types = VrelFlashUtils::getParameterTypes(*request);
    JsonObject const copy = VrelFlashUtils::getParameters(*request, error);
    require(isPartOf(copy, *request), "a copy holds nothing but the request's own");
    require(error.isEmpty() || copy.empty(), "a failed copy is empty");

    LogRecorder const recorder;
    LogHandler log;
    VrelFlashUtils utils(heldRequest());
    bool const isAccepted = utils.parseArguments(*request, log);
    require(hasError(recorder) != isAccepted, "a rejected request, and only that, logs an error");
    if (isAccepted) {
        require(error.isEmpty(), "what is accepted can be copied");
        checkAccepted(utils, types);
    } else {
        require(toCompactJson(utils.getParameters()) == toCompactJson(heldRequest()),
                "a rejected request leaves the held command");
    }
    return 0;
}
