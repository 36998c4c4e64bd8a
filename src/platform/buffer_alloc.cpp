#include "platform/buffer_alloc.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

constexpr size_t kAlignment = 64;

// Each block is preceded by one aligned header that records its size and the
// pool it came from, so a block handed to the wrong pair or freed twice is
// caught instead of corrupting the counters.
struct BlockHeader {
  uint64_t magic;
  uint64_t size;
};
static_assert(sizeof(BlockHeader) <= kAlignment);

constexpr uint64_t kFreedMagic = 0xdeadbeefdeadbeefull;

struct Pool {
  const char* name;
  uint64_t magic;
  std::atomic<int64_t> blocks{0};
  std::atomic<int64_t> bytes{0};
};

Pool g_buffers{"BufferFree", 0x436f72764275660aull};
Pool g_largeBuffers{"LargeBufferFree", 0x436f72764c72670aull};

void* Allocate(Pool& pool, size_t size) {
  void* raw = std::aligned_alloc(kAlignment, kAlignment + ((size + kAlignment - 1) / kAlignment) * kAlignment);
  if (raw == nullptr) throw std::bad_alloc();
  auto* header = static_cast<BlockHeader*>(raw);
  header->magic = pool.magic;
  header->size = size;
  pool.blocks.fetch_add(1, std::memory_order_relaxed);
  pool.bytes.fetch_add(static_cast<int64_t>(size), std::memory_order_relaxed);
  return static_cast<char*>(raw) + kAlignment;
}

void Release(Pool& pool, void* p) {
  if (p == nullptr) return;
  auto* header = reinterpret_cast<BlockHeader*>(static_cast<char*>(p) - kAlignment);
  if (header->magic != pool.magic) {
    std::fprintf(stderr, "corvane: %s: block %p was not allocated by this pool or was freed twice\n",
                 pool.name, p);
    std::abort();
  }
  header->magic = kFreedMagic;
  pool.blocks.fetch_sub(1, std::memory_order_relaxed);
  pool.bytes.fetch_sub(static_cast<int64_t>(header->size), std::memory_order_relaxed);
  std::free(header);
}

}  // namespace

void* BufferMalloc(size_t size) { return Allocate(g_buffers, size); }
void BufferFree(void* p) { Release(g_buffers, p); }
void* LargeBufferMalloc(size_t size) { return Allocate(g_largeBuffers, size); }
void LargeBufferFree(void* p) { Release(g_largeBuffers, p); }

int64_t BufferLiveBlocks() { return g_buffers.blocks.load(std::memory_order_relaxed); }
int64_t BufferLiveBytes() { return g_buffers.bytes.load(std::memory_order_relaxed); }
int64_t LargeBufferLiveBlocks() { return g_largeBuffers.blocks.load(std::memory_order_relaxed); }
int64_t LargeBufferLiveBytes() { return g_largeBuffers.bytes.load(std::memory_order_relaxed); }
