// corvane: drives every subsystem of the library on real files.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "command.h"

using corvane::tool::Command;
using corvane::tool::Commands;
using corvane::tool::FindCommand;

namespace {

// The library logs its start-up line while it is loaded, before main runs.
// Standard error belongs to the tool's own messages, so unless the user names
// a log file in CORVANE_LOG, the library's log lines are dropped. This must run
// before the shared libraries' initialisers: the executable's pre-init array is
// the one place that does.
void QuietLibraryLog(int, char**, char**) { setenv("CORVANE_LOG", "/dev/null", 0); }
__attribute__((section(".preinit_array"), used)) void (*const g_quietLibraryLog)(int, char**, char**) =
    QuietLibraryLog;

void PrintCommandList(FILE* out) {
  std::fprintf(out, "usage: corvane COMMAND [ARGS]   (corvane COMMAND --help for its options)\n\ncommands:\n");
  for (const Command& command : Commands()) {
    std::fprintf(out, "  %-14s %s\n", command.name.c_str(), command.summary.c_str());
  }
}

bool WantsHelp(const std::vector<std::string>& args) {
  for (const std::string& arg : args) {
    if (arg == "--help" || arg == "-h") return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || std::string(argv[1]) == "--help" || std::string(argv[1]) == "help") {
    PrintCommandList(argc < 2 ? stderr : stdout);
    return argc < 2 ? 2 : 0;
  }
  const Command* command = FindCommand(argv[1]);
  if (command == nullptr) {
    std::fprintf(stderr, "corvane: unknown command '%s'\n", argv[1]);
    PrintCommandList(stderr);
    return 2;
  }
  const std::vector<std::string> args(argv + 2, argv + argc);
  if (WantsHelp(args)) {
    std::fputs(command->usage.c_str(), stdout);
    return 0;
  }
  try {
    return command->run(args);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "corvane %s: %s\n", command->name.c_str(), e.what());
    return 1;
  }
}
