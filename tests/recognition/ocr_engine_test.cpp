// The engine module of engines/ocr, driven through the binding as the OCR
// support drives it. Skipped when the module is not built.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "recognition/nsocr_binding.h"
#include "recognition/ocr_test_support.h"
#include "recognition/wide_text.h"
#include "support/temp_folder.h"

namespace {

// A picture as packed RGB, rows from the top.
struct RenderedCaption {
  std::vector<uint8_t> rgb;
  int width = 0;
  int height = 0;
};

class OCREngineTest : public testing::Test {
 protected:
  void SetUp() override {
    CORVANE_SKIP_WITHOUT_OCR_ENGINE_MODULE();
    ASSERT_TRUE(binding_.Load());
    ASSERT_NE(e.Engine_Initialize, nullptr);
    ASSERT_EQ(e.Engine_Initialize(), 0);
    started_ = true;
  }

  void TearDown() override {
    if (started_) {
      EXPECT_EQ(e.Engine_Uninitialize(), 0);
    }
  }

  // A recogniser and an image made with the engine's own options.
  void Open() {
    ASSERT_EQ(e.Cfg_Create(&configuration_), 0);
    ASSERT_EQ(e.Cfg_LoadOptions(configuration_, L"Config.dat"), 0);
    ASSERT_EQ(e.Ocr_Create(configuration_, &recognition_), 0);
    ASSERT_EQ(e.Img_Create(recognition_, &image_), 0);
  }

  // Reads the caption, asking for the text as the OCR support does: its
  // length first, then the text with room for its closing zero.
  std::string Read(const RenderedCaption& caption) {
    EXPECT_EQ(e.Img_LoadBmpData(image_, caption.rgb.data(), caption.width, caption.height, 0), 0);
    EXPECT_EQ(e.Img_OCR(image_), 0);
    int32_t length = 0;
    EXPECT_EQ(e.Img_GetImgText(image_, nullptr, &length), 1);
    std::wstring text(static_cast<size_t>(length) + 1, L'#');
    int32_t room = length;
    EXPECT_EQ(e.Img_GetImgText(image_, text.data(), &room), 1) << "no room for the closing zero";
    EXPECT_EQ(text[0], L'#') << "nothing is copied when it does not fit";
    room = length + 1;
    EXPECT_EQ(e.Img_GetImgText(image_, text.data(), &room), 0);
    EXPECT_EQ(room, length);
    text.resize(static_cast<size_t>(length));
    return WideToUtf8(text);
  }

  TNSOCR binding_;
  const NSOCREntryTable& e = binding_.entries;
  bool started_ = false;
  NSOCRHandle configuration_ = 0;
  NSOCRHandle recognition_ = 0;
  NSOCRHandle image_ = 0;
};

TEST_F(OCREngineTest, PlainOrNoisyGroundsReadAsNoText) {
  Open();
  std::mt19937 random(3);
  for (const uint8_t ground : {uint8_t{16}, uint8_t{128}, uint8_t{235}}) {
    RenderedCaption plain{std::vector<uint8_t>(56 * 16 * 3, ground), 56, 16};
    EXPECT_EQ(Read(plain), "") << "ground " << int{ground};
    for (uint8_t& byte : plain.rgb) byte = static_cast<uint8_t>(ground - 8 + static_cast<int>(random() % 16));
    EXPECT_EQ(Read(plain), "") << "noise around " << int{ground};
  }
}

TEST_F(OCREngineTest, RefusesBadHandlesAndPictures) {
  Open();
  const uint8_t pixels[12] = {};
  int32_t length = 10;
  EXPECT_EQ(e.Img_OCR(image_), -3) << "no picture loaded yet";
  EXPECT_EQ(e.Img_GetImgText(image_, nullptr, &length), 1);
  EXPECT_EQ(length, 0);
  EXPECT_EQ(e.Img_GetImgText(image_, nullptr, nullptr), -3);
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
  const corvane::test::TempFolder folder;
  const std::wstring path = Utf8ToWide(folder.Path() + "/options.dat");
  const std::pair<std::string, int32_t> cases[] = {{"language=eng\npage_segmentation_mode=14\n", -4},
                                                   {"colour=blue\n", -4},
                                                   {"language\n", -4},
                                                   {"language=e/g\n", -4},
                                                   {"# only a comment\n\n", 0},
                                                   {"  language = eng \r\ncaption_height=0\n", 0}};
  for (const auto& [text, expected] : cases) {
    folder.Write("options.dat", text);
    ASSERT_EQ(e.Cfg_Create(&configuration_), 0);
    EXPECT_EQ(e.Cfg_LoadOptions(configuration_, path.c_str()), expected) << text;
    EXPECT_EQ(e.Cfg_Destroy(configuration_), 0);
  }
  ASSERT_EQ(e.Cfg_Create(&configuration_), 0);
  EXPECT_EQ(e.Cfg_LoadOptions(configuration_, L"/no/such/Config.dat"), -4);
  folder.Write("options.dat", "language=xx_none\n");
  ASSERT_EQ(e.Cfg_LoadOptions(configuration_, path.c_str()), 0);
  EXPECT_EQ(e.Ocr_Create(configuration_, &recognition_), -5) << "no data for that language";
  EXPECT_EQ(e.Cfg_Destroy(configuration_), 0);
}

TEST_F(OCREngineTest, NothingWorksOutsideAStartedEngine) {
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
