// The 8 by 8 inverse DCT, and its exports to the host.
//
// pixel(x, y) = 1/4 sum over u, v of C(u) C(v) F(8v + u) cos((2x+1) u pi/16)
// cos((2y+1) v pi/16), with C(0) = 1/sqrt 2 and C = 1 otherwise; computed
// separably in double precision, rows first, then columns.
#include <array>
#include <cmath>
#include <numbers>

#include "primitives/dispatch.h"
#include "primitives/idct_variants.h"
#include "primitives/prim_signal.h"

namespace {

constexpr int kBlock = 8;

using Basis = std::array<std::array<double, kBlock>, kBlock>;

const Basis& BasisRows() {
  static const Basis basis = [] {
    Basis b{};
    for (int k = 0; k < kBlock; ++k) {
      const double c = k == 0 ? std::numbers::sqrt2 / 2 : 1.0;
      for (int n = 0; n < kBlock; ++n) b[k][n] = c / 2 * std::cos((2 * n + 1) * k * std::numbers::pi / 16);
    }
    return b;
  }();
  return basis;
}

uint8_t SaturateToByte(double value) {
  const double rounded = std::floor(value + 0.5);
  return static_cast<uint8_t>(rounded < 0 ? 0 : rounded > 255 ? 255 : rounded);
}

void FillBlock(uint8_t value, uint8_t* dst, int dstStep) {
  for (int y = 0; y < kBlock; ++y) {
    for (int x = 0; x < kBlock; ++x) dst[y * dstStep + x] = value;
  }
}

// The transform over the lowest `frequencies` of each direction; the other
// coefficients are taken as zero and not read.
void InverseTransform(const int16_t* coefficients, int frequencies, uint8_t* dst, int dstStep) {
  const Basis& basis = BasisRows();
  double rows[kBlock][kBlock] = {};  // [v][x]: each coefficient row transformed along u
  for (int v = 0; v < frequencies; ++v) {
    for (int u = 0; u < frequencies; ++u) {
      const double f = coefficients[kBlock * v + u];
      for (int x = 0; x < kBlock; ++x) rows[v][x] += basis[u][x] * f;
    }
  }
  for (int y = 0; y < kBlock; ++y) {
    for (int x = 0; x < kBlock; ++x) {
      double sum = 0;
      for (int v = 0; v < frequencies; ++v) sum += basis[v][y] * rows[v][x];
      dst[y * dstStep + x] = SaturateToByte(sum);
    }
  }
}

int idct8x8_c(const int16_t* coefficients, uint8_t* dst, int dstStep, int count) {
  return IDCT8x8With(InverseTransform, coefficients, dst, dstStep, count);
}

constexpr auto kIDCT8x8 = VectorSlots(idct8x8_c, idct8x8_sse41, idct8x8_avx);

}  // namespace

const double* IdctBasis() { return BasisRows()[0].data(); }

int IDCT8x8With(IdctTransformFn transform, const int16_t* coefficients, uint8_t* dst, int dstStep, int count) {
  if (coefficients == nullptr || dst == nullptr) return PrimStsNullPtrErr;
  if (dstStep < 1) return PrimStsStepErr;
  if (count < 1) {
    // DC alone: 1/4 * 1/2 * F, as an arithmetic shift.
    const int dc = coefficients[0] >> 3;
    FillBlock(static_cast<uint8_t>(dc < 0 ? 0 : dc > 255 ? 255 : dc), dst, dstStep);
  } else {
    // The first nine coefficients of the zigzag scan all lie in the upper left 4 by 4.
    transform(coefficients, count <= 9 ? 4 : kBlock, dst, dstStep);
  }
  return PrimStsNoErr;
}

int PrimIDCT8x8(const int16_t* coefficients, uint8_t* dst, int dstStep, int count) {
  return kIDCT8x8[g_primSlot](coefficients, dst, dstStep, count);
}

extern "C" int IPP_IDCT(const short* coefficients, unsigned char* destination, int destinationStep, int count) {
  return PrimIDCT8x8(coefficients, destination, destinationStep, count);
}

extern "C" int IPP_IDCT8x8() { return 0; }
