// An output file that appears only when it is complete: bytes go to a
// temporary name beside the target, which Commit renames into place. An
// output that is dropped without Commit leaves nothing behind. "-" writes to
// standard output.
#pragma once

#include <cstdio>
#include <string>

namespace corvane::tool {

class OutputFile {
 public:
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  FILE* Stream() const { return stream_; }
  const std::string& Path() const { return path_; }
  // The name the bytes are written to until Commit (the target for "-").
  const std::string& WorkingPath() const { return temporaryPath_; }
  void Write(const void* data, size_t size);
  void Commit();

 private:
  std::string path_;
  std::string temporaryPath_;
  FILE* stream_ = nullptr;
  bool committed_ = false;
};

}  // namespace corvane::tool
