// The weights of the studio-range conversions, shared by the portable
// kernels and the vector ones. Internal to the primitives.
#pragma once

#include <cstdint>

namespace prim_colour {

// One conversion's weights, in 16 fraction bits: channel = clip((y * Y +
// weights * (chroma - chromaBias) + offset) >> 16).
struct YCbCrToRGBWeights {
  int32_t y;
  int32_t crToR, cbToG, crToG, cbToB;
  int32_t chromaBias;  // 128 for centred chroma, 0 where the raw samples are weighted
  int32_t offsetR, offsetG, offsetB;
};

// clang-format off
inline constexpr YCbCrToRGBWeights kYCbCrToRGBWeights = {
    .y = 76284, .crToR = 104595, .cbToG = -25690, .crToG = -53281, .cbToB = 132186,
    .chromaBias = 128, .offsetR = -1220544, .offsetG = -1220544, .offsetB = -1220544};
// 1187776 = 1220544 - 32768: this one has a rounding term.
inline constexpr YCbCrToRGBWeights kYCbCr420ToRGBWeights = {
    .y = 76284, .crToR = 104595, .cbToG = -25690, .crToG = -53281, .cbToB = 132186,
    .chromaBias = 128, .offsetR = -1187776, .offsetG = -1187776, .offsetB = -1187776};
inline constexpr YCbCrToRGBWeights kYCbCr422ToRGBWeights = {
    .y = 76282, .crToR = 104593, .cbToG = -25689, .crToG = -53279, .cbToB = 132184,
    .chromaBias = 128, .offsetR = -1220512, .offsetG = -1220512, .offsetB = -1220512};
inline constexpr YCbCrToRGBWeights kYCbCr422ToBGRWeights = {
    .y = 76284, .crToR = 104595, .cbToG = -25690, .crToG = -53281, .cbToB = 132186,
    .chromaBias = 0, .offsetR = -14608761, .offsetG = 8887730, .offsetB = -18140365};
// clang-format on

// RGB to studio YCbCr, in 16 fraction bits: Y = (weights . RGB + offset) >> 16.
struct StudioWeights {
  int32_t r, g, b;
};
inline constexpr StudioWeights kStudioY = {16843, 33030, 6423};
inline constexpr int32_t kStudioYOffset = 0x108000;
inline constexpr StudioWeights kStudioCb = {-9699, -19071, 28770};
inline constexpr StudioWeights kStudioCr = {28770, -24117, -4653};

// Chroma of a sum over 1, 2 or 4 pixels: the weights are the same, the bias
// and rounding term and the shift grow with the count, each as given.
struct ChromaScale {
  int32_t offset;
  int shift;
};
inline constexpr ChromaScale kChromaOfPixel = {0x808000, 16};
inline constexpr ChromaScale kChromaOfPair = {0x1004000, 17};
inline constexpr ChromaScale kChromaOfSquare = {0x2008000, 18};

// RGB to analog YUV: luma S = weights . RGB in 16 fraction bits, and the
// weights of the colour differences B - Y and R - Y.
inline constexpr StudioWeights kAnalogY = {19595, 38470, 7471};
inline constexpr int32_t kAnalogU = 32244;
inline constexpr int32_t kAnalogV = 57475;
// The same for 4:2:0: twice the luma in 14 fraction bits, and the weights of
// the differences of the squares' sums.
inline constexpr StudioWeights kAnalogDoubleY = {9798, 19235, 3736};
inline constexpr int32_t kAnalogU420 = 16121;
inline constexpr int32_t kAnalogV420 = 28737;

}  // namespace prim_colour
