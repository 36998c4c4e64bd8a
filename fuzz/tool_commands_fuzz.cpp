// The tool's commands that read a file, run in this process on arbitrary
// input as `corvane` runs them: each ends in a result or in one ToolError,
// and leaves no output behind when it fails. A YUV4MPEG2 signature picks the
// video commands, a RIFF one the sound file commands, anything else those of
// compressed streams and 302M units; the input's size picks the variant.
#include <glob.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "command.h"
#include "fuzz_input.h"

namespace {

using Words = std::vector<std::string>;

const std::vector<Words> kVideoCommands = {
    {"deinterlace", "{in}", "{out}"},
    {"deinterlace", "--all", "--use-chroma", "--blend", "--show-motion-map", "--show-status", "{in}", "{out}"},
    {"deinterlace", "--method", "bob", "--field-order", "bff", "{in}", "{out}"},
    {"convert", "{in}", "{out}", "--chroma", "422", "--bt709-to-bt601"},
    {"convert", "{in}", "{out}", "--chroma", "420"},
    {"interlace", "{in}", "{out}", "--cadence", "bff"},
    {"interlace", "{in}", "{out}", "--pulldown", "3:2"},
    {"psnr", "{in}", "{in}", "--area", "1,1,7,5"},
    {"resize", "{in}", "{out}", "--size", "17x9", "--crop", "-3,1,2,-1", "--margins", "1,0,2,1"},
    {"resize", "{in}", "{out}", "--size", "3x2", "--supersample", "--fill", "10ff80"},
    {"snapshot", "{in}", "--frame", "1", "{out}"},
    {"dump", "{in}", "{out}", "--numbered"},
};

const std::vector<Words> kStreamCommands = {
    {"probe", "--frames", "--json", "{in}"},
    {"s302m", "decode", "{in}", "{out}"},
};

const std::vector<Words> kSoundFileCommands = {
    {"limit", "{in}", "{out}", "--ceiling", "0", "--threshold", "0", "--attack", "0"},
    {"resample", "{in}", "{out}", "--rate", "32000"},
    {"s302m", "encode", "{in}", "{out}"},
};

// The files a command made from the output name: the name itself, or more
// beside it (a dump's planes and header).
std::vector<std::string> Outputs(const std::string& out) {
  std::vector<std::string> paths;
  glob_t found{};
  if (glob((out + "*").c_str(), 0, nullptr, &found) == 0) paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
  globfree(&found);
  return paths;
}

Words Expand(const Words& words, const std::string& in, const std::string& out) {
  Words expanded;
  for (const std::string& word : words) expanded.push_back(word == "{in}" ? in : word == "{out}" ? out : word);
  return expanded;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static FILE* const quiet = std::freopen("/dev/null", "w", stdout);
  static corvane::fuzz::InputFile input(".in");
  static const std::string out = "/tmp/corvane-fuzz-" + std::to_string(getpid()) + ".out";
  if (quiet == nullptr) std::abort();
  const bool video = size >= 9 && std::memcmp(data, "YUV4MPEG2", 9) == 0;
  const bool soundFile = size >= 4 && std::memcmp(data, "RIFF", 4) == 0;
  const std::vector<Words>& commands = video ? kVideoCommands : soundFile ? kSoundFileCommands : kStreamCommands;
  const Words words = Expand(commands[size % commands.size()], input.Write(data, size), out);

  const corvane::tool::Command* command = corvane::tool::FindCommand(words.front());
  if (command == nullptr) std::abort();
  try {
    command->run(Words(words.begin() + 1, words.end()));
  } catch (const corvane::tool::ToolError&) {
    if (!Outputs(out).empty()) std::abort();  // a failed command left output behind
  }
  for (const std::string& path : Outputs(out)) std::remove(path.c_str());
  return 0;
}
