// AAC transport and configuration: ADTS headers (ISO/IEC 13818-7), the LOAS
// sync search, LATM's StreamMuxConfig and AudioSpecificConfig (ISO/IEC 14496-3).
#include "audioparse/audio_support.h"

namespace {

constexpr uint32_t kADTSSyncWord = 0xFFF;
constexpr uint32_t kLOASSyncWord = 0x2B7;
constexpr int32_t kMinimumLOASSearch = 20;
constexpr int32_t kMaxLATMStreams = 16;
constexpr int32_t kEscapeObjectType = 31;
constexpr int32_t kExplicitFrequencyIndex = 15;
constexpr int32_t kSBRObjectType = 5;

int64_t BitPosition(const CBitReader& reader) { return int64_t{reader.byteIndex} * 8 + reader.bitIndex; }

// Moves the reader on without reading: skipped fill bits may be many.
void SkipBits(CBitReader& reader, int64_t bits) {
  const int64_t position = BitPosition(reader) + bits;
  reader.byteIndex = static_cast<int32_t>(position / 8);
  reader.bitIndex = static_cast<int32_t>(position % 8);
}

bool IsLOASSync(const uint8_t* data) {
  CBitReader reader(data);
  return reader.ReadBits(11) == kLOASSyncWord;  // syncword
}

// LatmGetValue(): bytesForValue, then that many bytes plus one, most
// significant first.
uint32_t LatmGetValue(CBitReader& reader) {
  const uint32_t bytesForValue = reader.ReadBits(2);  // bytesForValue
  uint32_t value = 0;
  for (uint32_t i = 0; i <= bytesForValue; ++i) value = (value << 8) | reader.ReadBits(8);  // valueTmp
  return value;
}

// A MuxSlotLengthBytes: bytes summed up to and including the first that is
// not 255.
int32_t ReadMuxSlotLengthBytes(CBitReader& reader) {
  int32_t length = 0;
  uint32_t tmp = 0;
  do {
    tmp = reader.ReadBits(8);  // tmp
    length += static_cast<int32_t>(tmp);
  } while (tmp == 255);
  return length;
}

bool IsCodedSlotLength(uint8_t frameLengthType) {
  return frameLengthType == 3 || frameLengthType == 5 || frameLengthType == 7;
}

int32_t ReadAudioObjectType(CBitReader& reader) {
  const int32_t audioObjectType = static_cast<int32_t>(reader.ReadBits(5));  // audioObjectType
  if (audioObjectType != kEscapeObjectType) return audioObjectType;
  return 32 + static_cast<int32_t>(reader.ReadBits(6));  // audioObjectTypeExt
}

int32_t ReadSamplingFrequency(CBitReader& reader, int32_t index) {
  if (index == kExplicitFrequencyIndex) return static_cast<int32_t>(reader.ReadBits(24));  // samplingFrequency
  return CAudioSupport::CAAC_Config::SamplingFrequencies[index];
}

// The object types whose AudioSpecificConfig carries a GASpecificConfig here
// (20 and 21 are deliberately left out).
bool HasGASpecificConfig(int32_t audioObjectType) {
  switch (audioObjectType) {
    case 1: case 2: case 3: case 4: case 6: case 7: case 17: case 19: case 22: case 23: return true;
    default: return false;
  }
}

void SkipTagList(CBitReader& reader, uint32_t count, bool withFlag) {
  for (uint32_t i = 0; i < count; ++i) {
    if (withFlag) reader.ReadBit();  // *_is_cpe or cc_element_is_ind_sw
    reader.ReadBits(4);              // *_tag_select
  }
}

}  // namespace

HRESULT CAudioSupport::CheckForADTSAACAudioHeader(CBitReader* reader, CADTS_Header* header) {
  if (reader->ReadBits(12) != kADTSSyncWord) return E_FAIL;  // syncword
  header->ID = static_cast<int32_t>(reader->ReadBit());       // ID
  header->layer = static_cast<int32_t>(reader->ReadBits(2));  // layer
  if (header->layer != 0) return E_FAIL;
  header->protection_absent = static_cast<int32_t>(reader->ReadBit());                // protection_absent
  header->profile = static_cast<int32_t>(reader->ReadBits(2));                        // profile
  header->sampling_frequency_index = static_cast<int32_t>(reader->ReadBits(4));       // sampling_frequency_index
  header->private_bit = static_cast<int32_t>(reader->ReadBit());                      // private_bit
  header->channel_configuration = static_cast<int32_t>(reader->ReadBits(3));          // channel_configuration
  header->original_copy = static_cast<int32_t>(reader->ReadBit());                    // original_copy
  header->home = static_cast<int32_t>(reader->ReadBit());                             // home
  header->copyright_identification_bit = static_cast<int32_t>(reader->ReadBit());     // copyright_identification_bit
  header->copyright_identification_start = static_cast<int32_t>(reader->ReadBit());   // copyright_identification_start
  header->aac_frame_length = static_cast<int32_t>(reader->ReadBits(13));              // aac_frame_length
  header->adts_buffer_fullness = static_cast<int32_t>(reader->ReadBits(11));          // adts_buffer_fullness
  header->number_of_raw_data_blocks_in_frame = static_cast<int32_t>(reader->ReadBits(2));  // number_of_raw_data_blocks_in_frame
  if (header->protection_absent == 0) header->crc_check = static_cast<int32_t>(reader->ReadBits(16));  // crc_check
  return S_OK;
}

int32_t CAudioSupport::FindAACLOASHeader(const uint8_t* data, int32_t length, int32_t& frameLength) {
  if (length < kMinimumLOASSearch) return -1;
  for (int32_t i = 0; i < length - 2; ++i) {
    if (!IsLOASSync(data + i)) continue;
    CBitReader reader(data + i);
    reader.ReadBits(11);                                          // syncword
    frameLength = static_cast<int32_t>(reader.ReadBits(13));      // audioMuxLengthBytes
    // The next frame's sync would stand 3 header bytes behind this payload.
    const int32_t next = i + frameLength;
    if (next + 3 > length) return -1;
    if (next + 5 > length) return i;
    if (IsLOASSync(data + next + 3)) return i;
  }
  return -1;
}

void CAudioSupport::ComputeAACAudioFrameDurationTicks(CAudioStreamParameters& params) {
  const uint64_t samples = params.aacDoubleRate == 1 ? 2048 : 1024;
  params.SetFrameDuration(samples, params.samplingRate);
}

uint32_t CAudioSupport::CAAC_Config::Read(CBitReader& reader) {
  const int64_t start = BitPosition(reader);
  sbrPresentFlag = -1;
  audioObjectType = ReadAudioObjectType(reader);
  samplingFrequencyIndex = static_cast<int32_t>(reader.ReadBits(4));  // samplingFrequencyIndex
  samplingFrequency = ReadSamplingFrequency(reader, samplingFrequencyIndex);
  channelConfiguration = static_cast<int32_t>(reader.ReadBits(4));  // channelConfiguration
  if (audioObjectType == kSBRObjectType) {
    // Explicit SBR: the output rate follows. The core's object type is not
    // read, and no GASpecificConfig follows here.
    sbrPresentFlag = 1;
    const int32_t extensionIndex = static_cast<int32_t>(reader.ReadBits(4));  // extensionSamplingFrequencyIndex
    samplingFrequency = ReadSamplingFrequency(reader, extensionIndex);
  }
  if (HasGASpecificConfig(audioObjectType)) ReadGASpecificConfig(reader, start);
  // Implicit SBR: a low-rate stereo or multichannel stream is taken to
  // carry SBR at twice its core rate.
  if (sbrPresentFlag == -1 && samplingFrequency <= 24000 && channelConfiguration > 1) {
    samplingFrequency *= 2;
    sbrPresentFlag = 1;
  }
  return static_cast<uint32_t>(BitPosition(reader) - start);
}

uint32_t CAudioSupport::CAAC_Config::GASpecificConfig(CBitReader& reader) {
  return ReadGASpecificConfig(reader, BitPosition(reader));
}

uint32_t CAudioSupport::CAAC_Config::ReadGASpecificConfig(CBitReader& reader, int64_t configStartBit) {
  const int64_t start = BitPosition(reader);
  reader.ReadBit();                                       // frameLengthFlag
  const uint32_t dependsOnCoreCoder = reader.ReadBit();  // dependsOnCoreCoder
  if (dependsOnCoreCoder) reader.ReadBits(14);            // coreCoderDelay
  const uint32_t extensionFlag = reader.ReadBit();        // extensionFlag
  if (channelConfiguration == 0) ReadProgramConfigElement(reader, configStartBit);
  if (audioObjectType == 6 || audioObjectType == 20) reader.ReadBits(3);  // layerNr
  if (extensionFlag) {
    if (audioObjectType == 22) {
      reader.ReadBits(5);   // numOfSubFrame
      reader.ReadBits(11);  // layer_length
    }
    if (audioObjectType == 17 || audioObjectType == 19 || audioObjectType == 20 || audioObjectType == 23) {
      reader.ReadBit();  // aacSectionDataResilienceFlag
      reader.ReadBit();  // aacScalefactorDataResilienceFlag
      reader.ReadBit();  // aacSpectralDataResilienceFlag
    }
    reader.ReadBit();  // extensionFlag3
  }
  return static_cast<uint32_t>(BitPosition(reader) - start);
}

void CAudioSupport::CAAC_Config::ReadProgramConfigElement(CBitReader& reader, int64_t configStartBit) {
  reader.ReadBits(4);                                                    // element_instance_tag
  audioObjectType = static_cast<int32_t>(reader.ReadBits(2));            // object_type
  samplingFrequencyIndex = static_cast<int32_t>(reader.ReadBits(4));     // sampling_frequency_index
  const uint32_t numFront = reader.ReadBits(4);                          // num_front_channel_elements
  const uint32_t numSide = reader.ReadBits(4);                           // num_side_channel_elements
  const uint32_t numBack = reader.ReadBits(4);                           // num_back_channel_elements
  const uint32_t numLfe = reader.ReadBits(2);                            // num_lfe_channel_elements
  const uint32_t numAssoc = reader.ReadBits(3);                          // num_assoc_data_elements
  const uint32_t numValidCC = reader.ReadBits(4);                        // num_valid_cc_elements
  const uint32_t monoMixdownPresent = reader.ReadBit();                  // mono_mixdown_present
  if (monoMixdownPresent) reader.ReadBits(4);                            // mono_mixdown_element_number
  const uint32_t stereoMixdownPresent = reader.ReadBit();                // stereo_mixdown_present
  if (stereoMixdownPresent) reader.ReadBits(4);                          // stereo_mixdown_element_number
  const uint32_t matrixMixdownIdxPresent = reader.ReadBit();             // matrix_mixdown_idx_present
  if (matrixMixdownIdxPresent) {
    reader.ReadBits(2);  // matrix_mixdown_idx
    reader.ReadBit();    // pseudo_surround_enable
  }

  // A channel pair element carries two channels, a single one one.
  channelConfiguration = static_cast<int32_t>(numLfe);
  for (uint32_t i = 0; i < numFront + numSide + numBack; ++i) {
    channelConfiguration += reader.ReadBit() ? 2 : 1;  // front/side/back_element_is_cpe
    reader.ReadBits(4);                                // front/side/back_element_tag_select
  }
  SkipTagList(reader, numLfe, false);      // lfe_element_tag_select
  SkipTagList(reader, numAssoc, false);    // assoc_data_element_tag_select
  SkipTagList(reader, numValidCC, true);   // cc_element_is_ind_sw, valid_cc_element_tag_select
  // byte_alignment() counts from the start of the AudioSpecificConfig.
  const int64_t misalignment = (BitPosition(reader) - configStartBit) % 8;
  if (misalignment != 0) SkipBits(reader, 8 - misalignment);
  const uint32_t commentFieldBytes = reader.ReadBits(8);  // comment_field_bytes
  for (uint32_t i = 0; i < commentFieldBytes; ++i) reader.ReadBits(8);  // comment_field_data
}

bool CAudioSupport::CAAC_LATMReader::AudioMuxElement(CBitReader& reader, uint32_t muxConfigPresent, uint32_t length) {
  // A configuration carried out of band is not handled.
  if (muxConfigPresent == 0) return false;
  useSameStreamMux = reader.ReadBit() != 0;  // useSameStreamMux
  if (useSameStreamMux) return false;
  if (!StreamMuxConfig(reader, length)) return false;
  configured = true;
  if (audioMuxVersionA != 0) return false;
  for (int32_t i = 0; i <= subFrameCount; ++i) PayloadLengthInfo(reader);
  return true;
}

bool CAudioSupport::CAAC_LATMReader::StreamMuxConfig(CBitReader& reader, uint32_t length) {
  audioMuxVersion = static_cast<int32_t>(reader.ReadBit());  // audioMuxVersion
  audioMuxVersionA = audioMuxVersion == 1 ? static_cast<int32_t>(reader.ReadBit()) : 0;  // audioMuxVersionA
  if (audioMuxVersionA != 0) return true;
  if (audioMuxVersion == 1) taraBufferFullness = static_cast<int32_t>(LatmGetValue(reader));  // taraBufferFullness
  streamCnt = 0;
  allStreamsSameTimeFraming = static_cast<int32_t>(reader.ReadBit());  // allStreamsSameTimeFraming
  numSubFrames = static_cast<int32_t>(reader.ReadBits(6));              // numSubFrames
  numProgram = static_cast<int32_t>(reader.ReadBits(4));                // numProgram
  for (int32_t prog = 0; prog <= numProgram; ++prog) {
    numLayer[prog] = static_cast<uint8_t>(reader.ReadBits(3));  // numLayer
    for (int32_t lay = 0; lay <= numLayer[prog]; ++lay) {
      if (!ReadLayerConfig(reader, length, prog, lay)) return false;
    }
  }
  ReadOtherData(reader);
  const uint32_t crcCheckPresent = reader.ReadBit();                             // crcCheckPresent
  if (crcCheckPresent) crcCheckSum = static_cast<int32_t>(reader.ReadBits(8));  // crcCheckSum
  return true;
}

bool CAudioSupport::CAAC_LATMReader::ReadLayerConfig(CBitReader& reader, uint32_t length, int32_t prog, int32_t lay) {
  // Only 16 streams fit the record; a configuration with more is refused.
  if (streamCnt == kMaxLATMStreams) return false;
  progSIndx[streamCnt] = static_cast<uint8_t>(prog);
  laySIndx[streamCnt] = static_cast<uint8_t>(lay);
  streamID[prog][lay] = static_cast<uint8_t>(streamCnt);
  ++streamCnt;
  useSameConfig = prog == 0 && lay == 0 ? 0 : static_cast<int32_t>(reader.ReadBit());  // useSameConfig
  if (useSameConfig == 0) {
    const uint32_t ascLen = audioMuxVersion == 1 ? LatmGetValue(reader) : 0;  // ascLen
    // The one plausibility check of the configuration.
    if (ascLen >= length / 5) return false;
    const uint32_t used = configs[lay].Read(reader);
    if (ascLen > used) SkipBits(reader, ascLen - used);  // fillBits
  } else if (lay != 0) {
    configs[lay] = configs[lay - 1];
  }
  ReadFrameLengthType(reader, prog, lay);
  return true;
}

void CAudioSupport::CAAC_LATMReader::ReadFrameLengthType(CBitReader& reader, int32_t prog, int32_t lay) {
  const uint8_t stream = streamID[prog][lay];
  frameLengthType[stream] = static_cast<uint8_t>(reader.ReadBits(3));  // frameLengthType
  switch (frameLengthType[stream]) {
    case 0: {
      latmBufferFullness[stream] = static_cast<uint8_t>(reader.ReadBits(8));  // latmBufferFullness
      // A CELP or HVXC core under an ER AAC layer: layer 0 has no core below it.
      const bool coreBelow = lay > 0 &&
                             (configs[lay].audioObjectType == 6 || configs[lay].audioObjectType == 20) &&
                             (configs[lay - 1].audioObjectType == 8 || configs[lay - 1].audioObjectType == 24);
      if (allStreamsSameTimeFraming == 0 && coreBelow) reader.ReadBits(6);  // coreFrameOffset
      break;
    }
    case 1:
      frameLength[stream] = static_cast<int32_t>(reader.ReadBits(9));  // frameLength
      break;
    case 3: case 4: case 5:
      reader.ReadBits(6);  // CELPframeLengthTableIndex
      break;
    case 6: case 7:
      reader.ReadBit();  // HVXCframeLengthTableIndex
      break;
    default:
      break;
  }
}

void CAudioSupport::CAAC_LATMReader::ReadOtherData(CBitReader& reader) {
  otherDataLenBits = 0;
  otherDataPresent = static_cast<int32_t>(reader.ReadBit());  // otherDataPresent
  if (otherDataPresent == 0) return;
  if (audioMuxVersion == 1) {
    otherDataLenBits = static_cast<int32_t>(LatmGetValue(reader));  // otherDataLenBits
    return;
  }
  // Version 0 keeps the escaped length in otherDataPresent itself.
  uint32_t accumulated = 0;
  uint32_t otherDataLenEsc = 0;
  do {
    accumulated <<= 8;
    otherDataLenEsc = reader.ReadBit();  // otherDataLenEsc
    accumulated += reader.ReadBits(8);   // otherDataLenTmp
  } while (otherDataLenEsc);
  otherDataPresent = static_cast<int32_t>(accumulated);
}

bool CAudioSupport::CAAC_LATMReader::PayloadLengthInfo(CBitReader& reader) {
  if (allStreamsSameTimeFraming) {
    for (int32_t prog = 0; prog <= numProgram; ++prog) {
      for (int32_t lay = 0; lay <= numLayer[prog]; ++lay) {
        const uint8_t stream = streamID[prog][lay];
        if (frameLengthType[stream] == 0) {
          MuxSlotLengthBytes[stream] = ReadMuxSlotLengthBytes(reader);
        } else if (IsCodedSlotLength(frameLengthType[stream])) {
          MuxSlotLengthCoded[stream] = static_cast<uint8_t>(reader.ReadBits(2));  // MuxSlotLengthCoded
        }
      }
    }
    return true;
  }
  numChunk = static_cast<uint8_t>(reader.ReadBits(4));  // numChunk
  for (int32_t chunk = 0; chunk <= numChunk; ++chunk) {
    const uint32_t streamIndx = reader.ReadBits(4);  // streamIndx
    progCIndx[chunk] = progSIndx[streamIndx];
    layCIndx[chunk] = laySIndx[streamIndx];
    const uint8_t stream = streamID[progCIndx[chunk]][layCIndx[chunk]];
    if (frameLengthType[stream] == 0) {
      MuxSlotLengthBytes[stream] = ReadMuxSlotLengthBytes(reader);
      AuEndFlag[stream] = static_cast<uint8_t>(reader.ReadBit());  // AuEndFlag
    } else if (IsCodedSlotLength(frameLengthType[stream])) {
      MuxSlotLengthCoded[stream] = static_cast<uint8_t>(reader.ReadBits(2));  // MuxSlotLengthCoded
    }
  }
  return true;
}

bool CAudioSupport::CAAC_LATMReader::PayloadMux(CBitReader&) { return true; }
