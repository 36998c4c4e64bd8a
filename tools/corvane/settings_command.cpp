// `corvane settings`: prints the host's settings catalogue, or its output
// file types, in table order.
#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "args.h"
#include "command.h"
#include "core/settings_catalogue.h"

namespace corvane::tool {
namespace {

const char* TypeName(int32_t type) {
  switch (type) {
    case SETTING_NUMBER:
      return "number";
    case SETTING_TEXT:
      return "text";
    case SETTING_SWITCH:
      return "switch";
    default:
      return "?";
  }
}

bool IsSection(const std::string& section) {
  for (const CSettingEntry& entry : g_settingsCatalogue) {
    if (strcasecmp(entry.section, section.c_str()) == 0) return true;
  }
  return false;
}

std::string KnownSections() {
  std::vector<std::string> sections;
  for (const CSettingEntry& entry : g_settingsCatalogue) {
    if (std::find(sections.begin(), sections.end(), entry.section) == sections.end()) sections.push_back(entry.section);
  }
  std::string list;
  for (const std::string& section : sections) {
    if (!list.empty()) list += ", ";
    list += section;
  }
  return list;
}

// Text defaults are quoted so that an empty one shows.
std::string ShownDefault(const CSettingEntry& entry) {
  if (entry.type != SETTING_TEXT) return entry.defaultValue;
  std::string shown = "\"";
  shown += entry.defaultValue;
  shown += '"';
  return shown;
}

void PrintSettings(const std::string& section) {
  std::printf("%-22s %-29s %-7s %-13s %s\n", "section", "key", "type", "default", "description");
  for (const CSettingEntry& entry : g_settingsCatalogue) {
    if (!section.empty() && strcasecmp(entry.section, section.c_str()) != 0) continue;
    std::printf("%-22s %-29s %-7s %-13s %s\n", entry.section, entry.key, TypeName(entry.type),
                ShownDefault(entry).c_str(), entry.description);
  }
}

void PrintFileTypes() {
  std::printf("%-3s %-10s %s\n", "id", "extension", "name");
  for (size_t row = 0; row < kOutputFileTypeRows; ++row) {
    const COutputFileType& type = g_outputFileTypes[row];
    std::printf("%-3d %-10s %s\n", type.id, type.extension, type.name);
  }
}

int RunSettings(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"section"}, {"file-types"});
  args.ExpectPositional(0, "no positional arguments");
  if (args.Has("file-types")) {
    if (args.Has("section")) throw ToolError("--section and --file-types exclude each other");
    PrintFileTypes();
    return 0;
  }
  const std::string section = args.Get("section", "");
  if (args.Has("section") && !IsSection(section)) {
    throw ToolError("--section: no section '" + section + "' (known: " + KnownSections() + ")");
  }
  PrintSettings(section);
  return 0;
}

const bool registered = RegisterCommand({
    "settings",
    "print the host's settings catalogue or its output file types",
    "usage: corvane settings [--section S] [--file-types]\n"
    "\n"
    "Prints every setting of the host's catalogue in table order: section, key,\n"
    "type (number, text, switch), default and description. --section S keeps the\n"
    "rows of one section (any case of letters). --file-types prints the output\n"
    "file types instead: id, extension and name.\n",
    RunSettings,
});

}  // namespace
}  // namespace corvane::tool
