// Helpers of the OCR tests: the engine file chosen through the environment,
// and the call log of the stand-in engine.
#pragma once

#include <dlfcn.h>
#include <stdlib.h>

#include <string>

namespace corvane::test {

// Sets an environment variable (or removes it, for null) for the life of
// the object, then restores it.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) {
      previous_ = old;
      hadPrevious_ = true;
    }
    Set(value);
  }
  ~ScopedEnvironment() { Set(hadPrevious_ ? previous_.c_str() : nullptr); }
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
  std::string previous_;
  bool hadPrevious_ = false;
};

// The engine file that the OCR binding opens, for the life of the object.
class ScopedEngineFile : public ScopedEnvironment {
 public:
  explicit ScopedEngineFile(const char* path) : ScopedEnvironment("CORVANE_OCR_ENGINE", path) {}
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
