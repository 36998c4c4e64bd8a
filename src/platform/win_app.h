// The platform's application class, as far as the library's application
// object needs it: names, registry key, help file and the module that serves
// resources. On Linux the "module" is this shared library, found through
// dladdr, and the host's executable is /proc/self/exe.
#pragma once

#include <string>

#include "core/types.h"

// Where the platform finds the host, this module and the current user's
// registry. Current() gives the real values; tests hand in their own folders.
struct CPlatformPaths {
  std::string executablePath;
  std::string modulePath;
  std::string configHome;  // root of the registry stand-in (see platform/registry.h)

  static CPlatformPaths Current();
};

// A path cut as the platform's path splitter cuts it: the directory keeps its
// trailing separator, and a shared object's ".so" with any version numbers
// after it is the extension ("libcorvane.so.1" is "libcorvane" and ".so.1").
struct CPathParts {
  std::string directory;
  std::string name;
  std::string extension;
};

CPathParts SplitPath(const std::string& path);

enum AFX_HELP_TYPE { afxWinHelp = 0, afxHTMLHelp = 1 };

// Stand-in for the platform's application class. The help file path starts
// as this module's path with the extension ".chm", as the platform sets it.
class CWinApp {
 public:
  explicit CWinApp(const char* appName = nullptr, CPlatformPaths paths = CPlatformPaths::Current());
  virtual ~CWinApp();
  CWinApp(const CWinApp&) = delete;
  CWinApp& operator=(const CWinApp&) = delete;

  virtual bool InitInstance();

  const CPlatformPaths& Paths() const { return paths_; }

  const CString& AppName() const { return appName_; }
  const CString& ProfileName() const { return profileName_; }
  const CString& RegistryKey() const { return registryKey_; }
  const CString& HelpFilePath() const { return helpFilePath_; }
  AFX_HELP_TYPE HelpMode() const { return helpMode_; }
  // The module whose resources the application uses; null for its own.
  void* ResourceHandle() const { return resourceHandle_; }

  void SetAppName(const CString& name) { appName_ = name; }
  void SetProfileName(const CString& name) { profileName_ = name; }
  void SetRegistryKey(const CString& key) { registryKey_ = key; }
  void SetHelpFilePath(const CString& path) { helpFilePath_ = path; }
  void SetHelpMode(AFX_HELP_TYPE mode) { helpMode_ = mode; }
  // Takes ownership of a module handle from LoadLibrary: it is closed when
  // replaced or when the application object goes.
  void SetResourceHandle(void* module);

  // Opens a module by path; null when it is missing or not a loadable module.
  static void* LoadLibrary(const std::string& path);

 private:
  CPlatformPaths paths_;
  CString appName_;
  CString profileName_;
  CString registryKey_;
  CString helpFilePath_;
  AFX_HELP_TYPE helpMode_ = afxWinHelp;
  void* resourceHandle_ = nullptr;
};
