#include "effects/processor_features.h"

namespace vantaro {
namespace {

ProcessorFeatures Detect() {
  ProcessorFeatures found;
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init();
  found.sse2 = __builtin_cpu_supports("sse2");
  found.sse3 = __builtin_cpu_supports("sse3");
  found.sse41 = __builtin_cpu_supports("sse4.1");
  found.avx = __builtin_cpu_supports("avx");
#endif
  return found;
}

// Detected at static initialisation, so that every user of the effects (the
// program, tests, benchmarks) runs the paths this processor runs.
ProcessorFeatures g_detected = Detect();
ProcessorFeatures g_inUse = g_detected;

}  // namespace

const ProcessorFeatures& DetectProcessorFeatures() {
  g_detected = Detect();
  g_inUse = g_detected;
  return g_inUse;
}

const ProcessorFeatures& TheProcessorFeatures() {
  return g_inUse;
}

void UseProcessorFeaturesForTests(const ProcessorFeatures& wanted) {
  g_inUse.sse2 = wanted.sse2 && g_detected.sse2;
  g_inUse.sse3 = wanted.sse3 && g_detected.sse3;
  g_inUse.sse41 = wanted.sse41 && g_detected.sse41;
  g_inUse.avx = wanted.avx && g_detected.avx;
}

}  // namespace vantaro
