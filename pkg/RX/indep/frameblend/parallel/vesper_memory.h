// Image memory of the engine: every map's pixels come from the host's
// allocator under the handler lock.
#pragma once

#include <cstddef>

#include "RX_Config.h"

// Null when the host has no memory (the host reports it).
void* RX_VesperAlloc(size_t size);
void RX_VesperFree(void* block);

