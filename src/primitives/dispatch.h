// The dispatch frame. Every primitive is one entry point over a constant
// table of six implementations, one per instruction-set slot; one global
// selection index, set once by PrimInit from the processor's features, picks
// the column of every table. Slot 0 is the portable implementation and always
// works, so any primitive may run before PrimInit.
//
// Slots, with the target name of their version record:
//   0 "w7"  features unreadable or no SSE2      1 "w7"  SSE2
//   2 "v8"  SSSE3 without MOVBE                  3 "s8"  SSSE3 and MOVBE
//   4 "p8"  SSE4.1                               5 "g9"  AVX enabled by the OS
// A variant in a slot may use only what its slot guarantees.
#pragma once

#include <array>
#include <cstdint>

#include "primitives/prim_status.h"

inline constexpr int kPrimSlotCount = 6;

// The table of a primitive with SSE4.1 and AVX variants: the portable one
// fills slots 0 to 3, where nothing faster is written.
template <typename Fn>
constexpr std::array<Fn, kPrimSlotCount> VectorSlots(Fn portable, Fn sse41, Fn avx) {
  return {portable, portable, portable, portable, sse41, avx};
}

// Processor feature bits of the features word.
enum PrimFeature : uint64_t {
  PrimFeatureMMX = 0x1,
  PrimFeatureSSE = 0x2,
  PrimFeatureSSE2 = 0x4,
  PrimFeatureSSE3 = 0x8,
  PrimFeatureSSSE3 = 0x10,
  PrimFeatureMOVBE = 0x20,
  PrimFeatureSSE41 = 0x40,
  PrimFeatureSSE42 = 0x80,
  PrimFeatureAVX = 0x100,
  PrimFeatureAVXEnabled = 0x200,  // the OS saves the AVX state
  PrimFeatureAES = 0x400,
  PrimFeatureCLMUL = 0x800,
  PrimFeatureFamily11 = 0x1000,
};

struct PrimLibraryVersion {
  int32_t major;
  int32_t minor;
  int32_t majorBuild;
  int32_t build;
  char targetCpu[4];
  const char* name;
  const char* version;
  const char* buildDate;
};

// The outcome of the selection rule: pure data, so that every row of the
// rule is testable without the processor it describes.
struct PrimSelection {
  int index;
  uint64_t enabledFeatures;
  int status;  // PrimStsNoErr, PrimStsNotIntelCpu or PrimStsCpuMismatch
};

// The selection rule. `featuresReadable` is false on a processor without the
// identification instruction; `genuineIntel` tells the vendor text.
PrimSelection PrimSelectSlot(bool featuresReadable, uint64_t features, bool genuineIntel);

// Chooses the slot for this processor. Returns 0, PrimStsNotIntelCpu (the
// selection stands all the same) or PrimStsCpuMismatch.
int PrimInit();
// The version record of the chosen slot.
const PrimLibraryVersion* PrimGetLibVersion();
// True when every bit of `mask` is among the features the chosen slot may use.
bool PrimFeaturesEnabled(uint64_t mask);
// The processor's features word (read once, then cached); 0 when unreadable.
uint64_t PrimProcessorFeatures();

// Blocks aligned to 32 bytes; sizes below 1 give null. PrimFree(null) is harmless.
void* PrimMalloc(int32_t size);
void PrimFree(void* p);

// The column every table is indexed with. Read by the entry points only.
extern int32_t g_primSlot;

// Forces a slot for tests, benchmarks and bisection (the environment variable
// CORVANE_PRIM_SLOT does the same at PrimInit). Returns false, changing
// nothing, when this processor cannot run `slot`.
bool PrimForceSlot(int slot);
// The highest slot this processor can run.
int PrimHighestSupportedSlot();
