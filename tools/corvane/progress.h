// A progress line on standard error for long work, drawn only when standard
// error is a terminal and redrawn at most a few times a second.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace corvane::tool {

class Progress {
 public:
  // total 0 means unknown: the line shows a count without a percentage.
  Progress(std::string label, uint64_t total);
  ~Progress();
  void Update(uint64_t done);

 private:
  std::string label_;
  uint64_t total_;
  bool enabled_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point lastDraw_;
};

}  // namespace corvane::tool
