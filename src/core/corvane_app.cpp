#include "core/corvane_app.h"

#include <strings.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#include "platform/logger.h"
#include "platform/registry.h"
#include "primitives/prim.h"

namespace {

constexpr const char* kDefaultOrganization = "Brackwater Systems";
constexpr const char* kDefaultApplication = "Tessaline-Orbelle4";
constexpr size_t kRedirectLineChars = 1024;

// Longer values are cut to what the 128-character names hold.
void CopyName(char (&target)[128], const char* value) {
  std::snprintf(target, sizeof(target), "%s", value);
}

// One line of the redirect file: the first key that matches, in case of
// letters, at the start of the line takes it. The line feed (and the carriage
// return before it, which a text-mode read drops) is not part of the value.
void ApplyRedirectLine(char* line) {
  struct RedirectKey {
    const char* key;
    char (&target)[128];
  };
  const RedirectKey keys[] = {
      {"organization=", CWinAppQBX::organizationName}, {"o=", CWinAppQBX::organizationName},
      {"application=", CWinAppQBX::applicationName},   {"a=", CWinAppQBX::applicationName},
      {"lp=", CWinAppQBX::lpValue},
  };
  for (const RedirectKey& key : keys) {
    const size_t keyLength = std::strlen(key.key);
    if (strncasecmp(line, key.key, keyLength) != 0) continue;
    char* value = line + keyLength;
    size_t length = std::strlen(value);
    if (length > 0 && value[length - 1] == '\n') value[--length] = '\0';
    if (length > 0 && value[length - 1] == '\r') value[--length] = '\0';
    CopyName(key.target, value);
    return;
  }
}

bool FileExists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

}  // namespace

char CWinAppQBX::organizationName[128] = "";
char CWinAppQBX::applicationName[128] = "";
char CWinAppQBX::lpValue[128] = "";
CString CWinAppQBX::languageCode;

const char* CorvaneLibraryVersion() { return CORVANE_VERSION; }

void CWinAppQBX::ReadRedirectFile(const std::string& executablePath) {
  if (organizationName[0] != '\0') return;
  CopyName(organizationName, kDefaultOrganization);
  CopyName(applicationName, kDefaultApplication);
  const CPathParts executable = SplitPath(executablePath);
  FILE* file = std::fopen((executable.directory + "QBX_REGISTRY.ini").c_str(), "r");
  if (file == nullptr) file = std::fopen((executable.directory + executable.name + "_REGISTRY.ini").c_str(), "r");
  if (file == nullptr) return;
  char line[kRedirectLineChars];
  while (std::fgets(line, sizeof(line), file) != nullptr) ApplyRedirectLine(line);
  std::fclose(file);
}

CWinAppQBX::CWinAppQBX(CPlatformPaths paths) : CWinApp(nullptr, std::move(paths)) {
  ReadRedirectFile(Paths().executablePath);
  SetHelpMode(afxHTMLHelp);
  SetAppName(applicationName);
  SetProfileName(applicationName);
  SetRegistryKey(organizationName);
}

CString CWinAppQBX::GetLpValue() { return lpValue; }

// The registry value must fit five bytes with its terminator, so a code of
// five or more letters is no code. A module that does not load leaves the
// built-in resources, silently.
void CWinAppQBX::LoadLanguageModule() {
  ReadRedirectFile(Paths().executablePath);
  languageCode.clear();
  const std::string key = std::string("Software\\") + organizationName + "\\" + applicationName + "\\StartUp";
  std::string code;
  if (RegQueryUserString(Paths().configHome, key, "LanguageCode", 5, code)) languageCode = code;
  if (languageCode.empty()) return;
  const CPathParts module = SplitPath(Paths().modulePath);
  void* handle = LoadLibrary(module.directory + "Languages/" + module.name + languageCode + ".so");
  if (handle != nullptr) SetResourceHandle(handle);
}

bool CWinAppQBX::InitInstance() {
  LoadLanguageModule();
  const std::string directory = SplitPath(HelpFilePath()).directory;
  std::string helpFile = directory + "QBX-ORB.chm";
  if (!languageCode.empty() && strcasecmp(languageCode.c_str(), "ENG") != 0) {
    const std::string localised = directory + "QBX-ORB_" + languageCode + ".chm";
    if (FileExists(localised)) helpFile = localised;
  }
  SetHelpFilePath(helpFile);
  return CWinApp::InitInstance();
}

CCorvaneApp::CCorvaneApp(CPlatformPaths paths) : CWinAppQBX(std::move(paths)) {}

bool CCorvaneApp::InitInstance() {
  CWinAppQBX::InitInstance();
  PrimInit();
  const PrimLibraryVersion* primitives = PrimGetLibVersion();
  CLogger::Log(0, "Image   support lib: %s, %s", primitives->version, primitives->name);
  return true;
}

namespace {

// Constructed when the library is loaded; its start-up runs right after, once.
// The module-wide values above are defined first, so they are ready for it.
CCorvaneApp theApp;
const bool started = theApp.InitInstance();

}  // namespace
