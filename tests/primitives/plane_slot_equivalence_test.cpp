// Every slot this processor supports against the portable slot 0, for the
// plane and colour primitives, through the entry points: identical random
// inputs, random widths of 1 to 2000 with odd widths and heights, padded and
// unpadded steps, rows that start 1 to 3 bytes off alignment, and outputs
// pre-filled with different bytes so that an unwritten byte shows. Bytes that
// a primitive must leave alone (guards in front, row padding, the odd part a
// subsampled conversion drops) must keep their own pre-filled value. Every
// buffer ends where its last row ends, so the sanitizer run catches a read or
// write past it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "primitives/dispatch.h"
#include "primitives/prim.h"
#include "test_image.h"

namespace {

using prim_test::TestImage;

struct Shape {
  int rowBytes, rows;
};

// An output, with the part of it that the primitive writes.
struct OutputShape {
  Shape shape;
  int writtenBytes, writtenRows;
};

// How one comparison treats its outputs.
struct Options {
  int tolerance = 0;
  bool inPlace = false;     // outputs are inputs too, with the same bytes in both runs
  bool sharedStep = false;  // outputs share one step, so they get one padding
};

struct Tally {
  int64_t samples = 0;
  int64_t differing = 0;
};

const char* const kSlotNames[kPrimSlotCount] = {"Portable", "SSE2", "SSSE3", "SSSE3MOVBE", "SSE41", "AVX"};
const char* const kSlotTargets[kPrimSlotCount] = {"w7", "w7", "v8", "s8", "p8", "g9"};

class PlaneSlotEquivalence : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    if (GetParam() > PrimHighestSupportedSlot()) GTEST_SKIP() << "this processor cannot run the slot";
    ASSERT_TRUE(PrimForceSlot(GetParam()));
    // The slot under test is the one the entry points index.
    ASSERT_EQ(g_primSlot, GetParam());
    ASSERT_STREQ(PrimGetLibVersion()->targetCpu, kSlotTargets[GetParam()]);
  }
  void TearDown() override { PrimInit(); }

  // Random widths for one primitive: the block edges of the vector kernels,
  // then random ones up to 2000.
  std::vector<int> Widths() {
    std::vector<int> widths = {1, 2, 3, 5, 15, 16, 17, 31, 33, 48, 63, 65, 1920};
    for (int i = 0; i < 8; ++i) widths.push_back(std::uniform_int_distribution<int>(1, 2000)(random_));
    return widths;
  }
  int Height(int minimum) { return std::uniform_int_distribution<int>(minimum, 9)(random_); }
  int Padding() { return random_() % 2 == 0 ? 0 : static_cast<int>(random_() % 37) + 1; }
  int Misalign() { return static_cast<int>(random_() % 4); }

  TestImage Make(Shape s, int padding) { return TestImage(s.rowBytes, s.rows, padding, Misalign()); }

  // Runs `call(inputs, outputs)` in slot 0 and in the slot under test on the
  // same inputs and compares. `inPlace` outputs start from the same random
  // bytes in both runs (they are inputs too). Samples may differ by at most
  // `tolerance`; the differing ones are counted. Outputs that share a step
  // get the same padding.
  using Call = std::function<int(std::vector<TestImage>&, std::vector<TestImage>&)>;
  void Compare(const std::vector<Shape>& inputs, const std::vector<OutputShape>& outputs, const Call& call,
               Options options = {}) {
    std::vector<TestImage> in;
    for (const Shape& s : inputs) {
      in.push_back(Make(s, Padding()));
      in.back().FillAll(random_);
    }
    std::vector<TestImage> reference, variant, referenceBefore, variantBefore;
    const int sharedPadding = Padding();
    for (const OutputShape& o : outputs) {
      reference.push_back(Make(o.shape, options.sharedStep ? sharedPadding : Padding()));
      reference.back().FillAll(random_);
      variant.push_back(reference.back().Clone());
      if (!options.inPlace) variant.back().FillAll(random_);
      referenceBefore.push_back(reference.back().Clone());
      variantBefore.push_back(variant.back().Clone());
    }
    ASSERT_TRUE(PrimForceSlot(0));
    const int referenceStatus = call(in, reference);
    ASSERT_TRUE(PrimForceSlot(GetParam()));
    ASSERT_EQ(call(in, variant), referenceStatus);
    for (size_t k = 0; k < outputs.size(); ++k) {
      const OutputShape& o = outputs[k];
      for (int i = 0; i < reference[k].size(); ++i) {
        const uint8_t r = reference[k].storage()[i], v = variant[k].storage()[i];
        if (!reference[k].InRegion(i, o.writtenBytes, o.writtenRows)) {
          ASSERT_EQ(r, referenceBefore[k].storage()[i]) << "slot 0 wrote outside, output " << k << " byte " << i;
          ASSERT_EQ(v, variantBefore[k].storage()[i]) << "written outside, output " << k << " byte " << i;
          continue;
        }
        ++tally_.samples;
        if (r == v) continue;
        ++tally_.differing;
        ASSERT_LE(std::abs(r - v), options.tolerance)
            << "output " << k << " byte " << i << ": " << int{r} << " vs " << int{v};
      }
    }
  }

  // For each width, with the given height rule.
  void ForWidths(int minWidth, int minHeight, const std::function<void(int, int)>& body) {
    for (int width : Widths()) {
      if (width < minWidth) continue;
      const int height = Height(minHeight);
      SCOPED_TRACE(::testing::Message() << width << "x" << height);
      body(width, height);
      if (HasFatalFailure()) return;
    }
  }

  // The colour conversions may differ by 1 in a sample; ours are meant to be
  // exact, and the count of differing samples says whether they are.
  void ReportDifferences(const char* what) {
    RecordProperty("differing_samples", std::to_string(tally_.differing));
    std::printf("[          ] %s, slot %d: %lld of %lld samples differ from slot 0\n", what, GetParam(),
                static_cast<long long>(tally_.differing), static_cast<long long>(tally_.samples));
    EXPECT_GT(tally_.samples, 0);
  }

  std::mt19937 random_{2024};
  Tally tally_;
};

constexpr int kColourTolerance = 1;

using PlanarToPacked = int (*)(const uint8_t* const[3], const int[3], uint8_t*, int, int, int);
using PackedToSubsampled = int (*)(const uint8_t*, int, uint8_t* const[3], const int[3], int, int);
using PackedToPlanar = int (*)(const uint8_t*, int, uint8_t* const[3], int, int, int);

// Planar input operands: luma, then two chroma planes of chromaRows rows.
int CallPlanarToPacked(PlanarToPacked convert, std::vector<TestImage>& in, TestImage& out, int width, int height) {
  const uint8_t* planes[3] = {in[0].data(), in[1].data(), in[2].data()};
  const int steps[3] = {in[0].step(), in[1].step(), in[2].step()};
  return convert(planes, steps, out.data(), out.step(), width, height);
}

TEST_P(PlaneSlotEquivalence, PlanarToPacked) {
  struct Case {
    const char* name;
    PlanarToPacked convert;
    int chromaRowShift, minWidth;
    bool evenPartOnly;
  };
  const Case cases[] = {{"4:2:0 to RGB", PrimYCbCr420ToRGB, 1, 1, true},
                        {"4:2:2 to RGB", PrimYCbCr422ToRGB, 0, 1, false},
                        {"4:2:2 to BGR", PrimYCbCr422ToBGR, 0, 2, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ForWidths(c.minWidth, 1, [&](int width, int height) {
      const int doneWidth = c.evenPartOnly ? width & ~1 : width;
      const int doneHeight = c.evenPartOnly ? height & ~1 : height;
      const Shape chroma = {(width + 1) / 2, std::max(1, (height + 1) >> c.chromaRowShift)};
      Compare({{width, height}, chroma, chroma}, {{{3 * width, height}, 3 * doneWidth, doneHeight}},
              [&](std::vector<TestImage>& in, std::vector<TestImage>& out) {
                return CallPlanarToPacked(c.convert, in, out[0], width, height);
              },
              {.tolerance = kColourTolerance});
    });
  }
  ReportDifferences("planar to packed");
}

TEST_P(PlaneSlotEquivalence, PackedConversions) {
  ForWidths(1, 1, [&](int width, int height) {
    Compare({{3 * width, height}}, {{{3 * width, height}, 3 * width, height}},
            [&](std::vector<TestImage>& in, std::vector<TestImage>& out) {
              return PrimYCbCrToRGB(in[0].data(), in[0].step(), out[0].data(), out[0].step(), width, height);
            },
            {.tolerance = kColourTolerance});
  });
  const PackedToPlanar toPlanes[] = {PrimRGBToYCbCrPlanar, PrimRGBToYUVPlanar};
  for (PackedToPlanar convert : toPlanes) {
    ForWidths(1, 1, [&](int width, int height) {
      const OutputShape plane = {{width, height}, width, height};
      Compare({{3 * width, height}}, {plane, plane, plane},
              [&](std::vector<TestImage>& in, std::vector<TestImage>& out) {
                uint8_t* planes[3] = {out[0].data(), out[1].data(), out[2].data()};
                return convert(in[0].data(), in[0].step(), planes, out[0].step(), width, height);
              },
              {.tolerance = kColourTolerance, .sharedStep = true});
    });
  }
  ReportDifferences("packed");
}

TEST_P(PlaneSlotEquivalence, PackedToSubsampled) {
  struct Case {
    const char* name;
    PackedToSubsampled convert;
    int chromaRows, minWidth, minHeight;
  };
  const Case cases[] = {{"RGB to 4:2:0", PrimRGBToYCbCr420, 2, 1, 1},
                        {"BGR to 4:2:0", PrimBGRToYCbCr420, 2, 2, 2},
                        {"RGB to 4:2:2", PrimRGBToYCbCr422, 1, 2, 1},
                        {"BGR to 4:2:2", PrimBGRToYCbCr422, 1, 2, 1},
                        {"RGB to YUV 4:2:0", PrimRGBToYUV420, 2, 1, 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ForWidths(c.minWidth, c.minHeight, [&](int width, int height) {
      const int pairs = width / 2;
      const int lumaRows = height / c.chromaRows * c.chromaRows;
      const Shape chroma = {std::max(1, pairs), std::max(1, height / c.chromaRows)};
      Compare({{3 * width, height}},
              {{{width, height}, 2 * pairs, lumaRows},
               {chroma, pairs, height / c.chromaRows},
               {chroma, pairs, height / c.chromaRows}},
              [&](std::vector<TestImage>& in, std::vector<TestImage>& out) {
                uint8_t* planes[3] = {out[0].data(), out[1].data(), out[2].data()};
                const int steps[3] = {out[0].step(), out[1].step(), out[2].step()};
                return c.convert(in[0].data(), in[0].step(), planes, steps, width, height);
              },
              {.tolerance = kColourTolerance});
    });
  }
  ReportDifferences("packed to subsampled");
}

TEST_P(PlaneSlotEquivalence, InterlacedChromaUpsampling) {
  ForWidths(2, 4, [&](int width, int height) {
    const int doneWidth = width & ~1, doneHeight = height & ~3;
    const Shape chromaIn = {width / 2, height / 2};
    const Shape chromaOut = {width / 2, height};
    Compare({{width, height}, chromaIn, chromaIn},
            {{{width, height}, doneWidth, doneHeight},
             {chromaOut, doneWidth / 2, doneHeight},
             {chromaOut, doneWidth / 2, doneHeight}},
            [&](std::vector<TestImage>& in, std::vector<TestImage>& out) {
              const uint8_t* src[3] = {in[0].data(), in[1].data(), in[2].data()};
              const int srcSteps[3] = {in[0].step(), in[1].step(), in[2].step()};
              uint8_t* dst[3] = {out[0].data(), out[1].data(), out[2].data()};
              const int dstSteps[3] = {out[0].step(), out[1].step(), out[2].step()};
              return PrimYCbCr420To422Interlaced(src, srcSteps, dst, dstSteps, width, height);
            });
  });
}

TEST_P(PlaneSlotEquivalence, CopyAndFill) {
  // Copies above 1 MiB take another path in the faster slots.
  const auto copy = [&](int width, int height) {
    Compare({{width, height}}, {{{width, height}, width, height}},
            [&](std::vector<TestImage>& in, std::vector<TestImage>& out) {
              return PrimCopyPlane(in[0].data(), in[0].step(), out[0].data(), out[0].step(), width, height);
            });
  };
  copy(1999, 531);
  copy(1024, 1025);
  ForWidths(1, 1, [&](int width, int height) {
    copy(width, height);
    const auto value = static_cast<uint8_t>(random_());
    Compare({}, {{{width, height}, width, height}}, [&](std::vector<TestImage>&, std::vector<TestImage>& out) {
      return PrimSetPlane(value, out[0].data(), out[0].step(), width, height);
    });
  });
}

TEST_P(PlaneSlotEquivalence, DifferenceFrameFamily) {
  ForWidths(1, 1, [&](int width, int height) {
    const Shape plane = {width, height};
    const OutputShape whole = {plane, width, height};
    Compare({plane, plane}, {whole}, [&](std::vector<TestImage>& in, std::vector<TestImage>& out) {
      // Steps below the width are refused, so each step here is at least the width.
      return PrimAbsDiff(in[0].data(), in[0].step(), in[1].data(), in[1].step(), out[0].data(), out[0].step(), width,
                         height);
    });
    const auto value = static_cast<uint8_t>(random_());
    Compare({}, {whole},
            [&](std::vector<TestImage>&, std::vector<TestImage>& out) {
              return PrimThresholdLow(out[0].data(), out[0].step(), width, height, value);
            },
            {.inPlace = true});
    Compare({}, {whole},
            [&](std::vector<TestImage>&, std::vector<TestImage>& out) {
              return PrimThresholdHigh(out[0].data(), out[0].step(), width, height, value);
            },
            {.inPlace = true});
    for (int op = PrimCmpLess; op <= PrimCmpGreater + 1; ++op) {
      Compare({plane}, {{plane, op <= PrimCmpGreater ? width : 0, height}},
              [&](std::vector<TestImage>& in, std::vector<TestImage>& out) {
                return PrimCompareConst(in[0].data(), in[0].step(), value, out[0].data(), out[0].step(), width, height,
                                        op);
              });
    }
    // The statistics write one value, the status as well: both land in a
    // one-byte output of their own.
    const uint8_t bounds[][2] = {
        {0, 255}, {value, value}, {static_cast<uint8_t>(value / 2), value}, {0, value}, {value, 255}};
    for (const auto& b : bounds) {
      Compare({plane}, {{{4, 1}, 4, 1}}, [&](std::vector<TestImage>& in, std::vector<TestImage>& out) {
        int count = -1;
        const int status = PrimCountInRange(in[0].data(), in[0].step(), width, height, &count, b[0], b[1]);
        std::memcpy(out[0].data(), &count, 4);
        return status;
      });
    }
    Compare({plane}, {{{1, 1}, 1, 1}}, [&](std::vector<TestImage>& in, std::vector<TestImage>& out) {
      return PrimMax(in[0].data(), in[0].step(), width, height, out[0].data());
    });
  });
}

TEST_P(PlaneSlotEquivalence, ScaledSumAndProduct) {
  ForWidths(1, 1, [&](int width, int height) {
    const Shape plane = {width, height};
    for (int scale : {-9, -8, -3, -1, 0, 1, 2, 5, 9, 10}) {
      SCOPED_TRACE(::testing::Message() << "scale " << scale);
      Compare({plane, plane}, {{plane, width, height}}, [&](std::vector<TestImage>& in, std::vector<TestImage>& out) {
        return PrimAddScaled(in[0].data(), in[0].step(), in[1].data(), in[1].step(), out[0].data(), out[0].step(),
                             width, height, scale);
      });
    }
    for (int value : {0, 1, 128, 254, 255, static_cast<int>(random_() % 256)}) {
      Compare({{3 * width, height}}, {{{3 * width, height}, 3 * width, height}},
              [&](std::vector<TestImage>& in, std::vector<TestImage>& out) {
                return PrimMulScaleRGB(in[0].data(), in[0].step(), static_cast<uint8_t>(value), out[0].data(),
                                       out[0].step(), width, height);
              });
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Slots, PlaneSlotEquivalence, ::testing::Range(1, kPrimSlotCount),
                         [](const ::testing::TestParamInfo<int>& info) {
                           return std::string("Slot") + std::to_string(info.param) + kSlotNames[info.param];
                         });

}  // namespace
