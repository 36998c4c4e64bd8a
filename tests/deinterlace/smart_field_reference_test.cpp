// The smart deinterlacer against a second route: the algorithm spelled out
// pixel by pixel with 32-bit products, on seeded random frames, sizes,
// chroma formats and settings, negative thresholds included.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "deinterlace/deinterlace_test_support.h"
#include "deinterlace/smart_field_deinterlacer.h"

namespace {

using namespace deinterlace_test;

class ReferenceDeinterlacer {
 public:
  explicit ReferenceDeinterlacer(const Settings& settings) : s_(settings) {}

  CSmartFieldDeinterlacer::FRAME_STATUS Run(CYUVFrame& frame) {
    width_ = frame.width;
    height_ = frame.height;
    columns_ = frame.chroma == CHROMA_444 ? 1 : 2;
    rows_ = frame.chroma == CHROMA_420 ? 2 : 1;
    comb.assign(static_cast<size_t>(width_ * height_), 0);
    motion.assign(static_cast<size_t>(width_ * height_), 0);
    MapLuma(frame);
    MapChroma(frame, frame.u);
    MapChroma(frame, frame.v);
    using Status = CSmartFieldDeinterlacer::FRAME_STATUS;
    Status status = CSmartFieldDeinterlacer::STATUS_DEINTERLACE_ALL;
    if (!s_.deinterlaceAll) status = CountBlocks() ? Status::STATUS_COMBED : Status::STATUS_CLEAN;
    if (status == CSmartFieldDeinterlacer::STATUS_CLEAN) return status;
    if (s_.showMotionMap) {
      Paint(frame);
    } else {
      const CYUVFrame source(frame);
      Repair(frame.y, source.y, frame.stride, width_, height_, 1, 1, true);
      Repair(frame.u, source.u, frame.chromaStride, ChromaWidth(frame), ChromaHeight(frame), columns_, rows_, false);
      Repair(frame.v, source.v, frame.chromaStride, ChromaWidth(frame), ChromaHeight(frame), columns_, rows_, false);
    }
    return status;
  }

  std::vector<uint8_t> comb, motion;  // width by height, no padding
  std::vector<int32_t> counters;

 private:
  uint8_t& At(std::vector<uint8_t>& map, int x, int y) { return map[static_cast<size_t>(y * width_ + x)]; }
  static int32_t Product(int above, int pixel, int below) { return (below - pixel) * (above - pixel); }
  bool Exceeds(int32_t product, uint32_t threshold) const { return product > static_cast<int32_t>(threshold); }

  void MapLuma(const CYUVFrame& f) {
    for (int y = 0; y < height_; ++y) {
      for (int x = 0; x < width_; ++x) {
        if (y == 0 || y == height_ - 1) {
          At(motion, x, y) = 255;
          continue;
        }
        const int32_t p = Product(f.y[(y - 1) * f.stride + x], f.y[y * f.stride + x], f.y[(y + 1) * f.stride + x]);
        if (!s_.deinterlaceAll && Exceeds(p, s_.combThreshold)) At(comb, x, y) = 255;
        if (Exceeds(p, s_.motionThreshold)) At(motion, x, y) = 255;
      }
    }
  }

  void MapChroma(const CYUVFrame& f, const uint8_t* plane) {
    for (int y = 1; y < ChromaHeight(f) - 1; ++y) {
      for (int x = 0; x < ChromaWidth(f); ++x) {
        const int pitch = f.chromaStride;
        const int32_t p = Product(plane[(y - 1) * pitch + x], plane[y * pitch + x], plane[(y + 1) * pitch + x]);
        std::vector<int> mapRows{y};
        if (rows_ == 2) mapRows = {2 * y, 2 * y + 1, (y & 1) != 0 ? 2 * y - 1 : 2 * y + 2};
        for (int row : mapRows) {
          for (int c = 0; c < columns_; ++c) {
            const bool combs = !s_.deinterlaceAll && s_.useChroma && Exceeds(p, s_.combThreshold);
            if (combs) At(comb, columns_ * x + c, row) = 255;
            if (Exceeds(p, s_.motionThreshold)) At(motion, columns_ * x + c, row) = 255;
          }
        }
      }
    }
  }

  bool CountBlocks() {
    counters.assign(static_cast<size_t>(((height_ >> 3) + 1) * ((width_ >> 2) + 1)), 0);
    for (int y = 1; y < height_ - 1; ++y) {
      for (int x = 0; x < width_; ++x) {
        if (At(comb, x, y - 1) == 255 && At(comb, x, y) == 255 && At(comb, x, y + 1) == 255) {
          ++counters[static_cast<size_t>((y >> 3) * (width_ >> 2) + (x >> 2))];
        }
      }
    }
    return std::any_of(counters.begin(), counters.end(), [](int32_t hits) { return hits > 15; });
  }

  void Repair(uint8_t* plane, const uint8_t* source, int pitch, int w, int h, int columns, int rows, bool luma) {
    const auto px = [&](int x, int y) -> uint8_t& { return plane[y * pitch + x]; };
    const auto src = [&](int x, int y) { return static_cast<int>(source[y * pitch + x]); };
    if (!s_.blend) {
      for (int y = 1; y <= h - 2; y += 2) {
        for (int x = 0; x < w; ++x) {
          if (At(motion, columns * x, rows * y) != 0) {
            px(x, y) = static_cast<uint8_t>((px(x, y - 1) + px(x, y + 1) + 1) >> 1);
          }
        }
      }
      return;
    }
    if (h < 2) return;
    for (int x = 0; x < w; ++x) px(x, 0) = static_cast<uint8_t>((px(x, 0) + src(x, 1)) >> 1);
    for (int y = 1; y <= h - 2; ++y) {
      const int mapRow = luma || rows == 1 ? y : 2 * y - 1;
      for (int x = 0; x < w; ++x) {
        if (At(motion, columns * x, mapRow) != 0) {
          px(x, y) = static_cast<uint8_t>(((src(x, y - 1) + src(x, y + 1)) >> 2) + (px(x, y) >> 1));
        }
      }
    }
    for (int x = 0; x < w; ++x) px(x, h - 1) = static_cast<uint8_t>((px(x, h - 1) + src(x, h - 2)) >> 1);
  }

  void Paint(CYUVFrame& f) {
    for (int y = 0; y < height_; ++y) {
      for (int x = 0; x < width_; ++x) {
        bool marked = false;
        for (int sy = y & ~1; sy <= std::min((y & ~1) + 1, height_ - 1); ++sy) {
          for (int sx = x & ~1; sx <= std::min((x & ~1) + 1, width_ - 1); ++sx) marked |= At(motion, sx, sy) != 0;
        }
        uint8_t& p = f.y[y * f.stride + x];
        p = marked ? 235 : static_cast<uint8_t>((p + 384) >> 2);
      }
    }
    for (int y = 0; y < ChromaHeight(f); ++y) {
      for (int x = 0; x < ChromaWidth(f); ++x) {
        bool marked = false;
        for (int r = 0; r < rows_; ++r) {
          for (int c = 0; c < columns_; ++c) marked |= At(motion, columns_ * x + c, rows_ * y + r) != 0;
        }
        if (marked) {
          f.u[y * f.chromaStride + x] = 240;
          f.v[y * f.chromaStride + x] = 16;
        }
      }
    }
  }

  Settings s_;
  int width_ = 0, height_ = 0, columns_ = 2, rows_ = 2;
};

// Luma rows first..end-1, cut to the picture, become stripes of 220 and 20.
void Stripe(CYUVFrame& frame, int first, int end) {
  for (int y = first; y < std::min(frame.height, end); ++y) {
    for (int x = 0; x < frame.width; ++x) Y(frame, x, y) = (y & 1) != 0 ? 20 : 220;
  }
}

// Noise of a random amplitude, with a band of stripes in some frames, so
// that clean and combed frames both occur.
void FillRandom(CYUVFrame& frame, std::mt19937& rng) {
  const int amplitude = std::uniform_int_distribution<int>(0, 255)(rng);
  const int base = std::uniform_int_distribution<int>(0, 255 - amplitude)(rng);
  std::uniform_int_distribution<int> noise(0, amplitude);
  for (uint32_t i = 0; i < frame.bufferSize; ++i) frame.y[i] = static_cast<uint8_t>(base + noise(rng));
  if ((rng() & 1) != 0) {
    const int top = std::uniform_int_distribution<int>(0, frame.height - 1)(rng);
    Stripe(frame, top, top + std::uniform_int_distribution<int>(0, 40)(rng));
  }
}

uint32_t RandomThreshold(std::mt19937& rng) {
  static const uint32_t kEdges[] = {0,          1,          100,        400,        65024,      65025,
                                    65026,      0x7fffffff, 0xffffffff, 0xffffffc0, 0xffff0203, 0xffff01fe,
                                    0xffff01ff, 0x80000000};
  if ((rng() & 1) != 0) return kEdges[rng() % (sizeof kEdges / sizeof kEdges[0])];
  return std::uniform_int_distribution<uint32_t>(0, 3000)(rng);
}

// Settings at random around the given comb threshold: every frame repaired
// a quarter of the time when mayRepairAll is set, chroma and blend half the time.
Settings RandomSettings(std::mt19937& rng, uint32_t combThreshold, bool mayRepairAll) {
  Settings settings;
  settings.deinterlaceAll = mayRepairAll && rng() % 4 == 0;
  settings.useChroma = (rng() & 1) != 0;
  settings.combThreshold = combThreshold;
  settings.motionThreshold = RandomThreshold(rng);
  settings.blend = (rng() & 1) != 0;
  return settings;
}

CHROMA RandomChroma(std::mt19937& rng) {
  static const CHROMA kFormats[] = {CHROMA_420, CHROMA_422, CHROMA_444};
  return kFormats[rng() % 3];
}

std::string Describe(int round, const CYUVFrame& frame) {
  return "round " + std::to_string(round) + " " + std::to_string(frame.width) + "x" + std::to_string(frame.height) +
         " chroma " + std::to_string(frame.chroma);
}

// Where two rows-after-rows byte arrays first differ, or "" when they agree.
std::string FirstDifference(const std::vector<uint8_t>& got, const std::vector<uint8_t>& expected, int width) {
  if (got.size() != expected.size()) return "sizes " + std::to_string(got.size());
  const auto at = std::mismatch(got.begin(), got.end(), expected.begin()).first - got.begin();
  if (at == static_cast<ptrdiff_t>(got.size())) return "";
  return "byte " + std::to_string(at % width) + "," + std::to_string(at / width);
}

// The motion map always, the comb map when it is built, and the counters.
void ExpectSameMaps(const OpenDeinterlacer& got, const std::vector<uint8_t>& motion, const std::vector<uint8_t>& comb,
                    const std::vector<int32_t>& counters, const Settings& settings, int width,
                    const std::string& where) {
  ASSERT_EQ(FirstDifference(got.MotionMap(), motion, width), "") << where << " motion map";
  if (!settings.deinterlaceAll) {
    ASSERT_EQ(FirstDifference(got.CombMap(), comb, width), "") << where << " comb map";
  }
  ASSERT_EQ(got.Counters(), counters) << where;
}

// Runs the frame through the deinterlacer and a copy through the pixel
// route, and compares the status, the maps, the counters and the frames.
void ExpectMatchesReference(OpenDeinterlacer& deinterlacer, CYUVFrame& frame, const Settings& settings,
                            const std::string& where, CSmartFieldDeinterlacer::FRAME_STATUS& status) {
  CYUVFrame expected(frame);
  ReferenceDeinterlacer reference(settings);
  status = reference.Run(expected);
  deinterlacer.DeinterlaceFrame(frame);
  ASSERT_EQ(deinterlacer.LastFrameStatus(), status) << where;
  ASSERT_NO_FATAL_FAILURE(
      ExpectSameMaps(deinterlacer, reference.motion, reference.comb, reference.counters, settings, frame.width, where));
  ASSERT_EQ(FirstDifference(Block(frame), Block(expected), frame.stride), "") << where;
}

TEST(SmartFieldReferenceTest, MatchesThePixelByPixelRouteOnRandomFrames) {
  std::mt19937 rng(20240601);
  int combedFrames = 0;
  for (int round = 0; round < 150; ++round) {
    Settings settings = RandomSettings(rng, RandomThreshold(rng), true);
    settings.showMotionMap = rng() % 4 == 0;
    OpenDeinterlacer deinterlacer(settings);
    // Several frames through one object, so that working frames are kept and remade.
    for (int frameIndex = 0; frameIndex < 3; ++frameIndex) {
      const int width = std::uniform_int_distribution<int>(1, 90)(rng);
      const int height = std::uniform_int_distribution<int>(1, 70)(rng);
      CYUVFrame frame(width, height, RandomChroma(rng));
      FillRandom(frame, rng);
      const std::string where = Describe(round, frame) + " frame " + std::to_string(frameIndex);
      CSmartFieldDeinterlacer::FRAME_STATUS status;
      ASSERT_NO_FATAL_FAILURE(ExpectMatchesReference(deinterlacer, frame, settings, where, status));
      if (settings.showMotionMap) {
        ASSERT_EQ(deinterlacer.BlendSourceFrame(), nullptr) << where << ": painting repairs nothing";
      }
      combedFrames += status == CSmartFieldDeinterlacer::STATUS_COMBED;
    }
  }
  EXPECT_GT(combedFrames, 60) << "the random frames must exercise the repair";
}

// The map pass steps over whole runs of 16 columns of the padded rows, takes
// rows in pairs within a block row and counts a block row's hits once its
// last row is built: widths and heights on either side of those steps, with
// noise in the padding, must match the pixel route all the same.
TEST(SmartFieldReferenceTest, MatchesThePixelByPixelRouteAroundColumnStepsAndBlockRows) {
  std::mt19937 rng(4242);
  int combedFrames = 0;
  for (int width : {1, 3, 8, 15, 16, 17, 31, 33, 50}) {
    for (int height : {1, 2, 3, 4, 9, 10, 11, 31, 34, 35, 66}) {
      for (CHROMA chroma : {CHROMA_420, CHROMA_422, CHROMA_444}) {
        const Settings settings = RandomSettings(rng, std::uniform_int_distribution<uint32_t>(0, 400)(rng), false);
        OpenDeinterlacer deinterlacer(settings);
        CYUVFrame frame(width, height, chroma);
        FillRandom(frame, rng);
        CSmartFieldDeinterlacer::FRAME_STATUS status;
        ASSERT_NO_FATAL_FAILURE(ExpectMatchesReference(deinterlacer, frame, settings, Describe(0, frame), status));
        combedFrames += status == CSmartFieldDeinterlacer::STATUS_COMBED;
      }
    }
  }
  EXPECT_GT(combedFrames, 100) << "the frames must exercise the repair";
}

// A frame that combs only in a band of stripes at a random depth, over noise
// of at most 6 steps, whose products stay below the comb thresholds used.
CYUVFrame TallFrameCombedFrom(int top, std::mt19937& rng) {
  const CHROMA chroma = RandomChroma(rng);
  const int height = std::uniform_int_distribution<int>(100, 400)(rng);
  CYUVFrame frame(std::uniform_int_distribution<int>(1, 300)(rng), height, chroma);
  std::uniform_int_distribution<int> noise(0, 6);
  for (uint32_t i = 0; i < frame.bufferSize; ++i) frame.y[i] = static_cast<uint8_t>(120 + noise(rng));
  Stripe(frame, top, top + 12);
  return frame;
}

// DeinterlaceFrame builds the maps in bands of rows and repairs behind them
// once a block is combed, copying the blend source just ahead; the protected
// whole-frame operations, called in turn, and the pixel-by-pixel route must
// agree with it on tall frames, where the combed stripes start the repair
// early or late.
TEST(SmartFieldReferenceTest, BandsMatchTheWholeFrameOperationsOnTallFrames) {
  std::mt19937 rng(977);
  int lateRepairs = 0;
  for (int round = 0; round < 40; ++round) {
    const Settings settings = RandomSettings(rng, std::uniform_int_distribution<uint32_t>(40, 500)(rng), true);
    const int top = std::uniform_int_distribution<int>(0, 420)(rng);
    CYUVFrame banded = TallFrameCombedFrom(top, rng);
    const CYUVFrame original(banded);
    CYUVFrame whole(banded), expected(banded);
    const std::string where = Describe(round, banded);

    OpenDeinterlacer bands(settings);
    bands.DeinterlaceFrame(banded);
    OpenDeinterlacer operations(settings);
    CYUVFrame striped = StripedFrame(banded.width, banded.height, banded.chroma);
    operations.DeinterlaceFrame(striped);  // makes the working frames, the blend source included
    operations.SetCurrentFrame(whole);
    for (int plane : {1, 2, 4}) operations.MotionMapYV12(plane);
    const bool combed = settings.deinterlaceAll || operations.IsCombedYV12();
    if (combed) {
      if (settings.blend) operations.BlendSourceFrame()->CopyPixels(whole);
      for (int plane : {1, 2, 4}) operations.DeinterlacePlaneYV12(plane);
    }
    const auto expectedStatus = ReferenceDeinterlacer(settings).Run(expected);

    ASSERT_EQ(bands.LastFrameStatus(), expectedStatus) << where;
    ASSERT_EQ(combed, expectedStatus != CSmartFieldDeinterlacer::STATUS_CLEAN) << where;
    ASSERT_EQ(FirstDifference(Block(banded), Block(expected), banded.stride), "") << where;
    ASSERT_EQ(FirstDifference(Block(whole), Block(expected), banded.stride), "") << where;
    if (settings.blend && combed) {
      ASSERT_EQ(FirstDifference(Block(*bands.BlendSourceFrame()), Block(original), banded.stride), "")
          << where << " blend source";
    }
    ASSERT_NO_FATAL_FAILURE(ExpectSameMaps(bands, operations.MotionMap(), operations.CombMap(), operations.Counters(),
                                           settings, banded.width, where));
    lateRepairs += expectedStatus == CSmartFieldDeinterlacer::STATUS_COMBED && top > 100;
  }
  EXPECT_GT(lateRepairs, 5) << "the stripes must start the repair after some bands";
}

}  // namespace
