// corvane: drives every subsystem of the library on real files.
#include <fcntl.h>
#include <unistd.h>

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

// The library logs its start-up line while it is loaded, before main runs,
// and by default to standard error, which belongs to the tool's own messages.
// Unless the user names a log file in CORVANE_LOG, standard error is parked
// on /dev/null from the executable's pre-init array (the one hook that runs
// before the shared libraries' initialisers) until main restores it.
int g_parkedStandardError = -1;

void ParkStandardError(int, char**, char**) {
  if (getenv("CORVANE_LOG") != nullptr) return;
  const int quiet = open("/dev/null", O_WRONLY);
  if (quiet < 0) return;
  g_parkedStandardError = dup(STDERR_FILENO);
  dup2(quiet, STDERR_FILENO);
  close(quiet);
}
__attribute__((section(".preinit_array"), used)) void (*const g_parkStandardError)(int, char**, char**) =
    ParkStandardError;

void RestoreStandardError() {
  if (g_parkedStandardError < 0) return;
  dup2(g_parkedStandardError, STDERR_FILENO);
  close(g_parkedStandardError);
}

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
  RestoreStandardError();
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
