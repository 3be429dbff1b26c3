#pragma once
// Processor features, detected once at start-up and kept for the effect
// code, which picks its vector paths by them.
//
// Threads: written once before any audio thread starts; read anywhere.

namespace vantaro {

struct CpuFeatures {
  bool sse = false;
  bool sse2 = false;
  bool sse3 = false;
  bool ssse3 = false;
  bool sse41 = false;
  bool sse42 = false;
};

// Detects the features and stores them; returns what it found.
const CpuFeatures& DetectCpuFeatures();
// The stored features (all false before detection).
const CpuFeatures& TheCpuFeatures();

}  // namespace vantaro
