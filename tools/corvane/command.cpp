#include "command.h"

#include <algorithm>

namespace corvane::tool {
namespace {

// Function-local tables: registration runs from static initialisers of other
// files, whose order against this one is unspecified.
std::vector<Command>& CommandTable() {
  static std::vector<Command> table;
  return table;
}

std::vector<DemoStep>& DemoTable() {
  static std::vector<DemoStep> table;
  return table;
}

}  // namespace

bool RegisterCommand(Command command) {
  auto& table = CommandTable();
  table.push_back(std::move(command));
  std::sort(table.begin(), table.end(), [](const Command& a, const Command& b) { return a.name < b.name; });
  return true;
}

const std::vector<Command>& Commands() { return CommandTable(); }

const Command* FindCommand(const std::string& name) {
  for (const Command& command : CommandTable()) {
    if (command.name == name) return &command;
  }
  return nullptr;
}

bool RegisterDemoStep(DemoStep step) {
  auto& table = DemoTable();
  table.push_back(std::move(step));
  std::stable_sort(table.begin(), table.end(), [](const DemoStep& a, const DemoStep& b) { return a.order < b.order; });
  return true;
}

const std::vector<DemoStep>& DemoSteps() { return DemoTable(); }

}  // namespace corvane::tool
