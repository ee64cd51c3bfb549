// Compiled for 32 bits, not linked: the record's offsets are asserted beside its declaration.
#include "external/DummyDevice.h"

static_assert(sizeof(void*) == 4, "compile with -m32");
