#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "primitives/prim.h"
#include "test_image.h"

namespace {

using prim_test::ForEachSlot;
using prim_test::TestImage;

TEST(PlaneStatsTest, CountInRangeCountsBothBounds) {
  TestImage image(5, 3, 2);
  image.Fill(255);
  int count = -1;
  ASSERT_EQ(PrimCountInRange(image.data(), image.step(), 5, 3, &count, 255, 255), PrimStsNoErr);
  EXPECT_EQ(count, 15);
  image.at(0, 0) = 10;
  image.at(4, 2) = 20;
  ASSERT_EQ(PrimCountInRange(image.data(), image.step(), 5, 3, &count, 10, 20), PrimStsNoErr);
  EXPECT_EQ(count, 2);
  ASSERT_EQ(PrimCountInRange(image.data(), image.step(), 5, 3, &count, 11, 19), PrimStsNoErr);
  EXPECT_EQ(count, 0);
}

TEST(PlaneStatsTest, StatisticsOfRandomPlanes) {
  std::mt19937 random(701);
  for (const int width : {1, 7, 64, 333}) {
    for (const int height : {1, 4}) {
      SCOPED_TRACE(::testing::Message() << width << "x" << height);
      TestImage a(width, height, 3), b(width, height, 1);
      a.FillRandom(random);
      b.FillRandom(random);
      int inRange = 0, largest = 0;
      double squares = 0;
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
          inRange += a.at(x, y) >= 40 && a.at(x, y) <= 200;
          largest = std::max<int>(largest, a.at(x, y));
          squares += std::pow(a.at(x, y) - b.at(x, y), 2);
        }
      }
      ForEachSlot([&] {
        int count = -1;
        uint8_t max = 0;
        double norm = -1;
        ASSERT_EQ(PrimCountInRange(a.data(), a.step(), width, height, &count, 40, 200), PrimStsNoErr);
        ASSERT_EQ(PrimMax(a.data(), a.step(), width, height, &max), PrimStsNoErr);
        ASSERT_EQ(PrimNormDiffL2(a.data(), a.step(), b.data(), b.step(), width, height, &norm), PrimStsNoErr);
        EXPECT_EQ(count, inRange);
        EXPECT_EQ(max, largest);
        // Both sums are exact integers below 2^53; only the root rounds.
        EXPECT_DOUBLE_EQ(norm, std::sqrt(squares));
      });
    }
  }
}

TEST(PlaneStatsTest, NormOfAKnownDifference) {
  // Four bytes differ by 3: sqrt(4 * 9) = 6.
  TestImage a(4, 2), b(4, 2);
  a.Fill(100);
  b.Fill(100);
  for (int x = 0; x < 4; x += 2) {
    b.at(x, 0) = 97;
    b.at(x + 1, 1) = 103;
  }
  double norm = 0;
  ASSERT_EQ(PrimNormDiffL2(a.data(), a.step(), b.data(), b.step(), 4, 2, &norm), PrimStsNoErr);
  EXPECT_EQ(norm, 6.0);
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
