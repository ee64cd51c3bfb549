#include "emulator/Text.h"
#include "emulator/Devices.h"
#include "emulator/Operation.h"

#include <gmock/gmock.h>

namespace {

TEST(Text, ofAnErrorIsCutAtACharacter)
{
    std::pair<std::string, std::size_t> const cases[] = {
        {"", 0},
        {std::string(1023, 'x'), 1023},
        {std::string(1024, 'x'), 1023},
        {std::string(1022, 'x') + "\xC3\xA4", 1022},
        {std::string(1021, 'x') + "\xF0\x9F\x98\x80", 1021},
        {std::string(1020, 'x') + "\xE2\x82\xAC" + "x", 1023},
    };
    for (auto const& [text, length] : cases) {
        std::string buffer(kVrelErrorTextSize + 1, '#');
        VrelRig::copyErrorText(text, buffer.data());
        EXPECT_EQ(std::string(buffer.c_str()), text.substr(0, length));
        EXPECT_EQ(buffer.back(), '#');
    }
    VrelRig::copyErrorText("text", nullptr);
}

TEST(Text, isParsedStrictly)
{
    auto const path = VrelRig::UsbPath::parse("3-1.255.7");
    ASSERT_TRUE(path);
    EXPECT_THAT(path->numbers, testing::ElementsAre(3, 1, 255, 7));
    EXPECT_EQ(path->portText(), "1.255.7");
    for (char const* const text : {"",
                                   "1",
                                   "1-",
                                   "-1",
                                   "1-0",
                                   "0-1",
                                   "256-1",
                                   "1-256",
                                   "4294967297-1",
                                   "01-1",
                                   "1-01",
                                   "1-1.",
                                   "1.1",
                                   "1-1:1.0",
                                   "1-1-1",
                                   "1-1.2.3.4.5.6.7.8",
                                   "usb1",
                                   "1-1 ",
                                   "1-1\n",
                                   "+1-1",
                                   "1-+1"})
        EXPECT_FALSE(VrelRig::UsbPath::parse(text)) << text;
    EXPECT_EQ(VrelRig::parseNumber("0x3d4F"), 0x3D4FU);
    EXPECT_EQ(VrelRig::parseNumber("18446744073709551615"), ~std::uint64_t(0));
    for (char const* const text : {"", "0x", "-1", "+1", " 1", "1 ", "1.5", "18446744073709551616", "0x-1"})
        EXPECT_FALSE(VrelRig::parseNumber(text)) << text;
    EXPECT_EQ(VrelRig::parseHex("# FF\nc0FF\t80 # 00\r\n7f"), "\xC0\xFF\x80\x7F");
    for (char const* const text : {"0", "0 1", "0x01", "GG", "001"})
        EXPECT_FALSE(VrelRig::parseHex(text)) << text;
}

} // namespace
