#include "commands/cardreport/VrelRawDump.h"

#include <cstring>
#include <iterator>
#include <limits>

namespace VrelUtilsCommand {

namespace {

/** The two digits of every byte. */
struct DigitPairs
{
    constexpr DigitPairs()
    {
        constexpr char16_t kDigits[] = u"0123456789abcdef";
        for (unsigned int byte = 0; byte < 256; ++byte) {
            pairs[byte][0] = kDigits[byte >> 4U];
            pairs[byte][1] = kDigits[byte & 0xFU];
        }
    }

    ushort pairs[256][2] = {};
};

constexpr DigitPairs kDigitPairs;
constexpr quint64 kOffsetPrefixSize = 12; // "0x00000000: "
/** What a text can hold: its bytes, its header and its NUL are counted by an int. */
constexpr quint64 kMostCharacters = std::numeric_limits<int>::max() / sizeof(QChar) - 64;

/** Writes characters one after the other into a text that is large enough. */
class Writer
{
public:
    explicit Writer(QString& text)
        : m_cursor(text.data())
    {
    }

    void put(char character) { *m_cursor++ = QLatin1Char(character); }

    void put(QStringView text)
    {
        for (QChar const character : text)
            *m_cursor++ = character;
    }

    void putByte(unsigned char byte)
    {
        ushort const(&pair)[2] = kDigitPairs.pairs[byte];
        static_assert(sizeof pair == 2 * sizeof(QChar));
        std::memcpy(m_cursor, pair, sizeof pair);
        m_cursor += std::size(pair);
    }

    void putOffset(unsigned int offset)
    {
        put('0');
        put('x');
        for (int shift = 24; shift >= 0; shift -= 8)
            putByte(static_cast<unsigned char>(offset >> static_cast<unsigned int>(shift)));
        put(':');
        put(' ');
    }

    QChar const* cursor() const { return m_cursor; }

private:
    QChar* m_cursor;
};

/** Characters of a dump, for one allocation. */
quint64 dumpSize(unsigned int length, bool reverse, bool withOffsets, unsigned int perLine, int separatorSize)
{
    quint64 size = quint64{length} * (2 + static_cast<quint64>(separatorSize));
    if (perLine == 0)
        return size;
    if (withOffsets)
        size += (quint64{length} + perLine - 1) / perLine * kOffsetPrefixSize;
    // Forwards a line ends before every multiple but the first byte; backwards after one, except at the very
    // end.
    return size + (reverse ? length / perLine - (perLine == 1 ? 1 : 0) : (length - 1) / perLine);
}

} // namespace

void rawDump(unsigned char const* data, unsigned int length, bool reverse, bool withOffsets, int bytesPerLine,
             QString const& separator, QString& out)
{
    unsigned int const perLine = bytesPerLine > 0 ? static_cast<unsigned int>(bytesPerLine) : 0;
    QByteArray const utf8 = separator.toUtf8();
    QString const widened = QString::fromLatin1(utf8.constData(), utf8.size()); // a NUL ends nothing
    quint64 const size = dumpSize(length, reverse, withOffsets, perLine, widened.size());
    out.clear(); // after the separator was taken, which may be the same text
    if (length == 0 || size > kMostCharacters)
        return;
    out.resize(static_cast<int>(size));

    Writer writer(out);
    QStringView const separatorView = widened;
    unsigned int const last = reverse ? 0 : length - 1;
    // The byte's place in its line, kept instead of divided for.
    unsigned int column = reverse && perLine > 0 ? (length - 1) % perLine : 0;
    for (unsigned int count = 0; count < length; ++count) {
        unsigned int const index = reverse ? length - 1 - count : count;
        if (withOffsets && perLine > 0 && column == 0)
            writer.putOffset(index);
        writer.putByte(data[index]);
        writer.put(separatorView);
        if (perLine == 0)
            continue;
        if (column + 1 == perLine && index != last)
            writer.put('\n');
        if (reverse)
            column = column == 0 ? perLine - 1 : column - 1;
        else
            column = column + 1 == perLine ? 0 : column + 1;
    }
    Q_ASSERT(writer.cursor() == out.constEnd());
}

} // namespace VrelUtilsCommand
