#include "platform/win_app.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>
#include <vector>

namespace {

std::string ExecutablePath() {
  std::vector<char> buffer(4096);
  const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (length <= 0 || static_cast<size_t>(length) >= buffer.size()) return std::string();
  return std::string(buffer.data(), static_cast<size_t>(length));
}

// The path of the shared object that holds this function: the library itself.
std::string ModulePath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&ModulePath), &info) == 0 || info.dli_fname == nullptr) return std::string();
  return info.dli_fname;
}

// $XDG_CONFIG_HOME when it is an absolute path, else ~/.config.
std::string ConfigHome() {
  const char* xdg = std::getenv("XDG_CONFIG_HOME");
  if (xdg != nullptr && xdg[0] == '/') return xdg;
  const char* home = std::getenv("HOME");
  if (home != nullptr && home[0] != '\0') return std::string(home) + "/.config";
  return std::string();
}

// Where a shared object's extension starts: at ".so" followed by the end of
// the name or by a version number.
size_t SharedObjectSuffix(const std::string& fileName) {
  for (size_t at = fileName.find(".so"); at != std::string::npos; at = fileName.find(".so", at + 1)) {
    const size_t after = at + 3;
    if (after == fileName.size() || fileName[after] == '.') return at;
  }
  return std::string::npos;
}

}  // namespace

CPlatformPaths CPlatformPaths::Current() { return {ExecutablePath(), ModulePath(), ConfigHome()}; }

CPathParts SplitPath(const std::string& path) {
  const size_t slash = path.rfind('/');
  const size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
  const std::string fileName = path.substr(nameStart);
  size_t dot = SharedObjectSuffix(fileName);
  if (dot == std::string::npos) dot = fileName.rfind('.');
  if (dot == 0 || dot == std::string::npos) dot = fileName.size();  // ".profile" is a name, not an extension
  return {path.substr(0, nameStart), fileName.substr(0, dot), fileName.substr(dot)};
}

CWinApp::CWinApp(const char* appName, CPlatformPaths paths) : paths_(std::move(paths)) {
  if (appName != nullptr) appName_ = appName;
  const CPathParts module = SplitPath(paths_.modulePath);
  helpFilePath_ = module.directory + module.name + ".chm";
}

CWinApp::~CWinApp() { SetResourceHandle(nullptr); }

bool CWinApp::InitInstance() { return true; }

void CWinApp::SetResourceHandle(void* module) {
  if (resourceHandle_ != nullptr && resourceHandle_ != module) dlclose(resourceHandle_);
  resourceHandle_ = module;
}

void* CWinApp::LoadLibrary(const std::string& path) { return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL); }
