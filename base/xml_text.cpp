#include "base/xml_text.h"

#include <charconv>

namespace vantaro {

std::string FormatFloat4(double value) {
  char text[64];
  const auto result = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 4);
  return std::string(text, result.ptr);
}

}  // namespace vantaro
