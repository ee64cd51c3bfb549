#pragma once

#include "external/JsonObject.h"
#include "framework/LogSink.h"

#include <QString>

#include <optional>

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
     * @return nothing, with the cause in `error`, when what is to be put in is not there or refused
     */
    std::optional<JsonObject> forDevice(DeviceName const& device, QString& error) const;

private:
    JsonObject const m_request;
    bool m_needsSerial = false;
    bool m_needsPath = false;
};
