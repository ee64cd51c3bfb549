#pragma once

#include "plugin/VrelApiManager.h"

#include <QString>

#include <map>
#include <optional>

class LogHandler;
class VrelManager;

/** What the command-line tools ask of the vendor API, and what they say when it fails them. */
namespace VendorApi {

/** USB path → serial number. */
using DeviceList = std::map<QString, QString>;

/**
 * A new handler to log a device's operations with, under the name of a program. It is never destroyed: a
 * thread of the vendor library may log to it when the operation is long over. From one thread at a time.
 */
LogHandler& lastingLog(QString const& name);

/** The likely cause where there is no vendor API to be had, as the end of a sentence. */
QString absence();

/** A handle; one that tests false has been logged at level 1. */
VrelApiManager fetch(VrelManager& manager, LogHandler const& log);

/** The devices that the vendor API lists; nothing, with the cause, a sentence, in `error`, when it does not.
 */
std::optional<DeviceList> list(VrelApiManager& api, QString& error);

/** Whether the list holds as many devices as it can, so that there may be more. */
bool isFull(DeviceList const& devices);

/** Says so at level 2. */
void warnOfFullList(DeviceList const& devices, LogHandler const& log);

} // namespace VendorApi
