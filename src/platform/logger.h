// The logging component. Every line the library logs goes through Log, by a
// printf-style format; the library itself logs only at level 0.
//
// The default sink appends to the file named by the environment variable
// CORVANE_LOG, or writes to standard error when it is unset. A host or a test
// replaces the sink with SetSink and restores the default with SetSink(nullptr).
#pragma once

#include <functional>
#include <string>

class CLogger {
 public:
  using Sink = std::function<void(int level, const std::string& line)>;

  static void Log(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
  static void SetSink(Sink sink);
};
