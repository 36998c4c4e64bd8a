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
  OpenDeinterlacer(const OpenDeinterlacer&) = default;
  OpenDeinterlacer& operator=(const OpenDeinterlacer&) = default;

  using CSmartFieldDeinterlacer::DeinterlacePlaneYV12;
  using CSmartFieldDeinterlacer::IsCombedYV12;
  using CSmartFieldDeinterlacer::MotionMapYV12;

  uint8_t Motion(int x, int y) const { return motionMapFrame->y[y * motionMapFrame->stride + x]; }
  uint8_t Comb(int x, int y) const { return combMapFrame->y[y * combMapFrame->stride + x]; }
  uint8_t& MotionAt(int x, int y) { return motionMapFrame->y[y * motionMapFrame->stride + x]; }
  std::vector<int32_t> Counters() const { return {blockCounters, blockCounters + blockCount}; }
  const CYUVFrame* CombMapFrame() const { return combMapFrame; }
  const CYUVFrame* MotionMapFrame() const { return motionMapFrame; }
  CYUVFrame* BlendSourceFrame() const { return blendSourceFrame; }
  void SetCurrentFrame(CYUVFrame& frame) { currentFrame = &frame; }
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

inline std::vector<uint8_t> Block(const CYUVFrame& frame) { return {frame.y, frame.y + frame.bufferSize}; }

using corvane::test::LeakCheckedTest;
using corvane::test::LogCapture;

}  // namespace deinterlace_test
