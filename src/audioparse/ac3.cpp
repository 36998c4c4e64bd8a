// AC-3 and E-AC-3 syncframe headers (ATSC A/52 and its Annex E).
#include "audioparse/audio_support.h"

namespace {

constexpr uint32_t kAC3SyncWord = 0x0B77;
constexpr uint64_t kAC3SamplesPerFrame = 1536;

// Three full-range channels at 32 kHz cannot fill a frame above 2020 bytes:
// such a header is taken for a false sync.
bool IsImplausibleAt32kHz(const CAudioStreamParameters& params) {
  return params.channels == 3 && params.samplingRate == 32000 && params.frameSize > 2020;
}

}  // namespace

uint32_t CAudioSupport::ComputeAC3AudioFrameSize(CAudioStreamParameters& params, int32_t frameSizeCode,
                                                 int32_t samplingRate) {
  if (frameSizeCode < 0 || frameSizeCode > 37 || samplingRate <= 0) return 0;
  const uint32_t rate = static_cast<uint32_t>(samplingRate);
  params.bitRate = AC3AudioBitrates[frameSizeCode / 2] * 1000;
  // 192 = 2 bytes a word * 1536 samples / 16 bits a word.
  if (rate != 44100) return params.bitRate * 192 / rate;
  // At 44.1 kHz the two codes of a bit rate differ by one word, so that a
  // stream can alternate between them and keep its nominal rate.
  uint32_t words = params.bitRate * 96 / 44100;
  if (frameSizeCode % 2 == 1) ++words;
  return 2 * words;
}

void CAudioSupport::ComputeAC3AudioFrameDurationTicks(CAudioStreamParameters& params) {
  if (params.samplingRate == 0) return;
  params.SetFrameDuration(kAC3SamplesPerFrame, params.samplingRate);
}

uint32_t CAudioSupport::ReadAC3Parameters(CAudioStreamParameters* params, const uint8_t* data) {
  CBitReader reader(data);
  if (reader.ReadBits(16) != kAC3SyncWord) return 0;  // syncword
  reader.ReadBits(16);                                  // crc1
  const uint32_t fscod = reader.ReadBits(2);            // fscod
  const uint32_t frmsizecod = reader.ReadBits(6);       // frmsizecod

  params->samplingRate = AC3AudioSampleRates[fscod];
  params->bitRateCode = static_cast<int32_t>(frmsizecod);
  params->bitsPerSample = 16;
  params->alternateFlag = 0;
  params->alternateChannels = 0;
  params->streamType = AUDIO_STREAM_AC3;
  params->channels = 0;
  params->lfe = 0;
  params->frameSize =
      ComputeAC3AudioFrameSize(*params, static_cast<int32_t>(frmsizecod), static_cast<int32_t>(params->samplingRate));
  ComputeAC3AudioFrameDurationTicks(*params);
  if (params->frameSize == 0) return 0;

  reader.ReadBits(5);                              // bsid
  reader.ReadBits(3);                              // bsmod
  const uint32_t acmod = reader.ReadBits(3);       // acmod
  params->channels = static_cast<int32_t>(AC3NumChannels[acmod]);
  if (IsImplausibleAt32kHz(*params)) return 0;
  if ((acmod & 1) != 0 && acmod != 1) reader.ReadBits(2);  // cmixlev
  if ((acmod & 4) != 0) reader.ReadBits(2);                // surmixlev
  if (acmod == 2) reader.ReadBits(2);                      // dsurmod
  params->lfe = static_cast<int32_t>(reader.ReadBit());    // lfeon
  return params->frameSize;
}

uint32_t CAudioSupport::ReadEAC3Parameters(CAudioStreamParameters* params, const uint8_t* data) {
  CBitReader reader(data);
  if (reader.ReadBits(16) != kAC3SyncWord) return 0;  // syncword
  reader.ReadBits(2);                                   // strmtyp
  reader.ReadBits(3);                                   // substreamid
  const uint32_t frmsiz = reader.ReadBits(11);          // frmsiz
  const uint32_t fscod = reader.ReadBits(2);            // fscod
  const uint32_t numblkscod = reader.ReadBits(2);       // numblkscod (fscod2 when fscod is 3)
  const uint32_t acmod = reader.ReadBits(3);            // acmod
  const uint32_t lfeon = reader.ReadBit();              // lfeon

  // Frames at the reduced rates are refused: fscod2 is never looked at.
  params->samplingRate = AC3AudioSampleRates[fscod];
  if (params->samplingRate == 0) return 0;
  params->bitRateCode = 0;
  params->bitsPerSample = 16;
  params->streamType = AUDIO_STREAM_EAC3;
  params->channels = static_cast<int32_t>(AC3NumChannels[acmod]);
  params->lfe = static_cast<int32_t>(lfeon);
  params->frameSize = 2 * frmsiz + 2;
  // Timed as 1536 samples whatever numblkscod says.
  ComputeAC3AudioFrameDurationTicks(*params);
  if (params->frameSize < 10) return 0;

  static constexpr int kBlocksPerFrame[4] = {1, 2, 3, 6};
  params->bitRate = static_cast<uint32_t>(params->frameSize * 8.0 * params->samplingRate /
                                          (256.0 * kBlocksPerFrame[numblkscod]));
  if (IsImplausibleAt32kHz(*params)) return 0;
  return params->frameSize;
}

uint32_t CAudioSupport::GetEAC3AudioFrameSize(const uint8_t* data, uint32_t available) {
  if (available < 4) return 0;
  CBitReader reader(data + 2);
  reader.ReadBits(5);                           // strmtyp, substreamid
  const uint32_t frmsiz = reader.ReadBits(11);  // frmsiz
  return 2 * frmsiz + 2;
}

int32_t CAudioSupport::GetNumberOfAC3Channels(const uint8_t* data) {
  CBitReader reader(data + 6);
  const uint32_t acmod = reader.ReadBits(3);  // acmod
  return static_cast<int32_t>(AC3NumChannels[acmod]);
}

int32_t CAudioSupport::GetNumberOfEAC3Channels(const uint8_t* data) {
  CBitReader reader(data + 4);
  reader.ReadBits(4);                         // fscod, numblkscod
  const uint32_t acmod = reader.ReadBits(3);  // acmod
  const uint32_t lfeon = reader.ReadBit();    // lfeon
  return static_cast<int32_t>(AC3NumChannels[acmod] + lfeon);
}
