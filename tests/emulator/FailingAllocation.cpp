#include "tests/emulator/EmulatorFixture.h"

#include <cstdlib>
#include <new>

long g_allocationsLeft = -1;

void* operator new(std::size_t size)
{
    auto* const memory = g_allocationsLeft >= 0 && g_allocationsLeft-- == 0 ? nullptr : std::malloc(size);
    return memory ? memory : throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
