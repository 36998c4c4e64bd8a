// Demo step: hot spots and OCR. A channel's caption screen is drawn with a
// real font and stored as a hot spot; a later frame is recognised as that
// screen by its logo, and the OCR engine reads the caption.
#include <cstdio>
#include <cstring>
#include <string>

#include "command.h"
#include "output_file.h"
#include "recognition/image_hot_spot.h"
#include "recognition/ocr_support.h"
#include "text_render.h"
#include "y4m.h"

namespace corvane::tool {
namespace {

constexpr int kWidth = 352;
constexpr int kHeight = 96;
constexpr int kGlyphPixels = 20;
const CRect kLogoArea(8, 8, 72, 24);
const CRect kCaptionArea(8, 36, 344, 72);

// A dark screen; with `logo`, a bright bar at the top left; the caption in
// white below it.
void PaintScreen(CYUVFrame& frame, const TextRenderer& renderer, bool logo, const std::string& caption) {
  frame.Reformat(kWidth, kHeight, CHROMA_420);
  std::memset(frame.y, 32, static_cast<size_t>(frame.lumaPlaneSize));
  std::memset(frame.u, 128, 2 * static_cast<size_t>(frame.chromaPlaneSize));
  for (int row = kLogoArea.top; logo && row < kLogoArea.bottom; ++row) {
    std::memset(frame.y + row * frame.stride + kLogoArea.left, 180, static_cast<size_t>(kLogoArea.Width()));
  }
  renderer.Draw(frame.y, frame.stride, kWidth, kHeight, kCaptionArea.left + 8, kCaptionArea.top + 26, caption, 235);
}

void RunRecognitionDemo(const std::string& folder) {
  const TextRenderer renderer(TextRenderer::DefaultFontPath(), kGlyphPixels);
  const char* const captions[3] = {"News-at-20-15", "Sport-Live-07", "Weather-3"};
  CYUVFrame screens[3];
  for (int i = 0; i < 3; ++i) PaintScreen(screens[i], renderer, i != 2, captions[i]);

  const std::string videoPath = folder + "/captions-352x96.y4m";
  OutputFile video(videoPath);
  Y4MFormat format;
  format.width = kWidth;
  format.height = kHeight;
  Y4MWriter writer(video, format);
  for (const CYUVFrame& screen : screens) writer.WriteFrame(screen);
  video.Commit();
  std::printf("captions: 3 frames with %d-pixel DejaVu Sans Mono text -> %s\n", kGlyphPixels, videoPath.c_str());

  CImageHotSpot spot;
  spot.m_referenceFrame = screens[0];
  spot.m_checkAreas = {kLogoArea};
  spot.m_ocrAreas = {kCaptionArea};
  const std::string spotPath = folder + "/caption-hotspot.xml";
  spot.SaveHotSpotDataToFile(spotPath);
  std::printf("hot spot: frame 0, logo area checked, caption area read -> %s\n", spotPath.c_str());

  COCRSupport ocr;
  const bool engine = SUCCEEDED(ocr.Initialize());
  ocr.AddOCRArea(spot.m_ocrAreas[0], COCRSupport::TEXT_TYPE_UNSPECIFIED);
  if (!engine) std::printf("OCR engine module OCR/libNSOCR.so not found: captions are not read\n");
  for (int i = 1; i < 3; ++i) {
    CYUVFrame frame = screens[i];
    CYUVFrame difference;
    int count = 0;
    unsigned char maximum = 0;
    const float share = spot.CountDiff(0, frame, difference, 24, count, maximum);
    std::printf("frame %d: %.1f %% of the logo area differs: %s", i, 100.0 * share,
                share < 0.01f ? "the caption screen" : "another screen");
    if (engine && share < 0.01f && SUCCEEDED(ocr.DoOCR(frame))) {
      std::printf(", caption read \"%s\" (drawn \"%s\")", ocr.GetText(0).c_str(), captions[i]);
    }
    std::printf("\n");
  }
}

const bool registered = RegisterDemoStep({70, "hot spots and OCR", RunRecognitionDemo});

}  // namespace
}  // namespace corvane::tool
