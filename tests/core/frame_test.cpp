#include "core/frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <vector>

#include "platform/buffer_alloc.h"
#include "support/library_checks.h"

namespace {

using FrameTest = corvane::test::LeakCheckedTest;

TEST_F(FrameTest, SetFormatGeometryFor576i420) {
  const int64_t bytesBefore = LargeBufferLiveBytes();
  CYUVFrame frame(720, 576, CHROMA_420);
  EXPECT_EQ(frame.stride, 720);
  EXPECT_EQ(frame.paddedHeight, 576);
  EXPECT_EQ(frame.chromaStride, 360);
  EXPECT_EQ(frame.chromaHeight, 288);
  EXPECT_EQ(frame.bufferSize, 622080u);
  // Two luma lines of slack behind the last plane.
  EXPECT_EQ(LargeBufferLiveBytes() - bytesBefore, 622080 + 1440);
  EXPECT_EQ(frame.u, frame.y + frame.lumaPlaneSize);
  EXPECT_EQ(frame.v, frame.u + frame.chromaPlaneSize);
}

TEST_F(FrameTest, SetFormatPadsHeightAndOddWidth) {
  CYUVFrame hd(1920, 1080, CHROMA_420);
  EXPECT_EQ(hd.paddedHeight, 1088);
  EXPECT_EQ(hd.lumaPlaneSize, 1920 * 1088);

  CYUVFrame odd(721, 480, CHROMA_420);
  EXPECT_EQ(odd.stride, 736);
  EXPECT_EQ(odd.chromaStride, 368);

  CYUVFrame f422(720, 480, CHROMA_422);
  EXPECT_EQ(f422.chromaStride, 360);
  EXPECT_EQ(f422.chromaHeight, 480);
  CYUVFrame f444(720, 480, CHROMA_444);
  EXPECT_EQ(f444.chromaStride, 720);
  EXPECT_EQ(f444.bufferSize, 3u * 720 * 480);
}

TEST_F(FrameTest, SetFormatKeepsBlockOfSameTotal) {
  CYUVFrame frame(64, 32, CHROMA_420);
  uint8_t* block = frame.y;
  frame.y[5] = 77;
  frame.SetFormat(64, 32, CHROMA_420);
  EXPECT_EQ(frame.y, block);
  EXPECT_EQ(frame.y[5], 77);
  // 32x64 has the same total, so the block and its pixels stay.
  frame.SetFormat(32, 64, CHROMA_420);
  EXPECT_EQ(frame.y, block);
  EXPECT_EQ(frame.y[5], 77);
  EXPECT_EQ(frame.stride, 32);
}

TEST_F(FrameTest, ReformatGivesBackTheOldBlock) {
  CYUVFrame frame(64, 32, CHROMA_420);
  const int64_t live = LargeBufferLiveBlocks();
  frame.Reformat(128, 64, CHROMA_422);
  EXPECT_EQ(LargeBufferLiveBlocks(), live);
  EXPECT_EQ(frame.bufferSize, 128u * 64 * 2);
}

bool SlackIsZero(const CYUVFrame& frame) {
  const uint8_t* slack = frame.v + frame.chromaPlaneSize;
  return std::all_of(slack, slack + 2 * frame.stride, [](uint8_t byte) { return byte == 0; });
}

// The two luma lines of slack behind the planes, which the resize reads around
// the last lines of a crop, hold zeros in every new block, even where the
// block the allocator most likely hands out next had garbage there.
TEST_F(FrameTest, ANewBlockHasZeroSlack) {
  for (CHROMA chroma : {CHROMA_420, CHROMA_422, CHROMA_444}) {
    {
      CYUVFrame used(64, 32, chroma);
      std::memset(used.v + used.chromaPlaneSize, 0xA5, 2 * static_cast<size_t>(used.stride));
    }
    const CYUVFrame fresh(64, 32, chroma);
    EXPECT_TRUE(SlackIsZero(fresh)) << "chroma " << chroma;
    CYUVFrame reformatted;
    reformatted.Reformat(48, 17, chroma);
    EXPECT_TRUE(SlackIsZero(reformatted)) << "chroma " << chroma;
  }
}

TEST_F(FrameTest, CopyCarriesFieldsPixelsAndCaptions) {
  CYUVFrame source(33, 17, CHROMA_422);
  std::iota(source.y, source.y + source.bufferSize, 0);
  source.stampA = 1;
  source.stampB = 2;
  source.presentationTime = 3;
  source.headerWordA = 4;
  source.payloadLength = 5;
  source.progressive = true;
  source.topFieldFirst = true;
  source.frameCodeA = -6;
  source.frameCodeB = 7;
  source.captions.dataLength = 3;
  std::memcpy(source.captions.data, "abcdef", 6);
  source.captions.captionWordC = 9;

  CYUVFrame copy(source);
  EXPECT_NE(copy.y, source.y);
  EXPECT_EQ(copy.chroma, CHROMA_422);
  EXPECT_EQ(0, std::memcmp(copy.y, source.y, source.bufferSize));
  EXPECT_EQ(copy.stampB, 2);
  EXPECT_EQ(copy.presentationTime, 3);
  EXPECT_EQ(copy.headerWordA, 4u);
  EXPECT_EQ(copy.payloadLength, 5u);
  EXPECT_TRUE(copy.progressive && copy.topFieldFirst);
  EXPECT_EQ(copy.frameCodeA, -6);
  EXPECT_EQ(copy.frameCodeB, 7);
  EXPECT_EQ(copy.captions.captionWordC, 9u);
  // Only dataLength bytes of the caption data are taken.
  EXPECT_EQ(0, std::memcmp(copy.captions.data, "abc\0", 4));

  // Assigning over a frame of another geometry and chroma frees its block.
  CYUVFrame other(640, 480, CHROMA_420);
  other = source;
  EXPECT_EQ(other.width, 33);
  EXPECT_EQ(other.chromaHeight, 32);
  EXPECT_EQ(0, std::memcmp(other.v, source.v, static_cast<size_t>(source.chromaPlaneSize)));
  other = other;
  EXPECT_EQ(other.width, 33);
}

TEST_F(FrameTest, CopyPixelsTakesGeometryAndPixelsOnly) {
  CYUVFrame source(48, 16, CHROMA_444);
  std::memset(source.y, 9, source.bufferSize);
  source.stampA = 42;
  CYUVFrame target;
  target.CopyPixels(source);
  EXPECT_EQ(target.chroma, CHROMA_444);
  EXPECT_EQ(target.stampA, 0);
  EXPECT_EQ(target.v[target.chromaPlaneSize - 1], 9);
}

TEST_F(FrameTest, AudioFrameStartsWith1600BytesAndGrows) {
  CAudioFrame frame;
  EXPECT_EQ(frame.bufferSize, 1600u);
  EXPECT_EQ(frame.bitsPerSample, 16u);
  EXPECT_EQ(BufferLiveBytes() >= 1600, true);
  std::vector<uint8_t> bytes(1500);
  std::iota(bytes.begin(), bytes.end(), 0);
  frame.AppendData(bytes.data(), 1500);
  EXPECT_EQ(frame.bufferSize, 1600u);
  frame.AppendData(bytes.data(), 200);  // 1700 > 1600: grows to 1700 + 4
  EXPECT_EQ(frame.bufferSize, 1704u);
  EXPECT_EQ(frame.payloadLength, 1700u);
  EXPECT_EQ(frame.data[1499], bytes[1499]);
  EXPECT_EQ(frame.data[1500], 0);
  EXPECT_EQ(frame.data[1699], bytes[199]);

  CAudioFrame copy(frame);
  EXPECT_NE(copy.data, frame.data);
  EXPECT_EQ(0, std::memcmp(copy.data, frame.data, 1700));
  CAudioFrame assigned;
  assigned = copy;
  EXPECT_EQ(assigned.payloadLength, 1700u);
  EXPECT_EQ(assigned.data[1699], bytes[199]);
}

TEST_F(FrameTest, AudioHeaderCopyTakesTheFiveFields) {
  CAudioFrame source;
  source.stampA = 1;
  source.stampB = 2;
  source.presentationTime = 3;
  source.payloadLength = 4;
  source.channels = 6;
  source.audioType = AUDIO_FRAME_SMPTE302M;
  source.samplingRate = 48000;
  CAudioFrame derived;
  derived.CopyHeader(source);
  EXPECT_EQ(derived.stampA, 1);
  EXPECT_EQ(derived.stampB, 0);
  EXPECT_EQ(derived.presentationTime, 3);
  EXPECT_EQ(derived.payloadLength, 4u);
  EXPECT_EQ(derived.channels, 6u);
  EXPECT_EQ(derived.audioType, AUDIO_FRAME_SMPTE302M);
  EXPECT_EQ(derived.samplingRate, 0u);
}

TEST(BitReaderTest, ReadsMostSignificantFirstAcrossBytes) {
  const uint8_t bytes[] = {0xA5, 0x3C, 0xFF, 0x01, 0x80, 0x00};
  CBitReader reader(bytes);
  EXPECT_EQ(reader.PeekBit(), 1u);
  EXPECT_EQ(reader.ReadBit(), 1u);
  EXPECT_EQ(reader.ReadBits(3), 0x2u);  // 010
  EXPECT_EQ(reader.ReadBits(8), 0x53u);  // 0101 0011
  EXPECT_EQ(reader.byteIndex, 1);
  EXPECT_EQ(reader.bitIndex, 4);
  EXPECT_EQ(reader.ReadBits(4), 0xCu);
  EXPECT_EQ(reader.ReadBits(24), 0xFF0180u);
  EXPECT_EQ(reader.byteIndex, 5);
  EXPECT_EQ(reader.bitIndex, 0);
}

}  // namespace
