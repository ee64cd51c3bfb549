#pragma once

#include "external/IVrelAPI.h"
#include "tests/support/Child.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/** A directory of its own, with a rig that does not exist yet, for every test. */
class EmulatorTest : public testing::Test
{
protected:
    EmulatorTest();
    ~EmulatorTest() override { std::filesystem::remove_all(m_directory); }

    /** @return a file in the test's directory with this content */
    std::string makeFile(std::string const& name, std::string const& content) const;

    std::filesystem::path m_directory;
    std::string m_rig;
    std::string m_module;
};

constexpr char const* kFirst = "0A1B2C3D";  ///< has an eMMC and SPI flash
constexpr char const* kSecond = "5E6F7A8B"; ///< has a UFS

// Types and indices of storage devices.
constexpr std::uint8_t kEmmc = 2;
constexpr std::uint8_t kZero = 0;

/** The same, with the API acquired. */
class HeldRigTest : public EmulatorTest
{
protected:
    HeldRigTest();
    ~HeldRigTest() override { api_release(); }

    /** Calls an operation with the arguments between its recovery module and its error text. */
    template <typename Member, typename... Arguments>
    int run(Member operation, Arguments... arguments)
    {
        return (m_api->*operation)(m_module.c_str(), arguments..., m_error, nullptr, nullptr);
    }

    /** Expects the result of an operation: success without a cause, else a text that holds it. */
    void expect(int result, std::string const& cause) const;

    /** Hands "LEVEL TEXT" on to m_log of the test that the context is. */
    static void handOn(unsigned long level, char const* text, void* test)
    {
        static_cast<HeldRigTest*>(test)->m_log(std::to_string(level) + ' ' + text);
    }

    IVrelAPI* m_api;
    char m_error[kVrelErrorTextSize] = "untouched";
    std::unique_ptr<VrelDeviceList> m_list = std::make_unique<VrelDeviceList>();
    std::function<void(std::string const&)> m_log;
};

/** An operation called with arguments that succeed on a new rig, but for those given. */
struct Operation
{
    struct Arguments
    {
        char const* module;
        char const* input;
        char const* output;
        char const* serial;
        char* errorText;
        bool withNullAnswers = false;
    };

    char const* name;
    bool needsModule;
    bool needsInput;
    std::function<int(IVrelAPI&, Arguments const&)> call;
};

/** @return all operations on a device, each after those whose work it needs */
std::vector<Operation> const& deviceOperations();

/** So many allocations by "new" are made until one fails; below 0 none does. */
extern long g_allocationsLeft;
