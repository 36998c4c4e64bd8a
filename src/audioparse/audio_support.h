// CAudioSupport: the library's audio helper. Its static members convert
// between decibels, sample levels and factors, move samples between packed
// formats and channel vectors, and make test tones; an object of the class is
// a sampling-rate converter over libresample.
#pragma once

#include <cstdint>
#include <vector>

// Static audio helpers, and a sampling-rate converter for a fixed number of
// channels at a fixed ratio when used as an object.
class CAudioSupport {
  // Level and sample conversions, sampling-rate conversion: audioproc/
 public:
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

  // Swaps the two bytes of each 16-bit word; source may equal destination.
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
