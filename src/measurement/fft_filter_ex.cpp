#include "measurement/fft_filter_ex.h"

#include <algorithm>
#include <cmath>

#include "platform/xml_node.h"

namespace NS_AudioMeasurement {

const CFilterPoint kTestFilterCurve[49] = {
    {100, -7},  {125, -7},   {160, -1},   {200, 3},    {250, 3},    {300, 4},    {315, 5},  {350, 6},   {400, 4.5},
    {450, 4},   {500, 3.5},  {600, 4.1},  {700, 4.5},  {800, 2},    {900, 0},    {1000, 0}, {1100, 2},  {1200, 3},
    {1300, 4},  {1400, 4.5}, {1500, 4.5}, {1600, 4},   {1700, 3.5}, {1800, 3},   {1900, 3}, {2000, 3},  {2100, 3.5},
    {2200, 4},  {2300, 5},   {2400, 6},   {2500, 7},   {2600, 8},   {2700, 8.5}, {2800, 9}, {2900, 10}, {3000, 10},
    {3100, 10}, {3200, 10},  {3300, 9},   {3400, 9},   {3500, 8},   {3600, 9},   {3700, 9}, {3800, 9},  {3900, 9},
    {4000, 9},  {5000, 9},   {10000, 0},  {12000, -3},
};

namespace {

constexpr double kLowestFrequency = 0.001;

// log2 of a power of two from 2 to 2^31, or -1.
int Log2Exact(int size) {
  for (int order = 1; order <= 31; ++order) {
    if ((int64_t{1} << order) == size) return order;
  }
  return -1;
}

// std::complex<double> is laid out as two doubles, the layout of a packed spectrum.
double* Doubles(std::vector<std::complex<double>>& values) { return reinterpret_cast<double*>(values.data()); }

}  // namespace

CFFTFilterEx::CFFTFilterEx(const CFFTFilterEx& other)
    : response(other.response),
      spectrum(other.spectrum),
      pending(other.pending),
      tail(other.tail),
      frame(other.frame),
      samplingRate(other.samplingRate),
      fftSize(other.fftSize),
      fftOrder(other.fftOrder),
      tailLength(other.tailLength),
      points(other.points) {
  if (other.fftSpec != nullptr) MakeTransform();
}

CFFTFilterEx& CFFTFilterEx::operator=(const CFFTFilterEx& other) {
  if (this == &other) return *this;
  FreeTransform();
  response = other.response;
  spectrum = other.spectrum;
  pending = other.pending;
  tail = other.tail;
  frame = other.frame;
  samplingRate = other.samplingRate;
  fftSize = other.fftSize;
  fftOrder = other.fftOrder;
  tailLength = other.tailLength;
  points = other.points;
  if (other.fftSpec != nullptr) MakeTransform();
  return *this;
}

CFFTFilterEx::~CFFTFilterEx() { FreeTransform(); }

void CFFTFilterEx::MakeTransform() { PrimFFTInitAlloc(&fftSpec, fftOrder, PrimFFTDivInverseByN, 0); }

void CFFTFilterEx::FreeTransform() {
  if (fftSpec != nullptr) PrimFFTFreeSpec(fftSpec);
  fftSpec = nullptr;
}

void CFFTFilterEx::AddFilterPoint(double frequency, double gain) {
  // A NaN has no place on a rising curve; as a first point it left one point
  // that no comparison extends, and the response build read past it.
  if (std::isnan(frequency)) return;
  frequency = std::max(frequency, kLowestFrequency);
  if (!points.empty() && frequency <= points.back().frequency) return;
  points.push_back({frequency, gain});
}

double CFFTFilterEx::CurveGain(double frequency) const {
  size_t j = 1;
  while (j + 1 < points.size() && points[j].frequency < frequency) ++j;
  const CFilterPoint& below = points[j - 1];
  const CFilterPoint& above = points[j];
  // Within the first hertz above a point the gain stays at that point's.
  const double span = std::max(0.1, std::log10(above.frequency - below.frequency));
  const double t = std::log10(std::max(1.0, frequency - below.frequency)) / span;
  return below.gain + t * (above.gain - below.gain);
}

void CFFTFilterEx::BuildFilter(int rate, int size) {
  samplingRate = rate;
  fftSize = size;
  tailLength = size / 4;
  const int order = Log2Exact(size);
  if (order > 0) fftOrder = order;
  if (points.front().frequency > kLowestFrequency) {
    points.insert(points.begin(), {kLowestFrequency, points.front().gain});
  }
  // The curve is carried on to the sampling rate itself, not only to half of it.
  const double rateAsFrequency = rate;
  if (rateAsFrequency > points.back().frequency) points.push_back({rateAsFrequency, points.back().gain});

  const double binWidth = static_cast<double>(rate) / size;
  for (int k = 0; k < size / 2; ++k) {
    const std::complex<double> gain(std::pow(10.0, CurveGain((k + 1) * binWidth) / 20.0), 0.0);
    response.push_back(gain);
    if (k == 0) response.push_back(gain);  // DC takes the gain of the first bin
  }
  spectrum.assign(response.size(), {0.0, 0.0});
  frame.assign(static_cast<size_t>(size), 0.0);
  tail.assign(static_cast<size_t>(tailLength), 0.0);
  FreeTransform();
  MakeTransform();
}

int CFFTFilterEx::ProcessSamples(const std::vector<double>& input, std::vector<double>& output) {
  output.clear();
  pending.insert(pending.end(), input.begin(), input.end());
  const size_t hop = static_cast<size_t>(Hop());
  size_t used = 0;
  while (pending.size() - used >= hop) {
    std::copy_n(pending.begin() + static_cast<std::ptrdiff_t>(used), hop, frame.begin());
    std::fill(frame.begin() + static_cast<std::ptrdiff_t>(hop), frame.end(), 0.0);
    // The last frame's tail joins this frame's input, so it passes the filter again.
    for (size_t i = 0; i < tail.size(); ++i) frame[i] += tail[i];
    used += hop;
    PrimFFTForward(frame.data(), Doubles(spectrum), fftSpec, nullptr);
    PrimMulPackedSpectrum(Doubles(response), Doubles(spectrum), fftSize / 2 + 1);
    PrimFFTInverse(Doubles(spectrum), frame.data(), fftSpec, nullptr);
    output.insert(output.end(), frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(hop));
    std::copy(frame.begin() + static_cast<std::ptrdiff_t>(hop), frame.end(), tail.begin());
  }
  pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(used));
  return static_cast<int>(output.size());
}

int CFFTFilterEx::FlushFilter(std::vector<double>& output) {
  const size_t hop = static_cast<size_t>(Hop());
  std::vector<double> zeros;
  if (pending.size() < hop) {
    zeros.assign(hop - pending.size(), 0.0);
    pending.resize(hop, 0.0);
  }
  return ProcessSamples(zeros, output);
}

void CFFTFilterEx::SaveResponseCurveToXML(const CString& fileName) const {
  XMLNode top = XMLNode::createXMLTopNode();
  XMLNode filter = top.addChildNode("Filter", 0);
  for (size_t i = 0; i < points.size(); ++i) {
    XMLNode point = filter.AddNode("point", static_cast<int>(i));
    point.addAttributeValue("frequency", points[i].frequency);
    point.addAttributeValue("gain", points[i].gain);
  }
  filter.saveXMLToFile(fileName, 1);
}

}  // namespace NS_AudioMeasurement
