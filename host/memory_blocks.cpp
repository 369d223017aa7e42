// Memory blocks: bytes and a size, made by the MemoryBlock constructor.
#include <new>

#include "host_internal.h"
#include "qvl/host_methods.h"

namespace qvlhost {

namespace {

// "Constructor(bytes as Integer)": a zeroed block of that size. A negative
// size raises OutOfBoundsException, one beyond the host's limit
// OutOfMemoryException; the block then stays empty.
void MemoryBlockConstructor(REALobjectStruct* self, int64_t bytes) {
  CallRecorder{QVL_MEMORY_BLOCK_CONSTRUCTOR}(self, bytes);
  auto* block = Live<MemoryBlock>(self, "MemoryBlock.Constructor");
  if (!block) return;
  if (bytes < 0) return RaisePending("OutOfBoundsException", "The size of a MemoryBlock cannot be negative.");
  uint8_t* data = bytes <= State().config.maxMemoryBlockBytes ? new (std::nothrow) uint8_t[bytes + 1]() : nullptr;
  if (!data) return RaisePending("OutOfMemoryException", "Not enough memory for the MemoryBlock.");
  block->data.reset(data);
  block->size = bytes;
}

}  // namespace

void MemoryBlock::ReleaseContents() {
  data.reset();
  external = nullptr;
  size = 0;
}

void* MemoryBlockMethod(std::string_view declaration) {
  if (SameDeclaration(declaration, QVL_MEMORY_BLOCK_CONSTRUCTOR)) {
    return HandedOut<&MemoryBlockConstructor>();
  }
  return nullptr;
}

REALmemoryBlockStruct* NewMemoryBlock(int64_t size) {
  if (size < 0 || size > State().config.maxMemoryBlockBytes) return nullptr;
  auto* block = static_cast<MemoryBlock*>(NewInstanceOf("MemoryBlock"));
  if (!block) return nullptr;
  MemoryBlockConstructor(HandleOf<REALobjectStruct>(block), size);
  return HandleOf<REALmemoryBlockStruct>(block);
}

// What Xojo makes of a Ptr: a block over memory it does not own, whose size
// is unknown and reads as -1.
REALmemoryBlockStruct* MemoryBlockOverPointer(void* address) {
  auto* block = static_cast<MemoryBlock*>(NewInstanceOf("MemoryBlock"));
  if (!block) return nullptr;
  block->external = static_cast<uint8_t*>(address);
  block->size = -1;
  return HandleOf<REALmemoryBlockStruct>(block);
}

uint8_t* MemoryBlockData(REALmemoryBlockStruct* handle) {
  auto* block = Live<MemoryBlock>(handle, "MemoryBlockData");
  return block ? block->Bytes() : nullptr;
}

int64_t MemoryBlockSize(REALmemoryBlockStruct* handle) {
  auto* block = Live<MemoryBlock>(handle, "MemoryBlockSize");
  return block ? block->size : 0;
}

namespace entries {

void* REALMemoryBlockGetPtr(REALmemoryBlockStruct* handle) {
  auto* block = Live<MemoryBlock>(handle, "memoryBlockGetPtr");
  return block ? block->Bytes() : nullptr;
}

int64_t REALMemoryBlockGetSize(REALmemoryBlockStruct* handle) {
  auto* block = Live<MemoryBlock>(handle, "memoryBlockGetSize");
  return block ? block->size : 0;
}

}  // namespace entries

}  // namespace qvlhost
