#include "core/frame.h"

#include <cstddef>
#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/buffer_alloc.h"

namespace {

int RoundUpTo16(int value) { return (value + 15) & ~15; }

void CopyBytes(uint8_t* to, const uint8_t* from, size_t count) {
  if (count != 0) std::memcpy(to, from, count);
}

}  // namespace

void* CDeMux::AllocateBuffer(unsigned size) { return BufferMalloc(size); }

void CDeMux::FreeBuffer(void* p) {
  if (p != nullptr) BufferFree(p);
}

CYUVFrame::CYUVFrame(int width, int height, CHROMA chroma) { SetFormat(width, height, chroma); }

CYUVFrame::CYUVFrame(const CYUVFrame& other) : CDeMux() { *this = other; }

CYUVFrame::~CYUVFrame() { ReleaseBlock(); }

// The slack is zeroed: the resize reads into it around a crop's last lines,
// and what it reads there must be defined.
void* CYUVFrame::AllocateBuffer(unsigned size) {
  const size_t slack = 2 * static_cast<size_t>(stride);
  auto* block = static_cast<uint8_t*>(LargeBufferMalloc(static_cast<size_t>(size) + slack));
  std::memset(block + size, 0, slack);
  return block;
}

void CYUVFrame::FreeBuffer(void* p) {
  if (p != nullptr) LargeBufferFree(p);
  bufferSize = 0;
  lumaPlaneSize = 0;
  chromaPlaneSize = 0;
  y = u = v = nullptr;
}

void CYUVFrame::ReleaseBlock() {
  if (y != nullptr) FreeBuffer(y);
}

void CYUVFrame::SetFormat(int newWidth, int newHeight, CHROMA newChroma) {
  width = newWidth;
  height = newHeight;
  chroma = newChroma;
  stride = RoundUpTo16(width);
  paddedHeight = RoundUpTo16(height);
  lumaPlaneSize = stride * paddedHeight;
  switch (chroma) {
    case CHROMA_420:
      chromaStride = stride / 2;
      chromaHeight = paddedHeight / 2;
      break;
    case CHROMA_422:
      chromaStride = stride / 2;
      chromaHeight = paddedHeight;
      break;
    case CHROMA_444:
      chromaStride = stride;
      chromaHeight = paddedHeight;
      break;
  }
  chromaPlaneSize = chromaStride * chromaHeight;

  const uint32_t total = static_cast<uint32_t>(lumaPlaneSize + 2 * chromaPlaneSize);
  if (total == bufferSize) return;
  bufferSize = total;
  y = static_cast<uint8_t*>(AllocateBuffer(total));
  u = y + lumaPlaneSize;
  v = u + chromaPlaneSize;
  std::memset(y, 0, total);
}

void CYUVFrame::Reformat(int newWidth, int newHeight, CHROMA newChroma) {
  const bool sameGeometry = newWidth == width && newHeight == height && newChroma == chroma;
  if (!sameGeometry && bufferSize != 0) FreeBuffer(y);
  SetFormat(newWidth, newHeight, newChroma);
}

void CYUVFrame::CopyPlanes(int newWidth, int newHeight, const uint8_t* srcY, const uint8_t* srcU,
                           const uint8_t* srcV) {
  if (newWidth != width || newHeight != height) {
    if (width != 0 && height != 0) FreeBuffer(y);
    SetFormat(newWidth, newHeight, chroma);
  }
  CopyBytes(y, srcY, static_cast<size_t>(lumaPlaneSize));
  CopyBytes(u, srcU, static_cast<size_t>(chromaPlaneSize));
  CopyBytes(v, srcV, static_cast<size_t>(chromaPlaneSize));
}

void CYUVFrame::CopyPixels(const CYUVFrame& source) {
  if (source.width != width || source.height != height || source.chroma != chroma) {
    if (width != 0 && height != 0) FreeBuffer(y);
    SetFormat(source.width, source.height, source.chroma);
  }
  CopyBytes(y, source.y, static_cast<size_t>(lumaPlaneSize) + 2 * static_cast<size_t>(chromaPlaneSize));
}

CYUVFrame& CYUVFrame::operator=(const CYUVFrame& other) {
  if (this == &other) return *this;
  stampA = other.stampA;
  stampB = other.stampB;
  presentationTime = other.presentationTime;
  stampC = other.stampC;
  stampD = other.stampD;
  headerFlagB = other.headerFlagB;
  headerFlagC = other.headerFlagC;
  headerWordB = other.headerWordB;
  headerWordA = other.headerWordA;
  // A chroma change alters the plane sizes even at the same width and height,
  // so the old block goes back and the planes are laid out anew.
  if (other.chroma != chroma) {
    ReleaseBlock();
    width = height = 0;
  }
  chroma = other.chroma;
  CopyPlanes(other.width, other.height, other.y, other.u, other.v);
  payloadLength = other.payloadLength;
  bufferSize = other.bufferSize;
  headerFlagA = other.headerFlagA;
  frameWordD = other.frameWordD;
  frameWordA = other.frameWordA;
  frameWordB = other.frameWordB;
  frameFlagA = other.frameFlagA;
  progressive = other.progressive;
  repeatFirstField = other.repeatFirstField;
  topFieldFirst = other.topFieldFirst;
  frameWordC = other.frameWordC;
  captions.captionWordA = other.captions.captionWordA;
  captions.dataLength = other.captions.dataLength;
  captions.captionWordB = other.captions.captionWordB;
  captions.captionWordC = other.captions.captionWordC;
  CopyBytes(captions.data, other.captions.data,
            std::min<size_t>(other.captions.dataLength, sizeof(captions.data)));
  frameCodeB = other.frameCodeB;
  frameCodeA = other.frameCodeA;
  return *this;
}

CAudioFrame::CAudioFrame() {
  bufferSize = 1600;
  data = static_cast<uint8_t*>(AllocateBuffer(bufferSize));
}

CAudioFrame::CAudioFrame(const CAudioFrame& other) : CDeMux(other) {
  data = static_cast<uint8_t*>(AllocateBuffer(bufferSize));
  CopyBytes(data, other.data, payloadLength);
  frameSize = other.frameSize;
  audioType = other.audioType;
  audioWordA = other.audioWordA;
  bitsPerSample = other.bitsPerSample;
  samplingRate = other.samplingRate;
  channels = other.channels;
}

CAudioFrame& CAudioFrame::operator=(const CAudioFrame& other) {
  if (this == &other) return *this;
  CAudioFrame copy(other);
  std::swap(static_cast<CDeMux&>(*this), static_cast<CDeMux&>(copy));
  std::swap(data, copy.data);
  frameSize = copy.frameSize;
  audioType = copy.audioType;
  audioWordA = copy.audioWordA;
  bitsPerSample = copy.bitsPerSample;
  samplingRate = copy.samplingRate;
  channels = copy.channels;
  return *this;
}

CAudioFrame::~CAudioFrame() { FreeBuffer(data); }

void CAudioFrame::AppendData(const uint8_t* bytes, unsigned count) {
  if (static_cast<uint64_t>(payloadLength) + count > bufferSize) {
    bufferSize = payloadLength + count + 4;
    auto* grown = static_cast<uint8_t*>(AllocateBuffer(bufferSize));
    CopyBytes(grown, data, payloadLength);
    FreeBuffer(data);
    data = grown;
  }
  CopyBytes(data + payloadLength, bytes, count);
  payloadLength += count;
}

void CAudioFrame::CopyHeader(const CAudioFrame& source) {
  stampA = source.stampA;
  presentationTime = source.presentationTime;
  payloadLength = source.payloadLength;
  channels = source.channels;
  audioType = source.audioType;
}
