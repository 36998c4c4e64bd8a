// A folder of its own for one test, removed with everything in it when the
// test ends, small helpers to fill it, and one to read a file back whole.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace corvane::test {

// The whole content of a file, as a string or a vector of bytes; empty when
// the file cannot be read.
template <typename Bytes = std::string>
Bytes ReadWholeFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "corvane-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot create a temporary folder");
    path_ = pattern;
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& Path() const { return path_; }

  // Writes `bytes` to the relative path `name`, making its folders; returns the full path.
  std::string Write(const std::string& name, const std::string& bytes) const {
    const std::filesystem::path full = std::filesystem::path(path_) / name;
    std::filesystem::create_directories(full.parent_path());
    std::ofstream(full, std::ios::binary) << bytes;
    return full.string();
  }

  // Copies the file `source` to the relative path `name`; returns the full path.
  std::string Copy(const std::string& source, const std::string& name) const {
    const std::filesystem::path full = std::filesystem::path(path_) / name;
    std::filesystem::create_directories(full.parent_path());
    std::filesystem::copy_file(source, full, std::filesystem::copy_options::overwrite_existing);
    return full.string();
  }

 private:
  std::string path_;
};

}  // namespace corvane::test
