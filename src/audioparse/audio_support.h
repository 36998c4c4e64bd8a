// CAudioSupport: static helpers for compressed and decoded audio. The header
// parsers take the first bytes of a frame, fill a CAudioStreamParameters and
// give the frame's length in bytes. They have no length argument: the caller
// guarantees the bytes they read (each parser says how many). An object of the
// class is a sampling-rate converter over libresample.
#pragma once

#include <cstdint>
#include <vector>

#include "core/audio_params.h"
#include "core/bit_reader.h"
#include "core/frame.h"
#include "core/types.h"

class CAudioSupport {
 public:
  // ---------------------------------------------------------------------
  // AC-3 and E-AC-3 (ATSC A/52 and its Annex E)
  // ---------------------------------------------------------------------

  static const uint32_t AC3AudioSampleRates[4];       // by fscod
  static const uint32_t EAC3SecondarySampleRates[4];  // by fscod2
  static const uint32_t AC3NumChannels[8];            // full-range channels by acmod, LFE not counted
  static const uint32_t AC3AudioBitrates[19];         // kbit/s by frmsizecod / 2

  // Reads an AC-3 syncframe header (8 bytes) into params: the frame length,
  // or 0 when the bytes are no usable frame. After a wrong syncword params is
  // untouched; after another refusal it holds what was read up to there.
  static uint32_t ReadAC3Parameters(CAudioStreamParameters* params, const uint8_t* data);
  // The same for an E-AC-3 syncframe (6 bytes). Frames at the reduced rates
  // (fscod 3) are refused.
  static uint32_t ReadEAC3Parameters(CAudioStreamParameters* params, const uint8_t* data);
  // The frame length of frmsizecod at a rate, or 0 for a code above 37 or a
  // rate of 0; sets params.bitRate on success only.
  static uint32_t ComputeAC3AudioFrameSize(CAudioStreamParameters& params, int32_t frameSizeCode,
                                           int32_t samplingRate);
  // The duration of 1536 samples at params.samplingRate; nothing at a rate of 0.
  static void ComputeAC3AudioFrameDurationTicks(CAudioStreamParameters& params);
  // 2 * frmsiz + 2, or 0 when fewer than 4 bytes are available.
  static uint32_t GetEAC3AudioFrameSize(const uint8_t* data, uint32_t available);
  // Full-range channels of an AC-3 header, LFE not counted.
  static int32_t GetNumberOfAC3Channels(const uint8_t* data);
  // Full-range channels of an E-AC-3 header plus the LFE channel when present.
  static int32_t GetNumberOfEAC3Channels(const uint8_t* data);

  // ---------------------------------------------------------------------
  // DTS core frame header (ETSI TS 102 114), big-endian 16-bit sync form only
  // ---------------------------------------------------------------------

  static const uint32_t DTSAudioQuantization[7];  // bits per sample by PCMR
  static const uint32_t DTSAudioNumChannels[16];  // by AMODE
  static const uint32_t DTSAudioSampleRates[16];  // Hz by SFREQ, 0 refused
  static const uint32_t DTSAudioBitrates[32];     // bit/s by RATE, 0 open

  // Reads a DTS frame header (15 bytes) into params: the frame length or 0.
  // An AMODE above 15 stores 0 channels, a PCMR of 7 stores 0 bits per sample.
  static uint32_t ReadDTSParameters(CAudioStreamParameters* params, const uint8_t* data);
  // The duration of 32 * (blocks + 1) samples; nothing at a rate of 0.
  static void ComputeDTSAudioFrameDurationTicks(CAudioStreamParameters& params, int32_t blocks);
  static int32_t GetDTSFrameSize(const uint8_t* data);  // FSIZE + 1, or 0 below 95
  static int32_t GetDTSSamplingRate(const uint8_t* data);
  static int32_t GetNumberOfDTSChannels(const uint8_t* data);  // LFE not counted

  // ---------------------------------------------------------------------
  // MPEG-1 audio (ISO/IEC 11172-3) and LPCM rates
  // ---------------------------------------------------------------------

  static const uint32_t MPEG1AudioBitrates[3][16];  // kbit/s by layer code - 1, bitrate_index
  static const uint32_t LPCMQuantization[4];        // bits per sample by quantisation code

  // Reads an MPEG-1 audio header (4 bytes). params is the stream's memory:
  // a header like the last one is answered from it. Gives the frame length
  // with the padding slot (unless ignorePadding), or -1 reserved sampling
  // code, -2 the stream changed, -3 an invalid field, -4 not MPEG-1, -6 a bit
  // rate not allowed in this channel mode. Throws CStreamException(12) when
  // the syncword is missing.
  static int32_t ParseMP2ADTSHeader(CAudioStreamParameters& params, const uint8_t* data, bool ignorePadding);
  // frameSize (without padding) and the duration from bitRate, samplingRate
  // and mpegLayer.
  static void ComputeMpegAudioFrameDurationTicks(CAudioStreamParameters& params);
  static uint32_t GetMPEG1AudioSamplingRate(int32_t code);      // 0 for no rate
  static int32_t GetMPEG1SamplingIndexFromRate(uint32_t rate);  // 4 for no code
  static uint32_t GetLPCMAudioSamplingRate(int32_t code);       // 0 for no rate
  static int32_t GetLPCMSamplingIndexFromRate(uint32_t rate);   // 4 for no code

  // ---------------------------------------------------------------------
  // AAC: ADTS (ISO/IEC 13818-7), LOAS/LATM and AudioSpecificConfig (14496-3)
  // ---------------------------------------------------------------------

  // An ADTS fixed and variable header, field for field.
  struct CADTS_Header {
    int32_t ID = -1;
    int32_t layer = 0;
    int32_t protection_absent = 0;
    int32_t profile = 0;
    int32_t sampling_frequency_index = 0;
    int32_t private_bit = 0;
    int32_t channel_configuration = 0;
    int32_t original_copy = 0;
    int32_t home = 0;
    int32_t copyright_identification_bit = 0;
    int32_t copyright_identification_start = 0;
    int32_t aac_frame_length = 0;
    int32_t adts_buffer_fullness = 0;
    int32_t number_of_raw_data_blocks_in_frame = 0;
    int32_t crc_check = 0;
  };

  // What an AudioSpecificConfig said.
  struct CAAC_Config {
    // Hz by samplingFrequencyIndex; index 12 gives 0, 15 announces an
    // explicit 24-bit frequency.
    static const int32_t SamplingFrequencies[16];

    // Reads an AudioSpecificConfig; returns the bits it used.
    uint32_t Read(CBitReader& reader);
    // Reads a GASpecificConfig (with a program_config_element when
    // channelConfiguration is 0); returns the bits it used.
    uint32_t GASpecificConfig(CBitReader& reader);

    int32_t audioObjectType = 0;  // with the escape of 31 resolved
    int32_t samplingFrequencyIndex = 0;
    int32_t samplingFrequency = 0;
    int32_t channelConfiguration = 0;  // after a program_config_element: its channels
    int32_t sbrPresentFlag = -1;       // -1 unknown, 1 present

   private:
    uint32_t ReadGASpecificConfig(CBitReader& reader, int64_t configStartBit);
    void ReadProgramConfigElement(CBitReader& reader, int64_t configStartBit);
  };

  // The state of one LATM stream, fed AudioMuxElements one after another.
  // It has room for 16 streams; a StreamMuxConfig with more is refused.
  struct CAAC_LATMReader {
    // Reads an AudioMuxElement with its configuration in band. False when
    // the configuration is out of band, repeated (useSameStreamMux) or
    // refused, or when audioMuxVersionA is not 0.
    bool AudioMuxElement(CBitReader& reader, uint32_t muxConfigPresent, uint32_t length);
    // Reads a StreamMuxConfig. length bounds the configuration: every ascLen
    // must be below length / 5.
    bool StreamMuxConfig(CBitReader& reader, uint32_t length);
    // Reads the payload lengths of one subframe; always true.
    bool PayloadLengthInfo(CBitReader& reader);
    // The payload itself is not read: true.
    bool PayloadMux(CBitReader& reader);

    bool configured = false;
    bool useSameStreamMux = false;
    int32_t audioMuxVersionA = 0;
    int32_t audioMuxVersion = 0;
    int32_t subFrameCount = 0;
    int32_t otherDataPresent = 0;  // with audioMuxVersion 0 it accumulates otherDataLenBits
    int32_t otherDataLenBits = 0;
    int32_t taraBufferFullness = 0;
    int32_t streamCnt = 0;
    int32_t allStreamsSameTimeFraming = 1;
    int32_t numSubFrames = 0;
    int32_t numProgram = 0;
    int32_t useSameConfig = 0;
    uint8_t progSIndx[16] = {};
    uint8_t laySIndx[16] = {};
    uint8_t progCIndx[16] = {};
    uint8_t layCIndx[16] = {};
    uint8_t streamID[16][8] = {};
    int32_t MuxSlotLengthBytes[16] = {};
    int32_t frameLength[16] = {};
    uint8_t frameLengthType[16] = {};
    uint8_t latmBufferFullness[16] = {};
    uint8_t MuxSlotLengthCoded[16] = {};
    uint8_t AuEndFlag[16] = {};
    uint8_t numLayer[16] = {};
    int32_t crcCheckSum = 0;
    uint8_t numChunk = 0;
    CAAC_Config configs[8];  // by layer number

   private:
    bool ReadLayerConfig(CBitReader& reader, uint32_t length, int32_t prog, int32_t lay);
    void ReadFrameLengthType(CBitReader& reader, int32_t prog, int32_t lay);
    void ReadOtherData(CBitReader& reader);
  };

  // Reads an ADTS header at the reader's position (7 bytes, 9 with
  // crc_check): S_OK, or E_FAIL for a wrong syncword or a layer other than 0.
  static HRESULT CheckForADTSAACAudioHeader(CBitReader* reader, CADTS_Header* header);
  // The offset of the first LOAS sync in data that is followed by another one
  // frame further on (or by the end of the buffer), or -1. frameLength gets
  // the audioMuxLengthBytes of every candidate looked at.
  static int32_t FindAACLOASHeader(const uint8_t* data, int32_t length, int32_t& frameLength);
  // The duration of 1024 samples, 2048 when aacDoubleRate is 1. The rate
  // must not be 0.
  static void ComputeAACAudioFrameDurationTicks(CAudioStreamParameters& params);

  // ---------------------------------------------------------------------
  // Silent AC-3 frames
  // ---------------------------------------------------------------------

  // Puts into frame the ready-made 48 kHz frame of silence with the highest
  // bit rate not above bitRate (bit/s): 5.1 for 5 channels or more, else
  // 2.0. S_OK, or E_FAIL with frame untouched when the frame is missing.
  static HRESULT GetSilentAC3Frame(uint32_t channels, uint32_t bitRate, CAudioFrame& frame);

  // ---------------------------------------------------------------------
  // Level and sample conversions, sampling-rate conversion: audioproc/
  // ---------------------------------------------------------------------

  // No converter yet: InitSamplingRateConvert makes one.
  CAudioSupport();
  // A stereo converter from inputRate to outputRate.
  CAudioSupport(int inputRate, int outputRate);
  // A copy gets handles of its own, duplicated with their filter history, so
  // that either object can go on converting or be destroyed alone.
  CAudioSupport(const CAudioSupport& other);
  CAudioSupport& operator=(const CAudioSupport& other);
  // Closes every libresample handle.
  virtual ~CAudioSupport();

  // Opens one high-quality handle per channel at outputRate / inputRate, behind
  // any handles already open. Always 0.
  virtual int InitSamplingRateConvert(int inputRate, int outputRate, unsigned channels);
  // Converts interleaved stereo through the first two handles, keeping their
  // filter history, so a stream may come in blocks of any size. Sample counts
  // are per channel. Output samples are truncated and wrap to 16 bits, never
  // clipped; outputSamples is -1 when libresample overflows. Always 0.
  virtual int ResampleStereoData(const short* input, int inputSamples, int& inputUsed, short* output,
                                 int& outputSamples);
  // Converts one block through the handle of `channel`, as the end of its
  // input (the filter is zero-padded behind it). Returns the samples in
  // `output`, or -1 with `output` emptied when libresample overflows.
  virtual int ResampleSingleChannel(std::vector<float>& input, int& inputUsed, std::vector<float>& output,
                                    unsigned channel);
  // The input rate of the last InitSamplingRateConvert; 0 before any.
  virtual int GetCurrentInputSamplingRate();

  // 16-bit level (full scale 32767.0): 0.0 at or below -95 dB.
  static double ConvertDBToAudioLevel(double dB);
  // -96.0 for a magnitude of 0 or 1, and for -32768, whose magnitude does not
  // fit 16 bits.
  static double ConvertLevelToDB(short level);
  // 32-bit level (full scale 2147483647.0): 0.0 at or below -185 dB.
  static double ConvertDBToAudioLevel32(double dB);
  // -185.0 for a magnitude of 0 or 1, and for the most negative int.
  static double ConvertLevel32ToDB(int level);
  // -96.0 below 1/32767.
  static double ConvertFactorToDB(double factor);
  // No floor.
  static double ConvertDBToFactor(double dB);
  // The mean of the channels' linear amplitudes, in dB with the floor of
  // ConvertFactorToDB; -96.0 for no channels.
  static double AverageDBForMultipleChannels(std::vector<double> channelsDB);

  // Swaps the two bytes of each 16-bit word through the byte swap primitive;
  // source may equal destination. Both are 2-byte aligned.
  static void SwapBytes16(const unsigned char* source, unsigned char* destination, int words);
  // Each group of 12 bytes holds four samples: their high 16 bits big-endian,
  // then their low bytes. Gives 8 bytes a group: the high 16 bits
  // little-endian; the low bytes are dropped.
  static void Convert24BigTo16BitsLittle(const unsigned char* source, unsigned char* destination, int groups);
  // Little-endian 16-bit stereo to two channels on a scale of 32768 (so
  // -32768 reads -1.0). Whole 4-byte pairs only.
  static void ConvertStereo16BitInterleavedToDouble(const unsigned char* data, int bytes,
                                                    std::vector<std::vector<double>>& channels);
  // The inverse on the same 32768 scale: truncated toward zero, low 16 bits
  // kept, so 1.0 wraps to -32768. Writes 4 bytes a sample of channels[0];
  // `capacity` is not consulted: data must hold them.
  static void ConvertDoubleToStereo16BitInterleaved(const std::vector<std::vector<double>>& channels,
                                                    unsigned char* data, int capacity, int& bytes);

  // A sine of amplitude 10^(levelDB/20) starting at phase 0,
  // samplingRate * seconds samples long (truncated).
  static void CreateMonoTone(std::vector<double>& tone, double samplingRate, double seconds, double levelDB,
                             double frequency);
  // channelCount copies of a mono tone followed by one second of the same
  // frequency at -96 dB.
  static void CreateMultiChannelTone(std::vector<std::vector<double>>& tones, double samplingRate,
                                     double seconds, double levelDB, double frequency, int channelCount);

 private:
  friend struct CAudioSupportTestAccess;

  // Greatest common divisor by trying every candidate; 1 for arguments below 2.
  static int getGCD(int a, int b);
  void CloseHandles();

  int inputSamplingRate = 0;
  double factor = 0.0;
  std::vector<std::vector<float>> floatInput;
  std::vector<std::vector<float>> floatOutput;
  std::vector<void*> handles;
};

// The ADTS header crosses the boundary as fifteen 32-bit fields in stream order.
static_assert(sizeof(CAudioSupport::CADTS_Header) == 15 * sizeof(int32_t));
