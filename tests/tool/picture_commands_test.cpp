// The picture commands end to end through the built tool.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/run_process.h"
#include "support/temp_folder.h"

namespace {

using corvane::test::RunProcess;
using corvane::test::TempFolder;

// A y4m stream of `frames` frames, each a flat grey of its own level.
std::string Stream(int width, int height, int frames, const char* tags = "F25:1 It C420jpeg") {
  std::string bytes = "YUV4MPEG2 W" + std::to_string(width) + " H" + std::to_string(height) + " " + tags + "\n";
  const size_t chroma = static_cast<size_t>((width + 1) / 2) * ((height + 1) / 2);
  for (int i = 0; i < frames; ++i) {
    bytes += "FRAME\n";
    bytes += std::string(static_cast<size_t>(width) * height, static_cast<char>(40 + 10 * i));
    bytes += std::string(2 * chroma, static_cast<char>(128));
  }
  return bytes;
}

std::string Tool(const std::string& arguments) { return std::string(CORVANE_TOOL_PATH) + " " + arguments + " 2>&1"; }

TEST(PictureCommandsTest, ResizeMakesTheTargetSize) {
  TempFolder folder;
  const std::string in = folder.Write("in.y4m", Stream(64, 48, 3));
  const std::string out = folder.Path() + "/out.y4m";
  const auto result = RunProcess(Tool("resize " + in + " " + out + " --size 32x24 --margins 0,4,0,4"));
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  const std::string header = "YUV4MPEG2 W32 H24 F25:1 It A1:1 C420jpeg\n";
  EXPECT_EQ(std::filesystem::file_size(out), header.size() + 3 * (6 + 32 * 24 + 2 * 16 * 12));
}

TEST(PictureCommandsTest, ImpossibleGeometryIsAClearError) {
  TempFolder folder;
  const std::string in = folder.Write("in.y4m", Stream(64, 48, 1));
  const std::string out = folder.Path() + "/out.y4m";
  const struct {
    const char* options;
    const char* message;
  } cases[] = {
      {"--size 0x24", "--size takes WIDTHxHEIGHT"},
      {"--size 32x24 --crop 70,0,0,0", "--crop leaves nothing"},
      {"--size 32x24 --crop 0,0,0,48", "--crop leaves nothing"},
      {"--size 32x24 --margins 16,0,16,0", "--margins must be positive"},
      {"--size 32x24 --fill red", "--fill takes a colour"},
      {"", "--size WIDTHxHEIGHT is required"},
  };
  for (const auto& c : cases) {
    const auto result = RunProcess(Tool("resize " + in + " " + out + " " + c.options));
    EXPECT_EQ(result.exitStatus, 1) << c.options;
    EXPECT_NE(result.output.find(c.message), std::string::npos) << c.options << ": " << result.output;
    EXPECT_FALSE(std::filesystem::exists(out)) << c.options;
  }
}

TEST(PictureCommandsTest, PulldownMakesFiveFramesOfFour) {
  TempFolder folder;
  const std::string in = folder.Write("film.y4m", Stream(32, 16, 8, "F24000:1001 Ip C420jpeg"));
  const std::string out = folder.Path() + "/video.y4m";
  const auto result = RunProcess(Tool("interlace " + in + " " + out + " --pulldown 3:2"));
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_NE(result.output.find("8 frames in, 10 interlaced frames out"), std::string::npos) << result.output;
  const std::string header = "YUV4MPEG2 W32 H16 F120000:4004 It A1:1 C420jpeg\n";
  EXPECT_EQ(std::filesystem::file_size(out), header.size() + 10 * (6 + 32 * 16 + 2 * 16 * 8));
}

TEST(PictureCommandsTest, PsnrOfAStreamWithItselfAndOneLevelOff) {
  TempFolder folder;
  const std::string a = folder.Write("a.y4m", Stream(32, 16, 2));
  std::string shifted = Stream(32, 16, 2);
  // Raise every luma byte of the first frame by one.
  const size_t first = shifted.find("FRAME\n") + 6;
  for (size_t i = 0; i < 32 * 16; ++i) shifted[first + i] = static_cast<char>(shifted[first + i] + 1);
  const std::string b = folder.Write("b.y4m", shifted);
  auto result = RunProcess(Tool("psnr " + a + " " + a));
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_NE(result.output.find("average: identical (2 frames)"), std::string::npos) << result.output;
  result = RunProcess(Tool("psnr " + a + " " + b));
  EXPECT_NE(result.output.find("frame 0: 48.131 dB, largest difference 1"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("frame 1: identical"), std::string::npos) << result.output;
}

TEST(PictureCommandsTest, ConvertSnapshotAndDump) {
  TempFolder folder;
  const std::string in = folder.Write("in.y4m", Stream(32, 16, 2));
  const std::string converted = folder.Path() + "/422.y4m";
  auto result = RunProcess(Tool("convert " + in + " " + converted + " --chroma 422 --bt709-to-bt601"));
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_EQ(std::filesystem::file_size(converted),
            std::string("YUV4MPEG2 W32 H16 F25:1 It A1:1 C422\n").size() + 2 * (6 + 32 * 16 * 2));

  const std::string bmp = folder.Path() + "/shot.bmp";
  result = RunProcess(Tool("snapshot " + in + " --frame 1 " + bmp));
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_EQ(std::filesystem::file_size(bmp), 14u + 40 + 96 * 16);
  result = RunProcess(Tool("snapshot " + in + " --frame 2 " + folder.Path() + "/none.bmp"));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_NE(result.output.find("only 2 frames"), std::string::npos) << result.output;

  result = RunProcess(Tool("dump " + in + " " + folder.Path() + "/raw"));
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_EQ(std::filesystem::file_size(folder.Path() + "/raw.YUV"), 2u * (32 * 16 + 2 * 16 * 8));
  result = RunProcess(Tool("dump " + in + " " + folder.Path() + "/n --numbered"));
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_TRUE(std::filesystem::exists(folder.Path() + "/n00001.YUV.header"));
}

TEST(PictureCommandsTest, TruncatedInputLeavesNoOutput) {
  TempFolder folder;
  std::string stream = Stream(32, 16, 2);
  stream.resize(stream.size() - 10);
  const std::string in = folder.Write("cut.y4m", stream);
  for (const std::string& command : {std::string("convert ") + in + " " + folder.Path() + "/o.y4m",
                                     std::string("dump ") + in + " " + folder.Path() + "/d"}) {
    const auto result = RunProcess(Tool(command));
    EXPECT_EQ(result.exitStatus, 1) << command;
    EXPECT_NE(result.output.find("is truncated"), std::string::npos) << result.output;
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1);  // only the input
}

}  // namespace
