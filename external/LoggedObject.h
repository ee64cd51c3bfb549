#pragma once

#include "external/HostExport.h"
#include "external/LogHandler.h"

/** Base of objects that log under a name of their own. */
class HOST_EXPORT LoggedObject
{
public:
    LoggedObject();
    virtual ~LoggedObject();

    LoggedObject(LoggedObject const&) = delete;
    LoggedObject& operator=(LoggedObject const&) = delete;

    LogHandler& logHandler();
    LogHandler const& logHandler() const;

private:
    LogHandler m_logHandler;
};
