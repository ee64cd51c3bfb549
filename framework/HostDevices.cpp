#include "external/Device.h"
#include "external/DeviceFilter.h"
#include "external/DeviceManagerProgramTool.h"
#include "external/DeviceManagerTool.h"
#include "external/DevicePropertyManager.h"
#include "external/DevicePropertyManagerAllocatorBase.h"
#include "external/PortNumber.h"

#include <utility>

PortNumber::PortNumber() = default;

PortNumber::PortNumber(int connectionType, QString location)
    : m_connectionType(connectionType)
    , m_location(std::move(location))
{
}

PortNumber::PortNumber(PortNumber const& other) = default;

PortNumber& PortNumber::operator=(PortNumber const& other) = default;

PortNumber::~PortNumber() = default;

int PortNumber::getConnectionType() const
{
    return m_connectionType;
}

QString PortNumber::getLocation() const
{
    return m_location;
}

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

DeviceManagerTool::DeviceManagerTool() = default;

DeviceManagerTool::~DeviceManagerTool() = default;

DeviceManagerProgramTool::DeviceManagerProgramTool() = default;

DeviceManagerProgramTool::~DeviceManagerProgramTool() = default;

DeviceFilterData::DeviceFilterData() = default;

DeviceFilterData::~DeviceFilterData() = default;

DeviceFilter::DeviceFilter(RecordConverter converter)
    : m_converter(converter)
{
}

DeviceFilter::~DeviceFilter() = default;

DeviceFilter::RecordConverter DeviceFilter::converter() const
{
    return m_converter;
}

DevicePropertyManager::DevicePropertyManager(DevicePropertyManagerAllocatorBase* allocator, Device* device,
                                             DummyDevice const& /*record*/)
    : m_allocator(allocator)
    , m_device(device)
{
}

DevicePropertyManager::~DevicePropertyManager() = default;

QString DevicePropertyManager::getProperty(QString const& name)
{
    QString value;
    getProperty(name, value);
    return value;
}

DevicePropertyManagerAllocatorBase* DevicePropertyManager::allocator() const
{
    return m_allocator;
}

Device* DevicePropertyManager::device() const
{
    return m_device;
}

DevicePropertyManagerAllocatorBase::DevicePropertyManagerAllocatorBase() = default;

DevicePropertyManagerAllocatorBase::~DevicePropertyManagerAllocatorBase() = default;
