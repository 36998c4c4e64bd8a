// SMPTE ST 302 payloads as carried in an MPEG-2 transport stream: a 4-byte
// header, then for every sample and every pair of channels 5, 6 or 7 bytes
// holding two samples of 16, 20 or 24 bits, each byte bit-reversed.
#pragma once

#include <cstdint>
#include <vector>

#include "core/frame.h"

// Unpacks SMPTE 302M units into 24-bit samples per channel, and packs two
// channels back into a 20-bit stereo unit. The decoder trusts its caller: the
// payload must hold the 4 + audio_packet_size bytes its header announces.
class CSMPTE302MDecode {
 public:
  // Most samples a channel that one unit may carry.
  static constexpr unsigned kMaxSamplesPerChannel = 16384;
  // Most samples a channel that fit one 20-bit stereo unit: its
  // audio_packet_size (6 bytes a sample) is a 16-bit field.
  static constexpr unsigned kMaxEncodedSamples = 0xFFFF / 6;

  // Sizes channelSamples: eight channels of kMaxSamplesPerChannel.
  CSMPTE302MDecode();
  virtual ~CSMPTE302MDecode() = default;

  // Decodes one unit into channelSamples. Returns samplesPerChannel, or 0 for
  // a unit of more than kMaxSamplesPerChannel samples a channel or of the
  // reserved sample size, of which nothing is decoded.
  unsigned DecodeFrame(const unsigned char* payload);
  // Takes the header fields of a unit. Returns its duration at 48 kHz in
  // whole ticks of the 90 kHz clock, truncated: 256 samples are 480 ticks.
  int64_t ReadHeader(const unsigned char* payload);
  // The decoded samples of every channel of the last unit on a scale of
  // 8388607 (24-bit full scale) to 1.0. `channels` grows to hold them.
  // Returns samplesPerChannel.
  unsigned GetSamples(std::vector<std::vector<double>>& channels) const;
  // Packs `samples` samples of channels[0] and [1] as 20-bit stereo into
  // frame's payload (which is emptied first) and marks the frame as 48 kHz
  // 302M stereo of 20 bits. A gain outside 0.99 to 1.01 scales the samples.
  // Values are truncated to 20 bits, never clipped. A block longer than
  // kMaxEncodedSamples goes out as several units one behind the other.
  static void EncodeFrame(std::vector<std::vector<double>>& channels, unsigned samples, double gain,
                          CAudioFrame* frame);

  std::vector<std::vector<int32_t>> channelSamples;  // sign-extended from 24 bits
  unsigned audioPacketSize = 0;                      // bytes of samples behind the header
  unsigned numberChannels = 0;                       // 2, 4, 6 or 8
  unsigned channelIdentification = 0;
  unsigned bitsPerSample = 0;  // 16, 20, 24, or 28 for the reserved code
  unsigned samplesPerChannel = 0;

 private:
  void DecodePairs(const unsigned char* samples);
};
