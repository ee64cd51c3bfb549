#pragma once

#include "emulator/InputFile.h"
#include "emulator/OperationLog.h"
#include "emulator/RigDevice.h"

#include "external/IVrelAPI.h"

/** What has been downloaded to a device: not the files themselves, but their names, sizes and digests. */
namespace VrelRig::FirmwareRecords {

void downloadRecovery(RigDevice const& device, InputFile const& module, VrelIfpRecord const& ifp,
                      OperationLog const& log);

/** The files of one firmware and OS download; the OS parts are optional (null or empty text). */
struct FwOsFiles
{
    char const* fwImage;
    char const* osModule;
    char const* osImage;
};

void downloadFwOs(RigDevice const& device, InputFile const& module, FwOsFiles const& files,
                  std::uint32_t flags, OperationLog const& log);

/** Counts a start-over and records its flags. */
void countStartOver(RigDevice const& device, std::uint32_t flags);

} // namespace VrelRig::FirmwareRecords
