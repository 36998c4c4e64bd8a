// Guards the layout of the records that host and library share: a field moved
// or widened by accident breaks every host built against the old layout.
// Offsets are those of the Itanium C++ ABI on LP64 (the derived frames start in
// the tail padding of CDeMux).
#include <cstddef>

#include "core/frame.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

static_assert(offsetof(CDeMux, stampA) == 8);
static_assert(offsetof(CDeMux, stampD) == 40);
static_assert(offsetof(CDeMux, payloadLength) == 48);
static_assert(offsetof(CDeMux, headerWordB) == 56);
static_assert(offsetof(CDeMux, headerFlagA) == 60);
static_assert(offsetof(CDeMux, headerFlagC) == 62);
static_assert(offsetof(CDeMux, bufferSize) == 64);
static_assert(sizeof(CDeMux) == 72);

static_assert(offsetof(Ccc608Block, data) == 8);
static_assert(offsetof(Ccc608Block, captionWordA) == 136);
static_assert(offsetof(Ccc608Block, dataLength) == 140);
static_assert(offsetof(Ccc608Block, captionWordC) == 148);
static_assert(sizeof(Ccc608Block) == 152);

static_assert(offsetof(CYUVFrame, frameWordA) == 68);
static_assert(offsetof(CYUVFrame, chroma) == 76);
static_assert(offsetof(CYUVFrame, progressive) == 80);
static_assert(offsetof(CYUVFrame, topFieldFirst) == 82);
static_assert(offsetof(CYUVFrame, frameWordC) == 84);
static_assert(offsetof(CYUVFrame, width) == 88);
static_assert(offsetof(CYUVFrame, height) == 92);
static_assert(offsetof(CYUVFrame, frameCodeA) == 96);
static_assert(offsetof(CYUVFrame, frameCodeB) == 98);
static_assert(offsetof(CYUVFrame, y) == 104);
static_assert(offsetof(CYUVFrame, u) == 112);
static_assert(offsetof(CYUVFrame, v) == 120);
static_assert(offsetof(CYUVFrame, frameFlagA) == 128);
static_assert(offsetof(CYUVFrame, captions) == 136);
static_assert(offsetof(CYUVFrame, frameWordD) == 288);
static_assert(offsetof(CYUVFrame, stride) == 292);
static_assert(offsetof(CYUVFrame, lumaPlaneSize) == 300);
static_assert(offsetof(CYUVFrame, chromaHeight) == 312);
static_assert(sizeof(CYUVFrame) == 320);

static_assert(offsetof(CAudioFrame, data) == 72);
static_assert(offsetof(CAudioFrame, frameSize) == 80);
static_assert(offsetof(CAudioFrame, audioType) == 84);
static_assert(offsetof(CAudioFrame, bitsPerSample) == 92);
static_assert(offsetof(CAudioFrame, channels) == 100);
static_assert(sizeof(CAudioFrame) == 104);

static_assert(offsetof(CAudioStreamParameters, streamType) == 4);
static_assert(offsetof(CAudioStreamParameters, bitRateCode) == 40);
static_assert(offsetof(CAudioStreamParameters, lastHeaderBytes) == 44);
static_assert(offsetof(CAudioStreamParameters, alternateChannels) == 48);
static_assert(offsetof(CAudioStreamParameters, aacDoubleRate) == 64);
static_assert(sizeof(CAudioStreamParameters) == 68);
static_assert(offsetof(CAudioStreamParameters::CLKFSParameters, measureMilliseconds) == 8);
static_assert(offsetof(CAudioStreamParameters::CLKFSParameters, relativeGate) == 16);
static_assert(sizeof(CAudioStreamParameters::CLKFSParameters) == 32);

#pragma GCC diagnostic pop
