#include "audio_probe.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "audioparse/audio_support.h"
#include "command.h"
#include "progress.h"

namespace corvane::tool {
namespace {

constexpr size_t kReadChunk = 1 << 16;
constexpr uint64_t kProgressStep = 1 << 20;

// Everything a parser may remember between frames: the MPEG parser keeps
// the last header in the parameters, LATM its configuration.
struct StreamState {
  CAudioStreamParameters params;
  CAudioSupport::CAAC_LATMReader latm;
};

struct AudioFormat {
  const char* name;
  uint32_t syncWord;
  int syncBits;
  size_t headerBytes;  // every byte the parser reads, counted from the sync
  // The frame's length in bytes, 0 when the bytes behind the sync are no
  // frame of this format. The header's bytes are guaranteed.
  uint32_t (*parse)(const uint8_t* data, StreamState& state);
};

// The bytes of the stream from some offset on, read in chunks. Bytes before
// the offset last released are dropped.
class StreamWindow {
 public:
  StreamWindow(FILE* in, const std::string& name, Progress* progress) : in_(in), name_(name), progress_(progress) {}

  // Makes up to `count` bytes from `offset` resident; returns how many the
  // stream has there.
  size_t Available(uint64_t offset, size_t count) {
    while (!ended_ && base_ + bytes_.size() < offset + count) ReadChunk();
    const uint64_t end = base_ + bytes_.size();
    return offset >= end ? 0 : static_cast<size_t>(std::min<uint64_t>(count, end - offset));
  }

  const uint8_t* At(uint64_t offset) const { return bytes_.data() + (offset - base_); }

  void Release(uint64_t offset) {
    if (offset - base_ < kReadChunk) return;
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(offset - base_));
    base_ = offset;
  }

  uint64_t BytesRead() const { return base_ + bytes_.size(); }

 private:
  void ReadChunk() {
    const size_t old = bytes_.size();
    bytes_.resize(old + kReadChunk);
    const size_t got = std::fread(bytes_.data() + old, 1, kReadChunk, in_);
    bytes_.resize(old + got);
    if (got < kReadChunk) {
      if (std::ferror(in_)) throw ToolError(name_ + ": read failed: " + std::strerror(errno));
      ended_ = true;
      // The buffer ends exactly where the stream does, so that a read past
      // the end is caught by the sanitizers.
      bytes_.shrink_to_fit();
    }
    if (progress_ != nullptr && BytesRead() / kProgressStep != (BytesRead() - got) / kProgressStep) {
      progress_->Update(BytesRead());
    }
  }

  FILE* in_;
  const std::string& name_;
  Progress* progress_;
  std::vector<uint8_t> bytes_;
  uint64_t base_ = 0;
  bool ended_ = false;
};

void ClearDuration(CAudioStreamParameters& params) {
  params.frameDurationTicks = 0;
  params.frameDurationFraction = 0;
}

// Which of the two AC-3 syntaxes a syncframe follows: bsid up to 10 is AC-3
// (9 and 10 its low-rate variants), 11 to 16 E-AC-3.
uint32_t ReadBsid(const uint8_t* data) {
  CBitReader reader(data);
  reader.ReadBits(32);         // syncword, crc1 | strmtyp, substreamid, frmsiz
  reader.ReadBits(8);          // fscod, frmsizecod | fscod, numblkscod, acmod, lfeon
  return reader.ReadBits(5);   // bsid
}

uint32_t ParseAC3(const uint8_t* data, StreamState& state) {
  if (ReadBsid(data) > 10) return 0;
  return CAudioSupport::ReadAC3Parameters(&state.params, data);
}

uint32_t ParseEAC3(const uint8_t* data, StreamState& state) {
  const uint32_t bsid = ReadBsid(data);
  if (bsid < 11 || bsid > 16) return 0;
  const uint32_t size = CAudioSupport::ReadEAC3Parameters(&state.params, data);
  CBitReader reader(data);
  reader.ReadBits(16);                          // syncword
  const uint32_t strmtyp = reader.ReadBits(2);  // strmtyp
  // A dependent substream adds channels to the frame before it, not time.
  if (strmtyp == 1) ClearDuration(state.params);
  return size;
}

uint32_t ParseDTS(const uint8_t* data, StreamState& state) { return CAudioSupport::ReadDTSParameters(&state.params, data); }

uint32_t ParseMPEGAudio(const uint8_t* data, StreamState& state) {
  const int32_t size = CAudioSupport::ParseMP2ADTSHeader(state.params, data, false);
  return size > 0 ? static_cast<uint32_t>(size) : 0;
}

// Full-range channels and LFE of an AAC channel configuration; a count from
// a program_config_element has no LFE known.
void SetAACChannels(CAudioStreamParameters& params, int32_t configuration) {
  static constexpr int32_t kFullRange[8] = {0, 1, 2, 3, 4, 5, 5, 7};
  const bool known = configuration >= 0 && configuration < 8;
  params.channels = known ? kFullRange[configuration] : configuration;
  params.lfe = configuration == 6 || configuration == 7 ? 1 : 0;
}

void SetAACDuration(CAudioStreamParameters& params, uint32_t rawDataBlocks) {
  if (params.samplingRate == 0) return ClearDuration(params);
  if (rawDataBlocks == 1) return CAudioSupport::ComputeAACAudioFrameDurationTicks(params);
  params.SetFrameDuration(1024ull * rawDataBlocks * (params.aacDoubleRate == 1 ? 2 : 1), params.samplingRate);
}

uint32_t ParseADTS(const uint8_t* data, StreamState& state) {
  CBitReader reader(data);
  CAudioSupport::CADTS_Header header;
  if (CAudioSupport::CheckForADTSAACAudioHeader(&reader, &header) != S_OK) return 0;
  const int32_t headerSize = header.protection_absent ? 7 : 9;
  const int32_t rate = CAudioSupport::CAAC_Config::SamplingFrequencies[header.sampling_frequency_index];
  if (rate == 0 || header.aac_frame_length < headerSize) return 0;
  CAudioStreamParameters& params = state.params;
  params.samplingRate = static_cast<uint32_t>(rate);
  params.bitRate = 0;
  params.aacDoubleRate = 0;
  SetAACChannels(params, header.channel_configuration);
  SetAACDuration(params, static_cast<uint32_t>(header.number_of_raw_data_blocks_in_frame) + 1);
  return static_cast<uint32_t>(header.aac_frame_length);
}

// The LATM reader has no bound: a configuration can reach about 5 KB past
// its start whatever the frame says (16 streams of the largest
// AudioSpecificConfig and fill), and its loops over escape flags and 255
// bytes stop at the first zero byte. So it reads a copy of the element
// followed by this many zero bytes.
constexpr size_t kLATMReadReach = 16384;
constexpr uint32_t kLargestLOASPayload = 8191;

void ReadLATMConfiguration(const uint8_t* payload, uint32_t length, StreamState& state) {
  std::vector<uint8_t> element(length + kLATMReadReach, 0);
  std::memcpy(element.data(), payload, length);
  CBitReader reader(element.data());
  state.latm.AudioMuxElement(reader, 1, length);
  CAudioStreamParameters& params = state.params;
  params.bitRate = 0;
  if (!state.latm.configured) return ClearDuration(params);
  const CAudioSupport::CAAC_Config& config = state.latm.configs[0];
  params.samplingRate = config.samplingFrequency > 0 ? static_cast<uint32_t>(config.samplingFrequency) : 0;
  params.aacDoubleRate = config.sbrPresentFlag == 1 ? 1 : 0;
  SetAACChannels(params, config.channelConfiguration);
  SetAACDuration(params, 1);
}

uint32_t ParseLOAS(const uint8_t* data, StreamState& state) {
  CBitReader reader(data);
  reader.ReadBits(11);                          // syncword
  const uint32_t length = reader.ReadBits(13);  // audioMuxLengthBytes
  if (length == 0) return 0;
  ReadLATMConfiguration(data + 3, length, state);
  return length + 3;
}

// In the order in which they are tried at one offset.
const AudioFormat kFormats[] = {
    {"ac3", 0x0B77, 16, 8, ParseAC3},
    {"eac3", 0x0B77, 16, 8, ParseEAC3},
    {"dts", 0x7FFE8001, 32, 15, ParseDTS},
    {"aac-adts", 0xFFF, 12, 9, ParseADTS},
    {"mpeg1-layer", 0x7FF, 11, 4, ParseMPEGAudio},
    {"aac-latm", 0x2B7, 11, 3 + kLargestLOASPayload, ParseLOAS},
};

size_t SyncBytes(const AudioFormat& format) { return static_cast<size_t>(format.syncBits + 7) / 8; }

bool StartsWithSync(StreamWindow& window, uint64_t offset, const AudioFormat& format) {
  const size_t syncBytes = SyncBytes(format);
  if (window.Available(offset, syncBytes) < syncBytes) return false;
  CBitReader reader(window.At(offset));
  return reader.ReadBits(format.syncBits) == format.syncWord;
}

// Parses the frame at `offset`. Where the stream ends inside the header's
// reach, the parser reads a zero-padded copy of what is left.
uint32_t ParseAt(StreamWindow& window, uint64_t offset, const AudioFormat& format, StreamState& state) {
  if (!StartsWithSync(window, offset, format)) return 0;
  const size_t available = window.Available(offset, format.headerBytes);
  if (available == format.headerBytes) return format.parse(window.At(offset), state);
  std::vector<uint8_t> tail(format.headerBytes, 0);
  std::memcpy(tail.data(), window.At(offset), available);
  return format.parse(tail.data(), state);
}

// A frame counts as found only when the next one follows it, or the stream
// ends behind it before a next sync word could. The parser state is tried
// on a copy.
bool IsConfirmedFrame(StreamWindow& window, uint64_t offset, const AudioFormat& format, const StreamState& state) {
  if (!StartsWithSync(window, offset, format)) return false;
  StreamState trial = state;
  const uint32_t size = ParseAt(window, offset, format, trial);
  if (size == 0) return false;
  const size_t available = window.Available(offset, size + SyncBytes(format));
  if (available < size) return false;
  if (available < size + SyncBytes(format)) return true;
  return ParseAt(window, offset + size, format, trial) != 0;
}

struct SyncPoint {
  uint64_t offset;
  const AudioFormat* format;
};

std::optional<SyncPoint> FindSync(StreamWindow& window, uint64_t from, const AudioFormat* only,
                                  const StreamState& state) {
  for (uint64_t offset = from; window.Available(offset, 1) != 0; ++offset) {
    window.Release(offset);
    for (const AudioFormat& format : kFormats) {
      if (only != nullptr && only != &format) continue;
      if (IsConfirmedFrame(window, offset, format, state)) return SyncPoint{offset, &format};
    }
  }
  return std::nullopt;
}

std::string FormatName(const AudioFormat& format, const CAudioStreamParameters& params) {
  if (format.parse != ParseMPEGAudio) return format.name;
  // Layer codes 3, 2, 1 are Layers I, II, III.
  return std::string(format.name) + std::to_string(4 - params.mpegLayer);
}

// Takes the stream's description from its first frame that has one, and
// keeps whether every frame gave the same bit rate.
class ReportBuilder {
 public:
  explicit ReportBuilder(ProbeReport& report) : report_(report) {}

  void AddFrame(const AudioFormat& format, uint64_t offset, uint32_t size, const CAudioStreamParameters& params) {
    if (report_.frames.empty()) report_.format = FormatName(format, params);
    if (report_.sampleRate == 0 && params.samplingRate != 0) {
      report_.sampleRate = params.samplingRate;
      report_.channels = params.channels;
      report_.lfe = params.lfe;
    }
    if (report_.frames.empty()) headerRate_ = params.bitRate;
    if (params.bitRate != headerRate_) headerRate_ = 0;
    report_.frames.push_back({offset, size, params.frameDurationTicks, params.frameDurationFraction});
    report_.durationMilliTicks += uint64_t{params.frameDurationTicks} * 1000 + params.frameDurationFraction;
    frameBytes_ += size;
  }

  void Finish() {
    report_.bitRate = headerRate_;
    const double seconds = report_.DurationSeconds();
    if (headerRate_ == 0 && seconds > 0) report_.bitRate = static_cast<uint32_t>(frameBytes_ * 8 / seconds + 0.5);
  }

 private:
  ProbeReport& report_;
  uint32_t headerRate_ = 0;
  uint64_t frameBytes_ = 0;
};

}  // namespace

uint32_t ProbeReport::SmallestFrame() const {
  uint32_t smallest = frames.empty() ? 0 : UINT32_MAX;
  for (const ProbedFrame& frame : frames) smallest = std::min(smallest, frame.size);
  return smallest;
}

uint32_t ProbeReport::LargestFrame() const {
  uint32_t largest = 0;
  for (const ProbedFrame& frame : frames) largest = std::max(largest, frame.size);
  return largest;
}

ProbeReport ProbeAudioStream(FILE* in, const std::string& name, Progress* progress) {
  StreamWindow window(in, name, progress);
  ProbeReport report;
  ReportBuilder builder(report);
  StreamState state;
  const AudioFormat* format = nullptr;
  uint64_t offset = 0;
  while (window.Available(offset, 1) != 0) {
    window.Release(offset);
    // A parser may leave its state changed when it refuses a frame: it
    // works on a copy that is kept only when the frame is taken.
    StreamState next = state;
    const uint32_t size = format != nullptr ? ParseAt(window, offset, *format, next) : 0;
    if (size == 0) {
      // Not started yet, or out of step: garbage up to the next confirmed frame.
      const std::optional<SyncPoint> sync = FindSync(window, offset, format, state);
      const uint64_t resumeAt = sync ? sync->offset : window.BytesRead();
      report.skippedBytes += resumeAt - offset;
      if (resumeAt != offset) ++report.skippedRuns;
      if (!sync) break;
      format = sync->format;
      offset = sync->offset;
      continue;
    }
    const size_t available = window.Available(offset, size);
    if (available < size) {
      report.cut = true;
      report.cutOffset = offset;
      report.cutSize = size;
      report.cutAvailable = static_cast<uint32_t>(available);
      break;
    }
    state = next;
    builder.AddFrame(*format, offset, size, state.params);
    offset += size;
  }
  report.streamBytes = window.BytesRead();
  builder.Finish();
  return report;
}

}  // namespace corvane::tool
