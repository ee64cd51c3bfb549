#include "external/Device.h"

#include <utility>

Device::Device(DummyDevice record)
    : m_record(std::move(record))
{
}

Device::~Device() = default;

PortNumber Device::getPort() const
{
    return m_record.port;
}

QString Device::getProperty(QString const& name) const
{
    auto const entry = m_record.properties.find(name);
    return entry == m_record.properties.end() ? QString() : entry->second;
}

std::uint16_t Device::getVendorId() const
{
    return m_record.vendorId;
}

std::uint16_t Device::getProductId() const
{
    return m_record.productId;
}

int Device::getKind() const
{
    return m_record.kind;
}
