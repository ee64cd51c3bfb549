#pragma once

#include <QString>

class LogHandler;
class VrelFlashUtils;
class VrelManager;

/**
 * Runs a parsed command through the vendor API, with a handle of its own.
 * @return whether it succeeded; a vendor API that is not available is logged at level 1
 */
bool runInProcess(VrelManager& manager, VrelFlashUtils& command, QString const& serial, LogHandler& log);
