#include "platform/logger.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <vector>

namespace {

// The sink is the one piece of state that several host threads may reach at
// once (each with its own objects), so it is guarded.
std::mutex g_sinkMutex;
CLogger::Sink g_sink;

void DefaultSink(int level, const std::string& line) {
  const char* path = std::getenv("CORVANE_LOG");
  FILE* out = (path != nullptr && *path != '\0') ? std::fopen(path, "a") : nullptr;
  std::fprintf(out != nullptr ? out : stderr, "[%d] %s\n", level, line.c_str());
  if (out != nullptr) std::fclose(out);
}

std::string Format(const char* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (length <= 0) return std::string();
  std::vector<char> text(static_cast<size_t>(length) + 1);
  std::vsnprintf(text.data(), text.size(), format, args);
  std::string line(text.data(), static_cast<size_t>(length));
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  return line;
}

}  // namespace

void CLogger::Log(int level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const std::string line = Format(format, args);
  va_end(args);
  std::lock_guard<std::mutex> lock(g_sinkMutex);
  if (g_sink) {
    g_sink(level, line);
  } else {
    DefaultSink(level, line);
  }
}

void CLogger::SetSink(Sink sink) {
  std::lock_guard<std::mutex> lock(g_sinkMutex);
  g_sink = std::move(sink);
}
