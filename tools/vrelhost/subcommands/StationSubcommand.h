#pragma once

struct RunSetting;

/**
 * Carries a request or recipe out on each device that appears, until an end is asked for.
 * @return the exit code
 */
int serveDevices(RunSetting& setting);
