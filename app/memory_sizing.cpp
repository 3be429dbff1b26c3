#include "app/memory_sizing.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>

namespace vantaro {

MemoryFigures SizeMemory(std::uint64_t availableBytes) {
  MemoryFigures figures;
  const std::uint64_t half = availableBytes / 2;
  figures.minimumBytes = static_cast<std::uint32_t>(
      std::min<std::uint64_t>(std::max<std::uint64_t>(half, 0x4600000), 0xFFFFFFFFu));
  figures.maximumBytes = static_cast<std::uint32_t>(
      std::min<std::uint64_t>(std::uint64_t(figures.minimumBytes) * 4 / 3, 0xFFFFFFFFu));
  // Linux has no working-set limits to set or read back: the minimum stands
  // as the measured figure, raised to 90 MB as the platform rule does.
  std::uint32_t measuredKB = figures.minimumBytes / 1024;
  if (measuredKB < 92160) measuredKB = 92160;
  char text[160];
  std::snprintf(
      text, sizeof text, "WorkingSize=%dMb..%dMb; TotalAvailSize=%dMb, VTTotalRAMAvailableKB=%dMb",
      static_cast<int>(figures.minimumBytes >> 20), static_cast<int>(figures.maximumBytes >> 20),
      static_cast<int>(availableBytes >> 20), static_cast<int>(measuredKB >> 10));
  figures.diagnostic = text;
  figures.wsKB = kDefaultRamKB;
  figures.availKB = kDefaultRamKB;
  return figures;
}

std::uint64_t ReadAvailableMemory() {
  std::ifstream meminfo("/proc/meminfo");
  std::string key;
  std::uint64_t value = 0;
  std::string unit;
  while (meminfo >> key >> value >> unit) {
    if (key == "MemAvailable:") return value * 1024;
  }
  return 0;
}

}  // namespace vantaro
