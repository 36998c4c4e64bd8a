// The OCR facade over the stand-in engine of test_ocr_engine.c, which logs
// the calls it gets.
#include "recognition/ocr_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "recognition/ocr_support_impl.h"
#include "recognition/ocr_test_support.h"
#include "support/library_checks.h"
#include "text_render.h"

namespace {

using corvane::test::ScopedEngineFile;
using corvane::test::ScopedEnvironment;
using corvane::test::TestEngine;

constexpr char kStartLog[] = "Engine_Initialize Cfg_Create Cfg_LoadOptions Ocr_Create Img_Create";
constexpr char kStopLog[] = "Img_Destroy Ocr_Destroy Cfg_Destroy Engine_Uninitialize";

class OCRSupportEngineTest : public corvane::test::LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    ASSERT_TRUE(engine_.Usable()) << CORVANE_TEST_OCR_ENGINE;
  }

  TestEngine engine_{CORVANE_TEST_OCR_ENGINE};
  ScopedEngineFile file_{CORVANE_TEST_OCR_ENGINE};
};

TEST_F(OCRSupportEngineTest, InitializeMakesTheEngineObjectsAndTheDestructorReleasesThem) {
  {
    COCRSupport support;
    EXPECT_EQ(engine_.TakeLog(), "") << "construction leaves the engine alone";
    EXPECT_EQ(support.Initialize(), S_OK);
    EXPECT_EQ(engine_.TakeLog(), kStartLog);
    ASSERT_EQ(support.Initialize(), S_OK);
    EXPECT_EQ(engine_.TakeLog(), std::string(kStopLog) + " " + kStartLog) << "a second start stops the first engine";
  }
  EXPECT_EQ(engine_.TakeLog(), kStopLog);
}

TEST_F(OCRSupportEngineTest, AFailedStepReleasesWhatWasMadeBeforeIt) {
  const std::pair<const char*, const char*> cases[] = {
      {"Engine_Initialize", "Engine_Initialize"},
      {"Cfg_Create", "Engine_Initialize Cfg_Create Engine_Uninitialize"},
      {"Cfg_LoadOptions", "Engine_Initialize Cfg_Create Cfg_LoadOptions Cfg_Destroy Engine_Uninitialize"},
      {"Ocr_Create", "Engine_Initialize Cfg_Create Cfg_LoadOptions Ocr_Create Cfg_Destroy Engine_Uninitialize"},
      {"Img_Create",
       "Engine_Initialize Cfg_Create Cfg_LoadOptions Ocr_Create Img_Create Ocr_Destroy Cfg_Destroy "
       "Engine_Uninitialize"}};
  for (const auto& [failing, log] : cases) {
    const ScopedEnvironment failure("CORVANE_TEST_ENGINE_FAIL", failing);
    EXPECT_EQ(COCRSupport().Initialize(), E_FAIL) << failing;
    EXPECT_EQ(engine_.TakeLog(), log) << "nothing more when the object goes";
  }
}

TEST_F(OCRSupportEngineTest, CopiesShareOneImplementationThatTheLastOneFrees) {
  auto original = std::make_unique<COCRSupport>();
  ASSERT_EQ(original->Initialize(), S_OK);
  engine_.TakeLog();
  {
    const COCRSupport copy(*original);
    COCRSupport assigned;
    assigned = *original;
    assigned = assigned;
  }
  EXPECT_EQ(engine_.TakeLog(), "") << "the engine outlives the copies";
  {
    const COCRSupport survivor(*original);
    original.reset();
    EXPECT_EQ(engine_.TakeLog(), "") << "and the original";
  }
  EXPECT_EQ(engine_.TakeLog(), kStopLog) << "the last copy stops the engine, whichever it is";
}

TEST(OCRSupportTest, InitializeFailsCleanlyWithoutTheModuleOrWithAnEntryMissing) {
  {
    const ScopedEngineFile file(corvane::test::AbsentModulePath().c_str());
    COCRSupport support;
    EXPECT_EQ(support.Initialize(), E_FAIL);
    EXPECT_EQ(support.Initialize(), E_FAIL) << "and again";
  }
  TestEngine partial(CORVANE_TEST_OCR_ENGINE_PARTIAL);
  ASSERT_TRUE(partial.Usable());
  const ScopedEngineFile file(CORVANE_TEST_OCR_ENGINE_PARTIAL);
  COCRSupportImpl support;
  EXPECT_EQ(support.Initialize(), E_FAIL);
  EXPECT_EQ(partial.TakeLog(),
            "Engine_Initialize Cfg_Create Cfg_LoadOptions Ocr_Create Ocr_Destroy Cfg_Destroy Engine_Uninitialize");
  EXPECT_TRUE(support.binding == nullptr && !support.engineStarted && support.configuration == 0 &&
              support.recognition == 0 && support.image == 0);
}

TEST(OCRSupportTest, AreasAreMadeEvenAndKeepTheirType) {
  COCRSupportImpl support;
  const auto type = static_cast<COCRSupport::TEXT_TYPE>(7);
  EXPECT_EQ(support.AddOCRArea(CRect(10, 20, 31, 41), type), S_OK);
  EXPECT_EQ(support.AddOCRArea(CRect(-3, 0, 0, 4), COCRSupport::TEXT_TYPE_UNSPECIFIED), S_OK);
  ASSERT_EQ(support.areas.size(), 2u);
  EXPECT_EQ(support.areas[0].rectangle.right, 30);
  EXPECT_EQ(support.areas[0].rectangle.bottom, 40);
  EXPECT_EQ(support.areas[0].type, type);
  EXPECT_EQ(support.areas[1].rectangle.right, -1) << "an odd width loses a column whatever its sign";
  EXPECT_EQ(support.areas[1].rectangle.bottom, 4);
  support.ClearAllOCRAreas();
  EXPECT_TRUE(support.areas.empty());
}

TEST(OCRSupportTest, GetTextKeepsHyphensDigitsAndAsciiLetters) {
  EXPECT_EQ(COCRSupportImpl::KeepTextCharacters("AB 12-x!"), "AB12-x");
  EXPECT_EQ(COCRSupportImpl::KeepTextCharacters("\tCH 5\n\xC3\x84rger_1.2\r\n"), "CH5rger12");
  EXPECT_EQ(COCRSupportImpl::KeepTextCharacters("azAZ09-"), "azAZ09-");
  EXPECT_EQ(COCRSupportImpl::KeepTextCharacters("@[`{/:"), "") << "the neighbours of each range";

  COCRSupport support;
  support.AddOCRArea(CRect(0, 0, 8, 8), COCRSupport::TEXT_TYPE_UNSPECIFIED);
  EXPECT_EQ(support.GetText(0), "") << "nothing read yet";
  EXPECT_EQ(support.GetText(1), "");
  EXPECT_EQ(support.GetText(-1), "");
}

CYUVFrame FlatFrame(uint8_t luma) { return corvane::test::FlatFrame(luma, 64, 32); }

CYUVFrame FrameWithPixel(uint8_t luma, int column, int row, uint8_t value) {
  CYUVFrame frame = FlatFrame(luma);
  frame.y[row * frame.stride + column] = value;
  return frame;
}

using OCRSupportDifferenceTest = corvane::test::LeakCheckedTest;

TEST_F(OCRSupportDifferenceTest, APixelMustStepAboveTheThresholdInsideAnArea) {
  COCRSupport support;
  support.AddOCRArea(CRect(0, 0, 16, 16), COCRSupport::TEXT_TYPE_UNSPECIFIED);
  support.AddOCRArea(CRect(32, 0, 48, 16), COCRSupport::TEXT_TYPE_UNSPECIFIED);
  EXPECT_FALSE(support.IsImageDifferent(FlatFrame(100), 40)) << "the first frame has nothing to differ from";
  EXPECT_FALSE(support.IsImageDifferent(FrameWithPixel(100, 5, 5, 140), 40)) << "a step of exactly the threshold";
  EXPECT_FALSE(support.IsImageDifferent(FlatFrame(100), 40)) << "and back";
  EXPECT_TRUE(support.IsImageDifferent(FrameWithPixel(100, 5, 5, 141), 40));
  EXPECT_FALSE(support.IsImageDifferent(FrameWithPixel(100, 5, 5, 141), 40)) << "the same frame again";
  EXPECT_TRUE(support.IsImageDifferent(FrameWithPixel(100, 40, 8, 60), 10)) << "in the second area";
  EXPECT_TRUE(support.IsImageDifferent(FlatFrame(100), 10)) << "and back";
  EXPECT_FALSE(support.IsImageDifferent(FrameWithPixel(100, 20, 8, 250), 10)) << "between the areas";
}

TEST_F(OCRSupportDifferenceTest, ThePreviousFrameMovesOnWithoutAreasAndIsForgottenOnReset) {
  COCRSupport support;
  EXPECT_FALSE(support.IsImageDifferent(FlatFrame(100), 10));
  EXPECT_FALSE(support.IsImageDifferent(FlatFrame(60), 10)) << "no areas, nothing differs";
  support.AddOCRArea(CRect(0, 0, 16, 16), COCRSupport::TEXT_TYPE_UNSPECIFIED);
  EXPECT_FALSE(support.IsImageDifferent(FlatFrame(60), 10)) << "the last frame was the one of luma 60";
  support.ResetPreviousFrame();
  EXPECT_FALSE(support.IsImageDifferent(FlatFrame(200), 10)) << "after a reset the frame is copied, not compared";
  EXPECT_TRUE(support.IsImageDifferent(FlatFrame(100), 10));
}

TEST_F(OCRSupportEngineTest, DoOCRHasTheEngineReadEachAreaInOrderOrFails) {
  COCRSupport support;
  EXPECT_EQ(support.DoOCR(FlatFrame(16)), E_FAIL) << "no areas";
  support.AddOCRArea(CRect(0, 0, 41, 21), COCRSupport::TEXT_TYPE_UNSPECIFIED);
  support.AddOCRArea(CRect(40, 20, 60, 30), COCRSupport::TEXT_TYPE_UNSPECIFIED);
  EXPECT_EQ(support.DoOCR(FlatFrame(16)), E_FAIL) << "not initialised";
  ASSERT_EQ(support.Initialize(), S_OK);
  // The stand-in reads "<width>x<height> m<mean red> !": black is red 0 and
  // the studio range's white is red 254 or 255, whatever the rounding.
  CYUVFrame frame = FlatFrame(16);
  for (int row = 20; row < 30; ++row) std::memset(frame.y + row * frame.stride + 40, 235, 20);
  engine_.TakeLog();
  ASSERT_EQ(support.DoOCR(frame), S_OK);
  EXPECT_EQ(engine_.TakeLog(),
            "Img_LoadBmpData Img_OCR Img_GetImgText Img_GetImgText Img_LoadBmpData Img_OCR Img_GetImgText "
            "Img_GetImgText");
  EXPECT_EQ(support.GetText(0), "40x20m0") << "the odd column and row were dropped";
  const std::string white = support.GetText(1);
  EXPECT_TRUE(white == "20x10m254" || white == "20x10m255") << white;

  for (const char* failing : {"Img_LoadBmpData", "Img_OCR", "Img_GetImgText"}) {
    ASSERT_EQ(support.DoOCR(frame), S_OK);
    const ScopedEnvironment failure("CORVANE_TEST_ENGINE_FAIL", failing);
    EXPECT_EQ(support.DoOCR(frame), E_FAIL) << failing;
    EXPECT_EQ(support.GetText(0), "") << "the old text is gone";
  }
}

// Frames of 320 by 96 with two captions each, read through DoOCR and GetText
// by the engine module of engines/ocr: light on dark, dark on light, and
// glyphs of 10 pixels, of which Tesseract misreads about a sixth unless the
// engine scales the picture up.
struct Captions {
  uint8_t ink, ground;
  int pixelSize;
  double accuracy;
};
void PrintTo(const Captions& c, std::ostream* os) {
  *os << int{c.ink} << " on " << int{c.ground} << ", " << c.pixelSize << " px";
}

class OCRSupportEndToEndTest : public testing::TestWithParam<Captions> {};

TEST_P(OCRSupportEndToEndTest, ReadsCaptionsDrawnWithARealFont) {
  CORVANE_SKIP_WITHOUT_OCR_ENGINE_MODULE();
  const ScopedEngineFile file(nullptr);
  const Captions captions = GetParam();
  const corvane::tool::TextRenderer renderer(corvane::tool::TextRenderer::DefaultFontPath(), captions.pixelSize);
  COCRSupport support;
  ASSERT_EQ(support.Initialize(), S_OK);
  const CRect areas[2] = {CRect(8, 8, 200, 40), CRect(120, 56, 312, 88)};
  for (const CRect& area : areas) support.AddOCRArea(area, COCRSupport::TEXT_TYPE_UNSPECIFIED);
  const std::vector<std::string>& strings = corvane::test::CaptionStrings();
  corvane::test::ReadingScore score;
  for (size_t i = 0; i + 1 < strings.size(); i += 2) {
    CYUVFrame frame = corvane::test::FlatFrame(captions.ground, 320, 96);
    for (size_t k = 0; k < 2; ++k) {
      renderer.Draw(frame.y, frame.stride, 320, 96, areas[k].left + 6, areas[k].top + 24, strings[i + k], captions.ink);
    }
    ASSERT_EQ(support.DoOCR(frame), S_OK);
    for (size_t k = 0; k < 2; ++k) score.Add(strings[i + k], support.GetText(static_cast<int>(k)));
  }
  EXPECT_GE(score.Accuracy(), captions.accuracy);
}

INSTANTIATE_TEST_SUITE_P(LightDarkAndTiny, OCRSupportEndToEndTest,
                         testing::Values(Captions{235, 16, 20, 0.95}, Captions{16, 180, 20, 0.95},
                                         Captions{235, 16, 10, 0.93}));

}  // namespace
