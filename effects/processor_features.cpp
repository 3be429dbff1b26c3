#include "effects/processor_features.h"

namespace vantaro {
namespace {
ProcessorFeatures g_detected;
ProcessorFeatures g_inUse;
}  // namespace

const ProcessorFeatures& DetectProcessorFeatures() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init();
  g_detected.sse2 = __builtin_cpu_supports("sse2");
  g_detected.sse3 = __builtin_cpu_supports("sse3");
  g_detected.sse41 = __builtin_cpu_supports("sse4.1");
#endif
  g_inUse = g_detected;
  return g_inUse;
}

const ProcessorFeatures& TheProcessorFeatures() {
  return g_inUse;
}

void SetVectorPathsAllowedForTests(bool allowed) {
  g_inUse = allowed ? g_detected : ProcessorFeatures{};
}

}  // namespace vantaro
