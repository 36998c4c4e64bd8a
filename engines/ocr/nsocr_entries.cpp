// The entries of the OCR engine module, exported with C linkage under the
// names of the binding's table. The engine keeps its objects (configurations,
// recognisers, images) in tables keyed by 32-bit handles; the entries that no
// caller of this engine needs are not exported, so their slots stay empty.
#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

#include "engine_options.h"
#include "recognition/nsocr_binding.h"
#include "recognition/wide_text.h"
#include "text_reader.h"

#define NSOCR_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

constexpr int32_t kOk = 0;
constexpr int32_t kTooSmall = 1;
constexpr int32_t kNotStarted = -1;
constexpr int32_t kBadHandle = -2;
constexpr int32_t kBadArgument = -3;
constexpr int32_t kOptionsRefused = -4;
constexpr int32_t kEngineFailed = -5;

// Sides of 8192 pixels or so; more is no caption and would overflow sizes.
constexpr int64_t kMaxPixels = int64_t{1} << 26;

struct Configuration {
  EngineOptions options;
};

struct Image {
  std::shared_ptr<TextReader> reader;  // of the recogniser it was made by
  std::vector<uint8_t> rgb;
  int32_t width = 0;
  int32_t height = 0;
  std::wstring text;
};

template <typename T>
using Table = std::map<NSOCRHandle, std::shared_ptr<T>>;

// The engine's objects serve one thread at a time, but several callers may
// share the module, so every entry works under one lock.
struct Engine {
  std::mutex lock;
  int starts = 0;
  NSOCRHandle lastHandle = 0;
  Table<Configuration> configurations;
  Table<TextReader> recognisers;
  Table<Image> images;
};

Engine& TheEngine() {
  static Engine engine;
  return engine;
}

template <typename T>
std::shared_ptr<T> Find(const Table<T>& table, NSOCRHandle handle) {
  const auto found = table.find(handle);
  return found == table.end() ? nullptr : found->second;
}

template <typename T>
int32_t Add(Engine& engine, Table<T>& table, std::shared_ptr<T> object, NSOCRHandle* handle) {
  *handle = ++engine.lastHandle;
  table.emplace(*handle, std::move(object));
  return kOk;
}

template <typename T>
int32_t Remove(Engine& engine, Table<T>& table, NSOCRHandle handle) {
  if (engine.starts == 0) return kNotStarted;
  return table.erase(handle) == 1 ? kOk : kBadHandle;
}

// A relative option file lies in the folder of this module.
std::string OptionFilePath(const std::wstring& name) {
  const std::string path = WideToUtf8(name);
  Dl_info info{};
  if (path.empty() || path.front() == '/' || dladdr(reinterpret_cast<void*>(&OptionFilePath), &info) == 0 ||
      info.dli_fname == nullptr) {
    return path;
  }
  const std::string module = info.dli_fname;
  const size_t slash = module.rfind('/');
  return slash == std::string::npos ? path : module.substr(0, slash + 1) + path;
}

}  // namespace

NSOCR_EXPORT int32_t Engine_Initialize() {
  Engine& engine = TheEngine();
  const std::lock_guard guard(engine.lock);
  ++engine.starts;
  return kOk;
}

NSOCR_EXPORT int32_t Engine_Uninitialize() {
  Engine& engine = TheEngine();
  const std::lock_guard guard(engine.lock);
  if (engine.starts == 0) return kNotStarted;
  if (--engine.starts == 0) {
    engine.images.clear();
    engine.recognisers.clear();
    engine.configurations.clear();
  }
  return kOk;
}

NSOCR_EXPORT int32_t Cfg_Create(NSOCRHandle* configuration) {
  Engine& engine = TheEngine();
  const std::lock_guard guard(engine.lock);
  if (engine.starts == 0) return kNotStarted;
  if (configuration == nullptr) return kBadArgument;
  return Add(engine, engine.configurations, std::make_shared<Configuration>(), configuration);
}

NSOCR_EXPORT int32_t Cfg_Destroy(NSOCRHandle configuration) {
  Engine& engine = TheEngine();
  const std::lock_guard guard(engine.lock);
  return Remove(engine, engine.configurations, configuration);
}

NSOCR_EXPORT int32_t Cfg_LoadOptions(NSOCRHandle configuration, const wchar_t* fileName) {
  Engine& engine = TheEngine();
  const std::lock_guard guard(engine.lock);
  const std::shared_ptr<Configuration> found = Find(engine.configurations, configuration);
  if (!found) return engine.starts == 0 ? kNotStarted : kBadHandle;
  if (fileName == nullptr) return kBadArgument;
  std::string error;
  if (!LoadEngineOptions(OptionFilePath(fileName), found->options, error)) {
    std::fprintf(stderr, "NSOCR: %s\n", error.c_str());
    return kOptionsRefused;
  }
  return kOk;
}

NSOCR_EXPORT int32_t Ocr_Create(NSOCRHandle configuration, NSOCRHandle* recognition) {
  Engine& engine = TheEngine();
  const std::lock_guard guard(engine.lock);
  const std::shared_ptr<Configuration> found = Find(engine.configurations, configuration);
  if (!found) return engine.starts == 0 ? kNotStarted : kBadHandle;
  if (recognition == nullptr) return kBadArgument;
  auto reader = std::make_shared<TextReader>(found->options);
  if (!reader->Ready()) return kEngineFailed;
  return Add(engine, engine.recognisers, std::move(reader), recognition);
}

NSOCR_EXPORT int32_t Ocr_Destroy(NSOCRHandle recognition) {
  Engine& engine = TheEngine();
  const std::lock_guard guard(engine.lock);
  return Remove(engine, engine.recognisers, recognition);
}

NSOCR_EXPORT int32_t Img_Create(NSOCRHandle recognition, NSOCRHandle* image) {
  Engine& engine = TheEngine();
  const std::lock_guard guard(engine.lock);
  std::shared_ptr<TextReader> reader = Find(engine.recognisers, recognition);
  if (!reader) return engine.starts == 0 ? kNotStarted : kBadHandle;
  if (image == nullptr) return kBadArgument;
  auto created = std::make_shared<Image>();
  created->reader = std::move(reader);
  return Add(engine, engine.images, std::move(created), image);
}

NSOCR_EXPORT int32_t Img_Destroy(NSOCRHandle image) {
  Engine& engine = TheEngine();
  const std::lock_guard guard(engine.lock);
  return Remove(engine, engine.images, image);
}

NSOCR_EXPORT int32_t Img_LoadBmpData(NSOCRHandle image, const uint8_t* pixels, int32_t width, int32_t height,
                                     int32_t flags) {
  Engine& engine = TheEngine();
  const std::lock_guard guard(engine.lock);
  const std::shared_ptr<Image> found = Find(engine.images, image);
  if (!found) return engine.starts == 0 ? kNotStarted : kBadHandle;
  if (pixels == nullptr || width <= 0 || height <= 0 || int64_t{width} * height > kMaxPixels || flags != 0) {
    return kBadArgument;
  }
  found->rgb.assign(pixels, pixels + static_cast<size_t>(width) * height * 3);
  found->width = width;
  found->height = height;
  found->text.clear();
  return kOk;
}

NSOCR_EXPORT int32_t Img_OCR(NSOCRHandle image) {
  Engine& engine = TheEngine();
  const std::lock_guard guard(engine.lock);
  const std::shared_ptr<Image> found = Find(engine.images, image);
  if (!found) return engine.starts == 0 ? kNotStarted : kBadHandle;
  if (found->rgb.empty()) return kBadArgument;
  return found->reader->Read(found->rgb, found->width, found->height, found->text) ? kOk : kEngineFailed;
}

NSOCR_EXPORT int32_t Img_GetImgText(NSOCRHandle image, wchar_t* text, int32_t* length) {
  Engine& engine = TheEngine();
  const std::lock_guard guard(engine.lock);
  const std::shared_ptr<Image> found = Find(engine.images, image);
  if (!found) return engine.starts == 0 ? kNotStarted : kBadHandle;
  if (length == nullptr) return kBadArgument;
  const int32_t room = *length;
  *length = static_cast<int32_t>(found->text.size());
  if (text == nullptr || room <= *length) return kTooSmall;
  found->text.copy(text, found->text.size());
  text[found->text.size()] = L'\0';
  return kOk;
}

// The exported entries have exactly the types through which the binding calls them.
static_assert(std::is_same_v<decltype(&Engine_Initialize), NSOCR_Engine_Initialize>);
static_assert(std::is_same_v<decltype(&Engine_Uninitialize), NSOCR_Engine_Uninitialize>);
static_assert(std::is_same_v<decltype(&Cfg_Create), NSOCR_Cfg_Create>);
static_assert(std::is_same_v<decltype(&Cfg_Destroy), NSOCR_Cfg_Destroy>);
static_assert(std::is_same_v<decltype(&Cfg_LoadOptions), NSOCR_Cfg_LoadOptions>);
static_assert(std::is_same_v<decltype(&Ocr_Create), NSOCR_Ocr_Create>);
static_assert(std::is_same_v<decltype(&Ocr_Destroy), NSOCR_Ocr_Destroy>);
static_assert(std::is_same_v<decltype(&Img_Create), NSOCR_Img_Create>);
static_assert(std::is_same_v<decltype(&Img_Destroy), NSOCR_Img_Destroy>);
static_assert(std::is_same_v<decltype(&Img_LoadBmpData), NSOCR_Img_LoadBmpData>);
static_assert(std::is_same_v<decltype(&Img_OCR), NSOCR_Img_OCR>);
static_assert(std::is_same_v<decltype(&Img_GetImgText), NSOCR_Img_GetImgText>);
