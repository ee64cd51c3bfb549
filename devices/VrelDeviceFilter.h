#pragma once

#include "external/DeviceFilter.h"
#include "plugin/VrelExport.h"

#include <memory>

class DeviceManagerTool;
class VrelManager;

/**
 * Claims the devices in RuX recovery mode during the host's scans.
 *
 * Scans change only the lists and records that they are given, so several threads may scan at once, each with
 * lists of its own. Nothing is logged.
 */
class VREL_EXPORT VrelDeviceFilter : public DeviceFilter
{
public:
    /**
     * @param plugin outlives the filter; without one the filter claims nothing
     * @param hostTool owned by the filter from now on; may be null
     * @param callback kept for the scans' data, not called
     */
    VrelDeviceFilter(VrelManager* plugin, DeviceManagerTool* hostTool, bool (*callback)());
    ~VrelDeviceFilter() override;

    DeviceFilterData* preScanEvent() const override;

    /**
     * Marks the records of recovery devices as claimed and moves them, in their order, to the end of
     * `claimed`. Does nothing without the data of a scan prepared by this class.
     */
    void filterDevices(std::list<DummyDevice>& found, std::list<DummyDevice>& claimed,
                       DeviceFilterData* data) const override;
    void postScanEvent(DeviceFilterData* data) const override;
    QString getFilterName() const override;

private:
    VrelManager* const manager;
    std::unique_ptr<DeviceManagerTool> const tool;
    bool (*const useApi)();
};
