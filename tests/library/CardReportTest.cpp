#include "commands/cardreport/VrelCardReport.h"
#include "commands/cardreport/VrelRawDump.h"

#include <gtest/gtest.h>

#include <QFile>

#include <iomanip>
#include <sstream>
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

/** A dump's definition, word by word. */
std::string defined(std::vector<unsigned char> const& bytes, bool reverse, bool withOffsets, int perLine,
                    std::string const& separator)
{
    std::ostringstream text;
    text << std::hex << std::setfill('0');
    for (std::size_t count = 0; count < bytes.size(); ++count) {
        std::size_t const i = reverse ? bytes.size() - 1 - count : count;
        bool const isFirst = perLine > 0 && i % static_cast<std::size_t>(perLine) == 0;
        bool const isLast = perLine > 0 && (i + 1) % static_cast<std::size_t>(perLine) == 0;
        if (withOffsets && isFirst)
            text << "0x" << std::setw(8) << i << ": ";
        text << std::setw(2) << static_cast<unsigned int>(bytes[i]) << separator;
        if (isLast && count + 1 != bytes.size())
            text << '\n';
    }
    return text.str();
}

TEST(RawDumpTest, IsAsDefinedInEveryShape)
{
    // A separator goes byte by byte of its UTF-8 form, each as a character.
    std::pair<QString, std::string> const separators[] = {{QString(), ""},
                                                          {QStringLiteral(" "), " "},
                                                          {QString(2, QChar(0)), std::string(2, '\0')},
                                                          {QStringLiteral("\u00E9"), "\xC3\x83\xC2\xA9"}};
    for (unsigned int shape = 0; shape < 4 * 4 * 22 * 35; ++shape) {
        auto const& [separator, expected] = separators[shape % 4];
        bool const reverse = shape / 4 % 2 != 0;
        bool const withOffsets = shape / 8 % 2 != 0;
        int const perLine = static_cast<int>(shape / 16 % 22) - 3;
        std::vector<unsigned char> bytes(shape / 16 / 22);
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<unsigned char>(i * 171 + 250);
        QString text = QStringLiteral("replaced");
        rawDump(bytes.data(), static_cast<unsigned int>(bytes.size()), reverse, withOffsets, perLine,
                separator, text);
        ASSERT_EQ(text.toStdString(), defined(bytes, reverse, withOffsets, perLine, expected))
            << bytes.size() << ' ' << perLine << reverse << withOffsets;
    }
}

TEST(RawDumpTest, LargeBlocksAndAliases)
{
    std::vector<unsigned char> const bytes(65537, 0x5A);
    QString text;
    rawDump(bytes.data(), 65537, false, true, 16, QStringLiteral(" "), text);
    EXPECT_EQ(text.toStdString(), defined(bytes, false, true, 16, " "));
    rawDump(bytes.data(), 0xFFFFFFFFU, false, false, 0, text, text);
    EXPECT_EQ(text, QString()) << "longer than a text can be";
    text = QStringLiteral("-");
    rawDump(bytes.data(), 2, false, false, 0, text, text);
    EXPECT_EQ(text, QStringLiteral("5a-5a-"));
}

} // namespace
