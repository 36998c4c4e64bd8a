// Audio files through libsndfile: a reader of interleaved frames, and a
// writer that puts its bytes into an OutputFile, so that nothing half written
// is left behind.
#pragma once

#include <sndfile.h>

#include <cstdint>
#include <string>
#include <vector>

namespace corvane::tool {

class OutputFile;

class SoundFileReader {
 public:
  explicit SoundFileReader(const std::string& path);
  ~SoundFileReader();
  SoundFileReader(const SoundFileReader&) = delete;
  SoundFileReader& operator=(const SoundFileReader&) = delete;

  const std::string& Path() const { return path_; }
  int Channels() const { return info_.channels; }
  int Rate() const { return info_.samplerate; }
  int64_t Frames() const { return info_.frames; }
  // The container (SF_FORMAT_WAV, ...), without the sample encoding.
  int Container() const { return info_.format & SF_FORMAT_TYPEMASK; }

  // Up to `frames` interleaved frames; `samples` is resized to what was read.
  // Returns the frames read, 0 at the end.
  size_t Read(std::vector<int16_t>& samples, size_t frames);
  // The same at 32-bit full scale (a 16-bit sample s reads as s << 16).
  size_t Read(std::vector<int32_t>& samples, size_t frames);
  // Up to `frames` frames as one vector of doubles per channel, full scale at
  // 1.0, each resized to the frames read. Returns the frames read, 0 at the end.
  size_t Read(std::vector<std::vector<double>>& channels, size_t frames);

 private:
  std::string path_;
  SF_INFO info_{};
  SNDFILE* file_ = nullptr;
  std::vector<double> interleaved_;
};

class SoundFileWriter {
 public:
  // `format` is a container and a sample encoding (SF_FORMAT_WAV |
  // SF_FORMAT_PCM_16, ...); an encoding that the container cannot take falls
  // back to WAV.
  SoundFileWriter(OutputFile& output, int rate, int channels, int format);
  ~SoundFileWriter();
  SoundFileWriter(const SoundFileWriter&) = delete;
  SoundFileWriter& operator=(const SoundFileWriter&) = delete;

  void Write(const int16_t* samples, size_t frames);
  // Samples at 32-bit full scale.
  void Write(const int32_t* samples, size_t frames);
  // Finishes the file's header and commits the output.
  void Finish();

 private:
  void Check(sf_count_t written, size_t frames);

  OutputFile& output_;
  SNDFILE* file_ = nullptr;
};

}  // namespace corvane::tool
