// Helpers of the OCR tests: the engine file chosen through the environment,
// and the call log of the stand-in engine.
#pragma once

#include <dlfcn.h>
#include <stdlib.h>

#include <string>

namespace corvane::test {

// Sets CORVANE_OCR_ENGINE for the life of the object, then restores it.
class ScopedEngineFile {
 public:
  explicit ScopedEngineFile(const char* path) {
    if (const char* old = getenv("CORVANE_OCR_ENGINE")) {
      previous_ = old;
      hadPrevious_ = true;
    }
    if (path != nullptr) {
      setenv("CORVANE_OCR_ENGINE", path, 1);
    } else {
      unsetenv("CORVANE_OCR_ENGINE");
    }
  }
  ~ScopedEngineFile() {
    if (hadPrevious_) {
      setenv("CORVANE_OCR_ENGINE", previous_.c_str(), 1);
    } else {
      unsetenv("CORVANE_OCR_ENGINE");
    }
  }
  ScopedEngineFile(const ScopedEngineFile&) = delete;
  ScopedEngineFile& operator=(const ScopedEngineFile&) = delete;

 private:
  std::string previous_;
  bool hadPrevious_ = false;
};

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

}  // namespace corvane::test
