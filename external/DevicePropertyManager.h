#pragma once

#include "external/HostExport.h"
#include "external/LoggedObject.h"

#include <QString>

class Device;
class DevicePropertyManagerAllocatorBase;
struct DummyDevice;

/**
 * A plug-in's answers about one device. The order of the virtual operations is frozen; one thread at a time
 * queries a manager.
 */
class HOST_EXPORT DevicePropertyManager : public LoggedObject
{
public:
    /**
     * @param allocator takes the manager back; outlives it
     * @param device stays the host's and outlives the manager
     * @param record the scan's record that the device was made of
     */
    DevicePropertyManager(DevicePropertyManagerAllocatorBase* allocator, Device* device,
                          DummyDevice const& record);
    ~DevicePropertyManager() override;

    /** Answers into `value` while that is a null text; a property that is not served leaves it alone. */
    virtual void getProperty(QString const& name, QString& value) = 0;
    /** The answer of the other form, null when there is none. */
    virtual QString getProperty(QString const& name);
    /** Whether the manager is at work between queries. A query may block all the same. */
    virtual bool isBusy() const = 0;
    /** Tells the manager what a later scan found. */
    virtual void deviceUpdated(DummyDevice const& record) = 0;

    DevicePropertyManagerAllocatorBase* allocator() const;

protected:
    Device* device() const;

private:
    DevicePropertyManagerAllocatorBase* const m_allocator;
    Device* const m_device;
};
