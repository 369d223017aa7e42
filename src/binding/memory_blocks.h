// Memory blocks made through the host's MemoryBlock class, under its
// exception handler so that a failure comes back as a nil block.
#pragma once

#include <cstdint>

#include "qvl/handles.h"

struct MemoryBlockWorkContext {
  int64_t size;
  REALmemoryBlockStruct* result;
};

// A block of at least `size` bytes owned by the caller, or null. An exception
// the host raises while making it is swallowed.
REALmemoryBlockStruct* REALNewMemoryBlock(int64_t size);

// Makes the block of a MemoryBlockWorkContext and stores it there, or leaves
// the result null.
void REALNewMemoryBlockWork(void* context);
