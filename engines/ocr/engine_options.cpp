#include "engine_options.h"

#include <charconv>
#include <fstream>
#include <string_view>

namespace {

std::string_view Trim(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  const size_t last = text.find_last_not_of(" \t\r");
  return text.substr(first, last - first + 1);
}

bool ParseInt(std::string_view text, int min, int max, int& value) {
  int parsed = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
  if (error != std::errc() || end != text.data() + text.size() || parsed < min || parsed > max) return false;
  value = parsed;
  return true;
}

// Tesseract joins several languages with '+'; nothing else belongs in a name.
bool IsLanguageName(std::string_view text) {
  if (text.empty()) return false;
  for (const char c : text) {
    const bool allowed =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '+' || c == '-';
    if (!allowed) return false;
  }
  return true;
}

bool ApplyOption(std::string_view key, std::string_view value, EngineOptions& options) {
  if (key == "language") {
    if (!IsLanguageName(value)) return false;
    options.language = value;
    return true;
  }
  if (key == "data_path") {
    options.dataPath = value;
    return true;
  }
  if (key == "page_segmentation_mode") return ParseInt(value, 0, 13, options.pageSegmentationMode);
  if (key == "caption_height") return ParseInt(value, 0, 1024, options.captionHeight);
  return false;
}

}  // namespace

bool LoadEngineOptions(const std::string& path, EngineOptions& options, std::string& error) {
  std::ifstream file(path);
  if (!file) {
    error = path + ": cannot be read";
    return false;
  }
  EngineOptions read = options;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    const std::string_view text = Trim(line);
    if (text.empty() || text.front() == '#') continue;
    const size_t equals = text.find('=');
    if (equals == std::string_view::npos ||
        !ApplyOption(Trim(text.substr(0, equals)), Trim(text.substr(equals + 1)), read)) {
      error = path + ":" + std::to_string(number) + ": not a known key=value option: " + std::string(text);
      return false;
    }
  }
  options = read;
  return true;
}
