#include "external/DeviceManagerTool.h"

DeviceManagerTool::DeviceManagerTool() = default;

DeviceManagerTool::~DeviceManagerTool() = default;
