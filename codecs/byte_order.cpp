#include "codecs/byte_order.h"

#include <cmath>

namespace vantaro {

double ReadExtended80(const uint8_t* p) {
  const int sign = p[0] & 0x80;
  const int exponent = ((p[0] & 0x7f) << 8) | p[1];
  uint64_t mantissa = 0;
  for (int i = 0; i < 8; ++i) mantissa = (mantissa << 8) | p[2 + i];
  if (exponent == 0x7fff) return -1.0;
  if (exponent == 0 && mantissa == 0) return 0.0;
  const double value = std::ldexp(static_cast<double>(mantissa), exponent - 16383 - 63);
  return sign ? -value : value;
}

void WriteExtended80(uint8_t* p, uint32_t value) {
  std::memset(p, 0, 10);
  if (value == 0) return;
  int topBit = 31;
  while (!(value & (1u << topBit))) --topBit;
  const int exponent = 16383 + topBit;
  const uint64_t mantissa = static_cast<uint64_t>(value) << (63 - topBit);
  p[0] = static_cast<uint8_t>(exponent >> 8);
  p[1] = static_cast<uint8_t>(exponent);
  for (int i = 0; i < 8; ++i) p[2 + i] = static_cast<uint8_t>(mantissa >> (56 - 8 * i));
}

}  // namespace vantaro
