#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "primitives/prim.h"
#include "test_image.h"

namespace {

using prim_test::ForEachSlot;
using prim_test::TestImage;

TEST(PlaneStatsTest, StatisticsOfRandomPlanes) {
  std::mt19937 random(701);
  for (const int width : {1, 7, 64, 333}) {
    for (const int height : {1, 4}) {
      SCOPED_TRACE(::testing::Message() << width << "x" << height);
      TestImage a(width, height, 3), b(width, height, 1);
      a.FillRandom(random);
      b.FillRandom(random);
      // A middle range, the one value the first byte holds, and the whole range: both bounds count.
      const int bounds[][2] = {{40, 200}, {a.at(0, 0), a.at(0, 0)}, {0, 255}};
      int inRange[3] = {}, largest = 0;
      double squares = 0;
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
          for (int k = 0; k < 3; ++k) inRange[k] += a.at(x, y) >= bounds[k][0] && a.at(x, y) <= bounds[k][1];
          largest = std::max<int>(largest, a.at(x, y));
          squares += std::pow(a.at(x, y) - b.at(x, y), 2);
        }
      }
      ForEachSlot([&] {
        uint8_t max = 0;
        double norm = -1;
        for (int k = 0; k < 3; ++k) {
          int count = -1;
          ASSERT_EQ(PrimCountInRange(a.data(), a.step(), width, height, &count, bounds[k][0], bounds[k][1]), 0);
          EXPECT_EQ(count, inRange[k]) << bounds[k][0] << " to " << bounds[k][1];
        }
        ASSERT_EQ(PrimMax(a.data(), a.step(), width, height, &max), PrimStsNoErr);
        ASSERT_EQ(PrimNormDiffL2(a.data(), a.step(), b.data(), b.step(), width, height, &norm), PrimStsNoErr);
        EXPECT_EQ(max, largest);
        // Both sums are exact integers below 2^53; only the root rounds.
        EXPECT_DOUBLE_EQ(norm, std::sqrt(squares));
      });
    }
  }
}

TEST(PlaneStatsTest, Statuses) {
  const uint8_t plane[8] = {};
  int count = 0;
  uint8_t max = 0;
  double norm = 0;
  // Count: null, then the step, then the size, then the bounds.
  EXPECT_EQ(PrimCountInRange(nullptr, 4, 4, 2, &count, 0, 9), PrimStsNullPtrErr);
  EXPECT_EQ(PrimCountInRange(plane, 4, 4, 2, nullptr, 0, 9), PrimStsNullPtrErr);
  EXPECT_EQ(PrimCountInRange(plane, 0, 0, 2, &count, 9, 0), PrimStsStepErr);
  EXPECT_EQ(PrimCountInRange(plane, 4, 0, 2, &count, 9, 0), PrimStsSizeErr);
  EXPECT_EQ(PrimCountInRange(plane, 4, 4, 0, &count, 9, 0), PrimStsSizeErr);
  EXPECT_EQ(PrimCountInRange(plane, 4, 4, 2, &count, 200, 100), PrimStsRangeErr);

  EXPECT_EQ(PrimMax(nullptr, 4, 4, 2, &max), PrimStsNullPtrErr);
  EXPECT_EQ(PrimMax(plane, 4, 4, 2, nullptr), PrimStsNullPtrErr);
  EXPECT_EQ(PrimMax(plane, 4, 0, 2, nullptr), PrimStsNullPtrErr);
  EXPECT_EQ(PrimMax(plane, 4, 4, 0, &max), PrimStsSizeErr);

  EXPECT_EQ(PrimNormDiffL2(nullptr, 4, plane, 4, 4, 2, &norm), PrimStsNullPtrErr);
  EXPECT_EQ(PrimNormDiffL2(plane, 4, nullptr, 4, 4, 2, &norm), PrimStsNullPtrErr);
  EXPECT_EQ(PrimNormDiffL2(plane, 4, plane, 4, 4, 2, nullptr), PrimStsNullPtrErr);
  EXPECT_EQ(PrimNormDiffL2(plane, 4, plane, 4, -3, 2, &norm), PrimStsSizeErr);
}

}  // namespace
