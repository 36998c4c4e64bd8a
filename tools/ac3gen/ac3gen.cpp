// corvane_ac3gen: builds the library's ten AC-3 syncframes of digital silence
// bit by bit after ATSC A/52 and writes them as the C++ table
// src/audioparse/silent_ac3_frames.cpp, to the file named or to stdout.
//
//   build/bin/corvane_ac3gen src/audioparse/silent_ac3_frames.cpp
//
// A frame is syncinfo and bsi with fixed fields, six audio blocks whose
// exponents all sit at the floor and whose SNR offsets are all 0, so that the
// bit allocation gives every mantissa zero bits; dither is off, so those
// mantissas decode as exact zeros. Zero fill follows, then crc2.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "audioparse/bit_writer.h"

namespace {

using corvane::test::BitWriter;

struct SilentFrameRecipe {
  const char* name;
  uint32_t kbps;
  uint32_t frmsizecod;
  bool surround;  // 3/2 with LFE, else 2/0
};

constexpr SilentFrameRecipe kFrames[] = {
    {"2.0_128", 128, 16, false}, {"2.0_160", 160, 18, false}, {"2.0_192", 192, 20, false},
    {"2.0_224", 224, 22, false}, {"2.0_256", 256, 24, false}, {"2.0_320", 320, 26, false},
    {"2.0_384", 384, 28, false}, {"2.0_448", 448, 30, false}, {"5.1_384", 384, 28, true},
    {"5.1_448", 448, 30, true},
};

constexpr uint32_t kSyncWord = 0x0B77;
constexpr uint32_t kAcmodStereo = 2;
constexpr uint32_t kAcmod3_2 = 7;
constexpr uint32_t kBlocksPerFrame = 6;
constexpr uint32_t kRematrixBands = 4;  // without coupling
constexpr uint32_t kExpStrategyReuse = 0;
constexpr uint32_t kExpStrategyD15 = 1;
// The narrowest band: the frames carry nothing worth a wider one.
constexpr uint32_t kBandwidthCode = 0;
constexpr uint32_t kFloorExponent = 24;
constexpr uint32_t kLargestAbsoluteExponent = 15;
constexpr uint32_t kLfeExponentGroups = 2;
constexpr uint32_t kFastGainCode = 4;

// Full-bandwidth channel: end mantissa 37 + 3 * (chbwcod + 12), three
// exponents a group in the D15 strategy, the first one sent apart.
constexpr uint32_t ChannelExponentGroups(uint32_t bandwidthCode) { return (37 + 3 * (bandwidthCode + 12) - 1) / 3; }

// An absolute exponent, then groups of three differentials, each coded as
// 25 * (d1 + 2) + 5 * (d2 + 2) + (d3 + 2). Differentials are at most +2, so
// the exponents climb from 15 to the floor of 24 and stay there.
void WriteFloorExponents(BitWriter& w, uint32_t groups, int bitsForFirst) {
  uint32_t exponent = kLargestAbsoluteExponent;
  w.Put(bitsForFirst, exponent);  // exps[ch][0] / lfeexps[0]
  for (uint32_t group = 0; group < groups; ++group) {
    uint32_t code = 0;
    for (int i = 0; i < 3; ++i) {
      const uint32_t step = kFloorExponent - exponent < 2 ? kFloorExponent - exponent : 2;
      exponent += step;
      code = code * 5 + step + 2;
    }
    w.Put(7, code);  // exps[ch][grp] / lfeexps[grp]
  }
}

void WriteSyncInfo(BitWriter& w, uint32_t frmsizecod) {
  w.Put(16, kSyncWord);   // syncword
  w.Put(16, 0);           // crc1, set when the frame is complete
  w.Put(2, 0);            // fscod: 48 kHz
  w.Put(6, frmsizecod);   // frmsizecod
}

void WriteBsi(BitWriter& w, uint32_t acmod, bool lfeon) {
  w.Put(5, 4);                                 // bsid
  w.Put(3, 0);                                 // bsmod: complete main
  w.Put(3, acmod);                             // acmod
  if ((acmod & 1) != 0 && acmod != 1) w.Put(2, 0);  // cmixlev
  if ((acmod & 4) != 0) w.Put(2, 0);           // surmixlev
  if (acmod == kAcmodStereo) w.Put(2, 0);      // dsurmod
  w.Put(1, lfeon);                             // lfeon
  w.Put(5, 31);                                // dialnorm
  w.Put(1, 1);                                 // compre
  w.Put(8, 255);                               // compr
  w.Put(1, 0);                                 // langcode
  w.Put(1, 0);                                 // audprodie
  w.Put(1, 0);                                 // copyrightb
  w.Put(1, 1);                                 // origbs
  w.Put(1, 0);                                 // timecod1e
  w.Put(1, 0);                                 // timecod2e
  w.Put(1, 0);                                 // addbsie
}

// Block 0 sends every strategy and parameter; blocks 1 to 5 reuse them.
void WriteSilentBlock(BitWriter& w, uint32_t acmod, bool lfeon, uint32_t channels, bool first) {
  for (uint32_t ch = 0; ch < channels; ++ch) w.Put(1, 0);  // blksw
  for (uint32_t ch = 0; ch < channels; ++ch) w.Put(1, 0);  // dithflag
  w.Put(1, 0);                                              // dynrnge
  w.Put(1, first);                                          // cplstre
  if (first) w.Put(1, 0);                                   // cplinu
  if (acmod == kAcmodStereo) {
    w.Put(1, first);  // rematstr
    if (first) {
      for (uint32_t band = 0; band < kRematrixBands; ++band) w.Put(1, 0);  // rematflg
    }
  }
  const uint32_t strategy = first ? kExpStrategyD15 : kExpStrategyReuse;
  for (uint32_t ch = 0; ch < channels; ++ch) w.Put(2, strategy);  // chexpstr
  if (lfeon) w.Put(1, first);                                     // lfeexpstr
  if (first) {
    for (uint32_t ch = 0; ch < channels; ++ch) w.Put(6, kBandwidthCode);  // chbwcod
    for (uint32_t ch = 0; ch < channels; ++ch) {
      WriteFloorExponents(w, ChannelExponentGroups(kBandwidthCode), 4);
      w.Put(2, 0);  // gainrng
    }
    if (lfeon) WriteFloorExponents(w, kLfeExponentGroups, 4);
  }
  w.Put(1, first);  // baie
  if (first) {
    w.Put(2, 2);  // sdcycod
    w.Put(2, 1);  // fdcycod
    w.Put(2, 1);  // sgaincod
    w.Put(2, 2);  // dbpbcod
    w.Put(3, 7);  // floorcod
  }
  w.Put(1, first);  // snroffste
  if (first) {
    w.Put(6, 0);  // csnroffst
    for (uint32_t ch = 0; ch < channels; ++ch) {
      w.Put(4, 0);              // fsnroffst
      w.Put(3, kFastGainCode);  // fgaincod
    }
    if (lfeon) {
      w.Put(4, 0);              // lfefsnroffst
      w.Put(3, kFastGainCode);  // lfefgaincod
    }
  }
  w.Put(1, 0);  // deltbaie
  w.Put(1, 0);  // skiple
}

// The CRC-16 of ATSC A/52: generator x^16 + x^15 + x^2 + 1, most significant
// bit first, register starting at 0. Over a message ending in its own CRC
// word it gives 0.
uint16_t Crc16(const uint8_t* bytes, size_t count) {
  uint32_t crc = 0;
  for (size_t i = 0; i < count; ++i) {
    crc ^= static_cast<uint32_t>(bytes[i]) << 8;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x8000) != 0 ? (crc << 1) ^ 0x8005 : crc << 1;
  }
  return static_cast<uint16_t>(crc);
}

uint16_t TimesX(uint16_t value) {
  return static_cast<uint16_t>((value & 0x8000) != 0 ? (value << 1) ^ 0x8005 : value << 1);
}

size_t FiveEighthsBytes(size_t frameBytes) {
  const size_t words = frameBytes / 2;
  return 2 * ((words >> 1) + (words >> 3));
}

// crc1 leads the first 5/8 of the frame, so it is not a remainder that can be
// appended: it is the word c with c * x^L + B = 0 modulo the generator G, B
// the L bits behind it. Crc16(B) is B * x^16 mod G, and x has order 32767
// modulo G = (x + 1)(x^15 + x + 1), so c = Crc16(B) * x^(32767 - (L + 16)).
void SetCrc1(std::vector<uint8_t>& frame) {
  constexpr size_t kOrderOfX = 32767;
  const size_t end = FiveEighthsBytes(frame.size());
  const size_t bitsBehind = 8 * (end - 4);
  uint16_t crc1 = Crc16(frame.data() + 4, end - 4);
  const size_t power = (kOrderOfX - (bitsBehind + 16) % kOrderOfX) % kOrderOfX;
  for (size_t i = 0; i < power; ++i) crc1 = TimesX(crc1);
  frame[2] = static_cast<uint8_t>(crc1 >> 8);
  frame[3] = static_cast<uint8_t>(crc1);
}

void SetCrc2(std::vector<uint8_t>& frame) {
  const uint16_t crc2 = Crc16(frame.data() + 2, frame.size() - 4);
  frame[frame.size() - 2] = static_cast<uint8_t>(crc2 >> 8);
  frame[frame.size() - 1] = static_cast<uint8_t>(crc2);
}

std::vector<uint8_t> BuildSilentFrame(const SilentFrameRecipe& recipe) {
  // 1536 samples at 48 kHz: kbps * 1000 * 1536 / 48000 / 8 bytes.
  const size_t frameBytes = recipe.kbps * 4;
  const uint32_t acmod = recipe.surround ? kAcmod3_2 : kAcmodStereo;
  const uint32_t channels = recipe.surround ? 5 : 2;
  BitWriter w;
  WriteSyncInfo(w, recipe.frmsizecod);
  WriteBsi(w, acmod, recipe.surround);
  for (uint32_t block = 0; block < kBlocksPerFrame; ++block) {
    WriteSilentBlock(w, acmod, recipe.surround, channels, block == 0);
  }
  // Zero fill: unused auxbits, auxdatae 0, crcrsv 0; then crc2.
  w.PadToSize(frameBytes - 2);
  w.Put(16, 0);  // crc2
  std::vector<uint8_t> frame = w.Bytes();
  SetCrc1(frame);
  SetCrc2(frame);
  if (Crc16(frame.data() + 2, FiveEighthsBytes(frame.size()) - 2) != 0 ||
      Crc16(frame.data() + 2, frame.size() - 2) != 0) {
    std::fprintf(stderr, "corvane_ac3gen: %s: CRC check of the built frame failed\n", recipe.name);
    std::exit(1);
  }
  return frame;
}

std::string ArrayName(const char* frameName) {
  std::string name = "kSilent";
  for (const char* c = frameName; *c != '\0'; ++c) name += *c == '.' ? '_' : *c;
  return name;
}

void WriteTable(FILE* out) {
  std::fprintf(out,
               "// Generated by corvane_ac3gen (tools/ac3gen/ac3gen.cpp); do not edit.\n"
               "// Ten AC-3 syncframes of digital silence at 48 kHz, built bit by bit after\n"
               "// ATSC A/52, both CRCs valid.\n"
               "#include \"audioparse/silent_ac3_frames.h\"\n\nnamespace {\n");
  for (const SilentFrameRecipe& recipe : kFrames) {
    const std::vector<uint8_t> frame = BuildSilentFrame(recipe);
    std::fprintf(out, "\n// %s: %u kbit/s, %s\nconst uint8_t %s[%zu] = {", recipe.name, recipe.kbps,
                 recipe.surround ? "3/2 with LFE" : "2/0", ArrayName(recipe.name).c_str(), frame.size());
    for (size_t i = 0; i < frame.size(); ++i) {
      std::fprintf(out, "%s0x%02x,", i % 16 == 0 ? "\n    " : " ", frame[i]);
    }
    std::fprintf(out, "\n};\n");
  }
  std::fprintf(out, "\n}  // namespace\n\nconst SilentAC3FrameData g_silentAC3Frames[] = {\n");
  for (const SilentFrameRecipe& recipe : kFrames) {
    const std::string array = ArrayName(recipe.name);
    std::fprintf(out, "    {\"%s\", %s, sizeof(%s)},\n", recipe.name, array.c_str(), array.c_str());
  }
  std::fprintf(out, "};\n\nconst size_t g_silentAC3FrameCount = sizeof(g_silentAC3Frames) / sizeof(g_silentAC3Frames[0]);\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2) {
    std::fprintf(stderr, "usage: corvane_ac3gen [OUT.cpp]\n");
    return 2;
  }
  FILE* out = argc == 2 ? std::fopen(argv[1], "w") : stdout;
  if (out == nullptr) {
    std::perror(argv[1]);
    return 1;
  }
  WriteTable(out);
  if (std::fflush(out) != 0 || (out != stdout && std::fclose(out) != 0)) {
    std::perror("corvane_ac3gen");
    return 1;
  }
  return 0;
}
