#include "commands/cardreport/VrelCardReport.h"
#include "commands/cardreport/VrelRawDump.h"

#include <gtest/gtest.h>

#include <QFile>

#include <cstring>
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

    Buffer& set(unsigned int offset, std::vector<unsigned char> const& values)
    {
        std::copy(values.begin(), values.end(), bytes + offset);
        return *this;
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
    // OCR, product name with NUL and bytes above 0x7F, serial number, partition multipliers that overflow 32
    // bits.
    Buffer emmc;
    emmc.set(0, {0xC0, 0xFF, 0x80, 0x80})
        .set(7, {'A', 0x00, 0x7F, 0x80, 0xFF, 0x00})
        .set(14, {0x78, 0x56, 0x34, 0x12});
    emmc.set(36 + 143, {0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0x01, 0x00, 0x80});
    emmc.set(36 + 221, {1}).set(36 + 224, {1});
    EXPECT_EQ(cardReport(DeviceType::emmc, emmc.bytes, 0).toStdString(), golden("emmc_report.txt"));

    Buffer const ufs;
    EXPECT_EQ(cardReport(DeviceType::ufs, ufs.bytes, 272).toStdString(), golden("ufs_report_272.txt"));
    for (std::uint32_t const size : {0U, 212U, 271U, 273U, 828U, 0xFFFFFFFFU})
        EXPECT_EQ(cardReport(DeviceType::ufs, ufs.bytes, size).toStdString(), golden("ufs_report_212.txt"))
            << size;

    EXPECT_EQ(cardReport(DeviceType::spi, ufs.bytes, 272), QString());
    EXPECT_EQ(cardReport(DeviceType::ufs_hpb, ufs.bytes, 272), QString());
}

struct DumpCase
{
    unsigned int length;
    bool reverse;
    bool withOffsets;
    int perLine;
    char const* separator;
    char const* expected;
};

TEST(RawDumpTest, EveryShape)
{
    unsigned char const bytes[] = {0x01, 0xAB, 0x00, 0xFF, 0x10};
    DumpCase const cases[] = {
        {2, false, true, 16, " ", "0x00000000: 01 ab "},
        {2, true, false, 0, "", "ab01"},
        {0, false, true, 16, " ", ""},
        {0, true, false, 0, " ", ""},
        {5, false, false, 0, "", "01ab00ff10"},
        {5, false, false, -3, ",", "01,ab,00,ff,10,"},
        {5, false, false, 2, "", "01ab\n00ff\n10"},
        {4, false, false, 2, "", "01ab\n00ff"},
        {5, false, true, 2, " ", "0x00000000: 01 ab \n0x00000002: 00 ff \n0x00000004: 10 "},
        {3, false, true, 1, "", "0x00000000: 01\n0x00000001: ab\n0x00000002: 00"},
        {5, true, false, 2, "", "10ff\n00ab\n01"},
        {4, true, false, 2, "", "ff\n00ab\n01"},
        {3, true, false, 1, "", "00\nab\n01"},
        {5, true, true, 2, " ", "0x00000004: 10 ff \n0x00000002: 00 ab \n0x00000000: 01 "},
        {1, true, true, 16, "", "0x00000000: 01"},
        {2, false, false, 0, "\xC3\xA9",
         "01\xC3\x83\xC2\xA9"
         "ab\xC3\x83\xC2\xA9"},
    };
    for (DumpCase const& entry : cases) {
        QString text = QStringLiteral("replaced");
        rawDump(bytes, entry.length, entry.reverse, entry.withOffsets, entry.perLine,
                QString::fromUtf8(entry.separator), text);
        EXPECT_EQ(text.toStdString(), entry.expected);
    }
}

TEST(RawDumpTest, SeventeenBytesAndALargeBlock)
{
    std::vector<unsigned char> const bytes(65537, 0x5A);
    QString text;
    rawDump(bytes.data(), 17, false, true, 16, QStringLiteral(" "), text);
    EXPECT_TRUE(text.endsWith(QStringLiteral(" 5a \n0x00000010: 5a ")));
    rawDump(bytes.data(), 65537, false, true, 16, QStringLiteral(" "), text);
    EXPECT_EQ(text.size(), 4097 * 12 + 65537 * 3 + 4096);
    EXPECT_TRUE(text.endsWith(QStringLiteral("\n0x00010000: 5a ")));
    rawDump(bytes.data(), 0xFFFFFFFFU, false, false, 0, text, text);
    EXPECT_EQ(text, QString()) << "longer than a text can be";
    text = QStringLiteral("-");
    rawDump(bytes.data(), 2, false, false, 0, text, text);
    EXPECT_EQ(text, QStringLiteral("5a-5a-"));
    rawDump(bytes.data(), 2, false, false, 0, QString(2, QChar(0)), text);
    EXPECT_EQ(text.toStdString(), std::string("5a\0\0"
                                              "5a\0\0",
                                              8));
}

} // namespace
