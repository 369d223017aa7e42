#include "binding/memory_blocks.h"

#include "binding/wrappers.h"
#include "qvl/host_methods.h"

namespace {

typedef void (*MemoryBlockConstructorFn)(REALobjectStruct* block, int64_t bytes);

}  // namespace

void REALNewMemoryBlockWork(void* context) {
  auto* work = static_cast<MemoryBlockWorkContext*>(context);
  REALobjectStruct* block = REALnewInstance("MemoryBlock");
  if (!block) return;
  auto construct =
      reinterpret_cast<MemoryBlockConstructorFn>(REALLoadObjectMethod(block, QVL_MEMORY_BLOCK_CONSTRUCTOR));
  if (!construct) {
    REALUnlockObject(block);
    return;
  }
  construct(block, work->size);
  auto* memoryBlock = reinterpret_cast<REALmemoryBlockStruct*>(block);
  if (REALMemoryBlockGetSize(memoryBlock) < work->size) {
    REALUnlockObject(block);
    return;
  }
  work->result = memoryBlock;
}

REALmemoryBlockStruct* REALNewMemoryBlock(int64_t size) {
  MemoryBlockWorkContext context{size, nullptr};
  // The handler is looked up by asking for it: a host without one answers null
  // for the exception as well, so the work is then done directly.
  if (gResolver("PluginCallFunctionWithExceptionHandler")) {
    if (REALobjectStruct* exception = REALCallFunctionWithExceptionHandler(&REALNewMemoryBlockWork, &context)) {
      REALUnlockObject(exception);
    }
  } else {
    REALNewMemoryBlockWork(&context);
  }
  return context.result;
}
