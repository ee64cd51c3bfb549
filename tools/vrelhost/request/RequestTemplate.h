#pragma once

#include "external/JsonObject.h"
#include "framework/LogSink.h"

#include <QString>

/**
 * A request whose texts, but for the command's name, may hold {serial} and {path} in a device's place, and
 * {{serial}} and {{path}} for these words themselves.
 */
class RequestTemplate
{
public:
    explicit RequestTemplate(JsonObject const& request);

    JsonObject const& request() const { return m_request; }
    bool needsPath() const { return m_needsPath; }

    /**
     * The request for one device. Serial number and path come from outside and mostly get into file names:
     * one that could lead to another directory is refused.
     * Throws Refusal when what is to be put in is not there or refused.
     */
    JsonObject forDevice(DeviceName const& device) const;

private:
    JsonObject const m_request;
    bool m_needsSerial = false;
    bool m_needsPath = false;
};
