#include "recognition/ocr_support_impl.h"

#include <algorithm>
#include <string>

#include "image/image_support.h"
#include "recognition/wide_text.h"

namespace {

// Calls an engine entry that may be missing: true only when it exists and succeeds.
template <typename Entry, typename... Arguments>
bool Succeeds(Entry entry, Arguments... arguments) {
  return entry != nullptr && entry(arguments...) == 0;
}

template <typename Entry>
void Release(Entry entry, NSOCRHandle& handle) {
  if (handle != 0 && entry != nullptr) entry(handle);
  handle = 0;
}

bool IsTextCharacter(char c) {
  return c == '-' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

}  // namespace

COCRSupportImpl::~COCRSupportImpl() { ShutDown(); }

HRESULT COCRSupportImpl::Initialize() {
  if (engineStarted) ShutDown();
  binding = std::make_unique<TNSOCR>();
  if (!binding->Load()) {
    ShutDown();
    return E_FAIL;
  }
  const NSOCREntryTable& entries = binding->entries;
  engineStarted = Succeeds(entries.Engine_Initialize);
  const bool ready = engineStarted && Succeeds(entries.Cfg_Create, &configuration) &&
                     Succeeds(entries.Cfg_LoadOptions, configuration, L"Config.dat") &&
                     Succeeds(entries.Ocr_Create, configuration, &recognition) &&
                     Succeeds(entries.Img_Create, recognition, &image);
  if (!ready) {
    ShutDown();
    return E_FAIL;
  }
  return S_OK;
}

void COCRSupportImpl::ShutDown() {
  if (!binding) return;
  const NSOCREntryTable& entries = binding->entries;
  Release(entries.Img_Destroy, image);
  Release(entries.Ocr_Destroy, recognition);
  Release(entries.Cfg_Destroy, configuration);
  if (engineStarted && entries.Engine_Uninitialize != nullptr) entries.Engine_Uninitialize();
  engineStarted = false;
  binding.reset();
}

HRESULT COCRSupportImpl::AddOCRArea(const CRect& area, COCRSupport::TEXT_TYPE type) {
  CRect even = area;
  if ((even.right - even.left) % 2 != 0) --even.right;
  if ((even.bottom - even.top) % 2 != 0) --even.bottom;
  areas.push_back(COCRArea{even, type, {}, {}});
  return S_OK;
}

void COCRSupportImpl::ResetPreviousFrame() { previousFrame = CYUVFrame(); }

void COCRSupportImpl::ClearAllOCRAreas() { areas.clear(); }

bool COCRSupportImpl::IsImageDifferent(const CYUVFrame& frame, int threshold) {
  bool different = false;
  for (const COCRArea& area : areas) {
    int count = 0;
    unsigned char maximum = 0;
    CImageSupport::CreateDifferenceFrame2(frame, previousFrame, differenceFrame, maskFrame, area.rectangle,
                                          static_cast<unsigned char>(threshold), count, maximum);
    if (count != 0 && maximum > threshold) {
      different = true;
      break;
    }
  }
  previousFrame = frame;
  return different;
}

HRESULT COCRSupportImpl::DoOCR(const CYUVFrame& frame) {
  if (areas.empty()) return E_FAIL;
  for (COCRArea& area : areas) {
    area.text.clear();
    const int width = std::max(0, area.rectangle.Width());
    const int height = std::max(0, area.rectangle.Height());
    const size_t size = static_cast<size_t>(width) * static_cast<size_t>(height) * 3;
    if (area.pixels.size() != size) area.pixels.resize(size);
    CImageSupport::ConvertYUVFrame_to_RGBBuffer(area.pixels.data(), frame, area.rectangle);
    if (!binding || !binding->loaded ||
        !Succeeds(binding->entries.Img_LoadBmpData, image, area.pixels.data(), width, height, 0) || !ReadText(area)) {
      return E_FAIL;
    }
  }
  return S_OK;
}

bool COCRSupportImpl::ReadText(COCRArea& area) {
  const NSOCREntryTable& entries = binding->entries;
  int32_t length = 0;
  if (!Succeeds(entries.Img_OCR, image) || entries.Img_GetImgText == nullptr ||
      entries.Img_GetImgText(image, nullptr, &length) < 0) {
    return false;
  }
  std::wstring text(static_cast<size_t>(length) + 1, L'\0');
  int32_t room = length + 1;
  if (entries.Img_GetImgText(image, text.data(), &room) != 0) return false;
  text.resize(static_cast<size_t>(room));
  area.text = WideToUtf8(text);
  return true;
}

CString COCRSupportImpl::GetText(int areaIndex) const {
  if (areaIndex < 0 || static_cast<size_t>(areaIndex) >= areas.size()) return CString();
  return KeepTextCharacters(areas[static_cast<size_t>(areaIndex)].text);
}

CString COCRSupportImpl::KeepTextCharacters(const CString& text) {
  CString kept;
  for (const char c : text) {
    if (IsTextCharacter(c)) kept += c;
  }
  return kept;
}
