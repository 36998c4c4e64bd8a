// The tool's hot spot and OCR commands, run as a user runs them.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "output_file.h"
#include "recognition/image_hot_spot.h"
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
  const auto result = Tool("hotspot save '" + video + "' --frame 2 --area 0,0,32,32 --area 8,8,24,24:30,0,64,16 -o '" +
                           spot + "'");
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

}  // namespace
