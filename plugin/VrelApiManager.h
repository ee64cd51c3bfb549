#pragma once

#include "plugin/VrelExport.h"

#include <QString>

#include <map>

class IVrelAPI;
class VrelApiManagerPrivate;
class VrelManager;

/**
 * Shared handle over the vendor API object. Copies share one reference-counted state; when the last copy is
 * gone, the state reports back to the manager that issued it.
 *
 * Copies may be made and dropped on different threads; one copy is used by one thread at a time. A handle
 * that outlives its manager may be dropped, but not used: the API object behind it is gone.
 */
class VREL_EXPORT VrelApiManager
{
public:
    static constexpr int kBadDeviceList = -2;

    /** A handle without an API object and without a manager. */
    VrelApiManager();

    /** Starts a new state; `releaseCallback` is called once on `manager` when its last handle is gone. */
    VrelApiManager(IVrelAPI* api, VrelManager* manager, void (VrelManager::*releaseCallback)());

    VrelApiManager(VrelApiManager const& other);
    VrelApiManager& operator=(VrelApiManager const& other);
    virtual ~VrelApiManager();

    /** Whether there is an API object. */
    operator bool() const; // NOLINT(google-explicit-constructor): hosts test
                           // handles in plain conditions
    bool operator!() const;

    /** The API object, null when there is none: test the handle first. It stays the vendor library's. */
    IVrelAPI* operator->() const;
    IVrelAPI* operator->();

    /**
     * Lists the devices that the vendor API sees, asking it anew each time.
     *
     * @param devices USB location (for example "1-4.2") → serial number; of two devices at one location the
     *        first. Empty after a failure.
     * @param error the API's error text when its operation failed, or what is wrong with its list; otherwise
     *        unchanged
     * @return 0; -1 without an API object; kBadDeviceList for a list of more devices or ports than its record
     *         holds; otherwise the API operation's own result
     */
    int getDeviceList(std::map<QString, QString>& devices, QString& error);

    /** The same without the error text. */
    int getDeviceList(std::map<QString, QString>& devices);

private:
    VrelApiManagerPrivate* d;
};
