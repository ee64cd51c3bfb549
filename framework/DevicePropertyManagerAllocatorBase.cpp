#include "external/DevicePropertyManagerAllocatorBase.h"

DevicePropertyManagerAllocatorBase::DevicePropertyManagerAllocatorBase() = default;

DevicePropertyManagerAllocatorBase::~DevicePropertyManagerAllocatorBase() = default;
