#include "tests/emulator/EmulatorFixture.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

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

EmulatorTest::~EmulatorTest()
{
    std::filesystem::remove_all(m_directory);
}

std::string EmulatorTest::makeFile(std::string const& name, std::string const& content) const
{
    auto const path = (m_directory / name).string();
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

HeldRigTest::HeldRigTest()
    : m_api(api_acquire())
{
    if (m_api == nullptr)
        throw std::runtime_error("the rig cannot be taken");
}

std::string contentOf(std::string const& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

int runInChild(std::function<int()> const& work)
{
    auto const child = ::fork();
    if (child == 0)
        ::_exit(work());
    return child;
}

int waitForChild(int child)
{
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
