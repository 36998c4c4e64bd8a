#include "sound_file.h"

#include <cstdio>

#include "command.h"
#include "output_file.h"

namespace corvane::tool {

SoundFileReader::SoundFileReader(const std::string& path) : path_(path) {
  file_ = sf_open(path.c_str(), SFM_READ, &info_);
  if (file_ == nullptr) throw ToolError(path + ": " + sf_strerror(nullptr));
}

SoundFileReader::~SoundFileReader() { sf_close(file_); }

size_t SoundFileReader::Read(std::vector<int16_t>& samples, size_t frames) {
  samples.resize(frames * static_cast<size_t>(info_.channels));
  const sf_count_t read = sf_readf_short(file_, samples.data(), static_cast<sf_count_t>(frames));
  if (read < 0 || sf_error(file_) != SF_ERR_NO_ERROR) throw ToolError(path_ + ": " + sf_strerror(file_));
  samples.resize(static_cast<size_t>(read) * static_cast<size_t>(info_.channels));
  return static_cast<size_t>(read);
}

size_t SoundFileReader::Read(std::vector<int32_t>& samples, size_t frames) {
  samples.resize(frames * static_cast<size_t>(info_.channels));
  const sf_count_t read = sf_readf_int(file_, samples.data(), static_cast<sf_count_t>(frames));
  if (read < 0 || sf_error(file_) != SF_ERR_NO_ERROR) throw ToolError(path_ + ": " + sf_strerror(file_));
  samples.resize(static_cast<size_t>(read) * static_cast<size_t>(info_.channels));
  return static_cast<size_t>(read);
}

size_t SoundFileReader::Read(std::vector<std::vector<double>>& channels, size_t frames) {
  const size_t count = static_cast<size_t>(info_.channels);
  interleaved_.resize(frames * count);
  const sf_count_t read = sf_readf_double(file_, interleaved_.data(), static_cast<sf_count_t>(frames));
  if (read < 0 || sf_error(file_) != SF_ERR_NO_ERROR) throw ToolError(path_ + ": " + sf_strerror(file_));
  channels.resize(count);
  for (size_t c = 0; c < count; ++c) {
    channels[c].resize(static_cast<size_t>(read));
    for (size_t i = 0; i < channels[c].size(); ++i) channels[c][i] = interleaved_[i * count + c];
  }
  return static_cast<size_t>(read);
}

SoundFileWriter::SoundFileWriter(OutputFile& output, int rate, int channels, int format) : output_(output) {
  SF_INFO info{};
  info.samplerate = rate;
  info.channels = channels;
  info.format = format;
  if (sf_format_check(&info) == 0) info.format = SF_FORMAT_WAV | (format & SF_FORMAT_SUBMASK);
  file_ = sf_open_fd(fileno(output.Stream()), SFM_WRITE, &info, 0);
  if (file_ == nullptr) throw ToolError(output.Path() + ": " + sf_strerror(nullptr));
}

SoundFileWriter::~SoundFileWriter() {
  if (file_ != nullptr) sf_close(file_);
}

void SoundFileWriter::Check(sf_count_t written, size_t frames) {
  if (written != static_cast<sf_count_t>(frames)) throw ToolError(output_.Path() + ": " + sf_strerror(file_));
}

void SoundFileWriter::Write(const int16_t* samples, size_t frames) {
  Check(sf_writef_short(file_, samples, static_cast<sf_count_t>(frames)), frames);
}

void SoundFileWriter::Write(const int32_t* samples, size_t frames) {
  Check(sf_writef_int(file_, samples, static_cast<sf_count_t>(frames)), frames);
}

void SoundFileWriter::Finish() {
  const int status = sf_close(file_);
  file_ = nullptr;
  if (status != 0) throw ToolError(output_.Path() + ": " + sf_error_number(status));
  output_.Commit();
}

}  // namespace corvane::tool
