#include "y4m.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "command.h"
#include "output_file.h"

namespace corvane::tool {
namespace {

constexpr int kMaxDimension = 16384;
constexpr size_t kMaxHeaderLine = 4096;

// Reads one line (without its line feed); false at the end of the stream
// before any byte.
bool ReadLine(FILE* stream, std::string& line, const std::string& path) {
  line.clear();
  int c;
  while ((c = std::fgetc(stream)) != EOF && c != '\n') {
    if (line.size() >= kMaxHeaderLine) throw ToolError(path + ": header line too long, not a YUV4MPEG2 stream");
    line.push_back(static_cast<char>(c));
  }
  if (c == EOF && line.empty()) return false;
  if (c == EOF) throw ToolError(path + ": stream ends inside a header line");
  return true;
}

bool ParseRatio(const std::string& text, int& numerator, int& denominator) {
  char* end = nullptr;
  const long n = std::strtol(text.c_str(), &end, 10);
  if (*end != ':') return false;
  const char* rest = end + 1;
  const long d = std::strtol(rest, &end, 10);
  if (end == rest || *end != '\0' || n < 0 || d < 0 || n > 1000000 || d > 1000000) return false;
  numerator = static_cast<int>(n);
  denominator = static_cast<int>(d);
  return true;
}

std::vector<std::string> SplitWords(const std::string& line) {
  std::vector<std::string> words;
  size_t start = 0;
  while (start < line.size()) {
    size_t end = line.find(' ', start);
    if (end == std::string::npos) end = line.size();
    if (end > start) words.push_back(line.substr(start, end - start));
    start = end + 1;
  }
  return words;
}

const char* ChromaTag(CHROMA chroma) {
  switch (chroma) {
    case CHROMA_422: return "422";
    case CHROMA_444: return "444";
    default: return "420jpeg";
  }
}

}  // namespace

int Y4MFormat::ChromaWidth() const { return chroma == CHROMA_444 ? width : (width + 1) / 2; }

int Y4MFormat::ChromaHeight() const { return chroma == CHROMA_420 ? (height + 1) / 2 : height; }

size_t Y4MFormat::FrameBytes() const {
  return static_cast<size_t>(width) * height + 2 * static_cast<size_t>(ChromaWidth()) * ChromaHeight();
}

Y4MReader::Y4MReader(const std::string& path) : path_(path) {
  if (path == "-") {
    stream_ = stdin;
  } else {
    stream_ = std::fopen(path.c_str(), "rb");
    if (stream_ == nullptr) throw ToolError(path + ": cannot open: " + std::strerror(errno));
  }
  try {
    ReadHeader();
  } catch (...) {
    if (stream_ != stdin) std::fclose(stream_);
    throw;
  }
}

Y4MReader::~Y4MReader() {
  if (stream_ != stdin) std::fclose(stream_);
}

void Y4MReader::ReadHeader() {
  char magic[10];
  if (std::fread(magic, 1, sizeof magic, stream_) != sizeof magic || std::memcmp(magic, "YUV4MPEG2 ", 10) != 0) {
    throw ToolError(path_ + ": not a YUV4MPEG2 stream");
  }
  std::string line;
  if (!ReadLine(stream_, line, path_)) throw ToolError(path_ + ": YUV4MPEG2 header is incomplete");
  for (const std::string& word : SplitWords(line)) {
    const std::string value = word.substr(1);
    switch (word[0]) {
      case 'W': format_.width = std::atoi(value.c_str()); break;
      case 'H': format_.height = std::atoi(value.c_str()); break;
      case 'F':
        if (!ParseRatio(value, format_.rateNumerator, format_.rateDenominator)) {
          throw ToolError(path_ + ": bad frame rate '" + value + "'");
        }
        break;
      case 'A':
        if (!ParseRatio(value, format_.aspectNumerator, format_.aspectDenominator)) {
          throw ToolError(path_ + ": bad aspect ratio '" + value + "'");
        }
        break;
      case 'I':
        if (value.size() != 1 || std::strchr("ptbm", value[0]) == nullptr) {
          throw ToolError(path_ + ": unknown interlace mode '" + value + "'");
        }
        format_.interlace = value[0];
        break;
      case 'C':
        if (value.rfind("420", 0) == 0) {
          format_.chroma = CHROMA_420;
        } else if (value == "422") {
          format_.chroma = CHROMA_422;
        } else if (value == "444") {
          format_.chroma = CHROMA_444;
        } else {
          throw ToolError(path_ + ": chroma format '" + value + "' is not supported (420, 422 or 444)");
        }
        break;
      default: break;  // X extensions and unknown tags are allowed by the format
    }
  }
  if (format_.width <= 0 || format_.height <= 0 || format_.width > kMaxDimension || format_.height > kMaxDimension) {
    throw ToolError(path_ + ": picture size " + std::to_string(format_.width) + "x" + std::to_string(format_.height) +
                    " is missing or out of range");
  }
  planes_.resize(format_.FrameBytes());

  struct stat info;
  const long dataStart = std::ftell(stream_);
  if (dataStart >= 0 && fstat(fileno(stream_), &info) == 0 && S_ISREG(info.st_mode)) {
    expectedFrames_ = (static_cast<uint64_t>(info.st_size) - static_cast<uint64_t>(dataStart)) / (planes_.size() + 6);
  }
}

void Y4MReader::ApplyFrameParameters(const std::string& parameters, CYUVFrame& frame) const {
  char mode = format_.interlace;
  for (const std::string& word : SplitWords(parameters)) {
    if (word.size() >= 2 && word[0] == 'I') mode = word[1];
  }
  frame.repeatFirstField = false;
  switch (mode) {
    case 'T': frame.repeatFirstField = true; [[fallthrough]];
    case 't': frame.progressive = false; frame.topFieldFirst = true; break;
    case 'B': frame.repeatFirstField = true; [[fallthrough]];
    case 'b': frame.progressive = false; frame.topFieldFirst = false; break;
    default: frame.progressive = true; frame.topFieldFirst = true; break;
  }
}

bool Y4MReader::ReadFrame(CYUVFrame& frame) {
  std::string line;
  if (!ReadLine(stream_, line, path_)) return false;
  if (line.rfind("FRAME", 0) != 0) {
    throw ToolError(path_ + ": frame " + std::to_string(framesRead_ + 1) + " has no FRAME marker");
  }
  if (std::fread(planes_.data(), 1, planes_.size(), stream_) != planes_.size()) {
    throw ToolError(path_ + ": frame " + std::to_string(framesRead_ + 1) + " is truncated");
  }
  frame.Reformat(format_.width, format_.height, format_.chroma);
  ApplyFrameParameters(line.substr(5), frame);

  const uint8_t* source = planes_.data();
  for (int row = 0; row < format_.height; ++row, source += format_.width) {
    std::memcpy(frame.y + static_cast<size_t>(row) * frame.stride, source, static_cast<size_t>(format_.width));
  }
  const int chromaWidth = format_.ChromaWidth();
  for (uint8_t* plane : {frame.u, frame.v}) {
    for (int row = 0; row < format_.ChromaHeight(); ++row, source += chromaWidth) {
      std::memcpy(plane + static_cast<size_t>(row) * frame.chromaStride, source, static_cast<size_t>(chromaWidth));
    }
  }
  ++framesRead_;
  return true;
}

Y4MWriter::Y4MWriter(OutputFile& output, const Y4MFormat& format) : output_(output), format_(format) {
  const std::string header = "YUV4MPEG2 W" + std::to_string(format.width) + " H" + std::to_string(format.height) +
                             " F" + std::to_string(format.rateNumerator) + ":" +
                             std::to_string(format.rateDenominator) + " I" + format.interlace + " A" +
                             std::to_string(format.aspectNumerator) + ":" + std::to_string(format.aspectDenominator) +
                             " C" + ChromaTag(format.chroma) + "\n";
  output_.Write(header.data(), header.size());
  planes_.resize(format.FrameBytes());
}

void Y4MWriter::WriteFrame(const CYUVFrame& frame) {
  if (frame.width != format_.width || frame.height != format_.height || frame.chroma != format_.chroma) {
    throw ToolError(output_.Path() + ": frame geometry changed within the stream");
  }
  uint8_t* target = planes_.data();
  for (int row = 0; row < format_.height; ++row, target += format_.width) {
    std::memcpy(target, frame.y + static_cast<size_t>(row) * frame.stride, static_cast<size_t>(format_.width));
  }
  const int chromaWidth = format_.ChromaWidth();
  for (const uint8_t* plane : {frame.u, frame.v}) {
    for (int row = 0; row < format_.ChromaHeight(); ++row, target += chromaWidth) {
      std::memcpy(target, plane + static_cast<size_t>(row) * frame.chromaStride, static_cast<size_t>(chromaWidth));
    }
  }
  static const char kMarker[] = "FRAME\n";
  output_.Write(kMarker, sizeof kMarker - 1);
  output_.Write(planes_.data(), planes_.size());
}

}  // namespace corvane::tool
