#include "deinterlace/video_interlacer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/library_checks.h"

namespace {

using Interlacer = CVideoInterlacer;

// A frame whose even lines carry `tag` and odd lines `tag + 1`.
CYUVFrame Film(uint8_t tag, bool topFirst, bool repeat, bool progressive = true) {
  CYUVFrame frame(16, 8, CHROMA_420);
  for (int row = 0; row < 8; ++row) std::memset(frame.y + row * frame.stride, tag + row % 2, 16);
  std::memset(frame.u, tag, 2 * static_cast<size_t>(frame.chromaPlaneSize));
  frame.progressive = progressive;
  frame.topFieldFirst = topFirst;
  frame.repeatFirstField = repeat;
  return frame;
}

// Drains the interlacer after one ProcessFrame: the top and bottom line tags
// of each frame given out.
std::vector<std::pair<int, int>> Drain(Interlacer& interlacer, CYUVFrame& input) {
  std::vector<std::pair<int, int>> out;
  if (interlacer.ProcessFrame(&input) != Interlacer::INTERLACE_FRAME_READY) return out;
  CYUVFrame* frame = nullptr;
  while (interlacer.GetNextFrame(&frame) == Interlacer::INTERLACE_FRAME_READY) {
    EXPECT_FALSE(frame->progressive);
    EXPECT_FALSE(frame->repeatFirstField);
    EXPECT_TRUE(frame->topFieldFirst);
    out.emplace_back(frame->y[0], frame->y[frame->stride]);
  }
  return out;
}

TEST(VideoInterlacerTest, FourFilmFramesGiveFiveInterlacedOnes) {
  Interlacer interlacer(Interlacer::CADENCE_TOP_FIRST, 3754);
  CYUVFrame a = Film(10, true, true), b = Film(20, false, false), c = Film(30, false, true), d = Film(40, true, false);
  using Lines = std::vector<std::pair<int, int>>;
  EXPECT_EQ(Drain(interlacer, a), (Lines{{10, 11}}));
  EXPECT_EQ(Drain(interlacer, b), (Lines{{10, 21}}));            // A top with B bottom
  EXPECT_EQ(Drain(interlacer, c), (Lines{{20, 31}, {30, 31}}));  // B top with C bottom, then C
  EXPECT_EQ(Drain(interlacer, d), (Lines{{40, 41}}));
}

TEST(VideoInterlacerTest, OppositeOrderIsHeldHalfAFrameLater) {
  Interlacer interlacer(Interlacer::CADENCE_TOP_FIRST, 3600);
  CYUVFrame first = Film(50, false, false, false);
  first.presentationTime = 1000;
  EXPECT_EQ(interlacer.ProcessFrame(&first), Interlacer::INTERLACE_NO_FRAME);
  CYUVFrame second = Film(60, false, false, false);
  ASSERT_EQ(interlacer.ProcessFrame(&second), Interlacer::INTERLACE_FRAME_READY);
  CYUVFrame* out = nullptr;
  ASSERT_EQ(interlacer.GetNextFrame(&out), Interlacer::INTERLACE_FRAME_READY);
  EXPECT_EQ(out->presentationTime, 2800);
  EXPECT_EQ(out->y[0], 50);                // held top line
  EXPECT_EQ(out->y[out->stride], 61);      // the new frame's bottom line
  EXPECT_EQ(interlacer.GetNextFrame(&out), Interlacer::INTERLACE_NO_FRAME);
}

TEST(VideoInterlacerTest, MatchingInterlacedFramesPassAndRepeatGivesOnlyTheShiftedCopy) {
  Interlacer interlacer(Interlacer::CADENCE_BOTTOM_FIRST, 3600);
  CYUVFrame frame = Film(70, false, false, false);
  ASSERT_EQ(interlacer.ProcessFrame(&frame), Interlacer::INTERLACE_FRAME_READY);
  CYUVFrame* out = nullptr;
  ASSERT_EQ(interlacer.GetNextFrame(&out), Interlacer::INTERLACE_FRAME_READY);
  EXPECT_EQ(out, &frame);
  EXPECT_FALSE(out->topFieldFirst);

  CYUVFrame repeated = Film(80, false, true, false);
  ASSERT_EQ(interlacer.ProcessFrame(&repeated), Interlacer::INTERLACE_FRAME_READY);
  ASSERT_EQ(interlacer.GetNextFrame(&out), Interlacer::INTERLACE_FRAME_READY);
  EXPECT_NE(out, &repeated);
  EXPECT_EQ(interlacer.GetNextFrame(&out), Interlacer::INTERLACE_NO_FRAME);
}

using VideoInterlacerCopyTest = corvane::test::LeakCheckedTest;

TEST_F(VideoInterlacerCopyTest, ResetForgetsTheHeldFieldAndCopiesOwnTheirFrames) {
  Interlacer interlacer(Interlacer::CADENCE_TOP_FIRST, 3600);
  CYUVFrame held = Film(90, false, false, false);
  EXPECT_EQ(interlacer.ProcessFrame(&held), Interlacer::INTERLACE_NO_FRAME);
  Interlacer copy(interlacer);
  Interlacer assigned(Interlacer::CADENCE_BOTTOM_FIRST, 1);
  assigned = copy;
  interlacer.Reset();
  // After Reset an opposite-order frame is shifted again rather than merged.
  EXPECT_EQ(interlacer.ProcessFrame(&held), Interlacer::INTERLACE_NO_FRAME);
  // The copy still holds its field and merges.
  CYUVFrame next = Film(100, false, false, false);
  EXPECT_EQ(copy.ProcessFrame(&next), Interlacer::INTERLACE_FRAME_READY);
}

}  // namespace
