#include "deinterlace/smart_field_deinterlacer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "deinterlace/deinterlace_test_support.h"

namespace {

using namespace deinterlace_test;

using SmartTest = LeakCheckedTest;

// Even rows 100, 103, 106, ... (one step every two rows), odd rows 30, so
// every row combs against both neighbours and an odd row's neighbours sum to
// an odd number. The chroma planes follow the same scheme with their own
// values: U even 140 + 3k, odd 60; V even 90 + 5k, odd 200.
CYUVFrame StripedFrame(int width, int height, CHROMA chroma = CHROMA_420) {
  CYUVFrame frame(width, height, chroma);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) Y(frame, x, y) = static_cast<uint8_t>((y & 1) != 0 ? 30 : 100 + 3 * (y / 2));
  }
  for (int y = 0; y < ChromaHeight(frame); ++y) {
    for (int x = 0; x < ChromaWidth(frame); ++x) {
      U(frame, x, y) = static_cast<uint8_t>((y & 1) != 0 ? 60 : 140 + 3 * (y / 2));
      V(frame, x, y) = static_cast<uint8_t>((y & 1) != 0 ? 200 : 90 + 5 * (y / 2));
    }
  }
  return frame;
}

// Rows firstRow..lastRow of column x alternate 200 and 50 over a flat 100:
// exactly those rows are marked, so rows firstRow+1..lastRow-1 are hits.
void CombColumn(CYUVFrame& frame, int x, int firstRow, int lastRow) {
  for (int y = firstRow; y <= lastRow; ++y) Y(frame, x, y) = ((y - firstRow) & 1) != 0 ? 50 : 200;
}

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

TEST_F(SmartTest, FlatPictureIsCleanAndUntouched) {
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
  frame.progressive = false;
  EXPECT_EQ(Block(frame), before);
  EXPECT_EQ(log.lines, std::vector<std::string>{"0:SmartDeinterlace: frame PTS 1234: Clean frame"});
  for (int y = 0; y < 24; ++y) {
    for (int x = 0; x < 40; ++x) {
      ASSERT_EQ(deinterlacer.Comb(x, y), 0) << x << "," << y;
      ASSERT_EQ(deinterlacer.Motion(x, y), y == 0 || y == 23 ? 255 : 0) << x << "," << y;
    }
  }
  EXPECT_EQ(deinterlacer.Counters(), std::vector<int32_t>(4 * 11, 0));
}

TEST_F(SmartTest, StripesAreCombedAndOddRowsTakeTheRoundedUpAverage) {
  Settings settings;
  settings.logStatus = true;
  OpenDeinterlacer deinterlacer(settings);
  CYUVFrame frame = StripedFrame(32, 32);
  frame.stampA = int64_t{1} << 33;
  const CYUVFrame original(frame);
  LogCapture log;
  EXPECT_EQ(deinterlacer.DeinterlaceFrame(frame), S_OK);
  EXPECT_EQ(log.lines, std::vector<std::string>{"0:SmartDeinterlace: frame PTS 8589934592: Combed frame"});
  EXPECT_EQ(deinterlacer.LastFrameStatus(), CSmartFieldDeinterlacer::STATUS_COMBED);

  // Hits need the rows above and below marked too: rows 2..29, so the
  // first and last block rows hold 6 rows of hits and the others 8.
  std::vector<int32_t> counters(5 * 9, 0);
  for (int block = 0; block < 32; ++block) counters[static_cast<size_t>(block)] = block < 8 || block >= 24 ? 24 : 32;
  EXPECT_EQ(deinterlacer.Counters(), counters);

  CYUVFrame source(original);
  for (int y = 0; y < 32; ++y) {
    // Even rows 100 + 3k around an odd row: (100 + 3k + 103 + 3k + 1) >> 1.
    const int expected = (y & 1) != 0 && y < 31 ? 102 + 3 * (y / 2) : Y(source, 0, y);
    for (int x = 0; x < 32; ++x) ASSERT_EQ(Y(frame, x, y), expected) << x << "," << y;
  }
  for (int y = 0; y < 16; ++y) {
    const bool repaired = (y & 1) != 0 && y < 15;
    for (int x = 0; x < 16; ++x) {
      ASSERT_EQ(U(frame, x, y), repaired ? 142 + 3 * (y / 2) : U(source, x, y)) << x << "," << y;
      ASSERT_EQ(V(frame, x, y), repaired ? 93 + 5 * (y / 2) : V(source, x, y)) << x << "," << y;
    }
  }
}

TEST_F(SmartTest, BlockOfFifteenHitsIsCleanAndSixteenCombed) {
  OpenDeinterlacer deinterlacer(Settings{});
  CYUVFrame frame = FlatFrame(32, 32, 100, 128, 128);
  for (int x = 4; x <= 6; ++x) CombColumn(frame, x, 9, 15);  // 3 columns by hit rows 10..14
  const std::vector<uint8_t> fifteen = Block(frame);
  deinterlacer.DeinterlaceFrame(frame);
  EXPECT_EQ(deinterlacer.LastFrameStatus(), CSmartFieldDeinterlacer::STATUS_CLEAN);
  EXPECT_EQ(deinterlacer.Counters()[9], 15);  // block row 1, block column 1
  EXPECT_EQ(Block(frame), fifteen);

  CombColumn(frame, 7, 9, 11);  // one hit more, at row 10
  frame.progressive = false;
  deinterlacer.DeinterlaceFrame(frame);
  EXPECT_EQ(deinterlacer.LastFrameStatus(), CSmartFieldDeinterlacer::STATUS_COMBED);
  std::vector<int32_t> counters(5 * 9, 0);
  counters[9] = 16;
  EXPECT_EQ(deinterlacer.Counters(), counters);
  EXPECT_EQ(Y(frame, 4, 9), (100 + 50 + 1) >> 1);
}

TEST_F(SmartTest, PartialLastBlockColumnCountsIntoTheNextBlockRow) {
  // Width 34: the grid's pitch is 8, so columns 32 and 33 of block row 0
  // land on counter 8, the first block of block row 1.
  const auto run = [](bool right, bool left) {
    OpenDeinterlacer deinterlacer(Settings{});
    CYUVFrame frame = FlatFrame(34, 32, 100, 128, 128);
    if (right) {
      for (int x : {32, 33}) CombColumn(frame, x, 1, 7);  // 2 by 5 hits
    }
    if (left) {
      for (int x : {0, 1}) CombColumn(frame, x, 9, 13);  // 2 by 3 hits
    }
    deinterlacer.DeinterlaceFrame(frame);
    return std::make_pair(deinterlacer.Counters()[8], deinterlacer.LastFrameStatus());
  };
  EXPECT_EQ(run(true, false), std::make_pair(10, CSmartFieldDeinterlacer::STATUS_CLEAN));
  EXPECT_EQ(run(false, true), std::make_pair(6, CSmartFieldDeinterlacer::STATUS_CLEAN));
  EXPECT_EQ(run(true, true), std::make_pair(16, CSmartFieldDeinterlacer::STATUS_COMBED));
}

TEST_F(SmartTest, ThresholdsCompareAsSignedAndNeedAPositiveProduct) {
  // A steep vertical ramp: each pixel lies between its neighbours, product
  // (8) * (-8) = -64 everywhere inside.
  const auto status = [](uint32_t combThreshold) {
    Settings settings;
    settings.combThreshold = combThreshold;
    settings.motionThreshold = 0;
    OpenDeinterlacer deinterlacer(settings);
    CYUVFrame frame = FlatFrame(16, 32, 0, 128, 128);
    for (int y = 0; y < 32; ++y) {
      for (int x = 0; x < 16; ++x) Y(frame, x, y) = static_cast<uint8_t>(8 * y);
    }
    deinterlacer.DeinterlaceFrame(frame);
    EXPECT_EQ(deinterlacer.Motion(3, 5), 0) << "a negative product never passes a threshold of 0";
    return deinterlacer.LastFrameStatus();
  };
  EXPECT_EQ(status(0), CSmartFieldDeinterlacer::STATUS_CLEAN);
  EXPECT_EQ(status(0xffffffc0u), CSmartFieldDeinterlacer::STATUS_CLEAN);   // -64: not above
  EXPECT_EQ(status(0xffffffbfu), CSmartFieldDeinterlacer::STATUS_COMBED);  // -65
  EXPECT_EQ(status(0x80000000u), CSmartFieldDeinterlacer::STATUS_COMBED);
}

TEST_F(SmartTest, MotionMapIsPaintedOnlyOnCombedFrames) {
  Settings settings;
  settings.showMotionMap = true;
  settings.blend = true;  // painting wins: no blend source is made
  OpenDeinterlacer deinterlacer(settings);

  CYUVFrame clean = FlatFrame(16, 24, 100, 128, 128);
  const std::vector<uint8_t> before = Block(clean);
  deinterlacer.DeinterlaceFrame(clean);
  clean.progressive = false;
  EXPECT_EQ(Block(clean), before);

  CYUVFrame frame = FlatFrame(16, 24, 100, 128, 128);
  for (int x = 0; x < 4; ++x) CombColumn(frame, x, 0, 23);
  deinterlacer.DeinterlaceFrame(frame);
  ASSERT_EQ(deinterlacer.LastFrameStatus(), CSmartFieldDeinterlacer::STATUS_COMBED);
  EXPECT_EQ(deinterlacer.BlendSourceFrame(), nullptr);
  // The map's first and last rows are always marked, and so are columns 0..3.
  for (int y = 0; y < 24; ++y) {
    for (int x = 0; x < 16; ++x) {
      const bool marked = y < 2 || y >= 22 || x < 4;
      ASSERT_EQ(Y(frame, x, y), marked ? 235 : (100 + 384) >> 2) << x << "," << y;
    }
  }
  for (int y = 0; y < 12; ++y) {
    for (int x = 0; x < 8; ++x) {
      const bool marked = y == 0 || y == 11 || x < 2;
      ASSERT_EQ(U(frame, x, y), marked ? 240 : 128) << x << "," << y;
      ASSERT_EQ(V(frame, x, y), marked ? 16 : 128) << x << "," << y;
    }
  }
}

TEST_F(SmartTest, BlendChangesFirstAndLastRowsWithoutRounding) {
  Settings settings;
  settings.blend = true;
  OpenDeinterlacer deinterlacer(settings);
  CYUVFrame frame = StripedFrame(16, 16);
  const CYUVFrame original(frame);
  deinterlacer.DeinterlaceFrame(frame);
  ASSERT_NE(deinterlacer.BlendSourceFrame(), nullptr);
  CYUVFrame source(original);
  for (int x = 0; x < 16; ++x) {
    EXPECT_EQ(Y(frame, x, 0), (100 + 30) >> 1);
    EXPECT_EQ(Y(frame, x, 15), (30 + 121) >> 1);  // 75: 75.5 truncated
    EXPECT_EQ(Y(frame, x, 1), ((100 + 103) >> 2) + (30 >> 1));
    EXPECT_EQ(Y(frame, x, 2), ((30 + 30) >> 2) + (103 >> 1));
  }
  for (int y = 1; y < 15; ++y) {
    const int expected = ((Y(source, 0, y - 1) + Y(source, 0, y + 1)) >> 2) + (Y(source, 0, y) >> 1);
    ASSERT_EQ(Y(frame, 7, y), expected) << y;
  }
  EXPECT_EQ(U(frame, 0, 0), (140 + 60) >> 1);
  EXPECT_EQ(U(frame, 0, 7), (60 + 149) >> 1);

  // On a clean frame blend changes nothing, edges included.
  CYUVFrame clean = FlatFrame(16, 16, 10, 20, 30);
  const std::vector<uint8_t> before = Block(clean);
  deinterlacer.DeinterlaceFrame(clean);
  clean.progressive = false;
  EXPECT_EQ(Block(clean), before);
}

TEST_F(SmartTest, ChromaRepairReadsTheMapOneRowHigherWithBlend) {
  // One mark in the motion map, at column 6 of row 5 or row 6; the U plane
  // has stripes (even rows 100, odd rows 20). Chroma pixel (3, 3) reads map
  // (6, 6) without blend and (6, 5) with it.
  const auto repairU = [](bool blend, int markedRow) {
    Settings settings;
    settings.blend = blend;
    OpenDeinterlacer deinterlacer(settings);
    CYUVFrame frame = StripedFrame(16, 16);
    deinterlacer.DeinterlaceFrame(frame);  // makes the working frames
    frame = FlatFrame(16, 16, 0, 0, 0);
    for (int y = 0; y < 8; ++y) {
      for (int x = 0; x < 8; ++x) U(frame, x, y) = (y & 1) != 0 ? 20 : 100;
    }
    std::fill(deinterlacer.MotionMapFrame()->y, deinterlacer.MotionMapFrame()->u, uint8_t{0});
    deinterlacer.MotionAt(6, markedRow) = 255;
    if (blend) deinterlacer.BlendSourceFrame()->CopyPixels(frame);
    deinterlacer.SetCurrentFrame(frame);
    deinterlacer.DeinterlacePlaneYV12(CSmartFieldDeinterlacer::PLANE_U);
    std::vector<int> changed;
    for (int y = 1; y < 7; ++y) {
      for (int x = 0; x < 8; ++x) {
        if (U(frame, x, y) != ((y & 1) != 0 ? 20 : 100)) changed.push_back(10 * x + y);
      }
    }
    return std::make_pair(changed, static_cast<int>(U(frame, 3, 3)));
  };
  EXPECT_EQ(repairU(false, 6), std::make_pair(std::vector<int>{33}, 100));
  EXPECT_EQ(repairU(false, 5).first, std::vector<int>{});
  EXPECT_EQ(repairU(true, 5), std::make_pair(std::vector<int>{33}, ((100 + 100) >> 2) + (20 >> 1)));
  EXPECT_EQ(repairU(true, 6).first, std::vector<int>{});
}

TEST_F(SmartTest, ChromaMarksThreeMapRowsAndCombsOnlyWithUseChroma) {
  const auto run = [](bool useChroma, CYUVFrame& frame) {
    Settings settings;
    settings.useChroma = useChroma;
    auto deinterlacer = std::make_unique<OpenDeinterlacer>(settings);
    deinterlacer->DeinterlaceFrame(frame);
    return deinterlacer;
  };
  CYUVFrame frame = FlatFrame(32, 32, 100, 128, 128);
  U(frame, 2, 3) = 250;  // odd chroma row: map rows 5, 6, 7
  V(frame, 5, 4) = 10;   // even chroma row: map rows 8, 9, 10
  const auto marked = run(false, frame);
  for (int y = 1; y < 31; ++y) {
    for (int x = 0; x < 32; ++x) {
      const bool fromU = (x == 4 || x == 5) && y >= 5 && y <= 7;
      const bool fromV = (x == 10 || x == 11) && y >= 8 && y <= 10;
      ASSERT_EQ(marked->Motion(x, y), fromU || fromV ? 255 : 0) << x << "," << y;
      ASSERT_EQ(marked->Comb(x, y), 0) << x << "," << y;
    }
  }

  // Stripes in the chroma planes alone comb the frame only with useChroma.
  for (bool useChroma : {false, true}) {
    CYUVFrame striped = FlatFrame(32, 32, 100, 128, 128);
    for (int y = 0; y < 16; ++y) {
      for (int x = 0; x < 16; ++x) U(striped, x, y) = (y & 1) != 0 ? 60 : 190;
    }
    const std::vector<uint8_t> before = Block(striped);
    const auto deinterlacer = run(useChroma, striped);
    EXPECT_EQ(deinterlacer->LastFrameStatus(),
              useChroma ? CSmartFieldDeinterlacer::STATUS_COMBED : CSmartFieldDeinterlacer::STATUS_CLEAN);
    EXPECT_EQ(deinterlacer->Motion(0, 9), 255) << "chroma motion marks regardless";
    EXPECT_EQ(Block(striped) == before, !useChroma);
  }
}

TEST_F(SmartTest, DeinterlaceAllRepairsByTheMotionMapAlone) {
  Settings settings;
  settings.deinterlaceAll = true;
  settings.logStatus = true;
  const int64_t blocks = BufferLiveBlocks();
  OpenDeinterlacer deinterlacer(settings);
  CYUVFrame frame = FlatFrame(32, 32, 100, 128, 128);
  CombColumn(frame, 5, 10, 13);  // two hits: clean for the comb test
  LogCapture log;
  deinterlacer.DeinterlaceFrame(frame);
  EXPECT_EQ(log.lines, std::vector<std::string>{"0:SmartDeinterlace: frame PTS 0: Deinterlacing all frames"});
  EXPECT_TRUE(deinterlacer.Counters().empty());
  EXPECT_EQ(BufferLiveBlocks(), blocks) << "no block counters";
  EXPECT_EQ(Y(frame, 5, 11), (200 + 200 + 1) >> 1);
  EXPECT_EQ(Y(frame, 5, 13), (200 + 100 + 1) >> 1);
  EXPECT_EQ(Y(frame, 5, 10), 200);
}

TEST_F(SmartTest, WorkingFramesAreKeptForEqualFramesAndRemadeOnChange) {
  Settings settings;
  settings.blend = true;
  const int64_t large = LargeBufferLiveBlocks();
  const int64_t small = BufferLiveBlocks();
  OpenDeinterlacer deinterlacer(settings);
  CYUVFrame frame = StripedFrame(64, 48);
  deinterlacer.DeinterlaceFrame(frame);
  EXPECT_EQ(LargeBufferLiveBlocks(), large + 1 + 3);  // the frame, two maps, the blend source
  EXPECT_EQ(BufferLiveBlocks(), small + 1);
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
  EXPECT_EQ(BufferLiveBlocks(), small + 1);
}

TEST_F(SmartTest, CopiesTakeTheSettingsAndMakeTheirOwnWorkingFrames) {
  Settings settings;
  settings.blend = true;
  const int64_t large = LargeBufferLiveBlocks();
  OpenDeinterlacer original(settings);
  CYUVFrame frame = StripedFrame(16, 16);
  original.DeinterlaceFrame(frame);
  const int64_t withWorkingFrames = LargeBufferLiveBlocks();
  EXPECT_EQ(withWorkingFrames, large + 1 + 3);

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
