// `corvane demo`: a built-in session on generated material, one step per
// subsystem, needing no input.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "args.h"
#include "command.h"

namespace corvane::tool {
namespace {

void MakeFolder(const std::string& folder) {
  if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) {
    throw ToolError(folder + ": cannot create folder: " + std::strerror(errno));
  }
}

int RunDemo(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"out"});
  args.ExpectPositional(0, "no positional arguments");
  const std::string folder = args.Get("out", "corvane-demo");
  MakeFolder(folder);
  std::printf("corvane demo: writing into %s/\n", folder.c_str());
  for (const DemoStep& step : DemoSteps()) {
    std::printf("\n== %s ==\n", step.name.c_str());
    std::fflush(stdout);
    step.run(folder);
  }
  std::printf("\ncorvane demo: %zu steps done; results are in %s/\n", DemoSteps().size(), folder.c_str());
  return 0;
}

const bool registered = RegisterCommand({
    "demo",
    "run a built-in end-to-end session on generated material",
    "usage: corvane demo [--out DIR]\n"
    "\n"
    "Generates its own material, runs each subsystem of the library on it and\n"
    "writes the results into DIR (default ./corvane-demo), printing what it did.\n",
    RunDemo,
});

}  // namespace
}  // namespace corvane::tool
