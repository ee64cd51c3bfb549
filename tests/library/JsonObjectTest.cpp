#include "external/Converter.h"
#include "tests/support/Request.h"

#include <gtest/gtest.h>

namespace {

QString const kKey = QStringLiteral("k");

TEST(JsonObjectTest, TypedReads)
{
    // Results of the reads as text, UInt8, UInt32 and value: 0 present, 1 unusable, 2 absent.
    struct
    {
        char const* json;
        char const* results;
        char const* text;
    } const cases[] = {
        {R"({})", "2222", ""},
        {R"({"k": null})", "1111", ""},
        {R"({"k": "7"})", "0110", "7"},
        {R"({"k": ""})", "0110", ""},
        {R"({"k": "a\u0000b"})", "1110", nullptr},
        {R"({"k": 0})", "1000", "0"},
        {R"({"k": 255})", "1000", "255"},
        {R"({"k": 256})", "1100", "256"},
        {R"({"k": 4294967295})", "1100", "4294967295"},
        {R"({"k": 4294967296})", "1110", "4294967296"},
        {R"({"k": 1e2})", "1000", "100"},
        {R"({"k": 1.5})", "1110", "1.5"},
        {R"({"k": -1})", "1110", "-1"},
        {R"({"k": 1e300})", "1110", "1e+300"},
        {R"({"k": true})", "1110", "true"},
        {R"({"k": ["7"]})", "1110", ""},
        {R"({"k": {"a": 7}})", "1110", ""},
    };
    for (auto const& [source, results, shown] : cases) {
        JsonObject const object = json(source);
        QString string = QStringLiteral("untouched");
        unsigned char small = 77;
        unsigned int large = 77;
        QVariant value;
        std::string seen;
        for (int const result : {object.getString(kKey, string), object.getUInt8(kKey, small),
                                 object.getUInt32(kKey, large), object.getValue(kKey, value)})
            seen += std::to_string(result);
        EXPECT_EQ(seen, results) << source;
        EXPECT_TRUE(shown == nullptr || value.toString() == QLatin1String(shown)) << source;
        EXPECT_EQ(string.toStdString(), results[0] == '0' ? shown : "untouched") << source;
        EXPECT_EQ(std::to_string(small), results[1] == '0' ? shown : "77") << source;
        EXPECT_EQ(std::to_string(large), results[2] == '0' ? shown : "77") << source;
    }
}

TEST(JsonObjectTest, StoredValuesKeepTheirText)
{
    JsonObject object;
    object.setValue(QStringLiteral("b"), static_cast<unsigned char>(65));
    object.setValue(QStringLiteral("a"), 4000000000U);
    object.setValue(QStringLiteral("d"), "gr\xC3\xBC\xC3\x9F");
    object.setValue(QStringLiteral("c"), QVariant::fromValue<unsigned char>(66));
    object.setValue(QStringLiteral("e"), QStringList{QStringLiteral("x"), QStringLiteral("y")});
    object.setValue(QStringLiteral("f"), QVariant(2e15));
    object.setValue(QStringLiteral("g"), true);
    std::string texts;
    for (auto const& [key, value] : object)
        texts += (key + QLatin1Char('=') + value.toString() + QLatin1Char(' ')).toStdString();
    EXPECT_EQ(texts, "a=4000000000 b=65 c=66 d=gr\xC3\xBC\xC3\x9F e= f=2000000000000000 g=true ");
    EXPECT_EQ(text(object), "{\"a\":4000000000,\"b\":65,\"c\":66,\"d\":\"gr\xC3\xBC\xC3\x9F\",\"e\":[\"x\","
                            "\"y\"],\"f\":2000000000000000,\"g\":true}");
}

TEST(ConverterTest, FlagsChooseSeparatorPaddingAndOrder)
{
    unsigned char bytes[] = {0x02, 0xAB, 0x00};
    EXPECT_EQ(Converter::convertByteArrayToHexString(bytes, 3, false, true, true), QStringLiteral("02ab00"));
    EXPECT_EQ(Converter::convertByteArrayToHexString(bytes, 3, true, false, false), QStringLiteral("0 ab 2"));
}

} // namespace
