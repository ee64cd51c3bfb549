#pragma once

#include "external/DummyDevice.h"
#include "external/HostExport.h"
#include "external/LoggedObject.h"

#include <QString>

#include <list>

/** What a filter keeps for the length of one scan. */
class HOST_EXPORT DeviceFilterData
{
public:
    DeviceFilterData();
    virtual ~DeviceFilterData();

    DeviceFilterData(DeviceFilterData const&) = delete;
    DeviceFilterData& operator=(DeviceFilterData const&) = delete;
};

/**
 * A plug-in's say in a scan: it claims the devices that it serves.
 *
 * A scan calls preScanEvent, filterDevices with what that returned, then postScanEvent, on one thread. The
 * order of the virtual operations is frozen.
 */
class HOST_EXPORT DeviceFilter : public LoggedObject
{
public:
    /** How the host changes a claimed record before it makes a device of it. */
    enum RecordConverter
    {
        NoChangesConverter = 0 ///< not at all: the filter has set all there is to set
    };

    explicit DeviceFilter(RecordConverter converter);
    ~DeviceFilter() override;

    /** Data for one scan, the caller's until handed to postScanEvent; null: this filter claims nothing. */
    virtual DeviceFilterData* preScanEvent() const = 0;
    /** Moves the records of the devices that the filter serves from `found` to the end of `claimed`. */
    virtual void filterDevices(std::list<DummyDevice>& found, std::list<DummyDevice>& claimed,
                               DeviceFilterData* data) const = 0;
    /** Takes the scan's data back and frees it; null is ignored. */
    virtual void postScanEvent(DeviceFilterData* data) const = 0;
    virtual QString getFilterName() const = 0;

    RecordConverter converter() const;

private:
    RecordConverter const m_converter;
};
