#include "external/DevicePropertyManager.h"

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
