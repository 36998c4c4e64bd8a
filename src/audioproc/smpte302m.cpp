#include "audioproc/smpte302m.h"

#include <algorithm>
#include <array>

namespace {

// Every payload byte behind the header travels with its bits in reverse order
// (SMPTE ST 302 as mapped into MPEG-2 transport streams).
constexpr std::array<uint8_t, 256> MakeBitReversal() {
  std::array<uint8_t, 256> table{};
  for (unsigned value = 0; value < 256; ++value) {
    unsigned reversed = 0;
    for (unsigned bit = 0; bit < 8; ++bit) {
      if ((value >> bit) & 1u) reversed |= 0x80u >> bit;
    }
    table[value] = static_cast<uint8_t>(reversed);
  }
  return table;
}

constexpr std::array<uint8_t, 256> kBitReversal = MakeBitReversal();

constexpr uint8_t R(uint8_t byte) { return kBitReversal[byte]; }

constexpr unsigned kHeaderBytes = 4;

unsigned BytesPerPair(unsigned bitsPerSample) {
  switch (bitsPerSample) {
    case 16: return 5;
    case 20: return 6;
    case 24: return 7;
    default: return 0;  // the reserved code carries no samples
  }
}

int32_t SignExtend24(uint32_t value) {
  return static_cast<int32_t>(value & 0x7FFFFFu) - static_cast<int32_t>(value & 0x800000u);
}

// Both samples of a pair as 24-bit values, the shorter sizes at the top.
void UnpackPair16(const unsigned char* d, uint32_t& lower, uint32_t& upper) {
  lower = (R(d[1]) << 16) | (R(d[0]) << 8);
  upper = (((R(d[4]) & 0x0Fu) << 12) | (R(d[3]) << 4) | (R(d[2]) >> 4)) << 8;
}

void UnpackPair20(const unsigned char* d, uint32_t& lower, uint32_t& upper) {
  lower = (((R(d[2]) & 0x0Fu) << 16) | (R(d[1]) << 8) | R(d[0])) << 4;
  upper = (((R(d[5]) & 0x0Fu) << 16) | (R(d[4]) << 8) | R(d[3])) << 4;
}

void UnpackPair24(const unsigned char* d, uint32_t& lower, uint32_t& upper) {
  lower = (R(d[2]) << 16) | (R(d[1]) << 8) | R(d[0]);
  upper = ((((R(d[6]) & 0x0Fu) << 16) | (R(d[5]) << 8) | R(d[4])) << 4) | (R(d[3]) >> 4);
}

// One 20-bit sample as three bit-reversed bytes; the four bits behind it
// (validity, user, channel status, frame alignment) stay 0.
void Pack20(int32_t value, unsigned char* out) {
  out[0] = R(static_cast<uint8_t>(value & 0xFF));
  out[1] = R(static_cast<uint8_t>((value >> 8) & 0xFF));
  out[2] = R(static_cast<uint8_t>((value >> 16) & 0x0F));
}

int32_t To20Bits(double sample) { return static_cast<int32_t>(static_cast<int64_t>(sample * 524287.0)); }

void AppendUnitHeader(unsigned samples, CAudioFrame* frame) {
  const unsigned packetSize = samples * 6;
  // audio_packet_size (16), number_channels 0 (2), channel_identification 0
  // (8), bits_per_sample 1 (2), alignment_bits 0 (4).
  const uint8_t header[kHeaderBytes] = {static_cast<uint8_t>(packetSize >> 8), static_cast<uint8_t>(packetSize),
                                        0x00, 0x10};
  frame->AppendData(header, kHeaderBytes);
}

}  // namespace

CSMPTE302MDecode::CSMPTE302MDecode() : channelSamples(8, std::vector<int32_t>(kMaxSamplesPerChannel)) {}

int64_t CSMPTE302MDecode::ReadHeader(const unsigned char* payload) {
  CBitReader reader(payload);
  audioPacketSize = reader.ReadBits(16);                /* audio_packet_size */
  numberChannels = reader.ReadBits(2) * 2 + 2;          /* number_channels */
  channelIdentification = reader.ReadBits(8);           /* channel_identification */
  bitsPerSample = reader.ReadBits(2) * 4 + 16;          /* bits_per_sample */
  reader.ReadBits(4);                                   /* alignment_bits */
  const unsigned pairBytes = BytesPerPair(bitsPerSample);
  const unsigned pairs = pairBytes == 0 ? 0 : audioPacketSize / pairBytes;
  samplesPerChannel = pairs / (numberChannels / 2);
  return static_cast<int64_t>(samplesPerChannel) * 90000 / 48000;
}

unsigned CSMPTE302MDecode::DecodeFrame(const unsigned char* payload) {
  ReadHeader(payload);
  if (samplesPerChannel > kMaxSamplesPerChannel) return 0;
  DecodePairs(payload + kHeaderBytes);
  return samplesPerChannel;
}

void CSMPTE302MDecode::DecodePairs(const unsigned char* samples) {
  const unsigned pairBytes = BytesPerPair(bitsPerSample);
  if (pairBytes == 0) return;
  void (*unpack)(const unsigned char*, uint32_t&, uint32_t&) =
      bitsPerSample == 16 ? UnpackPair16 : bitsPerSample == 20 ? UnpackPair20 : UnpackPair24;
  for (unsigned index = 0; index < samplesPerChannel; ++index) {
    for (unsigned channel = 0; channel < numberChannels; channel += 2, samples += pairBytes) {
      uint32_t lower = 0;
      uint32_t upper = 0;
      unpack(samples, lower, upper);
      channelSamples[channel][index] = SignExtend24(lower);
      channelSamples[channel + 1][index] = SignExtend24(upper);
    }
  }
}

unsigned CSMPTE302MDecode::GetSamples(std::vector<std::vector<double>>& channels) const {
  if (channels.size() < numberChannels) channels.resize(numberChannels);
  for (unsigned channel = 0; channel < numberChannels; ++channel) {
    if (channels[channel].size() < samplesPerChannel) channels[channel].resize(samplesPerChannel);
    for (unsigned index = 0; index < samplesPerChannel; ++index) {
      channels[channel][index] = channelSamples[channel][index] / 8388607.0;
    }
  }
  return samplesPerChannel;
}

void CSMPTE302MDecode::EncodeFrame(std::vector<std::vector<double>>& channels, unsigned samples, double gain,
                                   CAudioFrame* frame) {
  // Gains this close to 1 are taken as 1, so a pass-through is bit exact.
  const bool applyGain = gain < 0.99 || gain > 1.01;
  frame->payloadLength = 0;
  unsigned done = 0;
  do {
    const unsigned unitSamples = std::min(samples - done, kMaxEncodedSamples);
    AppendUnitHeader(unitSamples, frame);
    std::vector<unsigned char> pairs(unitSamples * 6);
    for (unsigned i = 0; i < unitSamples; ++i) {
      double left = channels[0][done + i];
      double right = channels[1][done + i];
      if (applyGain) {
        left *= gain;
        right *= gain;
      }
      Pack20(To20Bits(left), &pairs[6 * i]);
      Pack20(To20Bits(right), &pairs[6 * i + 3]);
    }
    frame->AppendData(pairs.data(), static_cast<unsigned>(pairs.size()));
    done += unitSamples;
  } while (done < samples);
  frame->audioType = AUDIO_FRAME_SMPTE302M;
  frame->audioWordA = 0;
  frame->channels = 2;
  frame->bitsPerSample = 20;
  frame->samplingRate = 48000;
}
