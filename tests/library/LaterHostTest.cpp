#include "commands/VrelFlashUtils.h"
#include "external/LogHandler.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/Request.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

/**
 * @file
 * A host whose reads have results that this one's do not have: the reads here stand before those of the host
 * framework's library, and hand on to them unless a test says what is to be answered.
 */
namespace {

/** What reads of some keys are answered. */
struct Answer
{
    int result = JsonObject::Present;
    QStringList keys;
};

Answer& answer()
{
    static Answer s_answer;
    return s_answer;
}

template <typename Value>
int readAs(char const* symbol, JsonObject const* object, QString const& key, Value& out)
{
    using Read = int (*)(JsonObject const*, QString const&, Value&);
    auto const read = reinterpret_cast<Read>(::dlsym(RTLD_NEXT, symbol));
    return answer().keys.contains(key) ? answer().result : read(object, key, out);
}

} // namespace

int JsonObject::getString(QString const& key, QString& out) const
{
    return readAs("_ZNK10JsonObject9getStringERK7QStringRS0_", this, key, out);
}

int JsonObject::getUInt8(QString const& key, unsigned char& out) const
{
    return readAs("_ZNK10JsonObject8getUInt8ERK7QStringRh", this, key, out);
}

int JsonObject::getValue(QString const& key, QVariant& out) const
{
    return readAs("_ZNK10JsonObject8getValueERK7QStringR8QVariant", this, key, out);
}

namespace {

TEST(LaterHostTest, ResultsThatMeanNothingYetAreNoFaults)
{
    JsonObject const request = json(R"({"command":"readtoken","fw_rux":"m","path":"p","slot":1})");
    LogRecorder const recorder;
    LogHandler log;
    VrelFlashUtils utils;
    QString error;
    answer() = {3, {QStringLiteral("path"), QStringLiteral("slot")}};
    EXPECT_TRUE(utils.parseArguments(request, log));
    EXPECT_EQ(text(VrelFlashUtils::getParameters(request, error)), R"({"command":"readtoken","fw_rux":"m"})");
    answer() = {};
    EXPECT_EQ(error, QString());
    EXPECT_EQ(recorder.lines(), Lines());
    EXPECT_EQ(text(utils.getParameters()), R"({"command":"readtoken","fw_rux":"m","path":"","slot":0})");
}

} // namespace
