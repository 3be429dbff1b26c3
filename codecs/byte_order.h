#pragma once
// Reading and writing fixed-width numbers of file headers in either byte
// order, and the 80-bit extended float of AIFF sample rates.
//
// Threads: any (pure functions).

#include <cstdint>
#include <cstring>

namespace vantaro {

inline uint16_t ReadLE16(const uint8_t* p) {
  return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
inline uint32_t ReadLE32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}
inline uint16_t ReadBE16(const uint8_t* p) {
  return static_cast<uint16_t>((p[0] << 8) | p[1]);
}
inline uint32_t ReadBE32(const uint8_t* p) {
  return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
         (static_cast<uint32_t>(p[2]) << 8) | static_cast<uint32_t>(p[3]);
}

inline void WriteLE16(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
inline void WriteLE32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void WriteBE16(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v >> 8);
  p[1] = static_cast<uint8_t>(v);
}
inline void WriteBE32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (24 - 8 * i));
}

// True when the four bytes at `p` are the chunk id `id`.
inline bool IsChunkId(const uint8_t* p, const char* id) {
  return std::memcmp(p, id, 4) == 0;
}

// The 80-bit big-endian extended float at `p` (sign, 15-bit exponent, 64-bit
// mantissa with explicit integer bit). Infinity and NaN come back as -1.
double ReadExtended80(const uint8_t* p);
// Writes a non-negative whole number as an 80-bit extended float.
void WriteExtended80(uint8_t* p, uint32_t value);

}  // namespace vantaro
