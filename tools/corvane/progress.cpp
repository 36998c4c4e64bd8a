#include "progress.h"

#include <unistd.h>

#include <cstdio>

namespace corvane::tool {

Progress::Progress(std::string label, uint64_t total)
    : label_(std::move(label)), total_(total), enabled_(isatty(STDERR_FILENO) != 0) {}

Progress::~Progress() {
  if (drawn_) std::fputs("\r\033[K", stderr);
}

void Progress::Update(uint64_t done) {
  if (!enabled_) return;
  const auto now = std::chrono::steady_clock::now();
  if (drawn_ && now - lastDraw_ < std::chrono::milliseconds(200)) return;
  lastDraw_ = now;
  drawn_ = true;
  if (total_ != 0) {
    std::fprintf(stderr, "\r%s: %llu/%llu (%.0f%%)", label_.c_str(), static_cast<unsigned long long>(done),
                 static_cast<unsigned long long>(total_), 100.0 * static_cast<double>(done) / static_cast<double>(total_));
  } else {
    std::fprintf(stderr, "\r%s: %llu", label_.c_str(), static_cast<unsigned long long>(done));
  }
  std::fflush(stderr);
}

}  // namespace corvane::tool
