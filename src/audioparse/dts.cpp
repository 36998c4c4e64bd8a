// DTS core frame headers (ETSI TS 102 114), 16-bit big-endian sync form.
#include "audioparse/audio_support.h"

namespace {

constexpr uint32_t kDTSSyncWord = 0x7FFE8001;
// A frame shorter than 96 bytes is invalid.
constexpr uint32_t kMinimumFSIZE = 95;

}  // namespace

uint32_t CAudioSupport::ReadDTSParameters(CAudioStreamParameters* params, const uint8_t* data) {
  CBitReader reader(data);
  if (reader.ReadBits(32) != kDTSSyncWord) return 0;  // SYNC
  reader.ReadBit();                                     // FTYPE
  reader.ReadBits(5);                                   // SHORT
  const uint32_t cpf = reader.ReadBit();                // CPF
  const uint32_t nblks = reader.ReadBits(7);            // NBLKS
  const uint32_t fsize = reader.ReadBits(14);           // FSIZE
  if (fsize < kMinimumFSIZE) return 0;
  const uint32_t amode = reader.ReadBits(6);  // AMODE
  const uint32_t sfreq = reader.ReadBits(4);  // SFREQ
  const uint32_t rate = reader.ReadBits(5);   // RATE
  reader.ReadBit();                           // FixedBit
  reader.ReadBit();                           // DYNF
  reader.ReadBit();                           // TIMEF
  reader.ReadBit();                           // AUXF
  reader.ReadBit();                           // HDCD
  reader.ReadBits(3);                         // EXT_AUDIO_ID
  reader.ReadBit();                           // EXT_AUDIO
  reader.ReadBit();                           // ASPF
  reader.ReadBits(2);                         // LFF
  reader.ReadBit();                           // HFLAG
  if (cpf == 1) reader.ReadBits(16);          // HCRC
  reader.ReadBit();                           // FILTS
  reader.ReadBits(4);                         // VERNUM
  reader.ReadBits(2);                         // CHIST
  const uint32_t pcmr = reader.ReadBits(3);   // PCMR

  params->samplingRate = DTSAudioSampleRates[sfreq];
  if (params->samplingRate == 0) return 0;
  params->bitRateCode = 0;
  // AMODE above 15 (user defined) and PCMR 7 have no table value.
  params->bitsPerSample = pcmr < 7 ? static_cast<int32_t>(DTSAudioQuantization[pcmr]) : 0;
  params->streamType = AUDIO_STREAM_DTS;
  params->frameSize = fsize + 1;
  params->channels = amode < 16 ? static_cast<int32_t>(DTSAudioNumChannels[amode]) : 0;
  params->lfe = amode != 0 ? 1 : 0;
  params->bitRate = DTSAudioBitrates[rate];
  ComputeDTSAudioFrameDurationTicks(*params, static_cast<int32_t>(nblks));
  return params->frameSize;
}

void CAudioSupport::ComputeDTSAudioFrameDurationTicks(CAudioStreamParameters& params, int32_t blocks) {
  if (params.samplingRate == 0) return;
  // NBLKS counts blocks of 32 samples, less one.
  params.SetFrameDuration(32 * (static_cast<uint64_t>(blocks) + 1), params.samplingRate);
}

int32_t CAudioSupport::GetDTSFrameSize(const uint8_t* data) {
  CBitReader reader(data);
  reader.ReadBits(32);                         // SYNC
  reader.ReadBits(14);                         // FTYPE, SHORT, CPF, NBLKS
  const uint32_t fsize = reader.ReadBits(14);  // FSIZE
  return fsize < kMinimumFSIZE ? 0 : static_cast<int32_t>(fsize + 1);
}

int32_t CAudioSupport::GetDTSSamplingRate(const uint8_t* data) {
  CBitReader reader(data);
  reader.ReadBits(32);                         // SYNC
  reader.ReadBits(28);                         // FTYPE, SHORT, CPF, NBLKS, FSIZE
  reader.ReadBits(6);                          // AMODE
  const uint32_t sfreq = reader.ReadBits(4);   // SFREQ
  return static_cast<int32_t>(DTSAudioSampleRates[sfreq]);
}

int32_t CAudioSupport::GetNumberOfDTSChannels(const uint8_t* data) {
  CBitReader reader(data);
  reader.ReadBits(32);                         // SYNC
  reader.ReadBits(28);                         // FTYPE, SHORT, CPF, NBLKS, FSIZE
  const uint32_t amode = reader.ReadBits(6);   // AMODE
  return amode < 16 ? static_cast<int32_t>(DTSAudioNumChannels[amode]) : 0;
}
