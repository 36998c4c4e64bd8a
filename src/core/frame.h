// The records that cross the library's boundary: the stream unit header
// CDeMux, the planar picture CYUVFrame, the audio block CAudioFrame and the
// caption block Ccc608Block. Host and library share these objects, so the
// order and width of every field is part of the interface.
#pragma once

#include <cstdint>

#include "core/audio_params.h"
#include "core/bit_reader.h"
#include "core/types.h"

enum CHROMA : int32_t {
  CHROMA_420 = 1,  // chroma planes stride/2 by paddedHeight/2
  CHROMA_422 = 2,  // stride/2 by paddedHeight
  CHROMA_444 = 3,  // stride by paddedHeight
};

enum AUDIO_FRAME_TYPE : int32_t {
  AUDIO_FRAME_UNKNOWN = 0,
  AUDIO_FRAME_PCM = 1,        // interleaved linear PCM
  AUDIO_FRAME_SMPTE302M = 7,  // a SMPTE 302M payload
};

// The header common to every stream unit. The fields named *A..*D are the
// host's: the library carries them and copies them where a unit is copied.
class CDeMux {
 public:
  CDeMux() = default;
  CDeMux(const CDeMux&) = default;
  CDeMux& operator=(const CDeMux&) = default;
  virtual ~CDeMux() = default;

  // Memory for the unit's payload: BufferMalloc here.
  virtual void* AllocateBuffer(unsigned size);
  // Gives a payload block back: BufferFree here, when p is not null.
  virtual void FreeBuffer(void* p);

  int64_t stampA = 0;
  int64_t stampB = 0;
  int64_t presentationTime = 0;  // ticks of the 90 kHz stream clock
  int64_t stampC = 0;
  int64_t stampD = 0;
  uint32_t payloadLength = 0;  // valid bytes in the unit's buffer
  uint32_t headerWordA = 0;
  uint32_t headerWordB = 0;
  bool headerFlagA = false;
  bool headerFlagB = false;
  bool headerFlagC = false;
  uint32_t bufferSize = 0;  // bytes the unit's buffer holds
};

// The caption bytes of one picture.
class Ccc608Block {
 public:
  virtual ~Ccc608Block() = default;

  uint8_t data[128] = {};
  uint32_t captionWordA = 0;
  uint32_t dataLength = 0;  // bytes of data in use
  uint32_t captionWordB = 0;
  uint32_t captionWordC = 0;
};

// One planar picture: Y, U and V lie in one block in that order with nothing
// between them. stride and paddedHeight are width and height rounded up to a
// multiple of 16; the rows and columns behind width and height are padding.
// Every block has two luma lines of slack behind its last plane.
class CYUVFrame : public CDeMux {
 public:
  CYUVFrame() = default;
  CYUVFrame(int width, int height, CHROMA chroma);
  CYUVFrame(const CYUVFrame& other);
  CYUVFrame& operator=(const CYUVFrame& other);
  ~CYUVFrame() override;

  // LargeBufferMalloc(size + 2 * stride): the block plus two luma lines of slack.
  void* AllocateBuffer(unsigned size) override;
  // LargeBufferFree(p) when p is not null, then forgets the block and the planes.
  void FreeBuffer(void* p) override;

  // Sets the geometry and provides the block. A block of the same total size
  // is kept with its pixels; an old block of another size is not given back
  // here: callers that change the geometry free it first.
  void SetFormat(int width, int height, CHROMA chroma);
  // Takes a geometry (keeping this frame's chroma) and copies whole planes in.
  void CopyPlanes(int width, int height, const uint8_t* y, const uint8_t* u, const uint8_t* v);
  // Takes the source's geometry and pixels, and nothing else.
  void CopyPixels(const CYUVFrame& source);

  // Gives the block back when the geometry differs from this frame's own.
  void Reformat(int width, int height, CHROMA chroma);

  int32_t frameWordA = 0;
  int32_t frameWordB = 0;
  CHROMA chroma = CHROMA_420;
  bool progressive = false;
  bool repeatFirstField = false;
  bool topFieldFirst = false;
  int32_t frameWordC = 0;
  int32_t width = 0;
  int32_t height = 0;
  int16_t frameCodeA = 0;
  uint8_t frameCodeB = 0;
  uint8_t* y = nullptr;  // start of the block
  uint8_t* u = nullptr;  // Cb
  uint8_t* v = nullptr;  // Cr
  bool frameFlagA = false;
  Ccc608Block captions;
  int32_t frameWordD = 0;
  int32_t stride = 0;
  int32_t paddedHeight = 0;
  int32_t lumaPlaneSize = 0;
  int32_t chromaPlaneSize = 0;  // of each chroma plane
  int32_t chromaStride = 0;
  int32_t chromaHeight = 0;

 private:
  void ReleaseBlock();
};

// A block of audio: a payload with its type, rate and channels. A new frame
// owns a buffer of 1600 bytes; the destructor gives the buffer back.
class CAudioFrame : public CDeMux {
 public:
  CAudioFrame();
  CAudioFrame(const CAudioFrame& other);
  CAudioFrame& operator=(const CAudioFrame& other);
  ~CAudioFrame() override;

  // Adds bytes behind the payload, growing the buffer when needed.
  void AppendData(const uint8_t* bytes, unsigned count);
  // Takes over the header of a frame this one is derived from: stampA,
  // presentationTime, payloadLength, channels and audioType.
  void CopyHeader(const CAudioFrame& source);

  uint8_t* data = nullptr;
  uint32_t frameSize = 0;  // bytes of one compressed frame
  AUDIO_FRAME_TYPE audioType = AUDIO_FRAME_UNKNOWN;
  uint32_t audioWordA = 0;
  uint32_t bitsPerSample = 16;
  uint32_t samplingRate = 0;  // Hz
  uint32_t channels = 0;
};
