// YUV4MPEG2 streams, the tool's video format: a header line, then frames of
// "FRAME" lines followed by the raw planes. "-" reads standard input or
// writes standard output, so the tool pipes with the usual video programs.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "core/frame.h"

namespace corvane::tool {

class OutputFile;

struct Y4MFormat {
  int width = 0;
  int height = 0;
  CHROMA chroma = CHROMA_420;
  int rateNumerator = 25;
  int rateDenominator = 1;
  int aspectNumerator = 1;
  int aspectDenominator = 1;
  char interlace = 'p';  // 'p' progressive, 't' top field first, 'b' bottom first, 'm' per frame

  // Bytes of one frame's planes as the stream carries them (no padding).
  size_t FrameBytes() const;
  int ChromaWidth() const;
  int ChromaHeight() const;
};

class Y4MReader {
 public:
  explicit Y4MReader(const std::string& path);
  ~Y4MReader();
  Y4MReader(const Y4MReader&) = delete;
  Y4MReader& operator=(const Y4MReader&) = delete;

  const Y4MFormat& Format() const { return format_; }
  // Frames in the file when that can be known (a regular file), else 0.
  uint64_t ExpectedFrames() const { return expectedFrames_; }
  // Reads the next picture into `frame`, giving it this stream's geometry and
  // its progressive/topFieldFirst flags. False at the clean end of the stream;
  // throws on a damaged frame.
  bool ReadFrame(CYUVFrame& frame);

 private:
  void ReadHeader();
  void ApplyFrameParameters(const std::string& parameters, CYUVFrame& frame) const;

  std::string path_;
  FILE* stream_ = nullptr;
  Y4MFormat format_;
  uint64_t framesRead_ = 0;
  uint64_t expectedFrames_ = 0;
  std::vector<uint8_t> planes_;
};

class Y4MWriter {
 public:
  Y4MWriter(OutputFile& output, const Y4MFormat& format);
  // Writes the visible part of the frame's planes; the frame must have the
  // stream's width, height and chroma format.
  void WriteFrame(const CYUVFrame& frame);

 private:
  OutputFile& output_;
  Y4MFormat format_;
  std::vector<uint8_t> planes_;
};

}  // namespace corvane::tool
