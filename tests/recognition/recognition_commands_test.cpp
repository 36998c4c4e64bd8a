// The tool's hot spot and OCR commands, run as a user runs them.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "output_file.h"
#include "recognition/image_hot_spot.h"
#include "recognition/rendered_text.h"
#include "support/run_process.h"
#include "support/temp_folder.h"
#include "y4m.h"

namespace {

using corvane::test::RunProcess;
using corvane::test::TempFolder;

// A video of `count` frames, 64 by 48, frame i with luma 40 + 20 * i and a
// bright block at (8, 8) to (24, 24).
std::string WriteVideo(const TempFolder& folder, const std::string& name, int count) {
  const std::string path = folder.Path() + "/" + name;
  corvane::tool::OutputFile output(path);
  corvane::tool::Y4MFormat format;
  format.width = 64;
  format.height = 48;
  corvane::tool::Y4MWriter writer(output, format);
  for (int i = 0; i < count; ++i) {
    CYUVFrame frame(64, 48, CHROMA_420);
    for (int row = 0; row < 48; ++row) {
      for (int column = 0; column < 64; ++column) {
        const bool block = row >= 8 && row < 24 && column >= 8 && column < 24;
        frame.y[row * frame.stride + column] = static_cast<uint8_t>(block ? 200 : 40 + 20 * i);
      }
    }
    writer.WriteFrame(frame);
  }
  output.Commit();
  return path;
}

corvane::test::ProcessResult Tool(const std::string& arguments) {
  return RunProcess(std::string("'") + CORVANE_TOOL_PATH + "' " + arguments + " 2>&1");
}

TEST(HotSpotCommandTest, SavesTheChosenFrameWithItsAreas) {
  const TempFolder folder;
  const std::string video = WriteVideo(folder, "in.y4m", 3);
  const std::string spot = folder.Path() + "/spot.xml";
  const auto result =
      Tool("hotspot save '" + video + "' --frame 2 --area 0,0,32,32 --area 8,8,24,24:30,0,64,16 -o '" + spot + "'");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  CImageHotSpot loaded;
  ASSERT_TRUE(loaded.LoadHotSpotDataFromFile(spot));
  ASSERT_EQ(loaded.m_checkAreas.size(), 2u);
  EXPECT_EQ(loaded.m_checkAreas[0].right, 32);
  EXPECT_EQ(loaded.m_ocrAreas[0].right, 32) << "the OCR area defaults to the check area";
  EXPECT_EQ(loaded.m_checkAreas[1].left, 8);
  EXPECT_EQ(loaded.m_ocrAreas[1].left, 30);
  EXPECT_EQ(loaded.m_ocrAreas[1].bottom, 16);
  EXPECT_EQ(loaded.m_referenceFrame.width, 64);
  EXPECT_EQ(loaded.m_referenceFrame.y[40 * loaded.m_referenceFrame.stride + 40], 80) << "frame 2";
  EXPECT_EQ(loaded.m_referenceFrame.y[10 * loaded.m_referenceFrame.stride + 10], 200);
}

TEST(HotSpotCommandTest, RefusesWhatItCannotSaveAndLeavesNoFile) {
  const TempFolder folder;
  const std::string video = WriteVideo(folder, "in.y4m", 2);
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
    EXPECT_NE(result.output.find(message), std::string::npos) << result.output;
    EXPECT_FALSE(std::filesystem::exists(spot)) << options;
  }
  const auto noOutput = Tool("hotspot save '" + video + "' --area 0,0,8,8");
  EXPECT_NE(noOutput.output.find("needs -o SPOT.xml"), std::string::npos) << noOutput.output;
  const auto notVideo = Tool("hotspot save '" + folder.Write("bad.y4m", "garbage\n") + "' -o '" + spot + "'");
  EXPECT_NE(notVideo.output.find("bad.y4m: not a YUV4MPEG2 stream"), std::string::npos) << notVideo.output;
}

TEST(HotSpotCommandTest, MatchPrintsTheDifferingShareOfEachAreaInEachFrame) {
  const TempFolder folder;
  const std::string video = WriteVideo(folder, "in.y4m", 3);
  const std::string spot = folder.Path() + "/spot.xml";
  ASSERT_EQ(Tool("hotspot save '" + video + "' --area 0,0,32,32 --area 8,8,24,24 -o '" + spot + "'").exitStatus, 0);
  const auto result = Tool("hotspot match '" + spot + "' '" + video + "' --threshold 20");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  // Around the bright block, frame i is 20 * i brighter than frame 0: 768 of
  // the first area's 1024 pixels differ from frame 1 on, the block never.
  EXPECT_NE(result.output.find("     0     0   0.000000        0    0\n"
                               "     0     1   0.000000        0    0\n"
                               "     1     0   0.750000      768   20\n"
                               "     1     1   0.000000        0    0\n"
                               "     2     0   0.750000      768   40\n"),
            std::string::npos)
      << result.output;
}

TEST(HotSpotCommandTest, MatchRefusesOtherPictureSizesAndOtherFiles) {
  const TempFolder folder;
  const std::string video = WriteVideo(folder, "in.y4m", 1);
  const std::string spot = folder.Path() + "/spot.xml";
  CImageHotSpot small;
  small.m_referenceFrame.SetFormat(32, 32, CHROMA_420);
  small.m_checkAreas = {CRect(0, 0, 8, 8)};
  small.m_ocrAreas = {CRect(0, 0, 8, 8)};
  small.SaveHotSpotDataToFile(spot);
  auto result = Tool("hotspot match '" + spot + "' '" + video + "'");
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_NE(result.output.find("frames are 64x48, the hot spot's reference is 32x32"), std::string::npos)
      << result.output;
  result = Tool("hotspot match '" + video + "' '" + video + "'");
  EXPECT_NE(result.output.find("in.y4m: not a hot spot file"), std::string::npos) << result.output;
}

// Captions of 20-pixel glyphs in 256 by 48 frames, one string a frame.
std::string WriteCaptionVideo(const TempFolder& folder, const std::vector<std::string>& captions) {
  const std::string path = folder.Path() + "/captions.y4m";
  corvane::tool::OutputFile output(path);
  corvane::tool::Y4MFormat format;
  format.width = 256;
  format.height = 48;
  corvane::tool::Y4MWriter writer(output, format);
  const corvane::tool::TextRenderer renderer(corvane::tool::TextRenderer::DefaultFontPath(), 20);
  for (const std::string& caption : captions) {
    CYUVFrame frame(256, 48, CHROMA_420);
    std::memset(frame.y, 16, static_cast<size_t>(frame.lumaPlaneSize));
    std::memset(frame.u, 128, 2 * static_cast<size_t>(frame.chromaPlaneSize));
    renderer.Draw(frame.y, frame.stride, 256, 48, 12, 32, caption, 235);
    writer.WriteFrame(frame);
  }
  output.Commit();
  return path;
}

TEST(OCRCommandTest, ReadsTheFirstFrameAndEachFrameThatChanged) {
  const std::string module = std::string(CORVANE_BUILD_DIR) + "/lib/OCR/libNSOCR.so";
  if (access(module.c_str(), R_OK) != 0) {
    GTEST_SKIP() << "the OCR engine module is not built (Tesseract is not installed): no " << module;
  }
  const TempFolder folder;
  const std::string video = WriteCaptionVideo(folder, {"BBC-ONE", "BBC-ONE", "News24", "News24"});
  const auto result = Tool("ocr '" + video + "' --area 4,4,252,44 --area 200,0,256,16");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_EQ(result.output.substr(result.output.find("frame 0")),
            "frame 0: \"BBC-ONE\" \"\"\nframe 2: \"News24\" \"\"\n");
}

TEST(OCRCommandTest, SaysWhenTheEngineIsMissingOrNoAreaIsGiven) {
  const TempFolder folder;
  const std::string video = WriteVideo(folder, "in.y4m", 1);
  auto result = Tool("ocr '" + video + "'");
  EXPECT_NE(result.output.find("ocr needs at least one --area"), std::string::npos) << result.output;
  result = Tool("ocr '" + video + "' --area 0,0,80,8");
  EXPECT_NE(result.output.find("area 0,0,80,8 is empty or not inside the 64x48 picture"), std::string::npos)
      << result.output;
  result = Tool("ocr '" + video + "' --area 0,0,8,8:0,0,4,4");
  EXPECT_NE(result.output.find("--area takes left,top,right,bottom, not"), std::string::npos) << result.output;
  result = RunProcess("CORVANE_OCR_ENGINE='" + folder.Path() + "/none.so' '" + CORVANE_TOOL_PATH + "' ocr '" + video +
                      "' --area 0,0,8,8 2>&1");
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_NE(result.output.find("the OCR engine could not be started"), std::string::npos) << result.output;
}

}  // namespace
