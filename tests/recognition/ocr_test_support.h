// Helpers of the recognition tests: the engine file chosen through the
// environment, the call log of the stand-in engine, where the real engine
// module is, flat pictures, area lists, caption strings, and how close a
// reading comes to the text drawn.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "core/frame.h"

namespace corvane::test {

// Sets an environment variable (or removes it, for null) for the life of
// the object, then restores it.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) previous_ = old;
    Set(value);
  }
  ~ScopedEnvironment() { Set(previous_ ? previous_->c_str() : nullptr); }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  void Set(const char* value) {
    if (value != nullptr) {
      setenv(name_.c_str(), value, 1);
    } else {
      unsetenv(name_.c_str());
    }
  }

  std::string name_;
  std::optional<std::string> previous_;
};

// The engine file that the OCR binding opens, for the life of the object.
class ScopedEngineFile : public ScopedEnvironment {
 public:
  explicit ScopedEngineFile(const char* path) : ScopedEnvironment("CORVANE_OCR_ENGINE", path) {}
};

// A module file that does not exist.
inline std::string AbsentModulePath() { return testing::TempDir() + "no_engine_" + std::to_string(getpid()) + ".so"; }

// The engine module over Tesseract, built beside the library only when
// Tesseract is installed.
inline std::string EngineModulePath() { return std::string(CORVANE_BUILD_DIR) + "/lib/OCR/libNSOCR.so"; }

#define CORVANE_SKIP_WITHOUT_OCR_ENGINE_MODULE()                      \
  if (access(corvane::test::EngineModulePath().c_str(), R_OK) == 0) { \
  } else                                                              \
    GTEST_SKIP() << "the OCR engine module is not built (is Tesseract installed?)"

// The stand-in engine, held open by the test so that its call log outlives
// each binding that opens and closes it.
class TestEngine {
 public:
  explicit TestEngine(const char* path) : module_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    if (module_ == nullptr) return;
    log_ = reinterpret_cast<const char* (*)()>(dlsym(module_, "TestEngine_CallLog"));
    clear_ = reinterpret_cast<void (*)()>(dlsym(module_, "TestEngine_ClearLog"));
  }
  ~TestEngine() {
    if (module_ != nullptr) dlclose(module_);
  }
  TestEngine(const TestEngine&) = delete;
  TestEngine& operator=(const TestEngine&) = delete;

  void* Module() const { return module_; }
  bool Usable() const { return log_ != nullptr && clear_ != nullptr; }
  std::string TakeLog() {
    std::string log = log_();
    clear_();
    return log;
  }

 private:
  void* module_;
  const char* (*log_)() = nullptr;
  void (*clear_)() = nullptr;
};

// A 4:2:0 picture of one luma value, chroma at the middle.
inline CYUVFrame FlatFrame(uint8_t luma, int width, int height) {
  CYUVFrame frame(width, height, CHROMA_420);
  std::memset(frame.y, luma, static_cast<size_t>(frame.lumaPlaneSize));
  std::memset(frame.u, 128, 2 * static_cast<size_t>(frame.chromaPlaneSize));
  return frame;
}

// Rectangles as {left, top, right, bottom}, to compare lists of areas whole.
using Corners = std::vector<std::array<int32_t, 4>>;
inline Corners CornersOf(const std::vector<CRect>& rects) {
  Corners corners;
  for (const RECT& r : rects) corners.push_back({r.left, r.top, r.right, r.bottom});
  return corners;
}

// Letters, digits and hyphens, as channel names, clocks and dates show them.
inline const std::vector<std::string>& CaptionStrings() {
  static const std::vector<std::string> strings = {"BBC-ONE",    "Channel-4", "ZDF-info",   "RTL2",    "Sport-1",
                                                   "News24",     "20-15",     "07-45",      "CH-112",  "HD-Plus",
                                                   "Kanal-5",    "EPG-Guide", "Arte-HD",    "Movie-3", "TV-Guide",
                                                   "2024-11-08", "Euro-7",    "Live-Sport", "Prog-09", "Info-Kanal"};
  return strings;
}

// Edits (insertions, deletions, replacements) that turn `read` into `expected`.
inline size_t EditDistance(const std::string& expected, const std::string& read) {
  std::vector<size_t> previous(read.size() + 1);
  std::vector<size_t> current(read.size() + 1);
  for (size_t j = 0; j <= read.size(); ++j) previous[j] = j;
  for (size_t i = 1; i <= expected.size(); ++i) {
    current[0] = i;
    for (size_t j = 1; j <= read.size(); ++j) {
      const size_t replace = previous[j - 1] + (expected[i - 1] == read[j - 1] ? 0 : 1);
      current[j] = std::min({replace, previous[j] + 1, current[j - 1] + 1});
    }
    std::swap(previous, current);
  }
  return previous[read.size()];
}

// The share of characters read right over several captions; misreadings are
// printed, to show what the engine got wrong.
class ReadingScore {
 public:
  void Add(const std::string& drawn, const std::string& read) {
    errors_ += EditDistance(drawn, read);
    characters_ += drawn.size();
    if (read != drawn) std::printf("  drawn '%s', read '%s'\n", drawn.c_str(), read.c_str());
  }
  double Accuracy() const { return 1.0 - static_cast<double>(errors_) / static_cast<double>(characters_); }

 private:
  size_t errors_ = 0;
  size_t characters_ = 0;
};

}  // namespace corvane::test
