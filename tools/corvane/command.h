// The tool's commands and demo steps register themselves from their own files
// through these tables, so adding one touches no other file.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace corvane::tool {

// A failure the user caused or can fix: printed as one line, exit status 1.
class ToolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Command {
  std::string name;
  std::string summary;  // one line for the command list
  std::string usage;    // the whole text of `corvane NAME --help`
  int (*run)(const std::vector<std::string>& args);
};

bool RegisterCommand(Command command);
const std::vector<Command>& Commands();  // sorted by name
const Command* FindCommand(const std::string& name);

// One step of `corvane demo`: it makes its own material, runs one subsystem
// and writes what it made under `folder`, printing what it did on stdout.
struct DemoStep {
  int order;  // steps run in ascending order
  std::string name;
  void (*run)(const std::string& folder);
};

bool RegisterDemoStep(DemoStep step);
const std::vector<DemoStep>& DemoSteps();  // sorted by order

}  // namespace corvane::tool
