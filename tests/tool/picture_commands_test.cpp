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

// The size of a y4m file: its header line, then every frame with its FRAME line.
uintmax_t Y4MSize(const std::string& header, int frames, uintmax_t frameBytes) {
  return header.size() + 1 + frames * (6 + frameBytes);
}

class PictureCommandsTest : public ::testing::Test {
 protected:
  // Runs the tool in the folder; what it prints on standard error joins the output.
  corvane::test::ProcessResult Run(const std::string& arguments) const {
    return RunProcess("cd '" + folder_.Path() + "' && '" CORVANE_TOOL_PATH "' " + arguments + " 2>&1");
  }

  TempFolder folder_;
};

TEST_F(PictureCommandsTest, EachCommandWritesItsOutput) {
  folder_.Write("64x48.y4m", Stream(64, 48, 3));
  folder_.Write("32x16.y4m", Stream(32, 16, 2));
  folder_.Write("film.y4m", Stream(32, 16, 8, "F24000:1001 Ip C420jpeg"));
  const struct {
    std::string arguments, output;
    uintmax_t size;
    std::string message;  // a part of what the command prints
  } kCases[] = {
      {"resize 64x48.y4m out.y4m --size 32x24 --margins 0,4,0,4", "out.y4m",
       Y4MSize("YUV4MPEG2 W32 H24 F25:1 It A1:1 C420jpeg", 3, 32 * 24 + 2 * 16 * 12), ""},
      {"interlace film.y4m video.y4m --pulldown 3:2", "video.y4m",
       Y4MSize("YUV4MPEG2 W32 H16 F120000:4004 It A1:1 C420jpeg", 10, 32 * 16 + 2 * 16 * 8),
       "8 frames in, 10 interlaced frames out"},
      {"convert 32x16.y4m 422.y4m --chroma 422 --bt709-to-bt601", "422.y4m",
       Y4MSize("YUV4MPEG2 W32 H16 F25:1 It A1:1 C422", 2, 32 * 16 * 2), ""},
      {"snapshot 32x16.y4m --frame 1 shot.bmp", "shot.bmp", 14 + 40 + 96 * 16, ""},
      {"dump 32x16.y4m raw", "raw.YUV", 2 * (32 * 16 + 2 * 16 * 8), ""},
  };
  for (const auto& c : kCases) {
    const auto result = Run(c.arguments);
    ASSERT_EQ(result.exitStatus, 0) << c.arguments << "\n" << result.output;
    EXPECT_EQ(std::filesystem::file_size(folder_.Path() + "/" + c.output), c.size) << c.arguments;
    EXPECT_NE(result.output.find(c.message), std::string::npos) << c.arguments << "\n" << result.output;
  }
  const auto beyond = Run("snapshot 32x16.y4m --frame 2 none.bmp");
  EXPECT_EQ(beyond.exitStatus, 1);
  EXPECT_NE(beyond.output.find("only 2 frames"), std::string::npos) << beyond.output;
  ASSERT_EQ(Run("dump 32x16.y4m n --numbered").exitStatus, 0);
  EXPECT_TRUE(std::filesystem::exists(folder_.Path() + "/n00001.YUV.header"));
}

TEST_F(PictureCommandsTest, ImpossibleGeometryIsAClearError) {
  folder_.Write("in.y4m", Stream(64, 48, 1));
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
    const auto result = Run(std::string("resize in.y4m out.y4m ") + c.options);
    EXPECT_EQ(result.exitStatus, 1) << c.options;
    EXPECT_NE(result.output.find(c.message), std::string::npos) << c.options << ": " << result.output;
    EXPECT_FALSE(std::filesystem::exists(folder_.Path() + "/out.y4m")) << c.options;
  }
}

TEST_F(PictureCommandsTest, PsnrOfAStreamWithItselfAndOneLevelOff) {
  folder_.Write("a.y4m", Stream(32, 16, 2));
  std::string shifted = Stream(32, 16, 2);
  // Raise every luma byte of the first frame by one.
  const size_t first = shifted.find("FRAME\n") + 6;
  for (size_t i = 0; i < 32 * 16; ++i) shifted[first + i] = static_cast<char>(shifted[first + i] + 1);
  folder_.Write("b.y4m", shifted);
  auto result = Run("psnr a.y4m a.y4m");
  ASSERT_EQ(result.exitStatus, 0) << result.output;
  EXPECT_NE(result.output.find("average: identical (2 frames)"), std::string::npos) << result.output;
  result = Run("psnr a.y4m b.y4m");
  EXPECT_NE(result.output.find("frame 0: 48.131 dB, largest difference 1"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("frame 1: identical"), std::string::npos) << result.output;
}

}  // namespace
