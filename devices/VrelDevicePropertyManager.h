#pragma once

#include "external/DevicePropertyManager.h"
#include "plugin/VrelExport.h"

#include <QString>

class DeviceManagerProgramTool;
class VrelManager;

/**
 * Answers the property "vrel.serial" of one device in RuX recovery mode, and "serial" for a device of kind 1:
 * its serial number.
 *
 * The number is fetched once, from the vendor API or by running the downloader; a failed fetch leaves no
 * trace and is tried again at the next query. A fetch blocks the calling thread, by the downloader for 5000
 * ms at most, after which the downloader is killed. One thread at a time uses a manager.
 */
class VREL_EXPORT VrelDevicePropertyManager : public DevicePropertyManager
{
public:
    /** As VrelDevicePropertyManagerAllocator makes it; `hostTool` is lent and outlives the manager. */
    VrelDevicePropertyManager(VrelManager* plugin, DeviceManagerProgramTool* hostTool, bool (*callback)(),
                              DevicePropertyManagerAllocatorBase* allocator, Device* device,
                              DummyDevice const& record);
    ~VrelDevicePropertyManager() override;

    using DevicePropertyManager::getProperty;
    /** Only the query that fetches the number is answered; `value` is left alone when the number is known. */
    void getProperty(QString const& name, QString& value) override;
    /** Always false. */
    bool isBusy() const override;
    /** Takes over the property "vrel.serial" of `record`, if there is one. */
    void deviceUpdated(DummyDevice const& record) override;

    /**
     * Delivers the number into `value`, from the vendor API's device list unless it is known.
     * @return whether there is one; nothing is logged
     */
    bool updateSerialThoughApi(QString& value);

    /**
     * Delivers the number into `value`, from the downloader's output unless it is known.
     *
     * Only standard output counts. More than 1 MiB of it gives no number; what is dropped is told at level 2.
     * A run that ends by itself is logged at level 4, a failed one also at levels 2 and 5; one whose exit
     * status is lost (see VrelFlashUtils::run for what a host must not do) at level 1 alone.
     * @return whether there is one
     */
    bool updateSerialThoughExe(QString& value);

private:
    using Fetch = QString (VrelDevicePropertyManager::*)(QString const& path) const;

    VREL_LOCAL bool updateSerial(QString& value, Fetch fetch);
    /** Both yield a null text when there is no number to be had. */
    VREL_LOCAL QString serialFromApi(QString const& path) const;
    VREL_LOCAL QString serialFromExe(QString const& path) const;
    VREL_LOCAL bool isServed() const;

    VrelManager* const manager;
    DeviceManagerProgramTool* const tool;
    bool (*const useApi)();
    QString serial; ///< null until known
};
