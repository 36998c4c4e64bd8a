// The two luma lines of slack behind a frame's planes, which the resize reads
// around the last lines of a crop, hold zeros in every new block.
#include <gtest/gtest.h>

#include <cstring>

#include "core/frame.h"

namespace {

bool SlackIsZero(const CYUVFrame& frame) {
  const uint8_t* slack = frame.v + frame.chromaPlaneSize;
  for (int i = 0; i < 2 * frame.stride; ++i) {
    if (slack[i] != 0) return false;
  }
  return true;
}

// A block given back with garbage in its slack is what the allocator most
// likely hands out next for the same size.
TEST(FrameSlackTest, ANewBlockHasZeroSlackEvenWhereAnOldOneHadGarbage) {
  for (CHROMA chroma : {CHROMA_420, CHROMA_422, CHROMA_444}) {
    {
      CYUVFrame used(64, 32, chroma);
      std::memset(used.v + used.chromaPlaneSize, 0xA5, 2 * static_cast<size_t>(used.stride));
    }
    const CYUVFrame fresh(64, 32, chroma);
    EXPECT_TRUE(SlackIsZero(fresh)) << "chroma " << chroma;
    CYUVFrame reformatted;
    reformatted.Reformat(48, 17, chroma);
    EXPECT_TRUE(SlackIsZero(reformatted)) << "chroma " << chroma;
  }
}

}  // namespace
