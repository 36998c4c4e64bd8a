// The abstract level meter behind CAudioPeakLevel: it cuts the stream into
// blocks of 100 ms, has the concrete meter measure each block, and keeps the
// block levels as a history in tenths of a dB.
#pragma once

#include <cstdint>
#include <vector>

#include "core/types.h"

namespace NS_AudioMeasurement {

// Base of the five meters. A concrete meter measures one block at a time in
// ProcessBlock and keeps its own overall reading; this class collects the
// samples into blocks and the block levels into the history.
class CAudioPeakLevelImpl {
 public:
  // The floor of the history: -120.0 dB in tenths. A block level below it, or
  // no number at all (a weighted meter's block that produced no filtered
  // samples reads minus infinity), is stored as this floor, the value that
  // GetLevelHistory starts each point from, so such a block adds nothing.
  static constexpr int16_t kHistoryFloor = -1200;

  CAudioPeakLevelImpl(unsigned channels, int samplingRate);
  virtual ~CAudioPeakLevelImpl() = default;
  CAudioPeakLevelImpl(const CAudioPeakLevelImpl&) = delete;
  CAudioPeakLevelImpl& operator=(const CAudioPeakLevelImpl&) = delete;

  // Measures one block of `channels` vectors; the result is its level in dB.
  virtual double ProcessBlock(const std::vector<std::vector<double>>& block) = 0;
  // The overall reading since construction, in the meter's own scale.
  virtual double GetPeakReading() = 0;
  virtual CString GetMeterName() = 0;
  // Brings a reading of the meter's own scale to dB; most meters read in dB.
  virtual double ConvertReadingToDB(double reading) { return reading; }
  virtual double SelfTest() { return 0.0; }
  // Appends the samples to the block being filled; each completed block of
  // 100 ms is measured and its level appended to the history. A partial block
  // waits for the next call.
  virtual void AddSamples(const std::vector<std::vector<double>>& samples);

  // Empties `points`, then gives one point per `millisecondsPerPoint`: the
  // highest history entry that the point spans (tenths of a dB, never below
  // -1200). Zero or a negative value gives no points.
  void GetLevelHistory(int millisecondsPerPoint, std::vector<short>& points) const;

  // A block level in dB as a history entry: tenths, truncated toward zero,
  // low 16 bits.
  static int16_t HistoryEntry(double level);

 protected:
  static constexpr double kBlockPeakFloor = 1.0 / 65535.0;  // a block never reads below -96.33 dB

  // The largest entry of `held`, but at least 1e-06 (-120 dB).
  double HighestHeld() const;

  int32_t samplingRate;
  uint32_t channels;
  uint32_t blockFill = 0;
  int32_t blockLength;
  std::vector<double> envelope;
  std::vector<double> held;
  std::vector<std::vector<double>> blockSamples;
  std::vector<int16_t> history;
};

}  // namespace NS_AudioMeasurement
