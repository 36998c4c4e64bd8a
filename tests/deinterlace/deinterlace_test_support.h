// Frames, a log capture and an opened smart deinterlacer for the
// deinterlacer tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "deinterlace/smart_field_deinterlacer.h"
#include "support/library_checks.h"

namespace deinterlace_test {

// The eight settings, named, with thresholds that mark any clear comb.
struct Settings {
  bool deinterlaceAll = false;
  bool useChroma = false;
  uint32_t combThreshold = 100;
  uint32_t motionThreshold = 100;
  bool blend = false;
  bool showMotionMap = false;
  bool showStatus = false;
  bool logStatus = false;
};

// Gives the tests the maps, the counters and the per-plane operations.
class OpenDeinterlacer : public CSmartFieldDeinterlacer {
 public:
  explicit OpenDeinterlacer(const Settings& s)
      : CSmartFieldDeinterlacer(s.deinterlaceAll, s.useChroma, s.combThreshold, s.motionThreshold, s.blend,
                                s.showMotionMap, s.showStatus, s.logStatus) {}

  using CSmartFieldDeinterlacer::DeinterlacePlaneYV12;
  using CSmartFieldDeinterlacer::IsCombedYV12;
  using CSmartFieldDeinterlacer::MotionMapYV12;

  // The maps without their padding, row after row.
  std::vector<uint8_t> MotionMap() const { return Unpadded(*motionMapFrame); }
  std::vector<uint8_t> CombMap() const { return Unpadded(*combMapFrame); }
  std::vector<int32_t> Counters() const { return {blockCounters, blockCounters + blockCount}; }
  const CYUVFrame* CombMapFrame() const { return combMapFrame; }
  CYUVFrame* BlendSourceFrame() const { return blendSourceFrame; }
  void SetCurrentFrame(CYUVFrame& frame) { currentFrame = &frame; }

 private:
  static std::vector<uint8_t> Unpadded(const CYUVFrame& map) {
    std::vector<uint8_t> bytes;
    for (int y = 0; y < map.height; ++y) {
      const uint8_t* row = map.y + y * map.stride;
      bytes.insert(bytes.end(), row, row + map.width);
    }
    return bytes;
  }
};

inline uint8_t& Y(CYUVFrame& f, int x, int y) { return f.y[y * f.stride + x]; }
inline uint8_t& U(CYUVFrame& f, int x, int y) { return f.u[y * f.chromaStride + x]; }
inline uint8_t& V(CYUVFrame& f, int x, int y) { return f.v[y * f.chromaStride + x]; }

inline int ChromaWidth(const CYUVFrame& f) { return f.chroma == CHROMA_444 ? f.width : f.width >> 1; }
inline int ChromaHeight(const CYUVFrame& f) { return f.chroma == CHROMA_420 ? f.height >> 1 : f.height; }

// A frame of one value per plane, flagged interlaced.
inline CYUVFrame FlatFrame(int width, int height, uint8_t y, uint8_t u, uint8_t v, CHROMA chroma = CHROMA_420) {
  CYUVFrame frame(width, height, chroma);
  std::fill(frame.y, frame.u, y);
  std::fill(frame.u, frame.v, u);
  std::fill(frame.v, frame.v + frame.chromaPlaneSize, v);
  return frame;
}

// Even rows 100, 103, 106, ... (one step every two rows), odd rows 30, so
// every row of a short frame combs against both neighbours and an odd row's
// neighbours sum to an odd number. The chroma planes follow the same scheme
// with their own values: U even 140 + 3k, odd 60; V even 90 + 5k, odd 200.
inline CYUVFrame StripedFrame(int width, int height, CHROMA chroma = CHROMA_420) {
  CYUVFrame frame(width, height, chroma);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) Y(frame, x, y) = static_cast<uint8_t>((y & 1) != 0 ? 30 : 100 + 3 * (y / 2));
  }
  for (int y = 0; y < ChromaHeight(frame); ++y) {
    for (int x = 0; x < ChromaWidth(frame); ++x) {
      U(frame, x, y) = static_cast<uint8_t>((y & 1) != 0 ? 60 : 140 + 3 * (y / 2));
      V(frame, x, y) = static_cast<uint8_t>((y & 1) != 0 ? 200 : 90 + 5 * (y / 2));
    }
  }
  return frame;
}

inline std::vector<uint8_t> Block(const CYUVFrame& frame) { return {frame.y, frame.y + frame.bufferSize}; }

using corvane::test::LeakCheckedTest;
using corvane::test::LogCapture;

}  // namespace deinterlace_test
