#pragma once

#include "external/HostExport.h"

#include <QString>

#include <cstdint>

/** Where the host's scanner found a device. A value. */
class HOST_EXPORT PortNumber
{
public:
    enum ConnectionType
    {
        NoConnection = 0,
        UsbConnection = 1
    };

    PortNumber();
    /** @param location the place on the bus, for example "1-4.2" */
    PortNumber(int connectionType, QString location);
    PortNumber(PortNumber const& other);
    PortNumber& operator=(PortNumber const& other);
    ~PortNumber();

    int getConnectionType() const;
    QString getLocation() const;

private:
    std::int32_t m_connectionType = NoConnection;
    QString m_location;
    /** Keeps the size; for the host's other connection types. */
    [[maybe_unused]] std::uint8_t m_reserved[40] = {};
};

static_assert(sizeof(PortNumber) == (sizeof(void*) == 4 ? 48 : 56));
