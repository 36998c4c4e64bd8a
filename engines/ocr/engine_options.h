// The options of the OCR engine, read from its option file "Config.dat": one
// `key=value` a line, blank lines and lines starting with '#' ignored.
//
//   language                Tesseract's language name(s), e.g. eng or eng+deu
//   data_path               the tessdata folder; empty for Tesseract's default
//   page_segmentation_mode  Tesseract's page segmentation mode, 0 to 13
//   caption_height          pictures lower than this many pixels are scaled
//                           up towards it before recognition; 0 never scales
#pragma once

#include <string>

struct EngineOptions {
  std::string language = "eng";
  std::string dataPath;
  int pageSegmentationMode = 7;  // one line of text
  int captionHeight = 96;
};

// Reads the option file into `options`. False, with `options` unchanged and
// the reason in `error`, for a file that can't be read, a line without '=',
// an unknown key or a value out of range.
bool LoadEngineOptions(const std::string& path, EngineOptions& options, std::string& error);
