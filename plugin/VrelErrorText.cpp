#include "plugin/VrelErrorText.h"

QString VrelErrorText::text() const
{
    return bounded(m_text);
}

QString VrelErrorText::orReplacement(QString const& text)
{
    return text.isEmpty() ? QStringLiteral("The vendor API reported a failure without an error text") : text;
}
