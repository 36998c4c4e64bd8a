#include "platform/registry.h"

#include <strings.h>

#include <fstream>
#include <vector>

namespace {

bool SameName(const std::string& a, const std::string& b) {
  return a.size() == b.size() && strcasecmp(a.c_str(), b.c_str()) == 0;
}

std::string Trim(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return std::string();
  const size_t last = text.find_last_not_of(" \t\r\n");
  return text.substr(first, last - first + 1);
}

std::vector<std::string> SplitKey(const std::string& key) {
  std::vector<std::string> parts;
  size_t start = 0;
  for (size_t at = key.find('\\'); at != std::string::npos; at = key.find('\\', start)) {
    parts.push_back(key.substr(start, at - start));
    start = at + 1;
  }
  parts.push_back(key.substr(start));
  return parts;
}

// The first "name=value" line of the section, as the INI readers of the
// platform take it; comment lines start with ';' or '#'.
bool FindIniValue(std::istream& in, const std::string& section, const std::string& valueName, std::string& value) {
  bool inSection = false;
  std::string line;
  while (std::getline(in, line)) {
    line = Trim(line);
    if (line.empty() || line[0] == ';' || line[0] == '#') continue;
    if (line.front() == '[' && line.back() == ']') {
      inSection = SameName(Trim(line.substr(1, line.size() - 2)), section);
      continue;
    }
    const size_t equals = line.find('=');
    if (inSection && equals != std::string::npos && SameName(Trim(line.substr(0, equals)), valueName)) {
      value = Trim(line.substr(equals + 1));
      return true;
    }
  }
  return false;
}

}  // namespace

bool RegQueryUserString(const std::string& configHome, const std::string& key, const std::string& valueName,
                        size_t bufferBytes, std::string& value) {
  const std::vector<std::string> parts = SplitKey(key);
  if (configHome.empty() || parts.size() != 4 || !SameName(parts[0], "Software")) return false;
  std::ifstream in(configHome + "/" + parts[1] + "/" + parts[2] + ".ini");
  std::string found;
  if (!in || !FindIniValue(in, parts[3], valueName, found)) return false;
  if (found.size() + 1 > bufferBytes) return false;
  value = found;
  return true;
}
