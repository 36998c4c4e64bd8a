#include "primitives/dispatch.h"

#include <cpuid.h>

#include <cstdlib>
#include <cstring>

int32_t g_primSlot = 0;

namespace {

// The enabled-features word of the chosen slot, kept as the pair of 32-bit
// words the host's records expect.
uint32_t g_enabledFeaturesLow = 0;
uint32_t g_enabledFeaturesHigh = 0;

constexpr uint64_t kSlotFeatureMask[kPrimSlotCount] = {0x3, 0x7, 0x1F, 0x3F, 0xCDF, 0xFDF};

// Whether bit 21 of the flags register can be toggled: the test for the
// processor identification instruction.
bool HasIdentificationInstruction() {
  uint64_t before, after;
  __asm__ volatile(
      "pushfq\n\t"
      "pushfq\n\t"
      "popq %0\n\t"
      "movq %0, %1\n\t"
      "xorq $0x200000, %1\n\t"
      "pushq %1\n\t"
      "popfq\n\t"
      "pushfq\n\t"
      "popq %1\n\t"
      "popfq\n\t"
      : "=&r"(before), "=&r"(after)
      :
      : "cc");
  return ((before ^ after) & 0x200000) != 0;
}

uint64_t ReadExtendedControlRegister0() {
  uint32_t low, high;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (static_cast<uint64_t>(high) << 32) | low;
}

uint64_t ReadFeatures() {
  unsigned eax, ebx, ecx, edx;
  __cpuid(1, eax, ebx, ecx, edx);
  auto bit = [](unsigned word, int n) { return ((word >> n) & 1u) != 0; };
  uint64_t features = 0;
  if (bit(edx, 23)) features |= PrimFeatureMMX;
  if (bit(edx, 25)) features |= PrimFeatureSSE;
  if (bit(edx, 26)) features |= PrimFeatureSSE2;
  if (bit(ecx, 0)) features |= PrimFeatureSSE3;
  if (bit(ecx, 9)) features |= PrimFeatureSSSE3;
  if (bit(ecx, 22)) features |= PrimFeatureMOVBE;
  if (bit(ecx, 19)) features |= PrimFeatureSSE41;
  if (bit(ecx, 20)) features |= PrimFeatureSSE42;
  if (bit(ecx, 28)) features |= PrimFeatureAVX;
  // XGETBV exists only when the OS has set OSXSAVE (bit 27).
  if (bit(ecx, 27) && bit(ecx, 28) && (ReadExtendedControlRegister0() & 0x6) == 0x6) {
    features |= PrimFeatureAVXEnabled;
  }
  if (bit(ecx, 25)) features |= PrimFeatureAES;
  if (bit(ecx, 1)) features |= PrimFeatureCLMUL;
  const unsigned family = (eax >> 8) & 0xF;
  if (family == 11) {
    __cpuid(0x20000001, eax, ebx, ecx, edx);
    if (bit(edx, 1)) features |= PrimFeatureFamily11;
  }
  return features;
}

bool IsGenuineIntel() {
  unsigned maxLeaf, ebx, ecx, edx;
  __cpuid(0, maxLeaf, ebx, ecx, edx);
  char vendor[12];
  std::memcpy(vendor, &ebx, 4);
  std::memcpy(vendor + 4, &edx, 4);
  std::memcpy(vendor + 8, &ecx, 4);
  return std::memcmp(vendor, "GenuineIntel", 12) == 0;
}

struct ProcessorInfo {
  bool readable;
  uint64_t features;
  bool genuineIntel;
};

const ProcessorInfo& Processor() {
  static const ProcessorInfo info = [] {
    if (!HasIdentificationInstruction()) return ProcessorInfo{false, 0, false};
    return ProcessorInfo{true, ReadFeatures(), IsGenuineIntel()};
  }();
  return info;
}

void StoreEnabledFeatures(uint64_t enabled) {
  g_enabledFeaturesLow = static_cast<uint32_t>(enabled);
  g_enabledFeaturesHigh = static_cast<uint32_t>(enabled >> 32);
}

}  // namespace

PrimSelection PrimSelectSlot(bool featuresReadable, uint64_t features, bool genuineIntel) {
  PrimSelection selection{0, 0x3, PrimStsNoErr};
  if (featuresReadable) {
    if ((features & PrimFeatureSSSE3) == 0) features &= ~uint64_t{PrimFeatureMOVBE};
    const auto has = [features](uint64_t mask) { return (features & mask) == mask; };
    if (has(PrimFeatureAVX | PrimFeatureAVXEnabled)) {
      selection.index = 5;
    } else if (has(PrimFeatureSSE41)) {
      selection.index = 4;
    } else if (has(PrimFeatureMOVBE | PrimFeatureSSSE3)) {
      selection.index = 3;
    } else if (has(PrimFeatureSSSE3)) {
      selection.index = 2;
    } else if (has(PrimFeatureSSE2)) {
      selection.index = 1;
    } else {
      selection.status = PrimStsCpuMismatch;
    }
    selection.enabledFeatures = features & kSlotFeatureMask[selection.index];
  } else {
    selection.status = PrimStsCpuMismatch;
  }
  if (!featuresReadable || !genuineIntel) selection.status = PrimStsNotIntelCpu;
  return selection;
}

uint64_t PrimProcessorFeatures() { return Processor().features; }

int PrimInit() {
  const ProcessorInfo& processor = Processor();
  const PrimSelection selection = PrimSelectSlot(processor.readable, processor.features, processor.genuineIntel);
  g_primSlot = selection.index;
  StoreEnabledFeatures(selection.enabledFeatures);
  if (const char* forced = std::getenv("CORVANE_PRIM_SLOT"); forced != nullptr && *forced != '\0') {
    PrimForceSlot(std::atoi(forced));
  }
  return selection.status;
}

bool PrimFeaturesEnabled(uint64_t mask) {
  const uint64_t enabled = (static_cast<uint64_t>(g_enabledFeaturesHigh) << 32) | g_enabledFeaturesLow;
  return (enabled & mask) == mask;
}

int PrimHighestSupportedSlot() {
  const ProcessorInfo& processor = Processor();
  return PrimSelectSlot(processor.readable, processor.features, true).index;
}

bool PrimForceSlot(int slot) {
  if (slot < 0 || slot > PrimHighestSupportedSlot()) return false;
  g_primSlot = slot;
  StoreEnabledFeatures(Processor().features & kSlotFeatureMask[slot]);
  return true;
}

void* PrimMalloc(int32_t size) {
  if (size < 1) return nullptr;
  // Room for the alignment and for the block's address in the pointer-sized
  // word directly before the returned pointer.
  constexpr uintptr_t kAlign = 32;
  constexpr size_t kExtra = kAlign + sizeof(void*);
  void* block = std::malloc(static_cast<size_t>(size) + kExtra);
  if (block == nullptr) return nullptr;
  const uintptr_t aligned = (reinterpret_cast<uintptr_t>(block) + kExtra - 1) & ~(kAlign - 1);
  std::memcpy(reinterpret_cast<void*>(aligned - sizeof(void*)), &block, sizeof(void*));
  return reinterpret_cast<void*>(aligned);
}

void PrimFree(void* p) {
  if (p == nullptr) return;
  void* block;
  std::memcpy(&block, static_cast<char*>(p) - sizeof(void*), sizeof(void*));
  std::free(block);
}

// The version records, one per target. Slot 4 names itself with a trailing
// "+" when the chosen slot may use SSE4.2.
namespace {

constexpr PrimLibraryVersion MakeVersion(const char (&target)[3], const char* name) {
  return {7, 0, 205, 1007, {target[0], target[1], 0, 0}, name, "7.0 build 205.58", "Apr 18 2011"};
}

constexpr PrimLibraryVersion kVersionW7 = MakeVersion("w7", "ippvcw7_l.lib");
constexpr PrimLibraryVersion kVersionV8 = MakeVersion("v8", "ippvcv8_l.lib");
constexpr PrimLibraryVersion kVersionS8 = MakeVersion("s8", "ippvcs8_l.lib");
constexpr PrimLibraryVersion kVersionP8 = MakeVersion("p8", "ippvcp8_l.lib");
constexpr PrimLibraryVersion kVersionP8Plus = MakeVersion("p8", "ippvcp8_l.lib+");
constexpr PrimLibraryVersion kVersionG9 = MakeVersion("g9", "ippvcg9_l.lib");

const PrimLibraryVersion* VersionW7() { return &kVersionW7; }
const PrimLibraryVersion* VersionV8() { return &kVersionV8; }
const PrimLibraryVersion* VersionS8() { return &kVersionS8; }
const PrimLibraryVersion* VersionP8() {
  return PrimFeaturesEnabled(PrimFeatureSSE42) ? &kVersionP8Plus : &kVersionP8;
}
const PrimLibraryVersion* VersionG9() { return &kVersionG9; }

using GetLibVersionFn = const PrimLibraryVersion* (*)();
constexpr GetLibVersionFn kGetLibVersion[kPrimSlotCount] = {VersionW7, VersionW7, VersionV8,
                                                            VersionS8, VersionP8, VersionG9};

}  // namespace

const PrimLibraryVersion* PrimGetLibVersion() { return kGetLibVersion[g_primSlot](); }
