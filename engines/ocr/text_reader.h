// One Tesseract instance with the engine's options: it reads the text of a
// packed RGB picture.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine_options.h"

namespace tesseract {
class TessBaseAPI;
}

class TextReader {
 public:
  explicit TextReader(const EngineOptions& options);
  ~TextReader();
  TextReader(const TextReader&) = delete;
  TextReader& operator=(const TextReader&) = delete;

  // False when Tesseract could not load the language from the data path.
  bool Ready() const { return ready_; }
  // The text that Tesseract reads in the picture, as wide characters, or
  // false when it failed. `rgb` holds width * height pixels, rows from the top.
  bool Read(const std::vector<uint8_t>& rgb, int width, int height, std::wstring& text);

 private:
  EngineOptions options_;
  std::unique_ptr<tesseract::TessBaseAPI> api_;
  bool ready_ = false;
};
