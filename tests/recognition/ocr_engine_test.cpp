// The engine module of engines/ocr, driven through the binding as the OCR
// support drives it. Skipped when the module is not built.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "recognition/nsocr_binding.h"
#include "recognition/ocr_test_support.h"
#include "recognition/rendered_text.h"
#include "recognition/wide_text.h"
#include "support/temp_folder.h"

namespace {

using corvane::test::CaptionStrings;
using corvane::test::EditDistance;
using corvane::test::RenderCaption;
using corvane::test::RenderedCaption;
using corvane::tool::TextRenderer;

std::string EngineModulePath() { return std::string(CORVANE_BUILD_DIR) + "/lib/OCR/libNSOCR.so"; }

class OCREngineTest : public testing::Test {
 protected:
  void SetUp() override {
    if (access(EngineModulePath().c_str(), R_OK) != 0) {
      GTEST_SKIP() << "the OCR engine module is not built (Tesseract is not installed): no " << EngineModulePath();
    }
    ASSERT_TRUE(binding_.Load());
    ASSERT_NE(binding_.entries.Engine_Initialize, nullptr);
    ASSERT_EQ(binding_.entries.Engine_Initialize(), 0);
    started_ = true;
  }

  void TearDown() override {
    if (started_) {
      EXPECT_EQ(binding_.entries.Engine_Uninitialize(), 0);
    }
  }

  // A recogniser and an image made with the options of `optionFile`.
  void Open(const wchar_t* optionFile = L"Config.dat") {
    const NSOCREntryTable& e = binding_.entries;
    ASSERT_EQ(e.Cfg_Create(&configuration_), 0);
    ASSERT_EQ(e.Cfg_LoadOptions(configuration_, optionFile), 0);
    ASSERT_EQ(e.Ocr_Create(configuration_, &recognition_), 0);
    ASSERT_EQ(e.Img_Create(recognition_, &image_), 0);
  }

  std::string Read(const RenderedCaption& caption) {
    const NSOCREntryTable& e = binding_.entries;
    EXPECT_EQ(e.Img_LoadBmpData(image_, caption.rgb.data(), caption.width, caption.height, 0), 0);
    EXPECT_EQ(e.Img_OCR(image_), 0);
    int32_t length = 0;
    EXPECT_EQ(e.Img_GetImgText(image_, nullptr, &length), 1);
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    int32_t room = length + 1;
    EXPECT_EQ(e.Img_GetImgText(image_, text.data(), &room), 0);
    EXPECT_EQ(room, length);
    text.resize(static_cast<size_t>(length));
    return WideToUtf8(text);
  }

  // The share of characters read right over the caption strings, drawn with
  // glyphs of `pixelSize` pixels; misreadings are printed.
  double Accuracy(int pixelSize, uint8_t ink, uint8_t ground) {
    const TextRenderer renderer(TextRenderer::DefaultFontPath(), pixelSize);
    size_t errors = 0;
    size_t characters = 0;
    for (const std::string& text : CaptionStrings()) {
      const std::string read = Kept(Read(RenderCaption(renderer, text, pixelSize, ink, ground)));
      errors += EditDistance(text, read);
      characters += text.size();
      if (read != text)
        std::printf("  %d pixels, ink %d: drawn '%s', read '%s'\n", pixelSize, ink, text.c_str(), read.c_str());
    }
    return 1.0 - static_cast<double>(errors) / static_cast<double>(characters);
  }

  // The characters the OCR support keeps: letters, digits and hyphens.
  static std::string Kept(const std::string& text) {
    std::string kept;
    for (const char c : text) {
      if (c == '-' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) kept += c;
    }
    return kept;
  }

  TNSOCR binding_;
  bool started_ = false;
  NSOCRHandle configuration_ = 0;
  NSOCRHandle recognition_ = 0;
  NSOCRHandle image_ = 0;
};

TEST_F(OCREngineTest, ReadsTwentyPixelCaptionsInBothPolarities) {
  Open();
  EXPECT_GE(Accuracy(20, 235, 16), 0.95) << "light on dark";
  EXPECT_GE(Accuracy(20, 16, 180), 0.95) << "dark on light";
}

TEST_F(OCREngineTest, ScalingUpKeepsTinyCaptionsReadable) {
  Open();
  // Glyphs of 10 pixels: about a sixth of the characters are misread when
  // the picture is given to Tesseract at its own size.
  EXPECT_GE(Accuracy(10, 235, 16), 0.93);
}

TEST_F(OCREngineTest, PlainOrNoisyGroundsReadAsNoText) {
  Open();
  std::mt19937 random(3);
  for (const uint8_t ground : {uint8_t{16}, uint8_t{128}, uint8_t{235}}) {
    RenderedCaption plain;
    plain.width = 56;
    plain.height = 16;
    plain.rgb.assign(56 * 16 * 3, ground);
    EXPECT_EQ(Read(plain), "") << "ground " << int{ground};
    for (uint8_t& byte : plain.rgb) byte = static_cast<uint8_t>(ground - 8 + static_cast<int>(random() % 16));
    EXPECT_EQ(Read(plain), "") << "noise around " << int{ground};
  }
}

TEST_F(OCREngineTest, TextIsHandedOutOnlyWhenItFits) {
  Open();
  const TextRenderer renderer(TextRenderer::DefaultFontPath(), 24);
  const NSOCREntryTable& e = binding_.entries;
  const std::string read = Read(RenderCaption(renderer, "ABC-123", 24, 16, 200));
  EXPECT_EQ(Kept(read), "ABC-123");
  std::vector<wchar_t> buffer(read.size() + 4, L'#');
  int32_t room = static_cast<int32_t>(Utf8ToWide(read).size());  // no room for the closing zero
  EXPECT_EQ(e.Img_GetImgText(image_, buffer.data(), &room), 1);
  EXPECT_EQ(buffer[0], L'#') << "nothing is copied when it does not fit";
  EXPECT_EQ(e.Img_GetImgText(image_, buffer.data(), nullptr), -3);
}

TEST_F(OCREngineTest, RefusesBadHandlesAndPictures) {
  Open();
  const NSOCREntryTable& e = binding_.entries;
  const uint8_t pixels[12] = {};
  int32_t length = 10;
  EXPECT_EQ(e.Img_OCR(image_), -3) << "no picture loaded yet";
  EXPECT_EQ(e.Img_GetImgText(image_, nullptr, &length), 1);
  EXPECT_EQ(length, 0);
  EXPECT_EQ(e.Img_LoadBmpData(image_, pixels, 2, 2, 1), -3) << "unknown flags";
  EXPECT_EQ(e.Img_LoadBmpData(image_, pixels, 0, 2, 0), -3);
  EXPECT_EQ(e.Img_LoadBmpData(image_, pixels, 2, -1, 0), -3);
  EXPECT_EQ(e.Img_LoadBmpData(image_, nullptr, 2, 2, 0), -3);
  EXPECT_EQ(e.Img_LoadBmpData(image_, pixels, 1 << 14, 1 << 14, 0), -3) << "too large";
  EXPECT_EQ(e.Img_LoadBmpData(image_ + 1000, pixels, 2, 2, 0), -2);
  EXPECT_EQ(e.Img_Create(recognition_ + 1000, &length), -2);
  EXPECT_EQ(e.Ocr_Create(configuration_ + 1000, &length), -2);
  EXPECT_EQ(e.Img_Destroy(image_), 0);
  EXPECT_EQ(e.Img_Destroy(image_), -2) << "destroyed once only";
  EXPECT_EQ(e.Ocr_Destroy(recognition_), 0);
  EXPECT_EQ(e.Cfg_Destroy(configuration_), 0);
}

TEST_F(OCREngineTest, RefusesOptionFilesItCannotUse) {
  const NSOCREntryTable& e = binding_.entries;
  const corvane::test::TempFolder folder;
  const std::string path = folder.Path() + "/options.dat";
  const std::pair<std::string, int32_t> cases[] = {{"language=eng\npage_segmentation_mode=14\n", -4},
                                                   {"colour=blue\n", -4},
                                                   {"language\n", -4},
                                                   {"language=e/g\n", -4},
                                                   {"# only a comment\n\n", 0},
                                                   {"  language = eng \r\ncaption_height=0\n", 0}};
  for (const auto& [text, expected] : cases) {
    std::ofstream(path) << text;
    NSOCRHandle configuration = 0;
    ASSERT_EQ(e.Cfg_Create(&configuration), 0);
    EXPECT_EQ(e.Cfg_LoadOptions(configuration, Utf8ToWide(path).c_str()), expected) << text;
    EXPECT_EQ(e.Cfg_Destroy(configuration), 0);
  }
  NSOCRHandle configuration = 0;
  ASSERT_EQ(e.Cfg_Create(&configuration), 0);
  EXPECT_EQ(e.Cfg_LoadOptions(configuration, L"/no/such/Config.dat"), -4);
  std::ofstream(path) << "language=xx_none\n";
  ASSERT_EQ(e.Cfg_LoadOptions(configuration, Utf8ToWide(path).c_str()), 0);
  NSOCRHandle recognition = 0;
  EXPECT_EQ(e.Ocr_Create(configuration, &recognition), -5) << "no data for that language";
  EXPECT_EQ(e.Cfg_Destroy(configuration), 0);
}

TEST_F(OCREngineTest, NothingWorksOutsideAStartedEngine) {
  const NSOCREntryTable& e = binding_.entries;
  Open();
  ASSERT_EQ(e.Engine_Uninitialize(), 0);
  started_ = false;
  NSOCRHandle handle = 0;
  EXPECT_EQ(e.Cfg_Create(&handle), -1);
  EXPECT_EQ(e.Img_OCR(image_), -1) << "stopping the engine released its objects";
  EXPECT_EQ(e.Img_Destroy(image_), -1);
  EXPECT_EQ(e.Engine_Uninitialize(), -1);
}

}  // namespace
