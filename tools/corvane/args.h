// Command-line arguments of one command: positional words, `--name value`
// options and `--name` flags. Anything the command does not know is an error.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace corvane::tool {

class Args {
 public:
  Args(const std::vector<std::string>& args, const std::set<std::string>& valueOptions,
       const std::set<std::string>& flags = {});

  const std::vector<std::string>& Positional() const { return positional_; }
  // Throws unless there are exactly `count` positional words, named in `what`.
  void ExpectPositional(size_t count, const char* what) const;

  bool Has(const std::string& name) const;
  std::string Get(const std::string& name, const std::string& fallback) const;
  // Every value given to a repeatable option, in the order given (Get gives the last).
  std::vector<std::string> GetAll(const std::string& name) const;
  int GetInt(const std::string& name, int fallback, int min, int max) const;
  double GetDouble(const std::string& name, double fallback, double min, double max) const;
  // A list of `count` integers separated by commas, e.g. --crop 8,0,8,0.
  std::vector<int> GetIntList(const std::string& name, size_t count, const std::vector<int>& fallback) const;

 private:
  std::vector<std::string> positional_;
  std::map<std::string, std::string> values_;
  std::map<std::string, std::vector<std::string>> allValues_;
  std::set<std::string> flags_;
};

}  // namespace corvane::tool
