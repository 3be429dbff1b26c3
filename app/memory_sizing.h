#pragma once
// Memory sizing of the long initialisation. The figures are diagnostic
// only: whatever is measured, the working-set figure and the deck RAM
// allowance both end at 310080 KB.

#include <cstdint>
#include <string>

namespace vantaro {

struct MemoryFigures {
  std::uint32_t minimumBytes = 0;  // half the available memory, >= 70 MB
  std::uint32_t maximumBytes = 0;  // four thirds of the minimum
  std::uint32_t wsKB = 0;
  std::uint32_t availKB = 0;
  std::string diagnostic;
};

inline constexpr std::uint32_t kDefaultRamKB = 310080;

// Computes the figures from the available physical memory in bytes (as the
// 32-bit platform arithmetic did: the half is taken before narrowing).
MemoryFigures SizeMemory(std::uint64_t availableBytes);

// Available physical memory from /proc/meminfo (MemAvailable), in bytes;
// 0 when unknown.
std::uint64_t ReadAvailableMemory();

}  // namespace vantaro
