#include "output_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "command.h"

namespace corvane::tool {

OutputFile::OutputFile(const std::string& path) : path_(path) {
  if (path == "-") {
    stream_ = stdout;
    temporaryPath_ = path;
    return;
  }
  temporaryPath_ = path + ".part-" + std::to_string(getpid());
  stream_ = std::fopen(temporaryPath_.c_str(), "wb");
  if (stream_ == nullptr) throw ToolError(path + ": cannot create: " + std::strerror(errno));
}

OutputFile::~OutputFile() {
  if (stream_ == stdout || committed_) return;
  std::fclose(stream_);
  std::remove(temporaryPath_.c_str());
}

void OutputFile::Write(const void* data, size_t size) {
  if (size != 0 && std::fwrite(data, 1, size, stream_) != size) {
    throw ToolError(path_ + ": write failed: " + std::strerror(errno));
  }
}

void OutputFile::Commit() {
  if (std::fflush(stream_) != 0) throw ToolError(path_ + ": write failed: " + std::strerror(errno));
  if (stream_ == stdout) return;
  const bool closed = std::fclose(stream_) == 0;
  committed_ = true;
  if (!closed || std::rename(temporaryPath_.c_str(), path_.c_str()) != 0) {
    const std::string reason = std::strerror(errno);
    std::remove(temporaryPath_.c_str());
    throw ToolError(path_ + ": cannot finish: " + reason);
  }
}

}  // namespace corvane::tool
