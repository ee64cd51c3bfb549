#pragma once

struct RunSetting;

/**
 * Carries a request or recipe out on the devices that the options name, one or many. All devices' requests
 * are judged before anything is run.
 * @return the exit code
 */
int runOnDevices(RunSetting& setting);
