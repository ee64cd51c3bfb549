#include "commands/cardreport/VrelCardReport.h"
#include "tests/fuzz/Require.h"

#include <QRegularExpression>

#include <algorithm>
#include <fuzzer/FuzzedDataProvider.h>
#include <memory>

/**
 * @file
 * A card-information buffer, its claimed size and its type through the report.
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

    QByteArray const dump = report.mid(report.lastIndexOf(QLatin1String("RAW ----\n"))).toLatin1();
    QByteArray bytes;
    for (QByteArray const& line : dump.split('\n'))
        bytes += QByteArray::fromHex(line.contains(':') ? line.mid(line.indexOf(':')) : QByteArray());
    require(bytes == QByteArray(reinterpret_cast<char const*>(info.bytes) + kExtCsdOffset, 512),
            "the register's dump reads back as the register");
}

void checkUfs(QString const& report, std::uint32_t size)
{
    bool const hasAttributes = size == 272;
    require(report.count(QLatin1Char('\n')) == (hasAttributes ? 146 : 133), "a UFS report has its lines");
    static QRegularExpression const s_lines(
        QStringLiteral(R"(\A((\w+: \[(0x(0|[1-9a-f][0-9a-f]*)|0|[1-9][0-9]*)\]|[-=].*[-=]|)(\n|\z))*+\z)"));
    require(s_lines.match(report).hasMatch(), "every line is a heading or a field with a number");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    auto const info = std::make_unique<Buffer>();
    auto const type =
        input.PickValueInArray({DeviceType::emmc, DeviceType::ufs, DeviceType::spi, DeviceType::ufs_hpb});
    std::uint32_t const claim = input.ConsumeBool() ? 272 : input.ConsumeIntegral<std::uint32_t>();
    input.ConsumeData(info->bytes, kCardInfoSize);
    QString const report = VrelUtilsCommand::cardReport(type, info->bytes, claim);
    if (type == DeviceType::emmc)
        checkEmmc(report, *info);
    else if (type == DeviceType::ufs)
        checkUfs(report, claim);
    else
        require(report.isEmpty(), "other types have no report");
    return 0;
}
