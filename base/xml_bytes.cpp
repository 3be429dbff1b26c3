#include "base/xml_bytes.h"

namespace vantaro {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD in UTF-8
constexpr char kHexDigits[] = "0123456789abcdef";

// Length in bytes of the valid UTF-8 character at `at`, with its code point
// in `code`; 0 when the bytes there start none (stray continuation byte,
// torn sequence, overlong form, surrogate, beyond U+10FFFF).
int DecodeCharacter(std::string_view text, std::size_t at, char32_t& code) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at);
  int length;
  char32_t smallest;
  if (lead < 0x80) {
    code = lead;
    return 1;
  } else if ((lead & 0xE0) == 0xC0) {
    length = 2, code = lead & 0x1F, smallest = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3, code = lead & 0x0F, smallest = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4, code = lead & 0x07, smallest = 0x10000;
  } else {
    return 0;
  }
  if (at + length > text.size()) return 0;
  for (int i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) return 0;
    code = (code << 6) | (byte(at + i) & 0x3F);
  }
  if (code < smallest || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
  return length;
}

bool XmlCanHold(char32_t c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
         (c >= 0xE000 && c <= 0xFFFD) || c >= 0x10000;
}

// Appends the readable form of `text`, escaped when `escape` is set; returns
// false when a byte or character had to be replaced.
bool AppendReadable(std::string& out, std::string_view text, bool escape) {
  bool exact = true;
  for (std::size_t at = 0; at < text.size();) {
    char32_t code;
    const int length = DecodeCharacter(text, at, code);
    if (length == 0 || !XmlCanHold(code)) {
      out += kReplacement;
      exact = false;
      at += length == 0 ? 1 : length;
      continue;
    }
    if (escape && length == 1) {
      switch (code) {
        case '\t':
          out += "&#x09;";
          break;
        case '\n':
          out += "&#x0A;";
          break;
        case '\r':
          out += "&#x0D;";
          break;
        case '"':
          out += "&quot;";
          break;
        case '&':
          out += "&amp;";
          break;
        case '\'':
          out += "&#39;";
          break;
        case '<':
          out += "&lt;";
          break;
        case '>':
          out += "&gt;";
          break;
        default:
          out += text[at];
      }
    } else {
      out.append(text.substr(at, length));
    }
    at += length;
  }
  return exact;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool DecodeHex(std::string_view hex, std::string& bytes) {
  if (hex.size() % 2 != 0) return false;
  bytes.clear();
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    const int high = HexValue(hex[i]), low = HexValue(hex[i + 1]);
    if (high < 0 || low < 0) return false;
    bytes += static_cast<char>(high * 16 + low);
  }
  return true;
}

}  // namespace

bool XmlHoldsExactly(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    char32_t code;
    const int length = DecodeCharacter(text, at, code);
    if (length == 0 || !XmlCanHold(code)) return false;
    at += length;
  }
  return true;
}

std::string ReadableXmlText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  AppendReadable(out, text, false);
  return out;
}

std::string EscapeXmlText(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 16);
  AppendReadable(out, text, true);
  return out;
}

void AppendXmlTextAttribute(std::string& out, std::string_view name, std::string_view text) {
  out.append(name).append("=\"");
  const bool exact = AppendReadable(out, text, true);
  out += '"';
  if (exact) return;
  out.append(" ").append(name).append(kExactBytesSuffix).append("=\"");
  for (const char c : text) {
    out += kHexDigits[static_cast<unsigned char>(c) >> 4];
    out += kHexDigits[static_cast<unsigned char>(c) & 15];
  }
  out += '"';
}

std::string XmlTextFromAttributes(const std::string* readable, const std::string* exactHex) {
  std::string bytes;
  if (exactHex && DecodeHex(*exactHex, bytes) && (!readable || ReadableXmlText(bytes) == *readable))
    return bytes;
  return readable ? *readable : std::string();
}

}  // namespace vantaro
