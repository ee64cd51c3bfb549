#pragma once

#include <atomic>
#include <memory>

class IVrelAPI;
class VrelManager;
struct VrelManagerLife;

/** The state that all copies of one handle share; made on the heap, frees itself with its last user. */
class VrelApiManagerPrivate
{
public:
    VrelApiManagerPrivate(IVrelAPI* vendorApi, VrelManager* issuer, void (VrelManager::*callback)());
    VrelApiManagerPrivate(VrelApiManagerPrivate const&) = delete;
    VrelApiManagerPrivate& operator=(VrelApiManagerPrivate const&) = delete;

    void acquire();
    /**
     * Drops one user; with the last one reports to the manager, if that is still alive, and frees the state.
     */
    void release();

    IVrelAPI* object() const { return api; }

private:
    ~VrelApiManagerPrivate() = default;
    void reportRelease();

    IVrelAPI* api;
    VrelManager* manager;
    void (VrelManager::*releaseCallback)();
    std::atomic<int> refCount{1};                ///< handles sharing this state
    std::shared_ptr<VrelManagerLife> const life; ///< null without a manager
};
