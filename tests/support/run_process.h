// Runs a shell command line in a fresh process and collects what it printed
// on standard output, for tests that check the tool or a library load end to end.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace corvane::test {

struct ProcessResult {
  int exitStatus;  // -1 when the process did not exit normally
  std::string output;
};

inline ProcessResult RunProcess(const std::string& commandLine) {
  ProcessResult result{-1, std::string()};
  FILE* pipe = popen(commandLine.c_str(), "r");
  if (pipe == nullptr) return result;
  char buffer[4096];
  size_t got = 0;
  while ((got = std::fread(buffer, 1, sizeof(buffer), pipe)) > 0) result.output.append(buffer, got);
  const int status = pclose(pipe);
  if (status != -1 && WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
  return result;
}

}  // namespace corvane::test
