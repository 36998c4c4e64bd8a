#include "core/frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <vector>

#include "platform/buffer_alloc.h"
#include "support/library_checks.h"

namespace {

using Values = std::vector<int64_t>;
using FrameTest = corvane::test::LeakCheckedTest;

// Stride and height round up to 16; chroma planes follow the chroma format.
TEST_F(FrameTest, SetFormatGeometry) {
  const struct {
    int width, height;
    CHROMA chroma;
    Values geometry;  // stride, paddedHeight, chromaStride, chromaHeight, bufferSize
  } kCases[] = {
      {720, 576, CHROMA_420, {720, 576, 360, 288, 622080}},
      {1920, 1080, CHROMA_420, {1920, 1088, 960, 544, 3133440}},
      {721, 480, CHROMA_420, {736, 480, 368, 240, 529920}},
      {720, 480, CHROMA_422, {720, 480, 360, 480, 691200}},
      {720, 480, CHROMA_444, {720, 480, 720, 480, 1036800}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " chroma " << c.chroma);
    const int64_t bytesBefore = LargeBufferLiveBytes();
    CYUVFrame f(c.width, c.height, c.chroma);
    EXPECT_EQ((Values{f.stride, f.paddedHeight, f.chromaStride, f.chromaHeight, f.bufferSize}), c.geometry);
    EXPECT_EQ(LargeBufferLiveBytes() - bytesBefore, c.geometry[4] + 2 * c.geometry[0]) << "two luma lines of slack";
    EXPECT_EQ(f.lumaPlaneSize, c.geometry[0] * c.geometry[1]);
    EXPECT_EQ(f.u, f.y + f.lumaPlaneSize);
    EXPECT_EQ(f.v, f.u + f.chromaPlaneSize);
  }
}

// SetFormat keeps a block of the same total, pixels and all; Reformat to
// another total gives the old block back.
TEST_F(FrameTest, SetFormatKeepsABlockOfTheSameTotalAndReformatGivesTheOldBack) {
  CYUVFrame frame(64, 32, CHROMA_420);
  uint8_t* block = frame.y;
  frame.y[5] = 77;
  for (int width : {64, 32}) {  // 32x64 has the same total
    frame.SetFormat(width, 2048 / width, CHROMA_420);
    EXPECT_EQ((Values{frame.y == block, frame.y[5], frame.stride}), (Values{true, 77, width}));
  }
  const int64_t live = LargeBufferLiveBlocks();
  frame.Reformat(128, 64, CHROMA_422);
  EXPECT_EQ((Values{LargeBufferLiveBlocks(), frame.bufferSize}), (Values{live, 128 * 64 * 2}));
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
  source.stampB = 2, source.presentationTime = 3, source.headerWordA = 4, source.payloadLength = 5;
  source.progressive = source.topFieldFirst = true;
  source.frameCodeA = -6, source.frameCodeB = 7;
  source.captions.dataLength = 3, source.captions.captionWordC = 9;
  std::memcpy(source.captions.data, "abcdef", 6);

  CYUVFrame copy(source);
  EXPECT_NE(copy.y, source.y);
  EXPECT_EQ(0, std::memcmp(copy.y, source.y, source.bufferSize));
  EXPECT_EQ((Values{copy.chroma, copy.stampB, copy.presentationTime, copy.headerWordA, copy.payloadLength,
                    copy.progressive, copy.topFieldFirst, copy.frameCodeA, copy.frameCodeB, copy.captions.captionWordC}),
            (Values{CHROMA_422, 2, 3, 4, 5, true, true, -6, 7, 9}));
  // Only dataLength bytes of the caption data are taken.
  EXPECT_EQ(0, std::memcmp(copy.captions.data, "abc\0", 4));

  // Assigning over a frame of another geometry and chroma frees its block.
  CYUVFrame other(640, 480, CHROMA_420);
  other = source;
  EXPECT_EQ((Values{other.width, other.chromaHeight}), (Values{33, 32}));
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
  EXPECT_EQ((Values{target.chroma, target.stampA, target.v[target.chromaPlaneSize - 1]}), (Values{CHROMA_444, 0, 9}));
}

TEST_F(FrameTest, AudioFrameStartsWith1600BytesAndGrows) {
  const int64_t bytesBefore = BufferLiveBytes();
  CAudioFrame frame;
  EXPECT_EQ((Values{frame.bufferSize, frame.bitsPerSample, BufferLiveBytes() - bytesBefore}), (Values{1600, 16, 1600}));
  std::vector<uint8_t> bytes(1500);
  std::iota(bytes.begin(), bytes.end(), 0);
  frame.AppendData(bytes.data(), 1500);
  EXPECT_EQ(frame.bufferSize, 1600u);
  frame.AppendData(bytes.data(), 200);  // 1700 > 1600: grows to 1700 + 4
  EXPECT_EQ((Values{frame.bufferSize, frame.payloadLength, frame.data[1499], frame.data[1500], frame.data[1699]}),
            (Values{1704, 1700, bytes[1499], 0, bytes[199]}));

  CAudioFrame copy(frame);
  EXPECT_NE(copy.data, frame.data);
  EXPECT_EQ(0, std::memcmp(copy.data, frame.data, 1700));
  CAudioFrame assigned;
  assigned = copy;
  EXPECT_EQ((Values{assigned.payloadLength, assigned.data[1699]}), (Values{1700, bytes[199]}));
}

TEST_F(FrameTest, AudioHeaderCopyTakesTheFiveFields) {
  CAudioFrame source;
  source.stampA = 1, source.stampB = 2, source.presentationTime = 3, source.payloadLength = 4, source.channels = 6;
  source.audioType = AUDIO_FRAME_SMPTE302M;
  source.samplingRate = 48000;
  CAudioFrame d;
  d.CopyHeader(source);
  EXPECT_EQ((Values{d.stampA, d.stampB, d.presentationTime, d.payloadLength, d.channels, d.audioType, d.samplingRate}),
            (Values{1, 0, 3, 4, 6, AUDIO_FRAME_SMPTE302M, 0}));
}

TEST(BitReaderTest, ReadsMostSignificantFirstAcrossBytes) {
  const uint8_t bytes[] = {0xA5, 0x3C, 0xFF, 0x01, 0x80, 0x00};
  CBitReader reader(bytes);
  EXPECT_EQ(reader.PeekBit(), 1u);
  EXPECT_EQ(reader.ReadBit(), 1u);
  EXPECT_EQ(reader.ReadBits(3), 0x2u);  // 010
  EXPECT_EQ(reader.ReadBits(8), 0x53u);  // 0101 0011
  EXPECT_EQ((Values{reader.byteIndex, reader.bitIndex}), (Values{1, 4}));
  EXPECT_EQ(reader.ReadBits(4), 0xCu);
  EXPECT_EQ(reader.ReadBits(24), 0xFF0180u);
  EXPECT_EQ((Values{reader.byteIndex, reader.bitIndex}), (Values{5, 0}));
}

}  // namespace
