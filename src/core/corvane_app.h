// The library's application object. One CCorvaneApp exists from the moment
// the library is loaded, and its InitInstance runs once at load: it settles
// the product's organization and application names (which a redirect file
// beside the host's executable may change), picks the language module and
// the help file, and switches the primitives to the processor.
#pragma once

#include "core/types.h"
#include "platform/win_app.h"

// The version of this library, "major.minor.patch".
const char* CorvaneLibraryVersion();

// The base that the product's modules share: the names, the redirect file,
// the language module and the help file.
class CWinAppQBX : public CWinApp {
 public:
  // Module-wide values, one of each for the process.
  static char organizationName[128];
  static char applicationName[128];
  static char lpValue[128];
  static CString languageCode;

  explicit CWinAppQBX(CPlatformPaths paths = CPlatformPaths::Current());

  bool InitInstance() override;
  // The value of "lp=" from the redirect file, for the host.
  virtual CString GetLpValue();

  // Reads QBX_REGISTRY.ini, or <name>_REGISTRY.ini, beside the executable.
  // It runs once: nothing happens while organizationName is set.
  static void ReadRedirectFile(const std::string& executablePath);

 private:
  void LoadLanguageModule();
};

// This library's application object; InitInstance also selects the
// primitives and logs which library of them runs.
class CCorvaneApp : public CWinAppQBX {
 public:
  explicit CCorvaneApp(CPlatformPaths paths = CPlatformPaths::Current());

  bool InitInstance() override;
};
