#include "recognition/image_hot_spot.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "recognition/ocr_test_support.h"
#include "support/temp_folder.h"

namespace {

using corvane::test::Corners;
using corvane::test::CornersOf;
using corvane::test::FlatFrame;

// Every byte of the frame's block, padding included, from a seeded generator.
void FillBlock(CYUVFrame& frame, unsigned seed) {
  std::mt19937 random(seed);
  for (uint32_t i = 0; i < frame.bufferSize; ++i) frame.y[i] = static_cast<uint8_t>(random());
}

bool SameBlock(const CYUVFrame& a, const CYUVFrame& b) {
  return a.bufferSize == b.bufferSize && (a.bufferSize == 0 || std::memcmp(a.y, b.y, a.bufferSize) == 0);
}


// A hot spot of a 30 by 20 picture (padded to 32 by 32) with three areas.
CImageHotSpot SampleHotSpot(CHROMA chroma = CHROMA_420) {
  CImageHotSpot spot;
  spot.m_referenceFrame.SetFormat(30, 20, chroma);
  FillBlock(spot.m_referenceFrame, 11);
  spot.m_checkAreas = {CRect(0, 0, 30, 20), CRect(2, 4, 12, 10), CRect(-5, 7, 2147483647, -2147483647 - 1)};
  spot.m_ocrAreas = {CRect(1, 1, 3, 3), CRect(), CRect(20, 0, 30, 8)};
  return spot;
}

class HotSpotFileTest : public testing::Test {
 protected:
  std::string Text() const {
    std::ifstream in(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

  // Saves the sample, replaces `from` in its text with `to` and loads it into `target`.
  bool LoadEdited(CImageHotSpot& target, const std::string& from, const std::string& to) {
    SampleHotSpot().SaveHotSpotDataToFile(path_);
    std::string text = Text();
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos) text.replace(at, from.size(), to);
    folder_.Write("spot.xml", text);
    return target.LoadHotSpotDataFromFile(path_);
  }

  corvane::test::TempFolder folder_;
  std::string path_ = folder_.Path() + "/spot.xml";
};

TEST_F(HotSpotFileTest, SaveThenLoadGivesBackAreasAndEveryByteOfThePlanes) {
  for (const CHROMA chroma : {CHROMA_420, CHROMA_422, CHROMA_444}) {
    CImageHotSpot saved = SampleHotSpot(chroma);
    ASSERT_TRUE(saved.SaveHotSpotDataToFile(path_));
    CImageHotSpot loaded;
    loaded.m_checkAreas = {CRect(9, 9, 9, 9)};  // replaced by the load
    ASSERT_TRUE(loaded.LoadHotSpotDataFromFile(path_));
    EXPECT_EQ(CornersOf(loaded.m_checkAreas), CornersOf(saved.m_checkAreas));
    EXPECT_EQ(CornersOf(loaded.m_ocrAreas), CornersOf(saved.m_ocrAreas));
    EXPECT_EQ(loaded.m_referenceFrame.width, 30);
    EXPECT_EQ(loaded.m_referenceFrame.height, 20);
    EXPECT_EQ(loaded.m_referenceFrame.chroma, chroma);
    EXPECT_TRUE(SameBlock(loaded.m_referenceFrame, saved.m_referenceFrame)) << "chroma " << chroma;
  }
}

TEST_F(HotSpotFileTest, TheFileFollowsTheHotSpotLayout) {
  SampleHotSpot().SaveHotSpotDataToFile(path_);
  const std::string text = Text();
  size_t at = 0;
  for (const char* part : {"<hot_spot>", "<areas_list>", "<area area_number=\"0\">", "<check_area", "<ocr_area",
                           "<area area_number=\"1\">", "<area area_number=\"2\">", "</areas_list>",
                           "<yuv_frame width=\"30\" height=\"20\" chroma=\"1\">", "<ydata>", "<udata>", "<vdata>"}) {
    at = text.find(part, at);
    EXPECT_NE(at, std::string::npos) << part;
  }
  // 32 * 32 luma bytes are 1024, 1368 Base64 digits with 4 of them padding.
  const size_t y = text.find("<ydata>") + 7;
  EXPECT_EQ(text.find("</ydata>") - y, 1368u);
}

TEST_F(HotSpotFileTest, HotSpotsWithoutAreasOrPictureComeBackEmpty) {
  CImageHotSpot empty;
  ASSERT_TRUE(empty.SaveHotSpotDataToFile(path_));
  EXPECT_NE(Text().find("<areas_list/>"), std::string::npos);
  CImageHotSpot loaded = SampleHotSpot();
  ASSERT_TRUE(loaded.LoadHotSpotDataFromFile(path_));
  EXPECT_TRUE(loaded.m_checkAreas.empty() && loaded.m_ocrAreas.empty());
  EXPECT_EQ(loaded.m_referenceFrame.width, 0);
  EXPECT_EQ(loaded.m_referenceFrame.y, nullptr) << "the old picture went back";
}

TEST_F(HotSpotFileTest, UnreadableFilesChangeNothing) {
  const CImageHotSpot before = SampleHotSpot();
  for (const char* text :
       {"", "not xml", "<hot_spot><areas_list>", "<other><hot_spot/></other>", "<?xml version=\"1.0\"?>"}) {
    folder_.Write("spot.xml", text);
    CImageHotSpot spot = before;
    EXPECT_FALSE(spot.LoadHotSpotDataFromFile(path_)) << text;
    EXPECT_EQ(spot.m_checkAreas.size(), 3u) << text;
    EXPECT_TRUE(SameBlock(spot.m_referenceFrame, before.m_referenceFrame)) << text;
  }
  CImageHotSpot spot = before;
  EXPECT_FALSE(spot.LoadHotSpotDataFromFile(folder_.Path() + "/absent.xml"));
  EXPECT_EQ(spot.m_checkAreas.size(), 3u);
}

TEST_F(HotSpotFileTest, WithoutAUsablePictureTheAreasAreReplacedButNotThePicture) {
  folder_.Write("spot.xml",
                "<hot_spot><areas_list><area><check_area left='1' top='2' right='3' bottom='4'/></area>"
                "<area/></areas_list></hot_spot>");
  CImageHotSpot spot = SampleHotSpot(CHROMA_422);
  const CImageHotSpot before = spot;
  EXPECT_FALSE(spot.LoadHotSpotDataFromFile(path_));
  EXPECT_EQ(CornersOf(spot.m_checkAreas), (Corners{{1, 2, 3, 4}, {0, 0, 0, 0}}));
  EXPECT_EQ(CornersOf(spot.m_ocrAreas), (Corners{{0, 0, 0, 0}, {0, 0, 0, 0}})) << "a missing rectangle is empty";
  EXPECT_EQ(spot.m_referenceFrame.chroma, CHROMA_422);
  EXPECT_TRUE(SameBlock(spot.m_referenceFrame, before.m_referenceFrame));

  const std::pair<std::string, std::string> badFrames[] = {
      {"width=\"30\"", "width=\"-30\""},   {"width=\"30\"", "width=\"9000\""},       {"height=\"20\"", "height=\"0\""},
      {"height=\"20\"", "height=\"20x\""}, {"height=\"20\"", "heigth=\"20\""},       {"chroma=\"1\"", "chroma=\"4\""},
      {"chroma=\"1\"", "chroma=\"0\""},    {"width=\"30\"", "width=\"99999999999\""}};
  for (const auto& [from, to] : badFrames) {
    CImageHotSpot target = before;
    EXPECT_FALSE(LoadEdited(target, from, to)) << to;
    EXPECT_EQ(target.m_checkAreas.size(), 3u) << "areas come from the file";
    EXPECT_TRUE(SameBlock(target.m_referenceFrame, before.m_referenceFrame)) << to;
  }
}

TEST_F(HotSpotFileTest, PlaneDataOfTheWrongLengthStaysInsideThePlanes) {
  // The picture declared smaller than its data: each plane takes what fits.
  CImageHotSpot smaller;
  ASSERT_TRUE(LoadEdited(smaller, "width=\"30\" height=\"20\"", "width=\"8\" height=\"4\""));
  EXPECT_EQ(smaller.m_referenceFrame.lumaPlaneSize, 256);
  CYUVFrame expected(30, 20, CHROMA_420);
  FillBlock(expected, 11);
  EXPECT_EQ(std::memcmp(smaller.m_referenceFrame.y, expected.y, 256), 0);
  EXPECT_EQ(std::memcmp(smaller.m_referenceFrame.u, expected.u, 64), 0);

  // Declared larger: the planes keep zeros behind the data.
  CImageHotSpot larger;
  ASSERT_TRUE(LoadEdited(larger, "width=\"30\" height=\"20\"", "width=\"40\" height=\"40\""));
  EXPECT_EQ(std::memcmp(larger.m_referenceFrame.y, expected.y, 1024), 0);
  EXPECT_EQ(larger.m_referenceFrame.y[1024], 0);
  EXPECT_EQ(larger.m_referenceFrame.y[larger.m_referenceFrame.lumaPlaneSize - 1], 0);

  // Damaged Base64 decodes up to the damage; the load still succeeds.
  CImageHotSpot damaged;
  ASSERT_TRUE(LoadEdited(damaged, "<ydata>", "<ydata>!!!!"));
  ASSERT_TRUE(LoadEdited(damaged, "</udata>", "A</udata>"));
  EXPECT_EQ(damaged.m_referenceFrame.width, 30);
}

class HotSpotDifferenceTest : public testing::Test {
 protected:
  void SetUp() override {
    spot_.m_referenceFrame = FlatFrame(100, 32, 32);
    spot_.m_checkAreas = {CRect(8, 8, 24, 24)};
    spot_.m_ocrAreas = {CRect()};
  }

  float CountDiff(const CYUVFrame& frame, int threshold) {
    return spot_.CountDiff(0, frame, difference_, threshold, count_, max_);
  }

  CImageHotSpot spot_;
  CYUVFrame difference_;
  int count_ = -1;
  unsigned char max_ = 99;
};

TEST_F(HotSpotDifferenceTest, CountsThePixelsThatDifferByTheThresholdOrMore) {
  CYUVFrame frame = FlatFrame(100, 32, 32);
  for (int row = 12; row < 17; ++row) std::memset(frame.y + row * frame.stride + 10, 150, 4);
  frame.y[20 * frame.stride + 20] = 129;  // 29 below the threshold
  frame.y[2 * frame.stride + 2] = 255;    // outside the area
  // 20 of the area's 16 * 16 pixels differ by 50: 20 / 256 is exact in a float.
  EXPECT_EQ(CountDiff(frame, 30), 0.078125f);
  EXPECT_EQ(count_, 20);
  EXPECT_EQ(max_, 50);
  EXPECT_EQ(difference_.y[12 * difference_.stride + 10], 255);
  EXPECT_EQ(difference_.y[20 * difference_.stride + 20], 0);
  EXPECT_EQ(difference_.y[16 * difference_.stride + 13], 255);
  EXPECT_EQ(difference_.y[17 * difference_.stride + 13], 0);
}

TEST_F(HotSpotDifferenceTest, AFrameMatchesItsReferenceExceptAtThresholdZero) {
  CYUVFrame same = FlatFrame(100, 32, 32);
  EXPECT_EQ(CountDiff(same, 1), 0.0f);
  EXPECT_EQ(count_, 0);
  EXPECT_EQ(max_, 0);
  EXPECT_EQ(CountDiff(same, 0), 1.0f) << "a difference of 0 is in range 0 to 255";
  EXPECT_EQ(count_, 256);
}

TEST_F(HotSpotDifferenceTest, TheFramesLumaIsHeldToStudioRangeBeforeTheComparison) {
  spot_.m_referenceFrame = FlatFrame(16, 32, 32);
  CYUVFrame black = FlatFrame(0, 32, 32);
  EXPECT_EQ(CountDiff(black, 1), 0.0f);
  EXPECT_EQ(black.y[8 * black.stride + 8], 16) << "changed in place inside the area";
  EXPECT_EQ(black.y[0], 0) << "and only there";
  spot_.m_referenceFrame = FlatFrame(235, 32, 32);
  EXPECT_EQ(CountDiff(FlatFrame(255, 32, 32), 1), 0.0f);
}

TEST_F(HotSpotDifferenceTest, AFrameOfAnotherSizeReplacesTheReference) {
  EXPECT_EQ(CountDiff(FlatFrame(200, 48, 32), 10), 0.0f);
  EXPECT_EQ(spot_.m_referenceFrame.width, 48);
  EXPECT_EQ(spot_.m_referenceFrame.y[0], 200);
  EXPECT_EQ(spot_.m_differenceFrame.width, 48) << "the work frame takes the compared size";
}

}  // namespace
