// `corvane meter`: one level meter of the library over an audio file, its
// overall reading and, on request, its level history.
#include <cmath>
#include <cstdio>
#include <map>

#include "args.h"
#include "command.h"
#include "loudness_report.h"
#include "measurement/audio_peak_level.h"
#include "sound_file.h"

namespace corvane::tool {
namespace {

using NS_AudioMeasurement::AUDIO_MEAUREMENT_TYPE;

AUDIO_MEAUREMENT_TYPE MeterType(const std::string& name) {
  static const std::map<std::string, AUDIO_MEAUREMENT_TYPE> types = {
      {"ppm", NS_AudioMeasurement::MEASUREMENT_PPM_IIA},
      {"vu", NS_AudioMeasurement::MEASUREMENT_VU},
      {"truepeak", NS_AudioMeasurement::MEASUREMENT_TRUE_PEAK},
      {"chromatec", NS_AudioMeasurement::MEASUREMENT_CHROMATEC},
      {"simple", NS_AudioMeasurement::MEASUREMENT_SIMPLE},
  };
  const auto it = types.find(name);
  if (it == types.end()) throw ToolError("--type takes ppm, vu, truepeak, chromatec or simple, not '" + name + "'");
  return it->second;
}

int RunMeter(const std::vector<std::string>& arguments) {
  const Args args(arguments, {"type", "history"});
  args.ExpectPositional(1, "one audio file");
  if (!args.Has("type")) throw ToolError("--type is required (see --help)");
  const AUDIO_MEAUREMENT_TYPE type = MeterType(args.Get("type", ""));
  const int historyMs = args.GetInt("history", 0, 1, 3600000);
  const std::string& path = args.Positional()[0];

  SoundFileReader reader(path);
  CheckMeasurable(reader);
  NS_AudioMeasurement::CAudioPeakLevel meter(static_cast<unsigned>(reader.Channels()), reader.Rate(), type);
  FeedAllBlocks(reader, "metering " + path,
                [&](const std::vector<std::vector<double>>& block) { meter.AddSamples(block); });
  const double reading = meter.GetPeakReading();
  std::printf("meter    %s\n", meter.GetMeterName().c_str());
  std::printf("reading  %.2f (%.2f dB)\n", reading, meter.ConvertReadingToDB(reading));
  if (historyMs > 0) {
    std::vector<short> points;
    meter.GetLevelHistory(historyMs, points);
    std::printf("history  %zu points, one per %d ms: start in seconds, highest block level in dB\n", points.size(),
                historyMs);
    for (size_t i = 0; i < points.size(); ++i) {
      std::printf("%10.3f %7.1f\n", static_cast<double>(i) * historyMs / 1000.0, points[i] / 10.0);
    }
  }
  return 0;
}

const bool registered = RegisterCommand({
    "meter",
    "run one level meter (PPM, VU, true peak, Chromatec, simple) over an audio file",
    "usage: corvane meter --type ppm|vu|truepeak|chromatec|simple FILE [--history MS]\n"
    "\n"
    "Runs one of the library's level meters over an audio file that libsndfile\n"
    "reads and prints its overall reading (the PPM reads in marks, shown with\n"
    "their dB). The meters measure whole blocks of 100 ms; a shorter last block\n"
    "is not measured.\n"
    "\n"
    "  --type NAME   ppm (type IIa), vu, truepeak (4x oversampled), chromatec\n"
    "                (weighted, 48 kHz constants) or simple (sample peak)\n"
    "  --history MS  also print the level history, one point per MS milliseconds:\n"
    "                the highest 100 ms block level in the point's span\n",
    RunMeter,
});

}  // namespace
}  // namespace corvane::tool
