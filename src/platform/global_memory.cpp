#include "platform/global_memory.h"

#include <cstdlib>
#include <cstring>

struct GlobalBlock {
  void* data;
  size_t size;
  int locks;
};

namespace {
thread_local uint32_t t_lastError = 0;
}  // namespace

uint32_t GetLastError() { return t_lastError; }
void SetLastError(uint32_t error) { t_lastError = error; }

HGLOBAL GlobalAlloc(uint32_t flags, size_t bytes) {
  auto* block = static_cast<GlobalBlock*>(std::malloc(sizeof(GlobalBlock)));
  void* data = std::malloc(bytes == 0 ? 1 : bytes);
  if (block == nullptr || data == nullptr) {
    std::free(block);
    std::free(data);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  if ((flags & GMEM_ZEROINIT) != 0) std::memset(data, 0, bytes);
  *block = {data, bytes, 0};
  return block;
}

HGLOBAL GlobalReAlloc(HGLOBAL block, size_t bytes, uint32_t flags) {
  if (block == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  void* data = std::realloc(block->data, bytes == 0 ? 1 : bytes);
  if (data == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  if ((flags & GMEM_ZEROINIT) != 0 && bytes > block->size) {
    std::memset(static_cast<char*>(data) + block->size, 0, bytes - block->size);
  }
  block->data = data;
  block->size = bytes;
  return block;
}

void* GlobalLock(HGLOBAL block) {
  if (block == nullptr) return nullptr;
  ++block->locks;
  return block->data;
}

bool GlobalUnlock(HGLOBAL block) {
  if (block == nullptr || block->locks == 0) return false;
  return --block->locks != 0;
}

size_t GlobalSize(HGLOBAL block) { return block == nullptr ? 0 : block->size; }

HGLOBAL GlobalFree(HGLOBAL block) {
  if (block != nullptr) {
    std::free(block->data);
    std::free(block);
  }
  return nullptr;
}
