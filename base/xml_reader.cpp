#include "base/xml_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/debug_log.h"
#include "base/xml_bytes.h"

namespace vantaro {
namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;
// More attributes than any element of the program's files has by far.
constexpr int kMaxAttributes = 256;

const char* KindText(XmlFileKind kind) {
  switch (kind) {
    case XmlFileKind::kSettings:
      return "a settings file";
    case XmlFileKind::kSongDatabase:
      return "a song database";
    case XmlFileKind::kEffectChain:
      return "an effect chain";
    case XmlFileKind::kPluginList:
      return "a plug-in list";
    case XmlFileKind::kLanguage:
      return "a language file";
    case XmlFileKind::kSkin:
      return "a skin";
  }
  return "a file";
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool EndsName(char c) {
  return IsBlank(c) || c == '/' || c == '>' || c == '<' || c == '=' || c == '"' || c == '\'';
}

void AppendUtf8(std::string& out, char32_t code) {
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0 | (code >> 6));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    out += static_cast<char>(0xE0 | (code >> 12));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (code >> 18));
    out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  }
}

// The character of a reference body ("amp", "#233", "#xE9"); 0 when it is
// no reference this reader knows.
char32_t ReferencedCharacter(std::string_view body) {
  if (body == "lt") return '<';
  if (body == "gt") return '>';
  if (body == "amp") return '&';
  if (body == "quot") return '"';
  if (body == "apos") return '\'';
  if (body.size() < 2 || body[0] != '#') return 0;
  const bool hex = body[1] == 'x';
  const std::string_view digits = body.substr(hex ? 2 : 1);
  if (digits.empty()) return 0;
  char32_t code = 0;
  for (const char c : digits) {
    int digit = -1;
    if (c >= '0' && c <= '9') digit = c - '0';
    if (hex && c >= 'a' && c <= 'f') digit = c - 'a' + 10;
    if (hex && c >= 'A' && c <= 'F') digit = c - 'A' + 10;
    if (digit < 0) return 0;
    code = code * (hex ? 16 : 10) + digit;
    if (code > 0x10FFFF) return 0;
  }
  return (code >= 0xD800 && code <= 0xDFFF) ? 0 : code;
}

}  // namespace

std::size_t XmlFileLimit(XmlFileKind kind) {
  switch (kind) {
    case XmlFileKind::kSettings:
      return kMegabyte;
    case XmlFileKind::kSongDatabase:
      return 512 * kMegabyte;
    case XmlFileKind::kEffectChain:
      return 4 * kMegabyte;
    case XmlFileKind::kPluginList:
      return 16 * kMegabyte;
    case XmlFileKind::kLanguage:
    case XmlFileKind::kSkin:
      return 4 * kMegabyte;
  }
  return kMegabyte;
}

XmlFileStatus ReadXmlFile(const std::string& path, XmlFileKind kind, std::string& text) {
  text.clear();
  // Non-blocking, so that opening a FIFO planted in its place returns.
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ENOENT || errno == ENOTDIR) return XmlFileStatus::kMissing;
    DebugLog("%s cannot be opened: %s", path.c_str(), std::strerror(errno));
    return XmlFileStatus::kUnreadable;
  }
  struct stat info;
  const std::size_t limit = XmlFileLimit(kind);
  XmlFileStatus status = XmlFileStatus::kRead;
  if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    DebugLog("%s refused: it is not a plain file", path.c_str());
    status = XmlFileStatus::kRefused;
  } else if (static_cast<unsigned long long>(info.st_size) > limit) {
    DebugLog("%s refused: %lld bytes is more than %s may have (%zu)", path.c_str(),
             static_cast<long long>(info.st_size), KindText(kind), limit);
    status = XmlFileStatus::kRefused;
  } else {
    text.resize(static_cast<std::size_t>(info.st_size) + 1);
    std::size_t got = 0;
    for (;;) {
      if (got == text.size()) text.resize(std::min(text.size() * 2, limit + 1));
      const ssize_t n = ::read(fd, text.data() + got, text.size() - got);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) {
        DebugLog("%s cannot be read: %s", path.c_str(), std::strerror(errno));
        status = XmlFileStatus::kUnreadable;
        break;
      }
      got += static_cast<std::size_t>(n);
      if (n == 0 || got > limit) break;
    }
    text.resize(got);
    if (status == XmlFileStatus::kRead && got > limit) {
      DebugLog("%s refused: it grew beyond what %s may have (%zu)", path.c_str(), KindText(kind),
               limit);
      status = XmlFileStatus::kRefused;
    }
  }
  ::close(fd);
  if (status != XmlFileStatus::kRead) text.clear();
  return status;
}

XmlReader::XmlReader(std::string_view text, std::string source)
    : text_(text), source_(std::move(source)) {
  if (text_.substr(0, 3) == "\xEF\xBB\xBF") at_ = 3;
}

const std::string* XmlReader::Attribute(std::string_view name) const {
  for (int i = 0; i < attributeCount_; ++i)
    if (attributes_[i].name == name) return &attributes_[i].value;
  return nullptr;
}

std::string XmlReader::Text(std::string_view name) const {
  std::string companion(name);
  companion += kExactBytesSuffix;
  return XmlTextFromAttributes(Attribute(name), Attribute(companion));
}

void XmlReader::Damage() {
  if (damaged_ == 0 && !inDamage_) firstDamageAt_ = at_;
  if (!inDamage_) ++damaged_;
  inDamage_ = true;
}

void XmlReader::Refuse(const char* why) {
  refused_ = true;
  DebugLog("%s refused: %s", source_.c_str(), why);
}

void XmlReader::NoteText(std::size_t from, std::size_t to) {
  if (!open_.empty()) return;  // text inside an element means nothing here
  for (std::size_t i = from; i < to; ++i) {
    if (!IsBlank(text_[i])) {
      Damage();
      return;
    }
  }
}

void XmlReader::SkipPast(std::string_view end) {
  const std::size_t found = text_.find(end, at_ + 2);
  if (found == std::string_view::npos) {
    Damage();
    at_ = text_.size();
    return;
  }
  at_ = found + end.size();
  inDamage_ = false;
}

bool XmlReader::Next() {
  while (!refused_) {
    const std::size_t open = text_.find('<', at_);
    const std::size_t stop = open == std::string_view::npos ? text_.size() : open;
    NoteText(at_, stop);
    at_ = stop;
    if (open == std::string_view::npos) {
      if (!open_.empty()) Damage();  // a torn tail left elements open
      open_.clear();
      return false;
    }
    const std::string_view rest = text_.substr(at_);
    if (rest.starts_with("<?")) {
      SkipPast("?>");
    } else if (rest.starts_with("<!--")) {
      SkipPast("-->");
    } else if (rest.starts_with("<![CDATA[")) {
      SkipPast("]]>");
    } else if (rest.starts_with("<!DOCTYPE")) {
      Refuse(
          "it declares a document type (<!DOCTYPE>), which can expand entities without end or "
          "read other files, and none of this program's files has one");
    } else if (rest.starts_with("<!")) {
      Damage();
      ++at_;
    } else if (rest.starts_with("</")) {
      ReadEndTag();
    } else if (ReadStartTag()) {
      return true;
    }
  }
  return false;
}

void XmlReader::ReadEndTag() {
  std::size_t at = at_ + 2;
  while (at < text_.size() && !EndsName(text_[at])) ++at;
  const std::string_view name = text_.substr(at_ + 2, at - at_ - 2);
  while (at < text_.size() && IsBlank(text_[at])) ++at;
  if (name.empty() || at >= text_.size() || text_[at] != '>') {
    Damage();
    at_ += 2;
    return;
  }
  at_ = at + 1;
  for (std::size_t i = open_.size(); i-- > 0;) {
    if (open_[i] != name) continue;
    if (i + 1 == open_.size())
      inDamage_ = false;
    else
      Damage();  // elements inside it were never closed
    open_.resize(i);
    return;
  }
  Damage();  // nothing of that name is open
}

bool XmlReader::ReadStartTag() {
  std::size_t at = at_ + 1;
  while (at < text_.size() && !EndsName(text_[at])) ++at;
  const std::string_view name = text_.substr(at_ + 1, at - at_ - 1);
  attributeCount_ = 0;
  bool empty = false, ok = !name.empty();
  while (ok) {
    const std::size_t before = at;
    while (at < text_.size() && IsBlank(text_[at])) ++at;
    if (at >= text_.size()) {
      ok = false;
    } else if (text_[at] == '>') {
      ++at;
      break;
    } else if (text_[at] == '/') {
      ok = at + 1 < text_.size() && text_[at + 1] == '>';
      at += 2;
      empty = true;
      break;
    } else if (at == before || attributeCount_ == kMaxAttributes) {
      ok = false;  // attributes are set apart by blanks
    } else {
      bool keep = true;
      ok = ReadAttribute(at, keep);
      if (ok && keep) ++attributeCount_;
    }
  }
  if (!ok) {
    Damage();
    at_ = std::min(std::max(at, at_ + 1), text_.size());
    return false;
  }
  at_ = at;
  depth_ = static_cast<int>(open_.size());
  isRoot_ = depth_ == 0 && !rootSeen_;
  if (depth_ == 0 && rootSeen_) Damage();  // a second top-level element
  rootSeen_ = rootSeen_ || depth_ == 0;
  name_ = name;
  inDamage_ = false;
  if (empty) return true;
  if (open_.size() >= static_cast<std::size_t>(kMaxXmlDepth)) {
    Refuse("its elements are nested deeper than this program's files ever are");
    return false;
  }
  open_.push_back(name);
  return true;
}

bool XmlReader::ReadAttribute(std::size_t& at, bool& keep) {
  const std::size_t start = at;
  while (at < text_.size() && !EndsName(text_[at])) ++at;
  if (at == start) return false;
  if (attributes_.size() <= static_cast<std::size_t>(attributeCount_)) attributes_.emplace_back();
  Attr& attribute = attributes_[attributeCount_];
  attribute.name = text_.substr(start, at - start);
  while (at < text_.size() && IsBlank(text_[at])) ++at;
  if (at >= text_.size() || text_[at] != '=') return false;
  ++at;
  while (at < text_.size() && IsBlank(text_[at])) ++at;
  if (at >= text_.size() || (text_[at] != '"' && text_[at] != '\'')) return false;
  const char quote = text_[at++];
  if (!ReadValue(at, quote, attribute.value, keep)) return false;
  if (!keep) Damage();
  return true;
}

bool XmlReader::ReadValue(std::size_t& at, char quote, std::string& value, bool& keep) {
  value.clear();
  const std::size_t size = text_.size();
  while (at < size) {
    std::size_t run = at;
    while (run < size) {
      const char c = text_[run];
      if (c == quote || c == '<' || c == '&' || c == '\t' || c == '\n' || c == '\r') break;
      ++run;
    }
    value.append(text_.data() + at, run - at);
    at = run;
    if (at >= size) return false;
    const char c = text_[at];
    if (c == quote) {
      ++at;
      return true;
    }
    if (c == '<') return false;
    if (c == '&') {
      // The longest reference known is "&#x10FFFF;": look no further.
      const std::size_t semicolon = text_.substr(at, 11).find(';');
      const std::size_t length = semicolon == std::string_view::npos ? 0 : semicolon - 1;
      const char32_t code = length > 0 ? ReferencedCharacter(text_.substr(at + 1, length)) : 0;
      if (code == 0) {
        keep = false;
        ++at;
        continue;
      }
      AppendUtf8(value, code);
      at += semicolon + 1;
      continue;
    }
    // Raw white space reads as a blank, a CR LF pair as one.
    value += ' ';
    if (c == '\r' && at + 1 < size && text_[at + 1] == '\n') ++at;
    ++at;
  }
  return false;
}

}  // namespace vantaro
