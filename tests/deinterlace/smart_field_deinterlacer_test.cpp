// Hand-worked cases of the smart deinterlacer, and what the pixel-by-pixel
// route does not see: progressive frames, log lines, working frames, copies.
#include "deinterlace/smart_field_deinterlacer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "deinterlace/deinterlace_test_support.h"

namespace {

using namespace deinterlace_test;

using SmartTest = LeakCheckedTest;

TEST_F(SmartTest, ProgressiveFrameIsLeftAloneWithoutStatus) {
  Settings settings;
  settings.blend = settings.showStatus = settings.logStatus = true;
  OpenDeinterlacer deinterlacer(settings);
  CYUVFrame frame = StripedFrame(96, 96);
  frame.progressive = true;
  const std::vector<uint8_t> before = Block(frame);
  LogCapture log;
  EXPECT_EQ(deinterlacer.DeinterlaceFrame(frame), S_OK);
  EXPECT_EQ(Block(frame), before);
  EXPECT_TRUE(log.lines.empty());
  EXPECT_EQ(deinterlacer.LastFrameStatus(), CSmartFieldDeinterlacer::STATUS_NONE);
  EXPECT_EQ(deinterlacer.CombMapFrame(), nullptr);
}

TEST_F(SmartTest, FlatPictureIsCleanAndUntouchedEvenAtThresholdZero) {
  Settings settings;
  settings.combThreshold = settings.motionThreshold = 0;
  settings.logStatus = true;
  OpenDeinterlacer deinterlacer(settings);
  CYUVFrame frame = FlatFrame(40, 24, 90, 100, 110);
  frame.stampA = 1234;
  const std::vector<uint8_t> before = Block(frame);
  LogCapture log;
  EXPECT_EQ(deinterlacer.DeinterlaceFrame(frame), S_OK);
  EXPECT_TRUE(frame.progressive);
  EXPECT_EQ(Block(frame), before);
  EXPECT_EQ(log.lines, std::vector<std::string>{"0:SmartDeinterlace: frame PTS 1234: Clean frame"});
  EXPECT_EQ(deinterlacer.Counters(), std::vector<int32_t>(4 * 11, 0));
}

TEST_F(SmartTest, StripesAreCombedAndOddRowsTakeTheRoundedUpAverage) {
  Settings settings;
  settings.logStatus = true;
  OpenDeinterlacer deinterlacer(settings);
  CYUVFrame frame = StripedFrame(32, 32);
  frame.stampA = int64_t{1} << 33;
  CYUVFrame original(frame);
  LogCapture log;
  EXPECT_EQ(deinterlacer.DeinterlaceFrame(frame), S_OK);
  EXPECT_EQ(log.lines, std::vector<std::string>{"0:SmartDeinterlace: frame PTS 8589934592: Combed frame"});
  EXPECT_EQ(deinterlacer.LastFrameStatus(), CSmartFieldDeinterlacer::STATUS_COMBED);

  // Hits need the rows above and below marked too: rows 2..29, so the
  // first and last block rows hold 6 rows of hits and the others 8.
  std::vector<int32_t> counters(5 * 9, 0);
  for (int block = 0; block < 32; ++block) counters[static_cast<size_t>(block)] = block < 8 || block >= 24 ? 24 : 32;
  EXPECT_EQ(deinterlacer.Counters(), counters);

  for (int y = 0; y < 32; ++y) {
    // Even rows 100 + 3k around an odd row: (100 + 3k + 103 + 3k + 1) >> 1.
    const int expected = (y & 1) != 0 && y < 31 ? 102 + 3 * (y / 2) : Y(original, 0, y);
    for (int x = 0; x < 32; ++x) ASSERT_EQ(Y(frame, x, y), expected) << x << "," << y;
  }
  EXPECT_EQ(U(frame, 5, 3), (143 + 146 + 1) >> 1);
  EXPECT_EQ(V(frame, 5, 3), (95 + 100 + 1) >> 1);
}

// The block counters come from BufferMalloc, and only without deinterlaceAll.
TEST_F(SmartTest, WorkingFramesAreKeptForEqualFramesAndRemadeOnChange) {
  for (bool deinterlaceAll : {false, true}) {
    SCOPED_TRACE(deinterlaceAll);
    Settings settings;
    settings.deinterlaceAll = deinterlaceAll;
    settings.blend = true;
    const int64_t large = LargeBufferLiveBlocks();
    const int64_t small = BufferLiveBlocks() + (deinterlaceAll ? 0 : 1);
    OpenDeinterlacer deinterlacer(settings);
    CYUVFrame frame = StripedFrame(64, 48);
    deinterlacer.DeinterlaceFrame(frame);
    EXPECT_EQ(LargeBufferLiveBlocks(), large + 1 + 3);  // the frame, two maps, the blend source
    EXPECT_EQ(BufferLiveBlocks(), small);
    const CYUVFrame* map = deinterlacer.CombMapFrame();
    const uint8_t* mapBlock = map->y;
    for (int i = 0; i < 3; ++i) {
      CYUVFrame next = StripedFrame(64, 48);
      deinterlacer.DeinterlaceFrame(next);
    }
    EXPECT_EQ(deinterlacer.CombMapFrame(), map);
    EXPECT_EQ(deinterlacer.CombMapFrame()->y, mapBlock);
    EXPECT_EQ(LargeBufferLiveBlocks(), large + 1 + 3);

    CYUVFrame other = StripedFrame(64, 48, CHROMA_422);
    deinterlacer.DeinterlaceFrame(other);
    EXPECT_EQ(deinterlacer.CombMapFrame()->chroma, CHROMA_422);
    EXPECT_EQ(deinterlacer.BlendSourceFrame()->chroma, CHROMA_422);
    EXPECT_EQ(LargeBufferLiveBlocks(), large + 2 + 3);
    EXPECT_EQ(BufferLiveBlocks(), small);
  }
}

TEST_F(SmartTest, CopiesTakeTheSettingsAndMakeTheirOwnWorkingFrames) {
  Settings settings;
  settings.blend = true;
  OpenDeinterlacer original(settings);
  CYUVFrame frame = StripedFrame(16, 16);
  original.DeinterlaceFrame(frame);
  const int64_t withWorkingFrames = LargeBufferLiveBlocks();

  OpenDeinterlacer copy(original);
  EXPECT_EQ(copy.CombMapFrame(), nullptr);
  EXPECT_EQ(LargeBufferLiveBlocks(), withWorkingFrames);
  CYUVFrame second = StripedFrame(16, 16);
  copy.DeinterlaceFrame(second);
  EXPECT_EQ(Y(second, 0, 0), (100 + 30) >> 1) << "the copy blends";

  // Assigning over a used object gives its working frames back.
  OpenDeinterlacer plain(Settings{});
  CYUVFrame third = StripedFrame(16, 16);
  plain.DeinterlaceFrame(third);
  const int64_t withPlain = LargeBufferLiveBlocks();
  plain = copy;
  EXPECT_EQ(LargeBufferLiveBlocks(), withPlain - 2);
  EXPECT_EQ(plain.CombMapFrame(), nullptr);
  CYUVFrame fourth = StripedFrame(16, 16);
  plain.DeinterlaceFrame(fourth);
  EXPECT_EQ(Y(fourth, 0, 0), (100 + 30) >> 1) << "the assigned object blends";
  CSmartFieldDeinterlacer& base = plain;
  base = plain;
  EXPECT_NE(plain.CombMapFrame(), nullptr) << "assigning an object to itself keeps its working frames";
}

}  // namespace
