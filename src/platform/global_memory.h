// Movable global memory: the handle-based blocks in which bitmaps travel as
// packed device-independent bitmaps. A handle stays valid across
// GlobalReAlloc of a movable block; a fixed block may get a new handle.
#pragma once

#include <cstddef>
#include <cstdint>

using HGLOBAL = struct GlobalBlock*;

inline constexpr uint32_t GMEM_FIXED = 0x0000;
inline constexpr uint32_t GMEM_MOVEABLE = 0x0002;
inline constexpr uint32_t GMEM_ZEROINIT = 0x0040;

HGLOBAL GlobalAlloc(uint32_t flags, size_t bytes);
// Null on failure, the original handle staying valid.
HGLOBAL GlobalReAlloc(HGLOBAL block, size_t bytes, uint32_t flags);
void* GlobalLock(HGLOBAL block);
bool GlobalUnlock(HGLOBAL block);
size_t GlobalSize(HGLOBAL block);
// Null on success.
HGLOBAL GlobalFree(HGLOBAL block);

// The last platform error of this thread, as the bitmap calls set it.
uint32_t GetLastError();
void SetLastError(uint32_t error);

inline constexpr uint32_t ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr uint32_t ERROR_INVALID_HANDLE = 6;
inline constexpr uint32_t ERROR_INVALID_PARAMETER = 87;
