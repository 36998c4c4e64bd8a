#include "sndfile_io.h"

#include <cstdio>

#include "command.h"
#include "progress.h"

namespace corvane::tool {

SndFileReader::SndFileReader(const std::string& path) : path_(path) {
  file_ = sf_open(path.c_str(), SFM_READ, &info_);
  if (file_ == nullptr) throw ToolError(path + ": cannot read as audio: " + sf_strerror(nullptr));
  if (info_.frames <= 0 || info_.channels <= 0) {
    sf_close(file_);
    throw ToolError(path + ": holds no audio samples");
  }
}

SndFileReader::~SndFileReader() { sf_close(file_); }

size_t SndFileReader::Read(size_t frames, std::vector<std::vector<double>>& block) {
  const size_t channels = static_cast<size_t>(info_.channels);
  interleaved_.resize(frames * channels);
  const sf_count_t got = sf_readf_double(file_, interleaved_.data(), static_cast<sf_count_t>(frames));
  if (got < 0 || sf_error(file_) != SF_ERR_NO_ERROR) throw ToolError(path_ + ": read failed: " + sf_strerror(file_));
  const size_t count = static_cast<size_t>(got);
  block.resize(channels);
  for (size_t c = 0; c < channels; ++c) {
    block[c].resize(count);
    for (size_t i = 0; i < count; ++i) block[c][i] = interleaved_[i * channels + c];
  }
  return count;
}

void FeedAllBlocks(SndFileReader& reader, const std::string& label,
                   const std::function<void(const std::vector<std::vector<double>>&)>& feed) {
  constexpr size_t kBlockFrames = 48000;
  Progress progress(label, static_cast<uint64_t>(reader.Frames()));
  std::vector<std::vector<double>> block;
  uint64_t done = 0;
  while (const size_t count = reader.Read(kBlockFrames, block)) {
    feed(block);
    done += count;
    progress.Update(done);
  }
}

void WriteWav16(OutputFile& output, const std::vector<std::vector<double>>& channels, int rate) {
  SF_INFO info{};
  info.samplerate = rate;
  info.channels = static_cast<int>(channels.size());
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  std::fflush(output.Stream());
  SNDFILE* file = sf_open_fd(fileno(output.Stream()), SFM_WRITE, &info, 0);
  if (file == nullptr) throw ToolError(output.Path() + ": cannot write audio: " + sf_strerror(nullptr));
  // Clip rather than wrap: generated material may touch full scale.
  sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
  const size_t frames = channels.empty() ? 0 : channels[0].size();
  std::vector<double> interleaved(frames * channels.size());
  for (size_t i = 0; i < frames; ++i) {
    for (size_t c = 0; c < channels.size(); ++c) interleaved[i * channels.size() + c] = channels[c][i];
  }
  const sf_count_t written = sf_writef_double(file, interleaved.data(), static_cast<sf_count_t>(frames));
  const bool failed = written != static_cast<sf_count_t>(frames);
  sf_close(file);
  if (failed) throw ToolError(output.Path() + ": write failed");
}

}  // namespace corvane::tool
