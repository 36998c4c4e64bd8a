// A small stand-in for the platform's graphics: 24-bit bitmaps held in memory
// bottom-up, rows padded to 4 bytes, pixels B, G, R, with the handful of calls
// the bitmap code makes. Drawing contexts and palettes only carry handles,
// since nothing here draws on a screen.
#pragma once

#include <cstdint>

struct BitmapObject;
struct DeviceContext;
using HBITMAP = BitmapObject*;
using HDC = DeviceContext*;
using HGDIOBJ = void*;
using HPALETTE = void*;

struct BITMAPINFOHEADER {
  uint32_t biSize;
  int32_t biWidth;
  int32_t biHeight;  // positive: rows from the bottom
  uint16_t biPlanes;
  uint16_t biBitCount;
  uint32_t biCompression;
  uint32_t biSizeImage;
  int32_t biXPelsPerMeter;
  int32_t biYPelsPerMeter;
  uint32_t biClrUsed;
  uint32_t biClrImportant;
};
static_assert(sizeof(BITMAPINFOHEADER) == 40);

struct RGBQUAD {
  uint8_t rgbBlue, rgbGreen, rgbRed, rgbReserved;
};

struct BITMAPINFO {
  BITMAPINFOHEADER bmiHeader;
  RGBQUAD bmiColors[1];
};

struct BITMAP {
  int32_t bmType;
  int32_t bmWidth;
  int32_t bmHeight;
  int32_t bmWidthBytes;
  uint16_t bmPlanes;
  uint16_t bmBitsPixel;
  void* bmBits;
};

inline constexpr uint32_t BI_RGB = 0;
inline constexpr uint32_t DIB_RGB_COLORS = 0;
inline constexpr int DEFAULT_PALETTE = 15;

HDC GetDC(void* window);
int ReleaseDC(void* window, HDC context);
HDC CreateCompatibleDC(HDC context);
bool DeleteDC(HDC context);
HGDIOBJ GetStockObject(int object);
HPALETTE SelectPalette(HDC context, HPALETTE palette, bool background);
uint32_t RealizePalette(HDC context);

// Fills a BITMAP for a bitmap handle; returns the bytes written, 0 on failure.
int GetObject(HBITMAP bitmap, int size, void* out);
// Copies `lines` rows from row `start` (counted from the bottom) as a 24-bit
// bottom-up DIB. With `bits` null it completes the header's biSizeImage.
// Returns the rows copied (non-zero when only the header was asked), 0 on failure.
int GetDIBits(HDC context, HBITMAP bitmap, uint32_t start, uint32_t lines, void* bits, BITMAPINFO* info,
              uint32_t usage);
// The reverse of GetDIBits; returns the rows written, 0 on failure.
int SetDIBits(HDC context, HBITMAP bitmap, uint32_t start, uint32_t lines, const void* bits,
              const BITMAPINFO* info, uint32_t usage);
// A 24-bit bitmap of the header's size, filled with 0; `bits` receives its pixels.
HBITMAP CreateDIBSection(HDC context, const BITMAPINFO* info, uint32_t usage, void** bits, void* section,
                         uint32_t offset);
// Bitmap handles only: the palettes and contexts here are not objects to delete.
bool DeleteObject(HGDIOBJ object);

// Owns one bitmap handle, as the platform's wrapper does: the destructor
// deletes what it holds.
class CBitmap {
 public:
  CBitmap() = default;
  ~CBitmap() { DeleteObject(); }
  CBitmap(const CBitmap&) = delete;
  CBitmap& operator=(const CBitmap&) = delete;

  // A 24-bit bitmap; `bits`, when not null, holds its rows from the top,
  // B, G, R, each row padded to a multiple of 4 bytes.
  bool CreateBitmap(int width, int height, const void* bits);
  bool Attach(HBITMAP bitmap);
  HBITMAP Detach();
  bool DeleteObject();
  HBITMAP GetSafeHandle() const { return m_hObject; }
  int GetBitmap(BITMAP* out) const { return ::GetObject(m_hObject, sizeof(BITMAP), out); }
  operator HBITMAP() const { return m_hObject; }

  HBITMAP m_hObject = nullptr;
};
