#include "platform/bitmap.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/global_memory.h"

struct BitmapObject {
  int width;
  int height;
  std::vector<uint8_t> pixels;  // bottom-up rows of RowBytes() each

  size_t RowBytes() const { return ((static_cast<size_t>(width) * 24 + 31) & ~size_t{31}) / 8; }
  uint8_t* Row(int fromBottom) { return pixels.data() + RowBytes() * static_cast<size_t>(fromBottom); }
};

struct DeviceContext {};

namespace {

DeviceContext g_screen;
int g_defaultPalette;

HBITMAP NewBitmap(int width, int height) {
  if (width <= 0 || height <= 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  auto* bitmap = new BitmapObject{width, height, {}};
  bitmap->pixels.assign(bitmap->RowBytes() * static_cast<size_t>(height), 0);
  return bitmap;
}

// Only 24-bit uncompressed bottom-up rows of the bitmap's own width travel.
bool MatchesBitmap(const BITMAPINFOHEADER& header, const BitmapObject& bitmap) {
  return header.biBitCount == 24 && header.biCompression == BI_RGB && header.biWidth == bitmap.width &&
         header.biHeight > 0;
}

}  // namespace

HDC GetDC(void*) { return &g_screen; }
int ReleaseDC(void*, HDC) { return 1; }
HDC CreateCompatibleDC(HDC) { return new DeviceContext; }
bool DeleteDC(HDC context) {
  if (context != &g_screen) delete context;
  return true;
}
HGDIOBJ GetStockObject(int object) { return object == DEFAULT_PALETTE ? &g_defaultPalette : nullptr; }
HPALETTE SelectPalette(HDC, HPALETTE, bool) { return &g_defaultPalette; }
uint32_t RealizePalette(HDC) { return 0; }

int GetObject(HBITMAP bitmap, int size, void* out) {
  if (bitmap == nullptr || out == nullptr || size < static_cast<int>(sizeof(BITMAP))) return 0;
  BITMAP info{0, bitmap->width, bitmap->height, static_cast<int32_t>(bitmap->RowBytes()), 1, 24, nullptr};
  std::memcpy(out, &info, sizeof info);
  return sizeof info;
}

int GetDIBits(HDC, HBITMAP bitmap, uint32_t start, uint32_t lines, void* bits, BITMAPINFO* info, uint32_t) {
  if (bitmap == nullptr || info == nullptr || !MatchesBitmap(info->bmiHeader, *bitmap)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  if (bits == nullptr) {
    info->bmiHeader.biSizeImage = static_cast<uint32_t>(bitmap->RowBytes() * static_cast<size_t>(bitmap->height));
    return 1;
  }
  if (start >= static_cast<uint32_t>(bitmap->height)) return 0;
  const uint32_t count = std::min(lines, static_cast<uint32_t>(bitmap->height) - start);
  std::memcpy(bits, bitmap->Row(static_cast<int>(start)), bitmap->RowBytes() * count);
  return static_cast<int>(count);
}

int SetDIBits(HDC, HBITMAP bitmap, uint32_t start, uint32_t lines, const void* bits, const BITMAPINFO* info,
              uint32_t) {
  if (bitmap == nullptr || bits == nullptr || info == nullptr || !MatchesBitmap(info->bmiHeader, *bitmap) ||
      start >= static_cast<uint32_t>(bitmap->height)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const uint32_t count = std::min(lines, static_cast<uint32_t>(bitmap->height) - start);
  std::memcpy(bitmap->Row(static_cast<int>(start)), bits, bitmap->RowBytes() * count);
  return static_cast<int>(count);
}

HBITMAP CreateDIBSection(HDC, const BITMAPINFO* info, uint32_t, void** bits, void*, uint32_t) {
  if (info == nullptr || info->bmiHeader.biBitCount != 24) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  HBITMAP bitmap = NewBitmap(info->bmiHeader.biWidth, info->bmiHeader.biHeight);
  if (bitmap != nullptr && bits != nullptr) *bits = bitmap->pixels.data();
  return bitmap;
}

bool DeleteObject(HGDIOBJ object) {
  delete static_cast<BitmapObject*>(object);
  return object != nullptr;
}

bool CBitmap::CreateBitmap(int width, int height, const void* bits) {
  DeleteObject();
  m_hObject = NewBitmap(width, height);
  if (m_hObject == nullptr) return false;
  if (bits != nullptr) {
    const size_t rowBytes = m_hObject->RowBytes();
    for (int row = 0; row < height; ++row) {
      std::memcpy(m_hObject->Row(height - 1 - row), static_cast<const uint8_t*>(bits) + rowBytes * row, rowBytes);
    }
  }
  return true;
}

bool CBitmap::Attach(HBITMAP bitmap) {
  if (m_hObject != nullptr || bitmap == nullptr) return false;
  m_hObject = bitmap;
  return true;
}

HBITMAP CBitmap::Detach() {
  HBITMAP bitmap = m_hObject;
  m_hObject = nullptr;
  return bitmap;
}

bool CBitmap::DeleteObject() {
  if (m_hObject == nullptr) return false;
  ::DeleteObject(Detach());
  return true;
}
