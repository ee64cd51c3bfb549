#pragma once

#include "external/JsonObject.h"

#include <QString>
#include <QStringList>

class Placeholders;

/**
 * A request whose texts, but for the command's name, may hold placeholders. A text that is one placeholder
 * and nothing else gives a number where the command wants one.
 */
class RequestTemplate
{
public:
    explicit RequestTemplate(JsonObject const& request);

    JsonObject const& request() const { return m_request; }

    /** The placeholders that it asks for. */
    QStringList names() const;

    /** The request with values in place. Throws Refusal when one is missing, or is no number where one is
     * wanted. */
    JsonObject fill(Placeholders const& values) const;

    /** The request likewise, without what depends on values. */
    JsonObject fixedPart(Placeholders const& values) const;

    /** The greatest number that a parameter of this type takes; 0 when it takes no number. */
    static unsigned greatestNumber(QString const& type);

private:
    JsonObject const m_request;
};
