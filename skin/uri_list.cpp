#include "skin/uri_list.h"

#include <cctype>
#include <string_view>

namespace vantaro {
namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Decodes %XX escapes; false on a broken escape or an escaped NUL (which
// would cut the name short in every file call).
bool PercentDecode(std::string_view text, std::string* out) {
  out->clear();
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out->push_back(text[i]);
      continue;
    }
    if (i + 2 >= text.size()) return false;
    const int high = HexDigit(text[i + 1]), low = HexDigit(text[i + 2]);
    if (high < 0 || low < 0 || (high == 0 && low == 0)) return false;
    out->push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  return true;
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (size_t i = 0; i < prefix.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(text[i])) != prefix[i]) return false;
  return true;
}

}  // namespace

std::string LocalPathOfUri(const std::string& uri) {
  std::string_view rest(uri);
  if (!StartsWithNoCase(rest, "file:")) return {};
  rest.remove_prefix(5);
  if (rest.substr(0, 2) == "//") {
    // file://host/path: the host must be this machine.
    rest.remove_prefix(2);
    const size_t slash = rest.find('/');
    if (slash == std::string_view::npos) return {};
    const std::string_view host = rest.substr(0, slash);
    if (!host.empty() && !StartsWithNoCase(host, "localhost")) return {};
    if (host.size() > 9) return {};
    rest.remove_prefix(slash);
  }
  if (rest.empty() || rest[0] != '/') return {};
  // A query or fragment is not part of a file's name.
  const size_t end = rest.find_first_of("?#");
  std::string path;
  if (!PercentDecode(rest.substr(0, end), &path)) return {};
  return path;
}

std::vector<std::string> LocalFilesOfUriList(const std::string& text) {
  std::vector<std::string> files;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string_view line(text.data() + start, end - start);
    start = end + 1;
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\0'))
      line.remove_suffix(1);
    while (!line.empty() && line.front() == ' ') line.remove_prefix(1);
    if (line.empty() || line.front() == '#') continue;
    std::string path = LocalPathOfUri(std::string(line));
    if (!path.empty()) files.push_back(std::move(path));
  }
  return files;
}

}  // namespace vantaro
