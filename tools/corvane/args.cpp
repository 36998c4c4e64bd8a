#include "args.h"

#include <cerrno>
#include <cstdlib>

#include "command.h"

namespace corvane::tool {

Args::Args(const std::vector<std::string>& args, const std::set<std::string>& valueOptions,
           const std::set<std::string>& flags) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg.size() < 3 || arg.compare(0, 2, "--") != 0) {
      positional_.push_back(arg);
      continue;
    }
    const std::string name = arg.substr(2);
    if (flags.count(name) != 0) {
      flags_.insert(name);
    } else if (valueOptions.count(name) != 0) {
      if (i + 1 >= args.size()) throw ToolError("option --" + name + " needs a value");
      values_[name] = args[++i];
      allValues_[name].push_back(args[i]);
    } else {
      throw ToolError("unknown option " + arg + " (see --help)");
    }
  }
}

void Args::ExpectPositional(size_t count, const char* what) const {
  if (positional_.size() != count) throw ToolError(std::string("expected ") + what + " (see --help)");
}

bool Args::Has(const std::string& name) const { return flags_.count(name) != 0 || values_.count(name) != 0; }

std::string Args::Get(const std::string& name, const std::string& fallback) const {
  auto it = values_.find(name);
  return it == values_.end() ? fallback : it->second;
}

std::vector<std::string> Args::GetAll(const std::string& name) const {
  auto it = allValues_.find(name);
  return it == allValues_.end() ? std::vector<std::string>() : it->second;
}

int Args::GetInt(const std::string& name, int fallback, int min, int max) const {
  auto it = values_.find(name);
  if (it == values_.end()) return fallback;
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(it->second.c_str(), &end, 10);
  if (errno != 0 || end == it->second.c_str() || *end != '\0' || value < min || value > max) {
    throw ToolError("--" + name + " takes a whole number from " + std::to_string(min) + " to " +
                    std::to_string(max) + ", not '" + it->second + "'");
  }
  return static_cast<int>(value);
}

double Args::GetDouble(const std::string& name, double fallback, double min, double max) const {
  auto it = values_.find(name);
  if (it == values_.end()) return fallback;
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(it->second.c_str(), &end);
  if (errno != 0 || end == it->second.c_str() || *end != '\0' || !(value >= min && value <= max)) {
    throw ToolError("--" + name + " takes a number from " + std::to_string(min) + " to " + std::to_string(max) +
                    ", not '" + it->second + "'");
  }
  return value;
}

std::vector<int> Args::GetIntList(const std::string& name, size_t count, const std::vector<int>& fallback) const {
  auto it = values_.find(name);
  if (it == values_.end()) return fallback;
  std::vector<int> values;
  const char* p = it->second.c_str();
  while (true) {
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(p, &end, 10);
    if (errno != 0 || end == p || value < -1000000 || value > 1000000) break;
    values.push_back(static_cast<int>(value));
    if (*end == '\0') {
      if (values.size() == count) return values;
      break;
    }
    if (*end != ',') break;
    p = end + 1;
  }
  throw ToolError("--" + name + " takes " + std::to_string(count) + " whole numbers separated by commas, not '" +
                  it->second + "'");
}

}  // namespace corvane::tool
