#include "commands/cardreport/VrelCardReport.h"
#include "commands/cardreport/VrelRawDump.h"
#include "tests/fuzz/Require.h"

#include <QRegularExpression>

#include <algorithm>
#include <fuzzer/FuzzedDataProvider.h>
#include <iomanip>
#include <memory>
#include <sstream>
#include <vector>

/**
 * @file
 * A card-information buffer, its claimed size and its type through the report, and parts of it through dumps
 * of every kind.
 */
namespace {

using VrelUtilsCommand::DeviceType;
using VrelUtilsCommand::kCardInfoSize;

/** On the heap, so that a byte read beside it is noticed. */
struct Buffer
{
    unsigned char bytes[kCardInfoSize] = {};
};

void checkEmmc(QString const& report, Buffer const& info)
{
    constexpr int kLines = 57;
    constexpr int kNameOffset = 7;
    constexpr int kNameSize = 6;
    constexpr int kExtCsdOffset = 36;
    auto const* const name = info.bytes + kNameOffset;
    auto const nameBreaks = static_cast<int>(std::count(name, name + kNameSize, '\n'));
    require(report.count(QLatin1Char('\n')) == kLines + nameBreaks, "an eMMC report has its lines");

    QString dump = report.section(QStringLiteral("\n---- EXT CSD RAW ----\n"), -1);
    dump.chop(static_cast<int>(sizeof "\n========\n") - 1);
    QByteArray bytes;
    for (QString const& line : dump.split(QLatin1Char('\n')))
        bytes += QByteArray::fromHex(line.section(QLatin1Char(':'), 1).toLatin1());
    require(bytes == QByteArray(reinterpret_cast<char const*>(info.bytes) + kExtCsdOffset, 512),
            "the register's dump reads back as the register");
}

void checkUfs(QString const& report, std::uint32_t size)
{
    bool const hasAttributes = size == 272;
    require(report.count(QLatin1Char('\n')) == (hasAttributes ? 146 : 133), "a UFS report has its lines");
    static QRegularExpression const s_line(
        QStringLiteral(R"(^\w+: \[(0x(0|[1-9a-f][0-9a-f]*)|0|[1-9][0-9]*)\]$|^[-=].*[-=]$|^$)"));
    for (QString const& line : report.split(QLatin1Char('\n')))
        require(s_line.match(line).hasMatch(), "every line is a heading or a field with a number");
}

/** The dump's definition, word by word. */
QString slowDump(unsigned char const* data, unsigned int length, bool reverse, bool withOffsets, int perLine,
                 QByteArray const& separator)
{
    std::wostringstream text;
    text << std::hex << std::setfill(L'0');
    for (unsigned int count = 0; count < length; ++count) {
        unsigned int const i = reverse ? length - 1 - count : count;
        if (withOffsets && i % static_cast<unsigned int>(perLine) == 0)
            text << L"0x" << std::setw(8) << i << L": ";
        text << std::setw(2) << static_cast<unsigned int>(data[i]);
        for (char const byte : separator)
            text << static_cast<wchar_t>(static_cast<unsigned char>(byte));
        if (perLine > 0 && (i + 1) % static_cast<unsigned int>(perLine) == 0 &&
            (reverse ? i != 0 : i + 1 != length))
            text << L'\n';
    }
    return QString::fromStdWString(text.str());
}

/** How to dump; taken from the input before the bytes, which would leave nothing. */
struct DumpStyle
{
    explicit DumpStyle(FuzzedDataProvider& input)
        : length(input.ConsumeIntegralInRange<unsigned int>(0, kCardInfoSize))
        , reverse(input.ConsumeBool())
        , perLine(input.ConsumeBool() ? input.ConsumeIntegralInRange(0, 40) : input.ConsumeIntegral<int>())
        , withOffsets(input.ConsumeBool() && perLine > 0)
        , separator(QString::fromStdString(input.ConsumeRandomLengthString(8)))
    {
    }

    unsigned int length;
    bool reverse;
    int perLine;
    bool withOffsets;
    QString separator;
};

void checkDump(DumpStyle const& style, Buffer const& info)
{
    std::vector<unsigned char> const bytes(info.bytes, info.bytes + style.length);
    QString dump(QStringLiteral("earlier"));
    VrelUtilsCommand::rawDump(bytes.data(), style.length, style.reverse, style.withOffsets, style.perLine,
                              style.separator, dump);
    require(dump == slowDump(bytes.data(), style.length, style.reverse, style.withOffsets, style.perLine,
                             style.separator.toUtf8()),
            "a dump is as defined");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    auto const info = std::make_unique<Buffer>();
    auto const type =
        input.PickValueInArray({DeviceType::emmc, DeviceType::ufs, DeviceType::spi, DeviceType::ufs_hpb});
    std::uint32_t const claim = input.ConsumeBool() ? 272 : input.ConsumeIntegral<std::uint32_t>();
    DumpStyle const style(input);
    input.ConsumeData(info->bytes, kCardInfoSize);
    QString const report = VrelUtilsCommand::cardReport(type, info->bytes, claim);
    if (type == DeviceType::emmc)
        checkEmmc(report, *info);
    else if (type == DeviceType::ufs)
        checkUfs(report, claim);
    else
        require(report.isEmpty(), "other types have no report");
    checkDump(style, *info);
    return 0;
}
