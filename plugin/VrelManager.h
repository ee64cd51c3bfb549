#pragma once

#include "external/LoggedObject.h"
#include "plugin/VrelApiManager.h"
#include "plugin/VrelExport.h"

#include <QMutex>
#include <QString>

#include <memory>

class IVrelAPI;
struct VrelManagerLife;

/**
 * The plug-in object; the host creates it before anything else of the library and destroys it last.
 *
 * It holds the vendor API object while handles are out: taken from the vendor library when the first is
 * issued, given back when the last is gone. All operations may be called from any thread.
 */
class VREL_EXPORT VrelManager : public LoggedObject
{
public:
    VrelManager();

    /**
     * Gives the vendor API object back, with a level-2 line when handles are still out. Such a handle must
     * not be used any more; dropping it remains safe, also on another thread while this destructor runs.
     * The vendor library is released in any case, also where nothing is held.
     */
    ~VrelManager() override;

    /** Issues a new handle; it tests false when the vendor library has no API object to give. */
    VrelApiManager fetchApi();

    /** Takes one handle state back; only for the state itself, when its last handle is gone. */
    void release();

    /** "1.0.0.0 (API: 2.1.0)", or "1.0.0.0 (No API)" when the vendor library has no API object to give. */
    static QString getVersion();

private:
    friend class VrelApiManagerPrivate;

    /** Takes one handle state back, with the mutex locked. */
    VREL_LOCAL void dropUser();

    IVrelAPI* api = nullptr;
    quint64 useCount = 0; ///< handle states issued and still alive
    QMutex mutex;         ///< guards api and useCount
    std::shared_ptr<VrelManagerLife> const life;
};
