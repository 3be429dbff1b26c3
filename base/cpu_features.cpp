#include "base/cpu_features.h"

namespace vantaro {
namespace {
CpuFeatures g_features;
}

const CpuFeatures& DetectCpuFeatures() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init();
  g_features.sse = __builtin_cpu_supports("sse");
  g_features.sse2 = __builtin_cpu_supports("sse2");
  g_features.sse3 = __builtin_cpu_supports("sse3");
  g_features.ssse3 = __builtin_cpu_supports("ssse3");
  g_features.sse41 = __builtin_cpu_supports("sse4.1");
  g_features.sse42 = __builtin_cpu_supports("sse4.2");
#endif
  return g_features;
}

const CpuFeatures& TheCpuFeatures() {
  return g_features;
}

}  // namespace vantaro
