#include "recognition/ocr_support.h"

#include "recognition/ocr_support_impl.h"

COCRSupport::COCRSupport() : m_impl(std::make_shared<COCRSupportImpl>()) {}

COCRSupport::COCRSupport(const COCRSupport& other) = default;

COCRSupport& COCRSupport::operator=(const COCRSupport& other) = default;

COCRSupport::~COCRSupport() = default;

HRESULT COCRSupport::Initialize() { return m_impl->Initialize(); }

HRESULT COCRSupport::AddOCRArea(const CRect& area, TEXT_TYPE type) { return m_impl->AddOCRArea(area, type); }

void COCRSupport::ResetPreviousFrame() { m_impl->ResetPreviousFrame(); }

void COCRSupport::ClearAllOCRAreas() { m_impl->ClearAllOCRAreas(); }

bool COCRSupport::IsImageDifferent(const CYUVFrame& frame, int threshold) {
  return m_impl->IsImageDifferent(frame, threshold);
}

HRESULT COCRSupport::DoOCR(const CYUVFrame& frame) { return m_impl->DoOCR(frame); }

CString COCRSupport::GetText(int areaIndex) { return m_impl->GetText(areaIndex); }
