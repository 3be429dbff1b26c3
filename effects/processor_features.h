#pragma once
// Processor features the effect code chooses its code paths by. Detected at
// static initialisation and again, for the log, in the first step of the long
// initialisation, before any audio runs; read-only afterwards.

namespace vantaro {

struct ProcessorFeatures {
  bool sse2 = false;
  bool sse3 = false;
  bool sse41 = false;
};

// Detects the features of this processor and stores them. Call once, from
// the GUI thread, before audio starts. Returns the stored set.
const ProcessorFeatures& DetectProcessorFeatures();

// The stored set.
const ProcessorFeatures& TheProcessorFeatures();

// Test hook: force the vector paths off (false) or back to what was detected.
void SetVectorPathsAllowedForTests(bool allowed);

}  // namespace vantaro
