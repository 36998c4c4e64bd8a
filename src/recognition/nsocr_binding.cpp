#include "recognition/nsocr_binding.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "platform/win_app.h"

namespace {

#define CORVANE_NSOCR_NAME(name, type) #name,
constexpr const char* kEntryNames[] = {CORVANE_NSOCR_ENTRIES(CORVANE_NSOCR_NAME)};
#undef CORVANE_NSOCR_NAME
static_assert(std::size(kEntryNames) == kNSOCREntryCount);

constexpr char kModuleName[] = "OCR/libNSOCR.so";

static_assert(sizeof(void*) == sizeof(NSOCRProc), "dlsym's pointers fill a slot");

unsigned char* SlotAddress(NSOCREntryTable& table, size_t index) {
  return reinterpret_cast<unsigned char*>(&table) + index * sizeof(NSOCRProc);
}

const unsigned char* SlotAddress(const NSOCREntryTable& table, size_t index) {
  return reinterpret_cast<const unsigned char*>(&table) + index * sizeof(NSOCRProc);
}

void* OpenModule() {
  const char* chosen = std::getenv("CORVANE_OCR_ENGINE");
  if (chosen != nullptr && *chosen != '\0') return CWinApp::LoadLibrary(chosen);
  const std::string folder = SplitPath(CPlatformPaths::Current().modulePath).directory;
  if (!folder.empty()) {
    if (void* module = CWinApp::LoadLibrary(folder + kModuleName)) return module;
  }
  return CWinApp::LoadLibrary(kModuleName);
}

}  // namespace

TNSOCR::~TNSOCR() {
  if (loaded) dlclose(library);
}

bool TNSOCR::Load() {
  if (loaded) return true;
  library = OpenModule();
  loaded = library != nullptr;
  if (!loaded) return false;
  for (size_t i = 0; i < kNSOCREntryCount; ++i) {
    void* entry = dlsym(library, kEntryNames[i]);
    std::memcpy(SlotAddress(entries, i), &entry, sizeof(NSOCRProc));
  }
  return true;
}

NSOCRProc TNSOCR::Entry(size_t index) const {
  NSOCRProc entry = nullptr;
  if (index < kNSOCREntryCount) {
    std::memcpy(&entry, SlotAddress(entries, index), sizeof(NSOCRProc));
  }
  return entry;
}

const char* TNSOCR::EntryName(size_t index) { return index < kNSOCREntryCount ? kEntryNames[index] : nullptr; }
