// The files that start-up reads from outside: the redirect file beside the
// host's executable and the INI file that stands in for the registry. Any
// content reads without a fault, and what is read fits its buffers.
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/corvane_app.h"
#include "fuzz_input.h"
#include "platform/registry.h"

namespace {

std::string MakeFolder() {
  std::string folder = "/tmp/corvane-fuzz-" + std::to_string(getpid()) + "-startup";
  mkdir(folder.c_str(), 0700);
  mkdir((folder + "/Org").c_str(), 0700);
  return folder;
}

void CheckName(const char (&name)[128]) {
  if (std::memchr(name, '\0', sizeof name) == nullptr) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string folder = MakeFolder();
  static corvane::fuzz::InputFile redirect("-startup/QBX_REGISTRY.ini");
  static corvane::fuzz::InputFile ini("-startup/Org/App.ini");

  redirect.Write(data, size);
  CWinAppQBX::organizationName[0] = '\0';
  CWinAppQBX::ReadRedirectFile(folder + "/host");
  CheckName(CWinAppQBX::organizationName);
  CheckName(CWinAppQBX::applicationName);
  CheckName(CWinAppQBX::lpValue);

  ini.Write(data, size);
  std::string value;
  for (size_t bufferBytes : {size_t{1}, size_t{5}, size_t{4096}}) {
    if (RegQueryUserString(folder, "Software\\Org\\App\\StartUp", "LanguageCode", bufferBytes, value) &&
        value.size() + 1 > bufferBytes) {
      std::abort();
    }
  }
  return 0;
}
