#include "recognition/ocr_support_impl.h"

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
