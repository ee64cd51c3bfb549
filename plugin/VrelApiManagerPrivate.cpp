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
    VrelMutexLocker const lock(mutex);
    ++refCount;
}

void VrelApiManagerPrivate::release()
{
    {
        VrelMutexLocker const lock(mutex);
        if (--refCount != 0)
            return;
        reportRelease();
    }
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
