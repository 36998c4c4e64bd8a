// `corvane s302m`: SMPTE 302M units to and from audio files.
#include <cstdio>
#include <memory>

#include "args.h"
#include "command.h"
#include "output_file.h"
#include "s302m_units.h"
#include "sound_file.h"

namespace corvane::tool {
namespace {

// One unit per 40 ms, the audio of a 25 Hz picture.
constexpr size_t kUnitFrames = 1920;

void Encode(const std::string& inPath, const std::string& outPath) {
  SoundFileReader in(inPath);
  if (in.Rate() != 48000) {
    throw ToolError(inPath + ": SMPTE 302M carries 48000 Hz audio, not " + std::to_string(in.Rate()) +
                    " Hz (see corvane resample)");
  }
  if (in.Channels() != 1 && in.Channels() != 2) {
    throw ToolError(inPath + ": the writer packs mono or stereo, not " + std::to_string(in.Channels()) + " channels");
  }
  OutputFile out(outPath);
  CAudioFrame unit;
  std::vector<int32_t> samples;
  uint64_t units = 0;
  uint64_t frames = 0;
  while (const size_t read = in.Read(samples, kUnitFrames)) {
    Encode302MUnit(samples.data(), read, in.Channels(), unit);
    out.Write(unit.data, unit.payloadLength);
    ++units;
    frames += read;
  }
  out.Commit();
  std::printf("%s: %llu units of 20-bit stereo, %llu samples a channel\n", outPath.c_str(),
              static_cast<unsigned long long>(units), static_cast<unsigned long long>(frames));
}

void Decode(const std::string& inPath, const std::string& outPath) {
  S302MUnitReader in(inPath);
  CSMPTE302MDecode decoder;
  std::vector<uint8_t> unit;
  std::vector<int32_t> samples;
  OutputFile outFile(outPath);
  std::unique_ptr<SoundFileWriter> out;
  unsigned channels = 0;
  unsigned bits = 0;
  uint64_t frames = 0;
  while (in.Next(unit)) {
    samples.clear();
    const size_t count = Decode302MUnit(decoder, unit, samples);
    const std::string where = inPath + ": unit " + std::to_string(in.Units());
    if (decoder.bitsPerSample == 28) throw ToolError(where + ": reserved sample size");
    if (!out) {
      channels = decoder.numberChannels;
      bits = decoder.bitsPerSample;
      out = std::make_unique<SoundFileWriter>(outFile, 48000, static_cast<int>(channels),
                                              SF_FORMAT_WAV | (bits == 16 ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_24));
    } else if (decoder.numberChannels != channels || decoder.bitsPerSample != bits) {
      throw ToolError(where + ": " + std::to_string(decoder.numberChannels) + " channels of " +
                      std::to_string(decoder.bitsPerSample) + " bits after " + std::to_string(channels) +
                      " channels of " + std::to_string(bits));
    }
    out->Write(samples.data(), count);
    frames += count;
  }
  if (!out) throw ToolError(inPath + ": no SMPTE 302M units");
  out->Finish();
  std::printf("%s: %llu units, %u channels of %u bits, %llu samples a channel\n", outPath.c_str(),
              static_cast<unsigned long long>(in.Units()), channels, bits, static_cast<unsigned long long>(frames));
}

int RunS302M(const std::vector<std::string>& arguments) {
  const Args args(arguments, {});
  args.ExpectPositional(3, "encode IN OUT or decode IN OUT");
  const std::string& mode = args.Positional()[0];
  if (mode == "encode") {
    Encode(args.Positional()[1], args.Positional()[2]);
  } else if (mode == "decode") {
    Decode(args.Positional()[1], args.Positional()[2]);
  } else {
    throw ToolError("expected encode or decode, not '" + mode + "'");
  }
  return 0;
}

const bool registered = RegisterCommand({
    "s302m",
    "pack an audio file into SMPTE 302M units, or unpack them",
    "usage: corvane s302m encode IN OUT.302m\n"
    "       corvane s302m decode IN.302m OUT.wav\n"
    "\n"
    "encode packs a 48 kHz mono or stereo audio file into SMPTE 302M units of\n"
    "20-bit stereo, 1920 samples (40 ms) each, written one behind the other\n"
    "(mono goes to both channels; each sample keeps its top 20 bits).\n"
    "\n"
    "decode reads such a file of units, each as long as its own header says,\n"
    "and writes a 48 kHz WAV with the units' channels: 16-bit PCM for 16-bit\n"
    "units, 24-bit PCM for 20- and 24-bit ones. All units must share their\n"
    "channel count and sample size; a unit that claims more bytes than the file\n"
    "has left is an error.\n",
    RunS302M,
});

}  // namespace
}  // namespace corvane::tool
