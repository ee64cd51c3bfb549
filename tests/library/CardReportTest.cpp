#include "commands/cardreport/VrelCardReport.h"
#include "commands/cardreport/VrelRawDump.h"

#include <gtest/gtest.h>

#include <QFile>

#include <string>
#include <vector>

namespace {

using namespace VrelUtilsCommand;

/** A buffer whose every byte differs from its neighbours, with some set on purpose. */
struct Buffer
{
    Buffer()
    {
        for (unsigned int i = 0; i < kCardInfoSize; ++i)
            bytes[i] = static_cast<unsigned char>(i * 7 + 131);
    }

    unsigned char bytes[kCardInfoSize];
};

std::string golden(char const* name)
{
    QFile file(QStringLiteral(VREL_TEST_DATA "/") + QString::fromUtf8(name));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
    return file.readAll().toStdString();
}

TEST(CardReportTest, WholeReports)
{
    Buffer emmc;
    std::pair<unsigned int, std::vector<unsigned char>> const registers[] = {
        {0, {0xC0, 0xFF, 0x80, 0x80}},            // OCR
        {7, {'A', 0x00, 0x7F, 0x80, 0xFF, 0x00}}, // product name with NUL and bytes above 0x7F
        {14, {0x78, 0x56, 0x34, 0x12}},           // serial number
        {36 + 143,
         {0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0x01, 0x00, 0x80}}, // overflows 32 bits
        {36 + 221, {1}},
        {36 + 224, {1}},
    };
    for (auto const& [offset, values] : registers)
        std::copy(values.begin(), values.end(), emmc.bytes + offset);
    EXPECT_EQ(cardReport(DeviceType::emmc, emmc.bytes, 0).toStdString(), golden("emmc_report.txt"));

    Buffer const ufs;
    EXPECT_EQ(cardReport(DeviceType::ufs, ufs.bytes, 272).toStdString(), golden("ufs_report_272.txt"));
    for (std::uint32_t const size : {0U, 212U, 271U, 273U, 828U, 0xFFFFFFFFU})
        EXPECT_EQ(cardReport(DeviceType::ufs, ufs.bytes, size).toStdString(), golden("ufs_report_212.txt"))
            << size;

    EXPECT_EQ(cardReport(DeviceType::spi, ufs.bytes, 272), QString());
    EXPECT_EQ(cardReport(DeviceType::ufs_hpb, ufs.bytes, 272), QString());
}

TEST(RawDumpTest, EachByteHasItsPlaceInEveryShape)
{
    struct
    {
        std::string bytes;
        bool reverse;
        bool withOffsets;
        int perLine;
        QString separator;
        std::string expected;
    } const cases[] = {
        {"", false, true, 4, QStringLiteral(" "), ""},
        {"\x0A", false, true, 1, QString(), "0x00000000: 0a"},
        {"\x0A", true, true, 1, QString(), "0x00000000: 0a"},
        {"\x0A\xFF", false, true, 0, QStringLiteral(" "), "0a ff "},
        {"\x0A\xFF", true, true, -3, QStringLiteral(" "), "ff 0a "},
        {"\x0A\xFF", false, false, 1, QString(), "0a\nff"},
        {"\x0A\xFF", true, false, 1, QString(), "ff\n0a"},
        {"abcd", false, false, 2, QStringLiteral("-"), "61-62-\n63-64-"},
        {"abcd", true, false, 2, QStringLiteral("-"), "64-\n63-62-\n61-"},
        {"abcde", false, true, 2, QString(), "0x00000000: 6162\n0x00000002: 6364\n0x00000004: 65"},
        {"abcde", true, true, 2, QString(), "0x00000004: 6564\n0x00000002: 6362\n0x00000000: 61"},
        {"abcdefg", true, true, 3, QString(), "0x00000006: 6766\n650x00000003: 6463\n620x00000000: 61"},
        // A separator goes byte by byte of its UTF-8 form, each as a character.
        {"ab", false, false, 9, QString(2, QChar(0)),
         std::string("61\0\0"
                     "62\0\0",
                     8)},
        {"ab", true, false, 9, QStringLiteral("\u00E9"),
         "62\xC3\x83\xC2\xA9"
         "61\xC3\x83\xC2\xA9"},
    };
    for (auto const& [bytes, reverse, withOffsets, perLine, separator, expected] : cases) {
        QString text = QStringLiteral("replaced");
        rawDump(reinterpret_cast<unsigned char const*>(bytes.data()), static_cast<unsigned int>(bytes.size()),
                reverse, withOffsets, perLine, separator, text);
        EXPECT_EQ(text.toStdString(), expected) << bytes;
        EXPECT_EQ(*text.constEnd(), QChar(0)) << "a line end in place of the NUL: " << bytes;
    }
}

TEST(RawDumpTest, SeparatorsMayBeTheTextItselfAndSizesTooLarge)
{
    unsigned char const bytes[] = {0x5A, 0x5A};
    QString text = QStringLiteral("-");
    rawDump(bytes, 2, false, false, 0, text, text);
    EXPECT_EQ(text, QStringLiteral("5a-5a-"));
    rawDump(bytes, 0xFFFFFFFFU, false, false, 0, text, text);
    EXPECT_EQ(text, QString()) << "longer than a text can be";
}

} // namespace
