// The tool's hot spot and OCR commands, run as a user runs them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "output_file.h"
#include "recognition/image_hot_spot.h"
#include "recognition/ocr_test_support.h"
#include "support/run_process.h"
#include "support/temp_folder.h"
#include "text_render.h"
#include "y4m.h"

namespace {

using corvane::test::Corners;
using corvane::test::CornersOf;
using corvane::test::FlatFrame;
using corvane::test::RunProcess;
using corvane::test::TempFolder;
using testing::HasSubstr;

// The frames as a YUV4MPEG2 video `name` in `folder`.
std::string WriteVideo(const TempFolder& folder, const std::string& name, const std::vector<CYUVFrame>& frames) {
  const std::string path = folder.Path() + "/" + name;
  corvane::tool::OutputFile output(path);
  corvane::tool::Y4MFormat format;
  format.width = frames[0].width;
  format.height = frames[0].height;
  corvane::tool::Y4MWriter writer(output, format);
  for (const CYUVFrame& frame : frames) writer.WriteFrame(frame);
  output.Commit();
  return path;
}

// A video of `count` frames, 64 by 48, frame i with luma 40 + 20 * i and a
// bright block at (8, 8) to (24, 24).
std::string WriteVideo(const TempFolder& folder, int count) {
  std::vector<CYUVFrame> frames;
  for (int i = 0; i < count; ++i) {
    frames.push_back(FlatFrame(static_cast<uint8_t>(40 + 20 * i), 64, 48));
    for (int row = 8; row < 24; ++row) std::memset(frames.back().y + row * frames.back().stride + 8, 200, 16);
  }
  return WriteVideo(folder, "in.y4m", frames);
}

corvane::test::ProcessResult Tool(const std::string& arguments) {
  return RunProcess(std::string("'") + CORVANE_TOOL_PATH + "' " + arguments + " 2>&1");
}

TEST(HotSpotCommandTest, SavesTheChosenFrameWithItsAreas) {
  const TempFolder folder;
  const std::string video = WriteVideo(folder, 3);
  const std::string spot = folder.Path() + "/spot.xml";
  const auto result =
      Tool("hotspot save '" + video + "' --frame 2 --area 0,0,32,32 --area 8,8,24,24:30,0,64,16 -o '" + spot + "'");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  CImageHotSpot loaded;
  ASSERT_TRUE(loaded.LoadHotSpotDataFromFile(spot));
  EXPECT_EQ(CornersOf(loaded.m_checkAreas), (Corners{{0, 0, 32, 32}, {8, 8, 24, 24}}));
  EXPECT_EQ(CornersOf(loaded.m_ocrAreas), (Corners{{0, 0, 32, 32}, {30, 0, 64, 16}})) << "the first defaults";
  EXPECT_EQ(loaded.m_referenceFrame.width, 64);
  EXPECT_EQ(loaded.m_referenceFrame.y[40 * loaded.m_referenceFrame.stride + 40], 80) << "frame 2";
  EXPECT_EQ(loaded.m_referenceFrame.y[10 * loaded.m_referenceFrame.stride + 10], 200);
}

TEST(HotSpotCommandTest, RefusesWhatItCannotSaveAndLeavesNoFile) {
  const TempFolder folder;
  const std::string video = WriteVideo(folder, 2);
  const std::string spot = folder.Path() + "/spot.xml";
  const std::pair<std::string, std::string> cases[] = {
      {"--frame 2 --area 0,0,8,8", "has 2 frames, no frame 2"},
      {"--area 0,0,65,8", "not inside the 64x48 picture"},
      {"--area 8,8,8,16", "is empty"},
      {"--area 0,0,8,8:0,0,8,49", "OCR area"},
      {"--area 0,0,8", "--area takes"},
  };
  for (const auto& [options, message] : cases) {
    const auto result = Tool("hotspot save '" + video + "' " + options + " -o '" + spot + "'");
    EXPECT_EQ(result.exitStatus, 1) << options;
    EXPECT_THAT(result.output, HasSubstr(message));
    EXPECT_FALSE(std::filesystem::exists(spot)) << options;
  }
  const auto noOutput = Tool("hotspot save '" + video + "' --area 0,0,8,8");
  EXPECT_THAT(noOutput.output, HasSubstr("needs -o SPOT.xml"));
  const auto notVideo = Tool("hotspot save '" + folder.Write("bad.y4m", "garbage\n") + "' -o '" + spot + "'");
  EXPECT_THAT(notVideo.output, HasSubstr("bad.y4m: not a YUV4MPEG2 stream"));
}

TEST(HotSpotCommandTest, MatchPrintsTheDifferingShareOfEachAreaInEachFrame) {
  const TempFolder folder;
  const std::string video = WriteVideo(folder, 3);
  const std::string spot = folder.Path() + "/spot.xml";
  ASSERT_EQ(Tool("hotspot save '" + video + "' --area 0,0,32,32 --area 8,8,24,24 -o '" + spot + "'").exitStatus, 0);
  const auto result = Tool("hotspot match '" + spot + "' '" + video + "' --threshold 20");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  // Around the bright block, frame i is 20 * i brighter than frame 0: 768 of
  // the first area's 1024 pixels differ from frame 1 on, the block never.
  EXPECT_THAT(result.output, HasSubstr("     0     0   0.000000        0    0\n"
                                       "     0     1   0.000000        0    0\n"
                                       "     1     0   0.750000      768   20\n"
                                       "     1     1   0.000000        0    0\n"
                                       "     2     0   0.750000      768   40\n"));
}

TEST(HotSpotCommandTest, MatchRefusesOtherPictureSizesAndOtherFiles) {
  const TempFolder folder;
  const std::string video = WriteVideo(folder, 1);
  const std::string spot = folder.Path() + "/spot.xml";
  CImageHotSpot small;
  small.m_referenceFrame.SetFormat(32, 32, CHROMA_420);
  small.m_checkAreas = {CRect(0, 0, 8, 8)};
  small.m_ocrAreas = {CRect(0, 0, 8, 8)};
  small.SaveHotSpotDataToFile(spot);
  auto result = Tool("hotspot match '" + spot + "' '" + video + "'");
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.output, HasSubstr("frames are 64x48, the hot spot's reference is 32x32"));
  result = Tool("hotspot match '" + video + "' '" + video + "'");
  EXPECT_THAT(result.output, HasSubstr("in.y4m: not a hot spot file"));
}

TEST(OCRCommandTest, ReadsTheFirstFrameAndEachFrameThatChanged) {
  CORVANE_SKIP_WITHOUT_OCR_ENGINE_MODULE();
  const TempFolder folder;
  // Captions of 20-pixel glyphs, light on dark.
  const corvane::tool::TextRenderer renderer(corvane::tool::TextRenderer::DefaultFontPath(), 20);
  std::vector<CYUVFrame> frames;
  for (const char* caption : {"BBC-ONE", "BBC-ONE", "News24", "News24"}) {
    frames.push_back(FlatFrame(16, 256, 48));
    renderer.Draw(frames.back().y, frames.back().stride, 256, 48, 12, 32, caption, 235);
  }
  const std::string video = WriteVideo(folder, "captions.y4m", frames);
  const auto result = Tool("ocr '" + video + "' --area 4,4,252,44 --area 200,0,256,16");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_EQ(result.output.substr(result.output.find("frame 0")),
            "frame 0: \"BBC-ONE\" \"\"\nframe 2: \"News24\" \"\"\n");
}

TEST(OCRCommandTest, SaysWhenTheEngineIsMissingOrNoAreaIsGiven) {
  const TempFolder folder;
  const std::string video = WriteVideo(folder, 1);
  auto result = Tool("ocr '" + video + "'");
  EXPECT_THAT(result.output, HasSubstr("ocr needs at least one --area"));
  result = Tool("ocr '" + video + "' --area 0,0,80,8");
  EXPECT_THAT(result.output, HasSubstr("area 0,0,80,8 is empty or not inside the 64x48 picture"));
  result = Tool("ocr '" + video + "' --area 0,0,8,8:0,0,4,4");
  EXPECT_THAT(result.output, HasSubstr("--area takes left,top,right,bottom, not"));
  result = RunProcess("CORVANE_OCR_ENGINE='" + folder.Path() + "/none.so' '" + CORVANE_TOOL_PATH + "' ocr '" + video +
                      "' --area 0,0,8,8 2>&1");
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.output, HasSubstr("the OCR engine could not be started"));
}

}  // namespace
