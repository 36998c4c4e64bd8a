// `corvane version`: the library's version, the primitive slot that start-up
// chose with its version record, and the names start-up settled on.
#include <cstdio>

#include "args.h"
#include "command.h"
#include "core/corvane_app.h"
#include "primitives/prim.h"

namespace corvane::tool {
namespace {

int RunVersion(const std::vector<std::string>& arguments) {
  const Args args(arguments, {});
  args.ExpectPositional(0, "no positional arguments");
  const PrimLibraryVersion* primitives = PrimGetLibVersion();
  std::printf("corvane library %s\n", CorvaneLibraryVersion());
  std::printf("primitive slot  %d of %d (target %s, highest on this processor %d)\n", g_primSlot, kPrimSlotCount - 1,
              primitives->targetCpu, PrimHighestSupportedSlot());
  std::printf("primitives      %s, %s, %s\n", primitives->name, primitives->version, primitives->buildDate);
  std::printf("organization    %s\n", CWinAppQBX::organizationName);
  std::printf("application     %s\n", CWinAppQBX::applicationName);
  const CString& language = CWinAppQBX::languageCode;
  std::printf("language        %s\n", language.empty() ? "(built-in)" : language.c_str());
  return 0;
}

const bool registered = RegisterCommand({
    "version",
    "print the library's version and the primitive slot chosen for this processor",
    "usage: corvane version\n"
    "\n"
    "Prints the library's version, the primitive slot that start-up chose (set\n"
    "CORVANE_PRIM_SLOT to force a lower one) with its version record, and the\n"
    "organization, application and language that start-up settled on.\n",
    RunVersion,
});

}  // namespace
}  // namespace corvane::tool
