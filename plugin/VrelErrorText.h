#pragma once

#include "external/IVrelAPI.h"

#include <QByteArray>
#include <QString>

/** The error-text buffer of one vendor API operation; empty until the operation writes to it. */
class VrelErrorText
{
public:
    /** `kVrelErrorTextSize` writable bytes for the operation. */
    char* buffer() { return m_text; }

    /**
     * What the operation wrote, read as UTF-8 up to its NUL or the buffer's end; empty when it wrote nothing.
     */
    QString text() const;

    /** UTF-8 text of a fixed field that may lack its NUL. */
    template <std::size_t Size>
    static QString bounded(char const (&field)[Size])
    {
        return QString::fromUtf8(field, static_cast<int>(qstrnlen(field, Size)));
    }

    /** `text`, or a sentence that says that there is none: an error is never logged as an empty line. */
    static QString orReplacement(QString const& text);

private:
    char m_text[kVrelErrorTextSize] = {};
};
