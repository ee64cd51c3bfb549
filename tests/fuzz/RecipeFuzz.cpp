#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "framework/JsonText.h"
#include "tests/fuzz/Require.h"
#include "tools/vrelhost/request/Placeholders.h"
#include "tools/vrelhost/request/Recipe.h"
#include "tools/vrelhost/request/Refusal.h"

#include <optional>

/**
 * @file
 * A request or recipe on the host tool's command line: the input is its text, up to a request for one device.
 */
namespace {

void checkRequest(RequestTemplate const& request, LogHandler& log)
{
    JsonObject const good = request.fill(Placeholders({QStringLiteral("1"), QStringLiteral("2")}));
    require(VrelFlashUtils().parseArguments(good, log), "which the library accepts as it did the template");
    QByteArray const text = toCompactJson(good);
    QByteArray const given = toCompactJson(request.request());
    for (char const* const word : {"{serial}", "{path}"})
        require(!text.contains(word) || given.contains(QByteArray("{") + word), "no placeholder is left");
    try {
        JsonObject const bad = request.fill(Placeholders({QStringLiteral("../SN"), QStringLiteral("../1")}));
        require(toCompactJson(bad) == text, "names that lead elsewhere get into no request");
    } catch (Refusal const& refusal) {
        require(!refusal.cause().isEmpty(), "a refusal is explained");
    }
}

std::optional<Recipe> read(QString const& text)
{
    try {
        return Recipe::read(text);
    } catch (Refusal const& refusal) {
        require(!refusal.cause().isEmpty(), "unreadable text is explained");
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    if (size == 0 || (data[0] != '{' && data[0] != '['))
        return -1; // the name of a file
    auto recipe = read(QString::fromUtf8(reinterpret_cast<char const*>(data), static_cast<int>(size)));
    if (!recipe)
        return 0;
    require(!recipe->steps.empty() && recipe->isArray == (data[0] == '['),
            "an array is a recipe, with steps");

    int errors = 0;
    setLogSink([&errors](LogLine const& line) { errors += line.level == kErrorLevel ? 1 : 0; });
    LogHandler log;
    bool const isAccepted = recipe->accept(true, log);
    require(isAccepted == (errors == 0), "a rejected recipe, and only that, logs an error");
    if (!isAccepted)
        return 0;
    for (Step const& step : recipe->steps) {
        auto const* const wait = step.as<Step::Wait>();
        auto const* const exec = step.as<Step::Exec>();
        require(wait == nullptr || (wait->seconds >= 1 && wait->seconds <= Step::kLongest),
                "a wait has an end");
        require(exec == nullptr || !exec->words.value(0).isEmpty(), "there is a program");
        if (auto const* const request = step.as<RequestTemplate>())
            checkRequest(*request, log);
        else
            require(wait != nullptr || exec != nullptr || step.as<Step::Row>() != nullptr,
                    "a step is something");
    }
    int const shared = recipe->sharedFileStep();
    require(shared >= 0 && shared <= static_cast<int>(recipe->steps.size()), "a step that is there");
    return 0;
}
