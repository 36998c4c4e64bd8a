#include "primitives/dispatch.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr uint64_t kBasic = PrimFeatureMMX | PrimFeatureSSE | PrimFeatureSSE2;

TEST(PrimSelectSlotTest, EachRowOfTheRule) {
  struct Case {
    bool readable;
    uint64_t features;
    bool intel;
    int index;
    uint64_t enabled;
    int status;
  };
  const uint64_t ssse3 = kBasic | PrimFeatureSSE3 | PrimFeatureSSSE3;
  const uint64_t sse41 = ssse3 | PrimFeatureSSE41;
  const Case cases[] = {
      {false, 0, false, 0, 0x3, PrimStsNotIntelCpu},
      {true, PrimFeatureMMX | PrimFeatureSSE, true, 0, 0x3, PrimStsCpuMismatch},
      {true, PrimFeatureMMX | PrimFeatureSSE, false, 0, 0x3, PrimStsNotIntelCpu},
      {true, kBasic, true, 1, 0x7, PrimStsNoErr},
      {true, kBasic | PrimFeatureMOVBE, true, 1, 0x7, PrimStsNoErr},  // MOVBE without SSSE3 counts for nothing
      {true, ssse3, true, 2, 0x1F, PrimStsNoErr},
      {true, ssse3 | PrimFeatureMOVBE, true, 3, 0x3F, PrimStsNoErr},
      {true, sse41 | PrimFeatureSSE42 | PrimFeatureAES, true, 4, (sse41 | PrimFeatureSSE42 | PrimFeatureAES) & 0xCDF,
       PrimStsNoErr},
      // AVX that the operating system does not save stays unused.
      {true, sse41 | PrimFeatureAVX, true, 4, sse41, PrimStsNoErr},
      {true, sse41 | PrimFeatureAVX | PrimFeatureAVXEnabled | PrimFeatureFamily11, false, 5,
       sse41 | PrimFeatureAVX | PrimFeatureAVXEnabled, PrimStsNotIntelCpu},
  };
  for (const Case& c : cases) {
    const PrimSelection s = PrimSelectSlot(c.readable, c.features, c.intel);
    EXPECT_EQ(s.index, c.index) << std::hex << c.features;
    EXPECT_EQ(s.enabledFeatures, c.enabled) << std::hex << c.features;
    EXPECT_EQ(s.status, c.status) << std::hex << c.features;
  }
}

// Restores the slot the suite runs with after a test forces another.
class PrimSlotTest : public ::testing::Test {
 protected:
  void TearDown() override { PrimInit(); }
};

TEST_F(PrimSlotTest, VersionRecordFollowsTheSlot) {
  ASSERT_TRUE(PrimForceSlot(0));
  const PrimLibraryVersion* version = PrimGetLibVersion();
  EXPECT_STREQ(version->name, "ippvcw7_l.lib");
  EXPECT_STREQ(version->targetCpu, "w7");
  EXPECT_EQ(version->major, 7);
  EXPECT_EQ(version->majorBuild, 205);
  EXPECT_EQ(version->build, 1007);
  EXPECT_STREQ(version->version, "7.0 build 205.58");
  EXPECT_STREQ(version->buildDate, "Apr 18 2011");

  const char* names[] = {"ippvcw7_l.lib", "ippvcw7_l.lib", "ippvcv8_l.lib", "ippvcs8_l.lib", nullptr, "ippvcg9_l.lib"};
  for (int slot = 1; slot <= PrimHighestSupportedSlot(); ++slot) {
    ASSERT_TRUE(PrimForceSlot(slot));
    const char* expected = names[slot];
    if (slot == 4) expected = PrimFeaturesEnabled(PrimFeatureSSE42) ? "ippvcp8_l.lib+" : "ippvcp8_l.lib";
    EXPECT_STREQ(PrimGetLibVersion()->name, expected) << "slot " << slot;
  }
  EXPECT_FALSE(PrimForceSlot(6));
  EXPECT_FALSE(PrimForceSlot(-1));
}

TEST_F(PrimSlotTest, InitChoosesTheSlotOfThisProcessor) {
  const int status = PrimInit();
  EXPECT_TRUE(status == PrimStsNoErr || status == PrimStsNotIntelCpu);
  // A whole-suite run in one chosen slot: the override is what PrimInit keeps.
  if (const char* forced = std::getenv("CORVANE_PRIM_SLOT"); forced != nullptr && *forced != '\0') {
    EXPECT_EQ(g_primSlot, std::atoi(forced));
    return;
  }
  // Every x86-64 processor has SSE2, so slot 0 is never chosen here.
  EXPECT_GE(g_primSlot, 1);
  EXPECT_EQ(g_primSlot, PrimHighestSupportedSlot());
  EXPECT_TRUE(PrimFeaturesEnabled(PrimFeatureSSE2));
}

TEST(PrimMallocTest, AlignedBlocksAndRefusedSizes) {
  EXPECT_EQ(PrimMalloc(0), nullptr);
  EXPECT_EQ(PrimMalloc(-1), nullptr);
  PrimFree(nullptr);
  std::vector<void*> blocks;
  for (int32_t size = 1; size < 200; size += 7) {
    void* p = PrimMalloc(size);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 32, 0u);
    std::memset(p, 0xAB, static_cast<size_t>(size));  // the sanitizer run checks the bounds
    blocks.push_back(p);
  }
  for (void* p : blocks) PrimFree(p);
}

}  // namespace
