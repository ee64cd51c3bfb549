#include "plugin/VrelApiManagerPrivate.h"

#include "plugin/VrelManager.h"
#include "plugin/VrelManagerLife.h"
#include "plugin/VrelMutexLocker.h"

VrelApiManagerPrivate::VrelApiManagerPrivate(IVrelAPI* vendorApi, VrelManager* issuer,
                                             void (VrelManager::*callback)())
    : api(vendorApi)
    , manager(issuer)
    , releaseCallback(callback)
    , life(issuer != nullptr ? issuer->life : nullptr)
{
}

void VrelApiManagerPrivate::acquire()
{
    refCount.fetch_add(1, std::memory_order_relaxed);
}

void VrelApiManagerPrivate::release()
{
    // The last user finds itself alone without an atomic subtraction: only users make further users.
    if (refCount.load(std::memory_order_acquire) != 1 &&
        refCount.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    reportRelease();
    delete this;
}

void VrelApiManagerPrivate::reportRelease()
{
    if (manager == nullptr || releaseCallback == nullptr)
        return;
    // Held over the call: a manager whose destruction has begun on another thread waits for it, or is left
    // alone.
    VrelMutexLocker const lock(life->mutex);
    if (life->alive)
        (manager->*releaseCallback)();
}
