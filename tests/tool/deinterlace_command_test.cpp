// `corvane deinterlace`, run as a program on small generated YUV4MPEG2 files.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/run_process.h"
#include "support/temp_folder.h"

namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr size_t kLumaBytes = kWidth * kHeight;
constexpr size_t kFrameBytes = kLumaBytes * 3 / 2;

// One frame's planes as the stream carries them, with its FRAME line.
struct StreamFrame {
  std::string marker = "FRAME";
  std::string planes = std::string(kFrameBytes, '\x80');
};

StreamFrame Flat(uint8_t luma) {
  StreamFrame frame;
  frame.planes.replace(0, kLumaBytes, kLumaBytes, static_cast<char>(luma));
  return frame;
}

// Luma rows alternate 200 (even) and 40 (odd): every row combs.
StreamFrame Striped() {
  StreamFrame frame = Flat(200);
  for (int y = 1; y < kHeight; y += 2) frame.planes.replace(y * kWidth, kWidth, kWidth, char{40});
  return frame;
}

std::string Stream(const std::string& header, const std::vector<StreamFrame>& frames) {
  std::string bytes = header + "\n";
  for (const StreamFrame& frame : frames) bytes += frame.marker + "\n" + frame.planes;
  return bytes;
}

const std::string kHeader = "YUV4MPEG2 W64 H48 F25:1 It A1:1 C420jpeg";

class DeinterlaceCommandTest : public ::testing::Test {
 protected:
  // Runs `corvane deinterlace ARGUMENTS` in the folder through the shell;
  // returns the exit status and keeps what it printed on standard error.
  int Run(const std::string& arguments) {
    const auto result = corvane::test::RunProcess("cd '" + folder_.Path() + "' && '" CORVANE_TOOL_PATH
                                                  "' deinterlace 2>&1 " + arguments);
    error_ = result.output;
    return result.exitStatus;
  }

  std::string Read(const std::string& name) const { return corvane::test::ReadWholeFile(folder_.Path() + "/" + name); }

  // The frames of a stream written by the tool, after checking its header.
  static std::vector<std::string> FramesOf(const std::string& stream) {
    const size_t headerEnd = stream.find('\n');
    EXPECT_EQ(stream.substr(0, headerEnd), "YUV4MPEG2 W64 H48 F25:1 Ip A1:1 C420jpeg");
    std::vector<std::string> frames;
    for (size_t at = headerEnd + 1; at < stream.size(); at += 6 + kFrameBytes) {
      EXPECT_EQ(stream.substr(at, 6), "FRAME\n");
      frames.push_back(stream.substr(at + 6, kFrameBytes));
    }
    return frames;
  }

  corvane::test::TempFolder folder_;
  std::string error_;
};

TEST_F(DeinterlaceCommandTest, SmartRepairsCombedFramesAndPassesTheRestThrough) {
  StreamFrame progressive = Striped();
  progressive.marker = "FRAME Ip";
  folder_.Write("in.y4m", Stream(kHeader, {Striped(), Flat(90), progressive}));
  ASSERT_EQ(Run("in.y4m out.y4m"), 0) << error_;
  EXPECT_NE(error_.find("3 frames: 1 combed, 1 clean (untouched), 1 progressive (passed through)"),
            std::string::npos)
      << error_;

  const std::vector<std::string> frames = FramesOf(Read("out.y4m"));
  ASSERT_EQ(frames.size(), 3u);
  // Odd rows take (200 + 200 + 1) >> 1; the last row, odd, has no row below.
  StreamFrame repaired = Flat(200);
  repaired.planes.replace((kHeight - 1) * kWidth, kWidth, kWidth, char{40});
  EXPECT_EQ(frames[0], repaired.planes);
  EXPECT_EQ(frames[1], Flat(90).planes);
  EXPECT_EQ(frames[2], Striped().planes);

  // A forced field order makes the progressive frame interlaced too.
  ASSERT_EQ(Run("--field-order tff in.y4m forced.y4m"), 0) << error_;
  EXPECT_NE(error_.find("3 frames: 2 combed, 1 clean (untouched), 0 progressive"), std::string::npos) << error_;
  EXPECT_EQ(FramesOf(Read("forced.y4m"))[2], repaired.planes);
  EXPECT_NE(Run("--field-order top in.y4m bad.y4m"), 0);
}

TEST_F(DeinterlaceCommandTest, SettingsReachTheSmartDeinterlacer) {
  folder_.Write("in.y4m", Stream(kHeader, {Striped()}));
  ASSERT_EQ(Run("--comb-threshold 65025 in.y4m high.y4m"), 0) << error_;
  EXPECT_NE(error_.find("0 combed, 1 clean"), std::string::npos) << error_;
  EXPECT_EQ(FramesOf(Read("high.y4m"))[0], Striped().planes);

  ASSERT_EQ(Run("--blend in.y4m blend.y4m"), 0) << error_;
  const std::string blended = FramesOf(Read("blend.y4m"))[0];
  EXPECT_EQ(static_cast<uint8_t>(blended[0]), (200 + 40) >> 1) << "blend halves the first row with the second";

  ASSERT_EQ(Run("--all --motion-threshold 65025 in.y4m all.y4m"), 0) << error_;
  EXPECT_NE(error_.find("1 deinterlaced without the comb test"), std::string::npos) << error_;
  EXPECT_EQ(FramesOf(Read("all.y4m"))[0], Striped().planes) << "no pixel moves above 65025";
}

TEST_F(DeinterlaceCommandTest, BobThroughStandardInputAndOutputMatchesFiles) {
  folder_.Write("in.y4m", Stream(kHeader, {Striped(), Flat(90)}));
  ASSERT_EQ(Run("--method bob in.y4m file.y4m"), 0) << error_;
  EXPECT_NE(error_.find("2 frames: 2 deinterlaced by bob"), std::string::npos) << error_;
  ASSERT_EQ(Run("--method bob - - < in.y4m > piped.y4m"), 0) << error_;
  EXPECT_EQ(Read("piped.y4m"), Read("file.y4m"));
  const std::vector<std::string> frames = FramesOf(Read("file.y4m"));
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[0], Flat(200).planes) << "every odd row copies the even row above";
  EXPECT_EQ(frames[1], Flat(90).planes);
}

TEST_F(DeinterlaceCommandTest, RejectsBadInputWithOneLineAndLeavesNoOutput) {
  folder_.Write("notes.txt", "not a picture\n");
  folder_.Write("mono.y4m", Stream("YUV4MPEG2 W64 H48 F25:1 It Cmono", {}));
  std::string truncated = Stream(kHeader, {Striped(), Striped()});
  truncated.resize(truncated.size() - 100);
  folder_.Write("truncated.y4m", truncated);

  struct Case {
    std::string arguments;
    std::string message;
  };
  const Case cases[] = {
      {"missing.y4m out.y4m", "corvane deinterlace: missing.y4m: cannot open: No such file or directory\n"},
      {"notes.txt out.y4m", "corvane deinterlace: notes.txt: not a YUV4MPEG2 stream\n"},
      {"mono.y4m out.y4m", "corvane deinterlace: mono.y4m: chroma format 'mono' is not supported (420, 422 or 444)\n"},
      {"truncated.y4m out.y4m", "corvane deinterlace: truncated.y4m: frame 2 is truncated\n"},
      {"--method weave truncated.y4m out.y4m", "corvane deinterlace: --method takes smart or bob, not 'weave'\n"},
      {"--method bob --show-status truncated.y4m out.y4m",
       "corvane deinterlace: --show-status applies to --method smart only\n"},
  };
  for (const Case& c : cases) {
    EXPECT_NE(Run(c.arguments), 0) << c.arguments;
    EXPECT_EQ(error_, c.message) << c.arguments;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), 3)
        << c.arguments << ": no output, no temporary file beside the three inputs";
  }
}

}  // namespace
