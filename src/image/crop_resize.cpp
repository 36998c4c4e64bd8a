// Crop and resize. CropResizeYUVInitialize works out, once for a stream, every
// rectangle, offset, factor and scratch buffer; CropResizeYUV then does no
// arithmetic of its own beyond adding the offsets. Interlaced sources are
// scaled field by field so that the two fields never mix.
#include <cstring>

#include "image/image_support.h"

namespace {

struct ChromaDivisors {
  int h;
  int v;
};

ChromaDivisors DivisorsOf(CHROMA chroma) {
  switch (chroma) {
    case CHROMA_422: return {2, 1};
    case CHROMA_444: return {1, 1};
    default: return {2, 2};
  }
}

// The part of the source that is used and the place of the scaled picture in
// the target, as left, top, right, bottom.
struct CropGeometry {
  CRect crop;
  CRect image;
  bool clipped = false;  // the source area reached outside the source
  bool fillBackground = false;
};

// Clips the crop to the source; what lay outside becomes bars in the image.
// The near edge truncates, the far edge rounds up from 0.5001.
CropGeometry PlaceImage(const CSize& sourceSize, const CSize& targetSize, const CRect& sourceArea,
                        const CRect& targetMargins) {
  CropGeometry g;
  g.crop = sourceArea;
  g.image = CRect(0, 0, targetSize.cx, targetSize.cy);
  const bool outside = sourceArea.left < 0 || sourceArea.top < 0 || sourceArea.right > sourceSize.cx ||
                       sourceArea.bottom > sourceSize.cy;
  if (outside) {
    g.crop.left = std::max(sourceArea.left, 0);
    g.crop.top = std::max(sourceArea.top, 0);
    g.crop.right = std::min(sourceArea.right, sourceSize.cx);
    g.crop.bottom = std::min(sourceArea.bottom, sourceSize.cy);
    g.clipped = true;
    g.fillBackground = true;
    const double yScale = static_cast<double>(targetSize.cy) / g.crop.Height();
    const double xScale = static_cast<double>(targetSize.cx) / g.crop.Width();
    if (sourceArea.left < 0) g.image.left = static_cast<int>(-sourceArea.left * xScale);
    if (sourceArea.right > sourceSize.cx) {
      g.image.right = targetSize.cx - static_cast<int>((sourceArea.right - sourceSize.cx) * xScale + 0.4999);
    }
    if (sourceArea.top < 0) g.image.top = static_cast<int>(-sourceArea.top * yScale);
    if (sourceArea.bottom > sourceSize.cy) {
      g.image.bottom = targetSize.cy - static_cast<int>((sourceArea.bottom - sourceSize.cy) * yScale + 0.4999);
    }
  }
  const bool hasMargins =
      targetMargins.left != 0 || targetMargins.top != 0 || targetMargins.right != 0 || targetMargins.bottom != 0;
  if (hasMargins) {
    g.image = CRect(targetMargins.left, targetMargins.top, targetSize.cx - targetMargins.right,
                    targetSize.cy - targetMargins.bottom);
    g.fillBackground = true;
  }
  if (g.image.Height() % 2 != 0) g.image.top += 1;
  return g;
}

void FactorsOf(const CropGeometry& g, double& x, double& y) {
  x = static_cast<double>(g.image.Width()) / g.crop.Width();
  y = static_cast<double>(g.image.Height()) / g.crop.Height();
}

// Supersampling is taken only for reductions to 0.9 or less in both
// directions: when asked for, or in 4:2:2 below 0.6 where cubic would alias.
int ChooseInterpolation(double xFactor, double yFactor, CHROMA chroma, CImageSupport::RESIZE_QUALITY quality) {
  if (xFactor > 0.9 || yFactor > 0.9) return 4;
  if (quality == CImageSupport::RESIZE_QUALITY_SUPERSAMPLE) return 8;
  if (chroma == CHROMA_422 && xFactor <= 0.6 && yFactor <= 0.6) return 8;
  return 4;
}

bool KeepsTopLines(int keepTopLines, const CSize& sourceSize, const CSize& targetSize, const CRect& margins) {
  return keepTopLines != 0 && (sourceSize.cy == 512 || sourceSize.cy == 612) && targetSize.cy == sourceSize.cy &&
         margins.top >= 32 && margins.top + margins.bottom == 32;
}

void FillAreasAndOffsets(CCropResizeParams& p, const CropGeometry& g, ChromaDivisors d) {
  const int cropWidth = g.crop.Width();
  const int cropHeight = g.crop.Height();
  const int imageWidth = g.image.Width();
  const int imageHeight = g.image.Height();
  p.sourceChromaWidth = p.sourceWidth / d.h;
  p.sourceChromaHeight = p.sourceHeight / d.v;
  p.lumaSourceArea = {0, 0, cropWidth, cropHeight};
  p.chromaSourceArea = {0, 0, cropWidth / d.h, cropHeight / d.v};
  p.lumaTargetArea = {0, 0, imageWidth, imageHeight};
  p.chromaTargetArea = {0, 0, imageWidth / d.h, imageHeight / d.v};
  p.fieldSourceWidth = p.sourceWidth;
  p.fieldSourceHeight = p.sourceHeight / 2;
  p.fieldLumaTargetArea = {0, 0, imageWidth, imageHeight / 2};
  p.fieldLumaSourceArea = {0, 0, cropWidth, (cropHeight + 1) / 2};
  p.lumaSourceOffset = g.crop.top * p.sourceWidth + g.crop.left;
  p.lumaTopFieldOffset = p.lumaSourceOffset;
  p.lumaBottomFieldOffset = p.lumaSourceOffset + p.sourceWidth;
  p.chromaSourceOffset = (g.crop.top / d.v) * p.sourceChromaWidth + g.crop.left / d.h;
  p.chromaTopFieldOffset = p.chromaSourceOffset;
  p.chromaBottomFieldOffset = p.chromaSourceOffset + p.sourceChromaWidth;
  p.lumaTargetOffset = g.image.top * p.targetWidth + g.image.left;
  p.chromaTargetOffset = (g.image.top / d.v) * (p.targetWidth / d.h) + g.image.left / d.h;
  p.lumaTargetTopFieldOffset = p.lumaTargetOffset;
  p.lumaTargetBottomFieldOffset = p.lumaTargetOffset + p.targetWidth;
  p.fieldChromaSourceArea = {0, 0, cropWidth / d.h, (cropHeight / d.v + 1) / 2};
  p.fieldChromaTargetArea = {0, 0, imageWidth / d.h, (imageHeight / d.v) / 2};
  p.chromaTargetTopFieldOffset = p.chromaTargetOffset;
  p.chromaTargetBottomFieldOffset = p.chromaTargetOffset + p.targetWidth / d.h;
  p.fieldChromaSourceWidth = p.sourceChromaWidth;
  p.fieldChromaSourceHeight = p.sourceChromaHeight / 2;
  p.lumaTargetSize = p.targetWidth * p.targetHeight;
  p.chromaTargetSize = p.lumaTargetSize / (d.h * d.v);
}

// One PrimResizePlane call as the block describes it.
struct PlaneJob {
  const uint8_t* source;
  int sourceWidth, sourceHeight, sourceStep;
  PlaneRect sourceArea;
  uint8_t* target;
  int targetStep;
  PlaneRect targetArea;
  uint8_t* scratch;
};

void Resize(const PlaneJob& job, const CCropResizeParams& p) {
  PrimResizePlane(job.source, job.sourceWidth, job.sourceHeight, job.sourceStep, job.sourceArea, job.target,
                  job.targetStep, job.targetArea, p.xFactor, p.yFactor, 0.0, 0.0, p.interpolation, job.scratch);
}

void ResizeFrameWise(CYUVFrame& target, const CYUVFrame& source, const CCropResizeParams& p) {
  Resize({source.y + p.lumaSourceOffset, p.sourceWidth, p.sourceHeight, source.stride, p.lumaSourceArea,
          target.y + p.lumaTargetOffset, target.stride, p.lumaTargetArea, p.scratch[0]},
         p);
  const uint8_t* sourceChroma[2] = {source.u, source.v};
  uint8_t* targetChroma[2] = {target.u, target.v};
  for (int plane = 0; plane < 2; ++plane) {
    Resize({sourceChroma[plane] + p.chromaSourceOffset, p.sourceChromaWidth, p.sourceChromaHeight,
            source.chromaStride, p.chromaSourceArea, targetChroma[plane] + p.chromaTargetOffset, target.chromaStride,
            p.chromaTargetArea, p.scratch[1 + plane]},
           p);
  }
}

// Doubled steps make each call see one field; the first line of the crop goes
// to the first field whatever its parity.
void ResizeFieldWise(CYUVFrame& target, const CYUVFrame& source, const CCropResizeParams& p) {
  const int lumaSourceOffsets[2] = {p.lumaTopFieldOffset, p.lumaBottomFieldOffset};
  const int lumaTargetOffsets[2] = {p.lumaTargetTopFieldOffset, p.lumaTargetBottomFieldOffset};
  for (int field = 0; field < 2; ++field) {
    Resize({source.y + lumaSourceOffsets[field], p.fieldSourceWidth, p.fieldSourceHeight, 2 * source.stride,
            p.fieldLumaSourceArea, target.y + lumaTargetOffsets[field], 2 * target.stride, p.fieldLumaTargetArea,
            p.scratch[0]},
           p);
  }
  const int chromaSourceOffsets[2] = {p.chromaTopFieldOffset, p.chromaBottomFieldOffset};
  const int chromaTargetOffsets[2] = {p.chromaTargetTopFieldOffset, p.chromaTargetBottomFieldOffset};
  const uint8_t* sourceChroma[2] = {source.u, source.v};
  uint8_t* targetChroma[2] = {target.u, target.v};
  for (int plane = 0; plane < 2; ++plane) {
    for (int field = 0; field < 2; ++field) {
      Resize({sourceChroma[plane] + chromaSourceOffsets[field], p.fieldChromaSourceWidth, p.fieldChromaSourceHeight,
              2 * source.chromaStride, p.fieldChromaSourceArea, targetChroma[plane] + chromaTargetOffsets[field],
              2 * target.chromaStride, p.fieldChromaTargetArea, p.scratch[1 + plane]},
             p);
    }
  }
}

void FillLuma(CYUVFrame& target, const CCropResizeParams& p) {
  std::memset(target.y, p.fillY, static_cast<size_t>(p.lumaTargetSize));
}

}  // namespace

HRESULT CImageSupport::CropResizeYUVInitialize(CCropResizeParams** params, const CSize& sourceSize,
                                               const CSize& targetSize, const CRect& sourceArea,
                                               const CRect& targetMargins, unsigned long fillColour, CHROMA chroma,
                                               int keepTopLines, RESIZE_QUALITY quality) {
  auto* p = new CCropResizeParams{};
  *params = p;
  p->chroma = chroma;
  p->sourceWidth = sourceSize.cx;
  p->sourceHeight = sourceSize.cy;
  p->targetWidth = targetSize.cx;
  p->targetHeight = targetSize.cy;
  p->keepTopLines = KeepsTopLines(keepTopLines, sourceSize, targetSize, targetMargins);

  // Bars are painted in analog YUV, so black bars have a luma of 0.
  p->fillColour = fillColour;
  const uint8_t rgb[3] = {static_cast<uint8_t>(fillColour), static_cast<uint8_t>(fillColour >> 8),
                          static_cast<uint8_t>(fillColour >> 16)};
  uint8_t* const fill[3] = {&p->fillY, &p->fillU, &p->fillV};
  PrimRGBToYUVPlanar(rgb, 3, fill, 1, 1, 1);

  p->sourceArea = sourceArea;
  p->targetMargins = targetMargins;
  const CropGeometry g = PlaceImage(sourceSize, targetSize, sourceArea, targetMargins);
  p->fillBackground = g.fillBackground;
  FactorsOf(g, p->xFactor, p->yFactor);
  p->interpolation = ChooseInterpolation(p->xFactor, p->yFactor, chroma, quality);
  FillAreasAndOffsets(*p, g, DivisorsOf(chroma));

  p->copyArea = g.crop.Width() == g.image.Width() && g.crop.Height() == g.image.Height();
  p->copyWhole = p->copyArea && !g.clipped && sourceArea.left == 0 && sourceArea.top == 0 &&
                 p->lumaTargetOffset == 0 && sourceSize.cx == targetSize.cx && sourceSize.cy == targetSize.cy;

  PrimResizeGetBufferSize(p->lumaSourceArea, p->lumaTargetArea, 1, p->interpolation, &p->scratchSize);
  for (uint8_t*& scratch : p->scratch) scratch = static_cast<uint8_t*>(PrimMalloc(p->scratchSize));
  return S_OK;
}

HRESULT CImageSupport::CropResizeYUVReleaseParamBlock(CCropResizeParams* params) {
  for (uint8_t* scratch : params->scratch) PrimFree(scratch);
  delete params;
  return S_OK;
}

HRESULT CImageSupport::CropResizeGetXYFactor(const CCropResizeParams& params, double& x, double& y) {
  x = params.xFactor;
  y = params.yFactor;
  return S_OK;
}

HRESULT CImageSupport::CropResizeGetXYFactor(const CSize& sourceSize, const CSize& targetSize,
                                             const CRect& sourceArea, const CRect& targetMargins, double& x,
                                             double& y) {
  FactorsOf(PlaceImage(sourceSize, targetSize, sourceArea, targetMargins), x, y);
  return S_OK;
}

HRESULT CImageSupport::CropResizeYUV(CYUVFrame& target, const CYUVFrame& source, const CCropResizeParams& p) {
  target.Reformat(p.targetWidth, p.targetHeight, p.chroma);
  if (p.copyWhole) {
    std::memcpy(target.y, source.y, static_cast<size_t>(source.lumaPlaneSize));
    std::memcpy(target.u, source.u, static_cast<size_t>(source.chromaPlaneSize));
    std::memcpy(target.v, source.v, static_cast<size_t>(source.chromaPlaneSize));
    return S_OK;
  }
  if (p.fillBackground) {
    FillLuma(target, p);
    std::memset(target.u, p.fillU, static_cast<size_t>(p.chromaTargetSize));
    std::memset(target.v, p.fillV, static_cast<size_t>(p.chromaTargetSize));
  }
  if (p.keepTopLines) {
    std::memcpy(target.y, source.y, 32 * static_cast<size_t>(source.stride));
    std::memcpy(target.u, source.u, 32 * static_cast<size_t>(source.chromaStride));
    std::memcpy(target.v, source.v, 32 * static_cast<size_t>(source.chromaStride));
  }
  if (p.copyArea) {
    PrimCopyPlane(source.y + p.lumaSourceOffset, source.stride, target.y + p.lumaTargetOffset, target.stride,
                  p.lumaTargetArea.width, p.lumaTargetArea.height);
    PrimCopyPlane(source.u + p.chromaSourceOffset, source.chromaStride, target.u + p.chromaTargetOffset,
                  target.chromaStride, p.chromaTargetArea.width, p.chromaTargetArea.height);
    PrimCopyPlane(source.v + p.chromaSourceOffset, source.chromaStride, target.v + p.chromaTargetOffset,
                  target.chromaStride, p.chromaTargetArea.width, p.chromaTargetArea.height);
    return S_OK;
  }
  if (source.progressive) {
    if (p.fillBackground) FillLuma(target, p);
    ResizeFrameWise(target, source, p);
  } else {
    ResizeFieldWise(target, source, p);
  }
  return S_OK;
}

HRESULT CImageSupport::ResizeYUV(CYUVFrame& target, const CYUVFrame& source) {
  if (source.chroma == target.chroma && source.width == target.width && source.height == target.height) {
    target = source;
    return S_OK;
  }
  const double xFactor = static_cast<double>(target.width) / source.width;
  const double yFactor = static_cast<double>(target.height) / source.height;
  const PlaneRect sourceRect{0, 0, source.width, source.height};
  const PlaneRect targetRect{0, 0, target.width, target.height};
  int scratchSize = 0;
  PrimResizeGetBufferSize(sourceRect, targetRect, 1, 4, &scratchSize);
  auto* scratch = static_cast<uint8_t*>(PrimMalloc(scratchSize));
  PrimResizePlane(source.y, source.width, source.height, source.stride, sourceRect, target.y, target.stride,
                  targetRect, xFactor, yFactor, 0.0, 0.0, 4, scratch);
  // Chroma is taken at half the width in every format.
  const int chromaHeightDivisor = source.chroma == CHROMA_420 ? 2 : 1;
  const PlaneRect sourceChromaRect{0, 0, source.width / 2, source.height / chromaHeightDivisor};
  const PlaneRect targetChromaRect{0, 0, target.width / 2, target.height / chromaHeightDivisor};
  PrimResizePlane(source.u, sourceChromaRect.width, sourceChromaRect.height, source.chromaStride, sourceChromaRect,
                  target.u, target.chromaStride, targetChromaRect, xFactor, yFactor, 0.0, 0.0, 4, scratch);
  PrimResizePlane(source.v, sourceChromaRect.width, sourceChromaRect.height, source.chromaStride, sourceChromaRect,
                  target.v, target.chromaStride, targetChromaRect, xFactor, yFactor, 0.0, 0.0, 4, scratch);
  PrimFree(scratch);
  return S_OK;
}

HRESULT CImageSupport::ReduceYUVFrameSizeBy4(CYUVFrame& target, const CYUVFrame& source) {
  target.Reformat(source.width / 4, source.height / 4, CHROMA_420);
  // Every group of four columns that reaches into the picture counts, as far
  // as the target's line holds it; the sums truncate.
  const auto reducePlane = [](const uint8_t* from, int fromStep, int width, int height, uint8_t* to, int toStep,
                                int toRows) {
    for (int row = 0; row < height && row / 4 < toRows; row += 4) {
      uint8_t* out = to + (row / 4) * toStep;
      for (int column = 0; column < width && column / 4 < toStep; column += 4) {
        unsigned sum = 0;
        for (int dy = 0; dy < 4; ++dy) {
          const uint8_t* line = from + (row + dy) * fromStep + column;
          sum += line[0] + line[1] + line[2] + line[3];
        }
        *out++ = static_cast<uint8_t>(sum >> 4);
      }
    }
  };
  reducePlane(source.y, source.stride, source.width, source.height, target.y, target.stride, target.paddedHeight);
  reducePlane(source.u, source.stride / 2, source.width / 2, source.height / 2, target.u, target.chromaStride,
              target.chromaHeight);
  reducePlane(source.v, source.stride / 2, source.width / 2, source.height / 2, target.v, target.chromaStride,
              target.chromaHeight);
  return S_OK;
}

HRESULT CImageSupport::CopyImagePlane(unsigned char* target, const unsigned char* source, int width, int height,
                                      int sourceStep, int targetStep) {
  PrimCopyPlane(source, sourceStep, target, targetStep, width, height);
  return S_OK;
}

HRESULT CImageSupport::HDToSDDownconvert(const CSize&, const CSize&, const CRect&, const unsigned long&, CHROMA) {
  return S_OK;
}
