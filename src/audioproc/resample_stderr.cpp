// The stream that the linked copy of libresample writes its diagnostics to,
// in place of glibc's stderr (see src/CMakeLists.txt).
#include <cstdio>

extern "C" {
__attribute__((visibility("hidden"))) FILE* corvane_resample_stderr = stderr;
}
