#pragma once

#include <QByteArray>
#include <QString>

/** UTF-8 text of a fixed field that may lack its NUL. */
template <std::size_t Size>
QString vrelBoundedText(char const (&field)[Size])
{
    return QString::fromUtf8(field, static_cast<int>(qstrnlen(field, Size)));
}
