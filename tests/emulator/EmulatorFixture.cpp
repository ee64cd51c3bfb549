#include "tests/emulator/EmulatorFixture.h"

#include <cstdlib>
#include <fstream>

EmulatorTest::EmulatorTest()
{
    auto pattern = (std::filesystem::temp_directory_path() / "vrel-emulator-XXXXXX").string();
    m_directory = ::mkdtemp(pattern.data());
    m_rig = (m_directory / "rig").string();
    m_module = makeFile("module.bin", "recovery module");
    ::setenv("VREL_RIG", m_rig.c_str(), 1);
    ::unsetenv("VREL_RIG_FAULT");
    ::unsetenv("VREL_RIG_DELAY_MS");
}

std::string EmulatorTest::makeFile(std::string const& name, std::string const& content) const
{
    std::ofstream((m_directory / name).string(), std::ios::binary) << content;
    return (m_directory / name).string();
}

HeldRigTest::HeldRigTest()
    : m_api(api_acquire())
{
    if (m_api == nullptr)
        throw std::runtime_error("the rig cannot be taken");
}

void HeldRigTest::expect(int result, std::string const& cause) const
{
    EXPECT_EQ(result == 0, cause.empty()) << m_error;
    if (!cause.empty()) {
        EXPECT_THAT(m_error, testing::HasSubstr(cause));
    }
}
