// Frame dumps: raw YUV planes with a side file describing them, and BMP files.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "image/image_support.h"
#include "platform/bitmap.h"
#include "platform/global_memory.h"
#include "platform/logger.h"

namespace {

// A picture of 1080 lines is carried in 1088 padded ones; a dump shows the
// 1080 (540 in 4:2:0 chroma), dropping lines from the bottom.
int DumpedLines(int lines) {
  if (lines == 1088) return 1080;
  if (lines == 544) return 540;
  return lines;
}

const char* ChromaName(CHROMA chroma) {
  switch (chroma) {
    case CHROMA_420: return "YUV420";
    case CHROMA_422: return "YUV422";
    default: return "YUV444";
  }
}

std::string FormatName(const char* name, int number) {
  const int length = std::snprintf(nullptr, 0, name, number);
  std::vector<char> text(static_cast<size_t>(length) + 1);
  std::snprintf(text.data(), text.size(), name, number);
  return std::string(text.data(), static_cast<size_t>(length));
}

void PutLittleEndian(uint8_t* at, uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

}  // namespace

void CImageSupport::WriteYUVFrames(const char* name, CYUVFrame* frames, int count, int firstNumber) {
  const bool oneFile = std::strchr(name, '%') == nullptr;
  for (int i = 0; i < count; ++i) {
    const CYUVFrame& frame = frames[i];
    // The name is either plain or a number format chosen by the caller.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const std::string base = FormatName(name, i + firstNumber);
#pragma GCC diagnostic pop
    const int lumaLines = DumpedLines(frame.height);
    const int chromaLines = DumpedLines(frame.chromaHeight);

    const bool append = oneFile && firstNumber != 0;
    FILE* file = std::fopen((base + ".YUV").c_str(), append ? "ab" : "wb");
    if (file == nullptr) continue;
    std::fwrite(frame.y, 1, static_cast<size_t>(frame.stride) * lumaLines, file);
    std::fwrite(frame.u, 1, static_cast<size_t>(frame.chromaStride) * chromaLines, file);
    std::fwrite(frame.v, 1, static_cast<size_t>(frame.chromaStride) * chromaLines, file);
    std::fclose(file);

    FILE* header = std::fopen((base + ".YUV.header").c_str(), "w");
    if (header == nullptr) continue;
    std::fprintf(header, "%s\n%s\n%i\n%i\n", ChromaName(frame.chroma), frame.progressive ? "Progressive" : "Interlaced",
                 frame.stride, lumaLines);
    std::fclose(header);
  }
}

int CImageSupport::WriteDIB(const char* path, void* dib) {
  if (dib == nullptr) return 0;
  FILE* file = std::fopen(path, "wb");
  if (file == nullptr) {
    CLogger::Log(0, "BMP frame capture file: %s, open error:%i", path, errno);
    return 0;
  }
  auto* handle = static_cast<HGLOBAL>(dib);
  const auto* block = static_cast<const uint8_t*>(GlobalLock(handle));
  const size_t blockSize = GlobalSize(handle);
  BITMAPINFOHEADER info;
  std::memcpy(&info, block, sizeof info);
  uint8_t fileHeader[14] = {'B', 'M'};
  PutLittleEndian(fileHeader + 2, static_cast<uint32_t>(blockSize + 14), 4);
  PutLittleEndian(fileHeader + 10, info.biSize + 14, 4);
  std::fwrite(fileHeader, 1, sizeof fileHeader, file);
  std::fwrite(block, 1, blockSize, file);
  GlobalUnlock(handle);
  std::fclose(file);
  return 1;
}

void* CImageSupport::DDBToDIB(CBitmap* bitmap) {
  BITMAP size;
  bitmap->GetBitmap(&size);
  BITMAPINFOHEADER header{};
  header.biSize = sizeof(BITMAPINFOHEADER);
  header.biWidth = size.bmWidth;
  header.biHeight = size.bmHeight;
  header.biPlanes = 1;
  header.biBitCount = static_cast<uint16_t>(24 * size.bmPlanes);
  header.biCompression = BI_RGB;

  HDC screen = GetDC(nullptr);
  HPALETTE oldPalette = SelectPalette(screen, GetStockObject(DEFAULT_PALETTE), false);
  RealizePalette(screen);
  const auto restore = [&] {
    SelectPalette(screen, oldPalette, false);
    ReleaseDC(nullptr, screen);
  };

  HGLOBAL block = GlobalAlloc(GMEM_FIXED, sizeof header);
  if (block == nullptr) {
    CLogger::Log(0, "DDBToDIB error, At GlobalAlloc( GMEM_FIXED, %i)", static_cast<int>(sizeof header));
    restore();
    return nullptr;
  }
  auto* info = static_cast<BITMAPINFO*>(GlobalLock(block));
  info->bmiHeader = header;
  GetDIBits(screen, *bitmap, 0, static_cast<uint32_t>(header.biHeight), nullptr, info, DIB_RGB_COLORS);
  header = info->bmiHeader;
  GlobalUnlock(block);
  if (header.biSizeImage == 0) {
    header.biSizeImage = static_cast<uint32_t>(((header.biWidth * header.biBitCount + 31) & ~31) / 8 * header.biHeight);
  }

  const size_t total = sizeof header + header.biSizeImage;
  HGLOBAL grown = GlobalReAlloc(block, total, GMEM_MOVEABLE);
  if (grown == nullptr) {
    GlobalFree(block);
    CLogger::Log(0, "DDBToDIB error, At GlobalReAlloc( %i, GMEM_MOVEABLE )", static_cast<int>(total));
    restore();
    return nullptr;
  }
  info = static_cast<BITMAPINFO*>(GlobalLock(grown));
  info->bmiHeader = header;
  const int lines = GetDIBits(screen, *bitmap, 0, static_cast<uint32_t>(header.biHeight),
                              reinterpret_cast<uint8_t*>(info) + sizeof header, info, DIB_RGB_COLORS);
  GlobalUnlock(grown);
  if (lines == 0) {
    GlobalFree(grown);
    CLogger::Log(0, "DDBToDIB error, at GetDIBits: %i", static_cast<int>(GetLastError()));
    restore();
    return nullptr;
  }
  restore();
  return grown;
}

bool CImageSupport::ConvertYUV2RGB(CBitmap* bitmap, const CYUVFrame* frame, bool repeatLines, int lumaOffset) {
  const int steps[3] = {frame->stride, frame->stride / 2, frame->stride / 2};
  return ConvertYUV2RGB(bitmap, frame->width, frame->height, steps, frame->y, frame->v, frame->u, repeatLines,
                        lumaOffset, frame->chroma);
}

bool CImageSupport::ConvertYUV2RGB(CBitmap* bitmap, int width, int height, const int* const steps,
                                   const unsigned char* y, const unsigned char* v, const unsigned char* u,
                                   bool repeatLines, int lumaOffset, CHROMA chroma) {
  // Lines are converted up to this width; wider bitmaps keep zeros behind it.
  constexpr int kMaxLine = 2048;
  HDC memory = CreateCompatibleDC(nullptr);
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = width;
  info.bmiHeader.biHeight = height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 24;
  info.bmiHeader.biCompression = BI_RGB;
  HBITMAP converted = CreateDIBSection(memory, &info, DIB_RGB_COLORS, nullptr, nullptr, 0);

  const int n = std::min(width, kMaxLine);
  std::vector<uint8_t> luma(static_cast<size_t>(n));
  std::vector<uint8_t> bgr((static_cast<size_t>(3 * width) + 3) & ~size_t{3});
  bool failed = converted == nullptr;
  for (int r = 0; r < height && !failed; ++r) {
    const bool repeat = repeatLines && (r % 2 == 1);
    if (!repeat) {
      const uint8_t* lumaLine = y + static_cast<size_t>(r) * steps[0];
      for (int x = 0; x < n; ++x) {
        const int value = lumaLine[x] + lumaOffset;
        // The offset brightens for display; it is held to studio white, and a
        // negative offset is held at 0 rather than wrapping.
        luma[static_cast<size_t>(x)] = static_cast<uint8_t>(lumaOffset != 0 ? std::clamp(value, 0, 235) : value);
      }
      if (chroma == CHROMA_422 || chroma == CHROMA_420) {
        const int line = chroma == CHROMA_422 ? r : r / 2;
        const uint8_t* planes[3] = {luma.data(), u + static_cast<size_t>(line) * steps[2],
                                    v + static_cast<size_t>(line) * steps[1]};
        const int lineSteps[3] = {n, steps[2], steps[1]};
        PrimYCbCr422ToBGR(planes, lineSteps, bgr.data(), 3 * n, n, 1);
      }
    }
    if (SetDIBits(memory, converted, static_cast<uint32_t>(height - r - 1), 1, bgr.data(), &info, DIB_RGB_COLORS) ==
        0) {
      CLogger::Log(0, "Error in ConvertYUV2RGB, SetDIBits, Error: %i", static_cast<int>(GetLastError()));
      failed = true;
    }
  }
  if (failed) {
    DeleteObject(converted);
  } else {
    bitmap->DeleteObject();
    bitmap->Attach(converted);
  }
  DeleteDC(memory);
  return false;
}
