#pragma once

#include "plugin/VrelManager.h"
#include "plugin/VrelManagerLife.h"
#include "plugin/VrelMutexLocker.h"

#include <QMutex>

class IVrelAPI;

/**
 * The state that all copies of one handle share; made on the heap, frees itself with its last user.
 *
 * Lock order: a state's mutex, then the manager's.
 */
class VrelApiManagerPrivate
{
public:
    VrelApiManagerPrivate(IVrelAPI* vendorApi, VrelManager* issuer, void (VrelManager::*callback)());
    VrelApiManagerPrivate(VrelApiManagerPrivate const&) = delete;
    VrelApiManagerPrivate& operator=(VrelApiManagerPrivate const&) = delete;

    void acquire();
    /** Drops one user; with the last one reports to the manager, unless that is gone, and frees the state. */
    void release();

    IVrelAPI* object() const { return api; }

private:
    /** Entered with the mutex locked. */
    ~VrelApiManagerPrivate();

    IVrelAPI* api;
    VrelManager* manager;
    void (VrelManager::*releaseCallback)();
    int refCount = 1;            ///< handles sharing this state
    QMutex mutex;                ///< guards refCount; held over the report to the manager
    VrelManagerLife* const life; ///< held; null where nobody is to be called
};

inline VrelApiManagerPrivate::VrelApiManagerPrivate(IVrelAPI* vendorApi, VrelManager* issuer,
                                                    void (VrelManager::*callback)())
    : api(vendorApi)
    , manager(issuer)
    , releaseCallback(callback)
    , life(issuer != nullptr && callback != nullptr ? issuer->life->hold() : nullptr)
{
}

inline VrelApiManagerPrivate::~VrelApiManagerPrivate()
{
    if (life != nullptr) {
        VrelManagerLife::LastCall const call(*life);
        if (call.isAllowed())
            (manager->*releaseCallback)();
    }
    api = nullptr;
    manager = nullptr;
    releaseCallback = nullptr;
    vrelUnlock(mutex);
}

inline void VrelApiManagerPrivate::acquire()
{
    VrelMutexLocker const lock(mutex);
    ++refCount;
}

inline void VrelApiManagerPrivate::release()
{
    vrelLock(mutex);
    if (--refCount == 0)
        delete this;
    else
        vrelUnlock(mutex);
}
