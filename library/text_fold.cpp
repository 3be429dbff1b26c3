#include "library/text_fold.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace vantaro {
namespace {

// The small letter of code point `c`, or `c`.
char32_t FoldCodePoint(char32_t c) {
  if (c < 0x80) return (c >= 'A' && c <= 'Z') ? c + 32 : c;
  if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return c + 32;  // Latin-1 Supplement
  if (c >= 0x100 && c <= 0x17F) {                          // Latin Extended-A
    if (c == 0x130) return 'i';
    if (c == 0x178) return 0xFF;
    const bool evenUpper = (c <= 0x137) || (c >= 0x14A && c <= 0x177);
    const bool oddUpper = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
    if ((evenUpper && c % 2 == 0) || (oddUpper && c % 2 == 1)) return c + 1;
    return c;
  }
  if (c >= 0x386 && c <= 0x3AB) {  // Greek capitals
    if (c >= 0x391 && c <= 0x3AB && c != 0x3A2) return c + 32;
    if (c == 0x386) return 0x3AC;
    if (c >= 0x388 && c <= 0x38A) return c + 37;
    if (c == 0x38C) return 0x3CC;
    if (c == 0x38E || c == 0x38F) return c + 63;
    return c;
  }
  if (c == 0x3C2) return 0x3C3;    // final sigma
  if (c >= 0x400 && c <= 0x4FF) {  // Cyrillic
    if (c <= 0x40F) return c + 80;
    if (c <= 0x42F) return c + 32;
    if (c == 0x4C0) return 0x4CF;
    const bool evenUpper =
        (c >= 0x460 && c <= 0x481) || (c >= 0x48A && c <= 0x4BF) || (c >= 0x4D0 && c <= 0x4FF);
    if (evenUpper && c % 2 == 0) return c + 1;
    if (c >= 0x4C1 && c <= 0x4CE && c % 2 == 1) return c + 1;
  }
  return c;
}

// Decodes one UTF-8 character at `text[at]`; its length in `length`, 0 when
// the bytes there are not UTF-8.
char32_t Decode(std::string_view text, std::size_t at, int& length) {
  const unsigned char lead = static_cast<unsigned char>(text[at]);
  length = lead < 0x80         ? 1
           : (lead >> 5) == 6  ? 2
           : (lead >> 4) == 14 ? 3
           : (lead >> 3) == 30 ? 4
                               : 0;
  if (length == 0 || at + length > text.size()) return length = 0;
  char32_t c = length == 1 ? lead : lead & (0x7F >> length);
  for (int k = 1; k < length; ++k) {
    const unsigned char next = static_cast<unsigned char>(text[at + k]);
    if ((next & 0xC0) != 0x80) return length = 0;
    c = (c << 6) | (next & 0x3F);
  }
  return c;
}

// Writes the UTF-8 form of `c` at `out`; returns its length. The caller
// has room: every fold keeps or shortens the length (U+0130, two bytes,
// becomes "i").
std::size_t Encode(char32_t c, char* out) {
  if (c < 0x80) {
    out[0] = static_cast<char>(c);
    return 1;
  }
  if (c < 0x800) {
    out[0] = static_cast<char>(0xC0 | (c >> 6));
    out[1] = static_cast<char>(0x80 | (c & 0x3F));
    return 2;
  }
  if (c < 0x10000) {
    out[0] = static_cast<char>(0xE0 | (c >> 12));
    out[1] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (c & 0x3F));
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | (c >> 18));
  out[1] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
  out[2] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
  out[3] = static_cast<char>(0x80 | (c & 0x3F));
  return 4;
}

}  // namespace

std::string FoldCase(std::string_view text) {
  std::string out;
  FoldCaseInto(text, out);
  return out;
}

void FoldCaseInto(std::string_view text, std::string& out) {
  out.resize(text.size());  // a folded character never takes more bytes
  std::size_t written = 0;
  for (std::size_t at = 0; at < text.size();) {
    // ASCII, most of any list, without decoding (search runs this over
    // every cell of 100,000 rows).
    const unsigned char byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x80) {
      out[written++] = static_cast<char>(byte >= 'A' && byte <= 'Z' ? byte + 32 : byte);
      ++at;
      continue;
    }
    int length;
    const char32_t c = Decode(text, at, length);
    if (length == 0) {  // not UTF-8: the byte as it is
      out[written++] = text[at++];
      continue;
    }
    written += Encode(FoldCodePoint(c), &out[written]);
    at += length;
  }
  out.resize(written);
}

std::string CollationKey(std::string_view text, std::size_t maxCharacters) {
  std::string folded = FoldCase(text);
  std::size_t characters = 0;
  for (std::size_t i = 0; i < folded.size(); ++i) {
    if ((static_cast<unsigned char>(folded[i]) & 0xC0) == 0x80) continue;
    if (characters++ == maxCharacters) {
      folded.resize(i);
      break;
    }
  }
  // Embedded NULs would end the C string early; nothing after one matters.
  std::vector<char> key(folded.size() * 4 + 16);
  std::size_t needed = std::strxfrm(key.data(), folded.c_str(), key.size());
  if (needed >= key.size()) {
    key.resize(needed + 1);
    needed = std::strxfrm(key.data(), folded.c_str(), key.size());
  }
  return std::string(key.data(), needed);
}

}  // namespace vantaro
