#include "tests/emulator/EmulatorFixture.h"

#include <fstream>

using testing::HasSubstr;

namespace {

using StorageTest = HeldRigTest;

constexpr std::uint32_t kPartitionSize = 512 * 1024;

TEST_F(StorageTest, readsExactlyTheRegionOrNothing)
{
    struct Case
    {
        VrelReadRegion region;
        std::uint8_t type;
        std::uint8_t index;
        char const* cause; ///< null: accepted
    };
    Case const cases[] = {
        {{0, 0, kPartitionSize / 512}, 2, 0, nullptr},
        {{0, 100, 3}, 2, 0, nullptr},
        {{0, kPartitionSize - 512, 1}, 2, 0, nullptr},
        {{0, kPartitionSize, 0}, 2, 0, nullptr},
        {{0, kPartitionSize + 1, 0}, 2, 0, "outside"},
        {{0, kPartitionSize - 511, 1}, 2, 0, "outside"},
        {{0, 512, kPartitionSize / 512}, 2, 0, "outside"},
        {{0, 512, 0x7FFFFFFF}, 2, 0, "outside"}, // wraps to 0 in 32 bits
        {{0, 0xFFFFFFFF, 0xFFFFFFFF}, 2, 0, "outside"},
        {{7, 0, 1}, 2, 0, "no partition 7"},
        {{0, 0, 1}, 2, 1, "no eMMC at index 1"},
        {{0, 0, 1}, 3, 0, "no UFS at index 0"},
        {{0, 0, 1}, 9, 0, "Unknown storage device type 9"},
    };
    auto const image = contentOf(rigFile("devices/0A1B2C3D/storage/emmc-0/partition-0.img"));
    ASSERT_EQ(image.size(), kPartitionSize);
    auto const target = (m_directory / "target").string();
    for (auto const& [region, type, index, cause] : cases) {
        std::filesystem::remove(target);
        auto given = region;
        auto const result = run(&IVrelAPI::readBootMedia, type, index, &given, target.c_str(), kFirst);
        if (cause == nullptr) {
            EXPECT_EQ(result, 0) << m_error;
            EXPECT_EQ(contentOf(target), image.substr(region.startOffset, region.blockCount * 512));
        } else {
            EXPECT_NE(result, 0) << cause;
            EXPECT_THAT(m_error, HasSubstr(cause));
            EXPECT_FALSE(std::filesystem::exists(target));
        }
    }
}

TEST_F(StorageTest, writesThroughLinksAndToSpecialFiles)
{
    auto const file = makeFile("file", "old");
    auto const link = (m_directory / "link").string();
    std::filesystem::create_symlink("file", link);
    VrelReadRegion region = {0, 0, 1};
    for (auto const* const target : {link.c_str(), "/dev/null"})
        EXPECT_EQ(run(&IVrelAPI::readBootMedia, kSpi, kZero, &region, target, kFirst), 0) << m_error;
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(contentOf(file).size(), 512U);
    EXPECT_FALSE(std::filesystem::is_regular_file("/dev/null"));
}

TEST_F(StorageTest, clearsRpmbWhereThereIsOne)
{
    EXPECT_EQ(run(&IVrelAPI::clearRpmb, kEmmc, kZero, kFirst), 0);
    EXPECT_EQ(contentOf(rigFile("devices/0A1B2C3D/storage/emmc-0/rpmb.img")), std::string(131072, '\0'));
    EXPECT_NE(run(&IVrelAPI::clearRpmb, kSpi, kZero, kFirst), 0);
    EXPECT_THAT(m_error, HasSubstr("no RPMB"));
}

TEST_F(StorageTest, configuresPartitions)
{
    struct Case
    {
        char const* xml;
        char const* serial;
        std::uint8_t type;
        char const* cause; ///< null: accepted
    };
    constexpr char const* kGood = "<partitions><partition name='a' size='1'/></partitions>";
    Case const cases[] = {
        {"<partitions>\n<partition", kSecond, 3, "line 2"},
        {"no XML", kSecond, 3, "line 1"},
        {"<layout/>", kSecond, 3, "root element 'partitions'"},
        {"<partitions><volume/></partitions>", kSecond, 3, "element 'partition' is expected"},
        {"<partitions><partition size='1'/></partitions>", kSecond, 3, "'name'"},
        {"<partitions><partition name='a' size='-1'/></partitions>", kSecond, 3, "'size'"},
        {"<partitions/><partitions/>", kSecond, 3, "line 1"},
        {kGood, kSecond, 3, nullptr},
        {kGood, kSecond, 16, nullptr},
        {kGood, kFirst, 2, nullptr},
        {kGood, kFirst, 2, "already configured"},
        {kGood, kFirst, 1, "takes no partition configuration"},
    };
    for (auto const& [xml, serial, type, cause] : cases) {
        auto const file = makeFile("config.xml", xml);
        auto const result = run(&IVrelAPI::configPartitions, file.c_str(), type, kZero, serial);
        EXPECT_EQ(result == 0, cause == nullptr) << xml << ": " << m_error;
        if (cause != nullptr) {
            EXPECT_THAT(m_error, HasSubstr(cause));
        }
    }
    EXPECT_EQ(contentOf(rigFile("devices/0A1B2C3D/storage/emmc-0/partitions.xml")), kGood);
}

TEST_F(StorageTest, laysOutCardInformation)
{
    auto const fetch = [&](std::uint8_t type, char const* serial,
                           std::uint32_t capacity = sizeof(VrelCardInfo)) {
        VrelCardInfo info = {};
        auto size = capacity;
        auto const result = run(&IVrelAPI::getCardInfo, &type, kZero, &info, &size, serial);
        return result == 0 ? std::string(info.bytes, info.bytes + size) : std::string("failed");
    };
    auto const emmc = rigFile("devices/0A1B2C3D/storage/emmc-0/");
    std::ofstream(emmc + "ocr.hex") << "c0FF\n80 81";
    std::ofstream(emmc + "cid.hex") << "01 02 03 'PNM'"
                                    << "";
    EXPECT_EQ(fetch(2, kFirst), "failed");
    std::ofstream(emmc + "cid.hex") << "01 02 03 04 05 06 07 08 09 0A  D1 D2 D3 D4  0B 0C";
    auto const registers = fetch(2, kFirst);
    ASSERT_EQ(registers.size(), 548U);
    EXPECT_EQ(registers.substr(0, 20),
              "\x81\x80\xFF\xC0\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\xD4\xD3\xD2\xD1\x0B\x0C");
    EXPECT_EQ(registers[20], '\xD0');
    EXPECT_EQ(registers[36 + 192], '\x08');
    EXPECT_EQ(fetch(1, kFirst), "");
    EXPECT_EQ(fetch(2, kFirst, 547), "failed");
    EXPECT_THAT(m_error, HasSubstr("the buffer holds 547"));
    auto const whole = fetch(3, kSecond);
    EXPECT_EQ(whole.size(), 272U);
    EXPECT_EQ(whole[204 + 1], '\x07');
    EXPECT_EQ(fetch(16, kSecond), whole);
    std::filesystem::remove(rigFile("devices/5E6F7A8B/storage/ufs-0/attributes.hex"));
    EXPECT_EQ(fetch(3, kSecond), whole.substr(0, 144) + whole.substr(204));
    auto const file = (m_directory / "card.bin").string();
    std::uint8_t type = 2;
    EXPECT_EQ(run(&IVrelAPI::getCardInfoToFile, &type, kZero, file.c_str(), kFirst), 0);
    EXPECT_EQ(contentOf(file), registers);
}

} // namespace
