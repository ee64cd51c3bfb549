#include "tests/emulator/EmulatorFixture.h"
#include "tests/fuzz/Require.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>

/**
 * @file
 * A file of a device in a rig, chosen by the first byte, or a partition configuration: through an operation
 * that reads it.
 */
namespace {

constexpr std::pair<char const*, char const*> kReaders[] = {
    {"device.json", "idDevice"},
    {"start-over.json", "startOver"},
    {"lifecycle.json", "setDeviceLifecycleStage"},
    {"firmware/recovery.json", "fwRecovery"},
    {"provisioning/oem-ifp.json", "oemIfpProvision"},
    {"storage/emmc-0/ocr.hex", "getCardInfo"},
    {"tokens/slot-0.bin", "configPartitions"},
};

std::string contentOf(std::string const& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string s_rig = "/dev/shm/vrel-fuzz-XXXXXX"; // where nothing waits for a disk

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    static IVrelAPI* const s_api = [] {
        ::setenv("VREL_RIG", ::mkdtemp(s_rig.data()), 1);
        std::atexit([] { std::filesystem::remove_all(s_rig); });
        return api_acquire();
    }();
    static auto const s_device = s_rig + "/devices/" + kFirst + '/';
    static std::map<std::string, std::string> s_usual; // of a new rig
    if (size == 0)
        return 0;
    auto const& [file, name] = kReaders[static_cast<unsigned>(data[0] - '0') % std::size(kReaders)];
    std::string const content(data + 1, data + size);
    auto const path = s_device + file;
    auto const [usual, isFirst] = s_usual.try_emplace(file);
    if (isFirst)
        usual->second = contentOf(path);
    std::ofstream(path, std::ios::binary) << content;
    for (auto const& operation : deviceOperations()) {
        char error[kVrelErrorTextSize] = "";
        if (operation.name != std::string(name))
            continue;
        int const result = operation.call(*s_api, {path.c_str(), path.c_str(), "", kFirst, error});
        require((result == 0) == (error[0] == '\0'), "a failure alone has a text");
        require(result == 0 || contentOf(path) == content, "what failed leaves its file");
    }
    static auto const s_list = std::make_unique<VrelDeviceList>();
    if (path == s_device + "device.json") // the only one that it reads
        require(s_api->listDevices(s_list.get(), nullptr) == 0, "all are listed");
    else if (name == std::string("configPartitions"))
        std::remove((s_device + "storage/emmc-0/partitions.xml").c_str());
    if (usual->second.empty())
        std::remove(path.c_str());
    else
        std::ofstream(path, std::ios::binary) << usual->second;
    return 0;
}
