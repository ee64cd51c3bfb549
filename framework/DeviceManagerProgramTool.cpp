#include "external/DeviceManagerProgramTool.h"

DeviceManagerProgramTool::DeviceManagerProgramTool() = default;

DeviceManagerProgramTool::~DeviceManagerProgramTool() = default;
