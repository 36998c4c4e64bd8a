#include "measurement/audio_bs1770.h"

#include <cmath>

#include "measurement/audio_bs1770_impl.h"

namespace NS_AudioMeasurement {

CAudioBS1770::CAudioBS1770(unsigned int channels, int samplingRate, CAudioStreamParameters::CLKFSParameters parameters)
    : impl(new CAudioBS1770Impl(channels, samplingRate, parameters)) {}

CAudioBS1770::~CAudioBS1770() { delete impl; }

void CAudioBS1770::AddSamples(const std::vector<std::vector<double>>& samples) { impl->AddSamples(samples); }

double CAudioBS1770::GetLoudness(int mode) const { return impl->GetLoudness(mode); }

double CAudioBS1770::GetMeasuredLoudness() const { return impl->GetMeasuredLoudness(); }

double CAudioBS1770::GetPeak() const { return impl->GetPeak(); }

void CAudioBS1770::CopyChannelBlocks(unsigned int targetChannel, unsigned int sourceChannel,
                                     const CAudioBS1770& source) {
  impl->CopyChannelBlocks(targetChannel, sourceChannel, *source.impl);
}

void CAudioBS1770::GetLoudnessCurve(int stepMilliseconds, int mode, std::vector<LoudnessPoint>& curve) const {
  impl->GetLoudnessCurve(stepMilliseconds, mode, curve);
}

void CAudioBS1770::SaveLoudnessCurve(const CString& fileName, const std::vector<LoudnessPoint>& curve) const {
  CAudioBS1770Impl::SaveLoudnessCurve(fileName, curve);
}

void CAudioBS1770::TestCAudioBS1770() {
  std::vector<std::vector<double>> tone(1, std::vector<double>(48000));
  const double twoPi = 8.0 * std::atan(1.0);
  for (size_t i = 0; i < tone[0].size(); ++i) tone[0][i] = std::sin(twoPi * static_cast<double>(i) / 48.0);
  const CAudioStreamParameters::CLKFSParameters parameters = {400, 0, 0, -10.0, -70.0};

  CAudioBS1770 mono(1, 48000, parameters);
  mono.AddSamples(tone);
  mono.GetLoudness(LOUDNESS_GATED);

  CAudioBS1770 stereo(2, 48000, parameters);
  for (unsigned c = 0; c < 2; ++c) stereo.CopyChannelBlocks(c, 0, mono);
  stereo.GetLoudness(LOUDNESS_GATED);

  CAudioBS1770 surround(5, 48000, parameters);
  for (unsigned c = 0; c < 5; ++c) surround.CopyChannelBlocks(c, 0, mono);
  surround.GetLoudness(LOUDNESS_GATED);
}

}  // namespace NS_AudioMeasurement
