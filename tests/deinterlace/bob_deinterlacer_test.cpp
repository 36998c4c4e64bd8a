#include "deinterlace/bob_deinterlacer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "deinterlace/deinterlace_test_support.h"

namespace {

using namespace deinterlace_test;

using BobDeinterlacerTest = LeakCheckedTest;

// Every byte of the block gets its own value, padding included.
void FillDistinct(CYUVFrame& frame) {
  for (uint32_t i = 0; i < frame.bufferSize; ++i) frame.y[i] = static_cast<uint8_t>(i * 7 + i / 251);
}

TEST_F(BobDeinterlacerTest, ProgressiveFrameComesBackByteForByte) {
  CYUVFrame frame(48, 20, CHROMA_420);
  FillDistinct(frame);
  frame.progressive = true;
  const std::vector<uint8_t> before = Block(frame);
  CBobDeinterlacer bob;
  EXPECT_EQ(bob.DeinterlaceFrame(frame), S_OK);
  EXPECT_EQ(Block(frame), before);
}

TEST_F(BobDeinterlacerTest, OddRowsTakeTheRowAboveInLumaOnly) {
  CYUVFrame frame(40, 18, CHROMA_420);
  FillDistinct(frame);
  const std::vector<uint8_t> before = Block(frame);
  CBobDeinterlacer bob;
  EXPECT_EQ(bob.DeinterlaceFrame(frame), S_OK);
  EXPECT_TRUE(frame.progressive);
  for (int row = 0; row < frame.paddedHeight; ++row) {
    const int source = row < frame.height ? row & ~1 : row;
    for (int x = 0; x < frame.stride; ++x) {
      // Padding columns keep their bytes; visible columns of odd rows copy the even row.
      const int expected = (x < frame.width ? source : row) * frame.stride + x;
      ASSERT_EQ(Y(frame, x, row), before[static_cast<size_t>(expected)]) << "row " << row << " column " << x;
    }
  }
  const size_t chromaBytes = 2 * static_cast<size_t>(frame.chromaPlaneSize);
  EXPECT_EQ(0, std::memcmp(frame.u, before.data() + frame.lumaPlaneSize, chromaBytes)) << "chroma stays";

  const std::vector<uint8_t> once = Block(frame);
  frame.y[0] = 3;  // a second call must not copy this down
  EXPECT_EQ(bob.DeinterlaceFrame(frame), S_OK);
  EXPECT_EQ(frame.y[frame.stride], once[static_cast<size_t>(frame.stride)]);
}

TEST_F(BobDeinterlacerTest, OddHeightCopiesTheLastRowOntoThePadding) {
  CYUVFrame frame(16, 5, CHROMA_420);
  FillDistinct(frame);
  CBobDeinterlacer bob;
  CBobDeinterlacer copy(bob);
  copy = bob;
  copy.DeinterlaceFrame(frame);
  EXPECT_EQ(0, std::memcmp(frame.y + 5 * 16, frame.y + 4 * 16, 16));
  EXPECT_NE(frame.y[6 * 16], frame.y[4 * 16]) << "only the row below the last one is written";
}

}  // namespace
