#include "text_reader.h"

#include <leptonica/allheaders.h>
#include <tesseract/baseapi.h>

#include "caption_picture.h"
#include "recognition/wide_text.h"

namespace {

// The pictures are screen captures without a resolution of their own; this
// one keeps Tesseract from guessing and warning about it.
constexpr int kAssumedResolution = 300;

}  // namespace

TextReader::TextReader(const EngineOptions& options)
    : options_(options), api_(std::make_unique<tesseract::TessBaseAPI>()) {
  const char* dataPath = options_.dataPath.empty() ? nullptr : options_.dataPath.c_str();
  ready_ = api_->Init(dataPath, options_.language.c_str(), tesseract::OEM_DEFAULT) == 0;
  if (!ready_) return;
  api_->SetPageSegMode(static_cast<tesseract::PageSegMode>(options_.pageSegmentationMode));
}

TextReader::~TextReader() {
  if (ready_) api_->End();
}

bool TextReader::Read(const std::vector<uint8_t>& rgb, int width, int height, std::wstring& text) {
  if (!ready_) return false;
  const CaptionPicture picture = PrepareCaptionPicture(rgb, width, height, options_.captionHeight);
  if (!picture.pix) return false;
  if (picture.blank) {
    text.clear();
    return true;
  }
  api_->SetImage(picture.pix.get());
  api_->SetSourceResolution(kAssumedResolution);
  const std::unique_ptr<char[]> utf8(api_->GetUTF8Text());
  api_->Clear();
  if (!utf8) return false;
  text = Utf8ToWide(utf8.get());
  return true;
}
