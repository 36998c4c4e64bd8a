// Audio files through libsndfile: a reader that hands out planar blocks of
// doubles (full scale at 1.0) so that long files stream in bounded memory,
// and a writer of 16-bit WAV for generated material.
#pragma once

#include <sndfile.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "output_file.h"

namespace corvane::tool {

class SndFileReader {
 public:
  // Throws ToolError naming the file when it cannot be read as audio or holds
  // no samples.
  explicit SndFileReader(const std::string& path);
  ~SndFileReader();
  SndFileReader(const SndFileReader&) = delete;
  SndFileReader& operator=(const SndFileReader&) = delete;

  int Channels() const { return info_.channels; }
  int Rate() const { return info_.samplerate; }
  int64_t Frames() const { return info_.frames; }
  const std::string& Path() const { return path_; }

  // Reads up to `frames` frames into `block`, one vector per channel, each
  // resized to the count read; 0 at the end of the file.
  size_t Read(size_t frames, std::vector<std::vector<double>>& block);

 private:
  std::string path_;
  SF_INFO info_{};
  SNDFILE* file_ = nullptr;
  std::vector<double> interleaved_;
};

// Reads the whole file in blocks of one second or so and hands each to `feed`,
// with a progress line labelled `label` on a terminal.
void FeedAllBlocks(SndFileReader& reader, const std::string& label,
                   const std::function<void(const std::vector<std::vector<double>>&)>& feed);

// Writes planar samples as a 16-bit PCM WAV file into `output` (not committed).
void WriteWav16(OutputFile& output, const std::vector<std::vector<double>>& channels, int rate);

}  // namespace corvane::tool
