// `corvane selftest`: runs the static self tests of the measurement classes
// and prints what they give.
#include <chrono>
#include <cstdio>
#include <string>

#include "args.h"
#include "command.h"
#include "measurement/audio_bs1770.h"
#include "measurement/audio_peak_level.h"
#include "measurement/fft_filter.h"

namespace corvane::tool {
namespace {

using namespace NS_AudioMeasurement;

std::string FormatDb(double db) {
  char text[32];
  std::snprintf(text, sizeof text, "(%.2f dB)", db);
  return text;
}

double Milliseconds(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

int RunSelfTest(const std::vector<std::string>& arguments) {
  const Args args(arguments, {});
  args.ExpectPositional(0, "no positional arguments");
  for (AUDIO_MEAUREMENT_TYPE type :
       {MEASUREMENT_PPM_IIA, MEASUREMENT_VU, MEASUREMENT_TRUE_PEAK, MEASUREMENT_CHROMATEC, MEASUREMENT_SIMPLE}) {
    const auto start = std::chrono::steady_clock::now();
    const double result = CAudioPeakLevel::TestPeakLevel(type);
    const double took = Milliseconds(start);
    CAudioPeakLevel meter(2, 48000, type);
    const double db = meter.ConvertReadingToDB(result);
    std::printf("TestPeakLevel %-10s %8.3f %s  %7.1f ms\n", meter.GetMeterName().c_str(), result,
                db == result ? "dB            " : ("marks " + FormatDb(db)).c_str(), took);
  }
  auto start = std::chrono::steady_clock::now();
  CAudioBS1770::TestCAudioBS1770();
  std::printf("TestCAudioBS1770         ran: 1 s of 1 kHz on 1, 2 and 5 channels  %7.1f ms\n", Milliseconds(start));
  start = std::chrono::steady_clock::now();
  CFFTFilter::TestFilter();
  std::printf("TestFilter               ran: 100 s of 2 kHz through the test curve  %7.1f ms\n", Milliseconds(start));
  return 0;
}

const bool registered = RegisterCommand({
    "selftest",
    "run the measurement classes' built-in self tests",
    "usage: corvane selftest\n"
    "\n"
    "Runs TestPeakLevel for each of the five meters (the PPM reads in marks;\n"
    "the VU and simple meters have no test and give 0), TestCAudioBS1770 and\n"
    "TestFilter, whose results are their own, and prints what they give and\n"
    "how long they took.\n",
    RunSelfTest,
});

}  // namespace
}  // namespace corvane::tool
