#include "external/LoggedObject.h"

LoggedObject::LoggedObject() = default;

LoggedObject::~LoggedObject() = default;

LogHandler& LoggedObject::logHandler()
{
    return m_logHandler;
}

LogHandler const& LoggedObject::logHandler() const
{
    return m_logHandler;
}
