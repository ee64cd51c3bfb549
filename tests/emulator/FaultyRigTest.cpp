#include "tests/emulator/EmulatorFixture.h"

using testing::HasSubstr;

namespace {

using FaultyRigTest = HeldRigTest;

/** A file that a person spoilt, and what the operations that read it say. */
struct Spoilt
{
    char const* file;
    char const* content; ///< null: the file is missing
    char const* cause;
    char const* operation;
};

Spoilt const kSpoilt[] = {
    {"device.json", nullptr, "device.json': No such file", "idDevice"},
    {"device.json", "{\"path\": ", "JSON error at offset", "idDevice"},
    {"device.json", "[1]", "a JSON object is expected", "getTokenPid"},
    {"device.json", "{}", "'oemId' is missing", "idDevice"},
    {"device.json", "{\"oemId\": -1}", "'oemId' is not a number", "idDevice"},
    {"device.json", "{\"oemId\": 1.5}", "'oemId' is not a number", "idDevice"},
    {"device.json", "{\"oemId\": \"0x100000000\"}", "'oemId' is not a number", "idDevice"},
    {"device.json", "{\"oemId\": 1, \"responseFlags\": 0, \"uniqueId\": \"00\"}", "16 bytes in hex",
     "idDevice"},
    {"device.json", "{\"partId\": \"zz\"}", "12 bytes in hex", "getTokenPid"},
    {"device.json", "{\"operation\": true}", "'operation' is not", "startOver"},
    {"lifecycle.json", "{\"stage\": \"unknown\", \"count\": 0}", "names no lifecycle stage",
     "setDeviceLifecycleStage"},
    {"start-over.json", "{", "JSON error", "startOver"},
    {"firmware/recovery.json", "{\"count\": \"many\"}", "'count' is not a number", "fwRecovery"},
    {"storage/emmc-0/cid.hex", nullptr, "cid.hex': No such file", "getCardInfo"},
    {"storage/emmc-0/cid.hex", "00 11", "expected 16 bytes in hexadecimal, found 2", "getCardInfo"},
    {"storage/emmc-0/ocr.hex", "", "expected 4 bytes in hexadecimal, found 0", "getCardInfoToFile"},
    {"storage/emmc-0/csd.hex", "no digits", "found other text", "getCardInfo"},
    {"storage/emmc-0/ext_csd.hex", "123", "found other text", "getCardInfo"},
    {"storage/emmc-0/rpmb.img", nullptr, "rpmb.img': No such file", "clearRpmb"},
    {"storage/emmc-0/partition-0.img", nullptr, "no partition 0", "readBootMedia"},
    {"storage/emmc-0/partition-0.img", "short", "outside the partition of 5 bytes", "readBootMedia"},
};

TEST_F(FaultyRigTest, isExplained)
{
    auto const input = makeFile("input", "production");
    auto const output = (m_directory / "out").string();
    for (auto const& spoilt : kSpoilt) {
        SCOPED_TRACE(std::string(spoilt.file) + ' ' + spoilt.cause);
        auto const path = deviceFile(spoilt.file);
        auto const original = contentOf(path);
        put(path, spoilt.content != nullptr ? spoilt.content : "");
        if (spoilt.content == nullptr)
            std::filesystem::remove(path);
        for (auto const& operation : deviceOperations()) {
            auto const result =
                operation.call(*m_api, {m_module.c_str(), input.c_str(), output.c_str(), kFirst, m_error});
            if (std::string(operation.name) == spoilt.operation)
                expect(result, spoilt.cause);
        }
        std::filesystem::remove(path);
        if (!original.empty())
            put(path, original);
    }
}

TEST_F(FaultyRigTest, listLeavesOutBrokenDevicesAndEndsWithTheTwentyFourth)
{
    VrelDeviceList list = {};
    auto const count = [&] { return m_api->listDevices(&list, m_error) == 0 ? int(list.count) : -1; };
    put(rigFile("devices/5E6F7A8B/device.json"), R"({"path": "2.1"})");
    put(rigFile("devices/notes.txt"), "a person's");
    std::filesystem::create_directory(rigFile("devices/EMPTY"));
    EXPECT_EQ(count(), 1);
    for (char c = 'a'; c <= 'z'; ++c)
        std::filesystem::copy(rigFile("devices/0A1B2C3D"), rigFile(std::string("devices/") + c));
    EXPECT_EQ(count(), 24);
    EXPECT_STREQ(list.names[23], "w");
    std::filesystem::remove_all(rigFile("devices"));
    EXPECT_EQ(count(), -1);
    EXPECT_THAT(m_error, HasSubstr("devices"));
}

TEST_F(FaultyRigTest, anEmptySerialMeansTheOnlyDevice)
{
    std::filesystem::remove_all(rigFile("devices/5E6F7A8B"));
    expect(run(&IVrelAPI::clearRpmb, kEmmc, kZero, ""), "");
    std::filesystem::remove_all(rigFile("devices/0A1B2C3D"));
    expect(run(&IVrelAPI::clearRpmb, kEmmc, kZero, ""), "The rig holds no device");
}

} // namespace
