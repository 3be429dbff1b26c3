#include "base/clock_text.h"

#include <cmath>
#include <cstdio>

namespace vantaro {

std::string ClockText(double seconds, bool padMinutes) {
  const long long whole =
      std::isfinite(seconds) && seconds > 0 ? static_cast<long long>(seconds) : 0;
  char text[32];
  if (whole >= 3600)
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60,
                  whole % 60);
  else
    std::snprintf(text, sizeof text, padMinutes ? "%02lld:%02lld" : "%lld:%02lld", whole / 60,
                  whole % 60);
  return text;
}

}  // namespace vantaro
