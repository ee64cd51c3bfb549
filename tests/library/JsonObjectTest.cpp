#include "external/Converter.h"
#include "framework/JsonText.h"

#include <gtest/gtest.h>

namespace {

QString const kKey = QStringLiteral("k");

TEST(JsonObjectTest, TypedReads)
{
    struct Case
    {
        char const* json;
        int asString;
        int asUInt8;
        int asUInt32;
        int asValue;
        char const* text;
    };
    // Results of the four reads: 0 present, 1 unusable, 2 absent.
    Case const cases[] = {
        {R"({})", 2, 2, 2, 2, ""},
        {R"({"k": null})", 1, 1, 1, 1, ""},
        {R"({"k": "7"})", 0, 1, 1, 0, "7"},
        {R"({"k": ""})", 0, 1, 1, 0, ""},
        {R"({"k": 0})", 1, 0, 0, 0, "0"},
        {R"({"k": 255})", 1, 0, 0, 0, "255"},
        {R"({"k": 256})", 1, 1, 0, 0, "256"},
        {R"({"k": 4294967295})", 1, 1, 0, 0, "4294967295"},
        {R"({"k": 4000000000})", 1, 1, 0, 0, "4000000000"},
        {R"({"k": 4294967296})", 1, 1, 1, 0, "4294967296"},
        {R"({"k": 1e2})", 1, 0, 0, 0, "100"},
        {R"({"k": 1.5})", 1, 1, 1, 0, "1.5"},
        {R"({"k": -1})", 1, 1, 1, 0, "-1"},
        {R"({"k": 1e300})", 1, 1, 1, 0, "1e+300"},
        {R"({"k": true})", 1, 1, 1, 0, "true"},
        {R"({"k": ["7"]})", 1, 1, 1, 0, ""},
        {R"({"k": {"a": 7}})", 1, 1, 1, 0, ""},
    };
    for (Case const& entry : cases) {
        QString error;
        auto const object = parseJsonObject(entry.json, error);
        ASSERT_TRUE(object) << error.toStdString();
        QString text = QStringLiteral("untouched");
        unsigned char small = 77;
        unsigned int large = 77;
        QVariant value;
        EXPECT_EQ(object->getString(kKey, text), entry.asString) << entry.json;
        EXPECT_EQ(object->getUInt8(kKey, small), entry.asUInt8) << entry.json;
        EXPECT_EQ(object->getUInt32(kKey, large), entry.asUInt32) << entry.json;
        EXPECT_EQ(object->getValue(kKey, value), entry.asValue) << entry.json;
        EXPECT_EQ(value.toString().toStdString(), entry.text) << entry.json;
        EXPECT_EQ(text.toStdString(), entry.asString == 0 ? entry.text : "untouched") << entry.json;
        EXPECT_EQ(QString::number(large).toStdString(), entry.asUInt32 == 0 ? entry.text : "77")
            << entry.json;
        EXPECT_EQ(QString::number(small).toStdString(), entry.asUInt8 == 0 ? entry.text : "77") << entry.json;
    }
}

TEST(JsonObjectTest, TextsWithANulAreUnusable)
{
    QString text;
    auto const object = parseJsonObject(R"({"k": "a\u0000b"})", text);
    EXPECT_EQ(object->getString(kKey, text), 1);
}

TEST(JsonObjectTest, StoredValuesKeepTheirText)
{
    JsonObject object;
    object.setValue(QStringLiteral("b"), static_cast<unsigned char>(65));
    object.setValue(QStringLiteral("a"), 4000000000U);
    object.setValue(QStringLiteral("d"), "gr\xC3\xBC\xC3\x9F");
    object.setValue(QStringLiteral("c"), QVariant::fromValue<unsigned char>(66));
    object.setValue(QStringLiteral("e"), QStringList{QStringLiteral("x"), QStringLiteral("y")});
    std::string texts;
    for (auto const& [key, value] : object)
        texts += (key + QLatin1Char('=') + value.toString() + QLatin1Char(' ')).toStdString();
    EXPECT_EQ(texts, "a=4000000000 b=65 c=66 d=gr\xC3\xBC\xC3\x9F e= ");
    EXPECT_EQ(toCompactJson(object).toStdString(), R"({"a":4000000000,"b":65,"c":66,"d":"gr)"
                                                   "\xC3\xBC\xC3\x9F"
                                                   R"(","e":["x","y"]})");
}

TEST(JsonObjectTest, RejectedTextsNameTheCause)
{
    QString error;
    for (char const* const text : {"", "{", "[1]", "7", "{} x", "{\"k\": }"}) {
        error.clear();
        EXPECT_FALSE(parseJsonObject(text, error)) << text;
        EXPECT_FALSE(error.isEmpty()) << text;
    }
}

TEST(ConverterTest, FlagsChooseSeparatorPaddingAndOrder)
{
    unsigned char bytes[] = {0x02, 0xAB, 0x00};
    EXPECT_EQ(Converter::convertByteArrayToHexString(bytes, 3, false, true, true), QStringLiteral("02ab00"));
    EXPECT_EQ(Converter::convertByteArrayToHexString(bytes, 3, true, false, false), QStringLiteral("0 ab 2"));
}

} // namespace
