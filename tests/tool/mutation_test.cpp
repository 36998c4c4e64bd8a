// Hostile copies of the real files in tests/data/: a few hundred deterministic
// mutations of each (bit flips, truncations, inserted garbage, overwritten,
// repeated and removed runs) go through the tool's commands in this process.
// Each must end in a sensible result or in one clear line naming the input,
// with no output file left behind; a crash or a sanitizer report fails the
// suite outright.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "command.h"
#include "support/temp_folder.h"

namespace corvane::test {
namespace {

constexpr int kMutationsPerFile = 200;

// The commands that read each kind of file: "{in}" is the mutated input,
// "{original}" the file itself, "{out}" an output (or the start of its name).
struct FileUse {
  const char* extension;
  std::vector<std::vector<std::string>> commands;
};

const std::vector<FileUse>& FileUses() {
  static const std::vector<FileUse> uses = {
      {".ac3", {{"probe", "{in}"}}},
      {".eac3", {{"probe", "{in}"}}},
      {".dts", {{"probe", "{in}", "--frames"}}},
      {".mp2", {{"probe", "{in}"}}},
      {".mp3", {{"probe", "{in}", "--json"}}},
      {".adts", {{"probe", "{in}", "--json", "--frames"}}},
      {".latm", {{"probe", "{in}"}}},
      {".302m", {{"s302m", "decode", "{in}", "{out}.wav"}}},
      {".wav",
       {{"limit", "{in}", "{out}.wav", "--ceiling", "-3", "--threshold", "-9", "--attack", "1"},
        {"resample", "{in}", "{out}.wav", "--rate", "44100"},
        {"s302m", "encode", "{in}", "{out}.302m"}}},
      {".xml", {{"hotspot", "match", "{in}", CORVANE_TEST_DATA "/video/testsrc_64x32_420_tff.y4m"}}},
      {".y4m",
       {{"deinterlace", "--all", "--use-chroma", "--show-status", "{in}", "{out}"},
        {"deinterlace", "--method", "bob", "{in}", "{out}"},
        {"convert", "{in}", "{out}", "--chroma", "422", "--bt709-to-bt601"},
        {"interlace", "{in}", "{out}", "--pulldown", "3:2"},
        {"psnr", "{in}", "{original}"},
        {"resize", "{in}", "{out}", "--size", "48x32", "--crop", "2,-2,1,3", "--margins", "2,1,0,1"},
        {"snapshot", "{in}", "--frame", "1", "{out}"},
        {"dump", "{in}", "{out}"}}},
  };
  return uses;
}

using Bytes = std::string;

Bytes Mutate(const Bytes& original, std::mt19937& random) {
  Bytes bytes = original;
  const auto below = [&random](size_t bound) { return bound == 0 ? size_t{0} : random() % bound; };
  switch (random() % 6) {
    case 0:  // bit flips
      for (size_t flips = 1 + below(8); flips > 0 && !bytes.empty(); --flips) {
        bytes[below(bytes.size())] ^= static_cast<char>(1u << below(8));
      }
      break;
    case 1:  // truncation
      bytes.resize(below(bytes.size()));
      break;
    case 2: {  // inserted garbage
      Bytes garbage(1 + below(64), '\0');
      for (char& c : garbage) c = static_cast<char>(random());
      bytes.insert(below(bytes.size() + 1), garbage);
      break;
    }
    case 3: {  // a run overwritten with zeros, ones or noise
      const size_t at = below(bytes.size());
      const size_t length = std::min(1 + below(16), bytes.size() - at);
      const int fill = static_cast<int>(below(3));
      for (size_t i = at; i < at + length; ++i) {
        bytes[i] = fill == 0 ? '\0' : fill == 1 ? '\xFF' : static_cast<char>(random());
      }
      break;
    }
    case 4: {  // a run repeated elsewhere
      const size_t from = below(bytes.size());
      const Bytes run = bytes.substr(from, 1 + below(256));
      bytes.insert(below(bytes.size() + 1), run);
      break;
    }
    default:  // a run removed
      if (!bytes.empty()) bytes.erase(below(bytes.size()), 1 + below(256));
      break;
  }
  return bytes;
}

// Standard output and error go to /dev/null while a command runs in this process.
class QuietOutput {
 public:
  QuietOutput() {
    std::fflush(stdout);
    std::fflush(stderr);
    const int null = open("/dev/null", O_WRONLY);
    savedOut_ = dup(1);
    savedErr_ = dup(2);
    dup2(null, 1);
    dup2(null, 2);
    close(null);
  }
  ~QuietOutput() {
    std::fflush(stdout);
    std::fflush(stderr);
    dup2(savedOut_, 1);
    dup2(savedErr_, 2);
    close(savedOut_);
    close(savedErr_);
  }

 private:
  int savedOut_;
  int savedErr_;
};

struct Outcome {
  bool failed = false;  // the command threw
  std::string message;  // what it threw, or why the throw is no clear error
  bool clear = true;
};

Outcome RunCommand(const std::vector<std::string>& words) {
  const tool::Command* command = tool::FindCommand(words.front());
  Outcome outcome;
  if (command == nullptr) return {true, "no command " + words.front(), false};
  const std::vector<std::string> args(words.begin() + 1, words.end());
  QuietOutput quiet;
  try {
    command->run(args);
  } catch (const tool::ToolError& error) {
    outcome = {true, error.what(), true};
  } catch (const std::exception& error) {
    outcome = {true, std::string("not a tool error: ") + error.what(), false};
  }
  return outcome;
}

std::vector<std::string> Expand(const std::vector<std::string>& words, const std::string& in, const std::string& out,
                                const std::string& original) {
  std::vector<std::string> expanded;
  for (std::string word : words) {
    if (word == "{in}") word = in;
    if (word == "{original}") word = original;
    if (word.rfind("{out}", 0) == 0) word = out + word.substr(5);
    expanded.push_back(word);
  }
  return expanded;
}

// Files whose names start with the output name: the output itself, or the
// files a command makes beside it.
std::vector<std::filesystem::path> Outputs(const std::string& out) {
  const std::filesystem::path prefix(out);
  std::vector<std::filesystem::path> found;
  for (const auto& entry : std::filesystem::directory_iterator(prefix.parent_path())) {
    if (entry.path().filename().string().rfind(prefix.filename().string(), 0) == 0) found.push_back(entry.path());
  }
  return found;
}

std::vector<std::filesystem::path> DataFiles(const std::string& extension) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(CORVANE_TEST_DATA)) {
    if (entry.is_regular_file() && entry.path().extension() == extension) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// One command on one input gives a result (with its output, where it writes
// one) or one clear line that names the input, and leaves no output behind.
void ExpectResultOrClearError(const std::vector<std::string>& command, const std::string& in, const std::string& out,
                              const std::string& original, const std::string& input, bool mustFail) {
  const std::vector<std::string> words = Expand(command, in, out, original);
  const Outcome outcome = RunCommand(words);
  std::string where = "corvane";
  for (const std::string& word : words) where += " " + word;
  where += " on " + input;
  if (outcome.failed) {
    EXPECT_TRUE(outcome.clear) << where << ": " << outcome.message;
    EXPECT_EQ(outcome.message.find('\n'), std::string::npos) << where << ": " << outcome.message;
    EXPECT_NE(outcome.message.find(in), std::string::npos) << where << " does not name its input: " << outcome.message;
    EXPECT_TRUE(Outputs(out).empty()) << where << " left a half-written output";
    return;
  }
  EXPECT_FALSE(mustFail) << where << " succeeded";
  if (std::any_of(command.begin(), command.end(), [](const std::string& w) { return w.rfind("{out}", 0) == 0; })) {
    EXPECT_FALSE(Outputs(out).empty()) << where << " succeeded without its output";
  }
  for (const std::filesystem::path& path : Outputs(out)) std::filesystem::remove(path);
}

TEST(MutationTest, RandomBytesAndEmptyFilesGiveOneClearError) {
  TempFolder folder;
  std::mt19937 random(11);
  Bytes noise(4096, '\0');
  for (char& c : noise) c = static_cast<char>(random());
  for (const FileUse& use : FileUses()) {
    for (const Bytes& content : {noise, Bytes()}) {
      const std::string in = folder.Write("input" + std::string(use.extension), content);
      for (const std::vector<std::string>& command : use.commands) {
        ExpectResultOrClearError(command, in, folder.Path() + "/out", in, std::to_string(content.size()) + " bytes",
                                 true);
      }
    }
  }
}

TEST(MutationTest, EveryMutatedDataFileGivesAResultOrOneClearError) {
  TempFolder folder;
  size_t filesMutated = 0;
  for (const FileUse& use : FileUses()) {
    for (const std::filesystem::path& file : DataFiles(use.extension)) {
      const Bytes original = corvane::test::ReadWholeFile<Bytes>(file);
      std::mt19937 random(static_cast<uint32_t>(std::hash<std::string>()(file.filename().string())));
      ++filesMutated;
      for (int i = 0; i < kMutationsPerFile; ++i) {
        const std::string in = folder.Write("mutated" + std::string(use.extension), Mutate(original, random));
        const std::string mutation = "mutation " + std::to_string(i) + " of " + file.filename().string();
        for (const std::vector<std::string>& command : use.commands) {
          ExpectResultOrClearError(command, in, folder.Path() + "/out" + std::to_string(i), file.string(), mutation,
                                   false);
        }
      }
    }
  }
  EXPECT_GT(filesMutated, 0u) << "no file in tests/data/ for the tool's commands";
}

}  // namespace
}  // namespace corvane::test
