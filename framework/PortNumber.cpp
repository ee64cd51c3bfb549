#include "external/PortNumber.h"

#include <utility>

PortNumber::PortNumber() = default;

PortNumber::PortNumber(int connectionType, QString location)
    : m_connectionType(connectionType)
    , m_location(std::move(location))
{
}

PortNumber::PortNumber(PortNumber const& other) = default;

PortNumber& PortNumber::operator=(PortNumber const& other) = default;

PortNumber::~PortNumber() = default;

int PortNumber::getConnectionType() const
{
    return m_connectionType;
}

QString PortNumber::getLocation() const
{
    return m_location;
}
