// The frame buffer allocator: two pairs of calls, one for ordinary blocks
// (audio payloads, temporary RGB buffers) and one for picture blocks. A block
// goes back through the pair it came from.
//
// Blocks are 64-byte aligned. Live-block and live-byte counters let a host or
// a test prove that nothing leaks or is freed twice.
#pragma once

#include <cstddef>
#include <cstdint>

void* BufferMalloc(size_t size);
void BufferFree(void* p);
void* LargeBufferMalloc(size_t size);
void LargeBufferFree(void* p);

int64_t BufferLiveBlocks();
int64_t BufferLiveBytes();
int64_t LargeBufferLiveBlocks();
int64_t LargeBufferLiveBytes();
