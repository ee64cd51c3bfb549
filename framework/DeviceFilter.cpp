#include "external/DeviceFilter.h"

DeviceFilterData::DeviceFilterData() = default;

DeviceFilterData::~DeviceFilterData() = default;

DeviceFilter::DeviceFilter(RecordConverter converter)
    : m_converter(converter)
{
}

DeviceFilter::~DeviceFilter() = default;

DeviceFilter::RecordConverter DeviceFilter::converter() const
{
    return m_converter;
}
