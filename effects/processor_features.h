#pragma once
// Processor features the effect code chooses its code paths by. Detected at
// static initialisation and again, for the log, in the first step of the long
// initialisation, before any audio runs; read-only afterwards.

namespace vantaro {

struct ProcessorFeatures {
  bool sse2 = false;
  bool sse3 = false;
  bool sse41 = false;
  bool avx = false;  // 256-bit registers: four double lanes
};

// Detects the features of this processor and stores them. Call once, from
// the GUI thread, before audio starts. Returns the stored set.
const ProcessorFeatures& DetectProcessorFeatures();

// The stored set.
const ProcessorFeatures& TheProcessorFeatures();

// Test hook: the paths of `wanted`, as far as this processor has them
// (DetectProcessorFeatures restores the detected set).
void UseProcessorFeaturesForTests(const ProcessorFeatures& wanted);

}  // namespace vantaro
