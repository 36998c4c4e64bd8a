// Basic types shared by every part of the library: status codes and the
// platform's geometry records, mapped onto LP64 Linux.
#pragma once

#include <cinttypes>
#include <cstdint>
#include <string>

// Status of the static operations: S_OK done, S_FALSE nothing done (a chroma
// format the operation does not handle), E_FAIL a refused request.
using HRESULT = int32_t;
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);

inline constexpr bool SUCCEEDED(HRESULT hr) { return hr >= 0; }
inline constexpr bool FAILED(HRESULT hr) { return hr < 0; }

using byte = uint8_t;
using CString = std::string;

// A rectangle with right and bottom one past the last column and line.
struct RECT {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
};

struct CRect : RECT {
  CRect() : RECT{0, 0, 0, 0} {}
  CRect(int32_t l, int32_t t, int32_t r, int32_t b) : RECT{l, t, r, b} {}
  int32_t Width() const { return right - left; }
  int32_t Height() const { return bottom - top; }
};

struct CSize {
  int32_t cx;
  int32_t cy;
  CSize() : cx(0), cy(0) {}
  CSize(int32_t w, int32_t h) : cx(w), cy(h) {}
};

static_assert(sizeof(RECT) == 16 && sizeof(CRect) == 16 && sizeof(CSize) == 8);
