#pragma once

#include "external/DummyDevice.h"
#include "external/HostExport.h"

#include <QString>

#include <cstdint>

/** A device that the host manages, made of a scan's record. */
class HOST_EXPORT Device
{
public:
    explicit Device(DummyDevice record);
    virtual ~Device();

    Device(Device const&) = delete;
    Device& operator=(Device const&) = delete;

    PortNumber getPort() const;
    /** A property that the scan found, for example "usb.devicePath"; empty when there is none. */
    QString getProperty(QString const& name) const;

    virtual std::uint16_t getVendorId() const;
    virtual std::uint16_t getProductId() const;
    /** 1: a filter has claimed the device, and the property "serial" means its own serial number. */
    virtual int getKind() const;

private:
    DummyDevice const m_record;
};
