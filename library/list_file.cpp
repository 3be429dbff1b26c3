#include "library/list_file.h"

#include <cctype>
#include <charconv>
#include <cstring>

#include "base/data_file.h"
#include "base/debug_log.h"
#include "base/xml_reader.h"
#include "base/xml_text.h"
#include "library/tag_reader.h"

namespace vantaro {
namespace {

// M3U lines longer than this are refused rather than cut into a wrong path.
constexpr std::size_t kMaxM3uLine = 4096;

std::int32_t ParseInt(const std::string* text, std::int32_t missing) {
  if (!text) return missing;
  const char* begin = text->c_str();
  while (*begin == ' ') ++begin;
  if (*begin == '+') ++begin;
  std::int32_t value = 0;
  const auto result = std::from_chars(begin, text->c_str() + text->size(), value);
  return result.ec == std::errc() ? value : 0;
}

void AppendInt(std::string& out, std::string_view name, std::int64_t value) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  out.append(name).append("=\"").append(digits, end).append("\" ");
}

void ReadHeader(const XmlReader& reader, ListFileHeader& header) {
  if (reader.Attribute("name")) header.name = reader.Text("name");
  if (reader.Attribute("imgfile")) header.imgfile = reader.Text("imgfile");
  header.overrideduration = ParseInt(reader.Attribute("overrideduration"), -1);
  if (header.overrideduration < 0) header.overrideduration = 3600;
  header.shuffleonload = ParseInt(reader.Attribute("shuffleonload"), 0);
}

// Cuts `text` to the longest a cell holds; true when it was longer.
bool CutCell(std::string& text) {
  const std::size_t before = text.size();
  CutToCharacters(text, kMaxCellCharacters);
  return text.size() != before;
}

TZKListElement ReadRow(const XmlReader& reader, int& cut) {
  TZKListElement row;
  for (int c = 0; c < kListColumns; ++c) {
    row.column[c] = reader.Text(kColumnKeys[c]);
    cut += CutCell(row.column[c]);
  }
  row.gnr1 = ParseInt(reader.Attribute("gnr1"), -1);
  row.gnr2 = ParseInt(reader.Attribute("gnr2"), -1);
  row.gnr3 = ParseInt(reader.Attribute("gnr3"), -1);
  if (row.gnr1 < 0) row.gnr1 = GenreCodeOfText(row.column[kColGenre]);
  row.duration_ms = ParseInt(reader.Attribute("duration_ms"), 0);
  row.highlight = ParseInt(reader.Attribute("highlight"), -1);
  row.mediatype = ParseInt(reader.Attribute("mediatype"), 0);
  const std::string* isnew = reader.Attribute("isnew");
  const std::string* explicitMark = reader.Attribute("explicit");
  row.isnew = isnew && ListBoolean(*isnew);
  row.explicit_ = explicitMark && ListBoolean(*explicitMark);
  row.auxstr = reader.Text("auxstr");
  cut += CutCell(row.auxstr);
  return row;
}

bool IsUtf8(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const unsigned char lead = static_cast<unsigned char>(text[i]);
    const int length = lead < 0x80         ? 1
                       : (lead >> 5) == 6  ? 2
                       : (lead >> 4) == 14 ? 3
                       : (lead >> 3) == 30 ? 4
                                           : 0;
    if (length == 0 || i + length > text.size()) return false;
    for (int k = 1; k < length; ++k)
      if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
    i += length;
  }
  return true;
}

std::string Latin1ToUtf8(std::string_view text) {
  std::string out;
  for (const char c : text) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      out += c;
    } else {
      out += static_cast<char>(0xC0 | (byte >> 6));
      out += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return out;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// "file:///a%20b" and "file://localhost/a%20b" -> "/a b"; empty when the
// URI names another host.
std::string PathOfFileUri(std::string_view uri) {
  uri.remove_prefix(7);
  if (uri.substr(0, 9) == "localhost") uri.remove_prefix(9);
  if (uri.empty() || uri.front() != '/') return {};
  std::string path;
  for (std::size_t i = 0; i < uri.size(); ++i) {
    if (uri[i] == '%' && i + 2 < uri.size() && HexValue(uri[i + 1]) >= 0 &&
        HexValue(uri[i + 2]) >= 0) {
      path += static_cast<char>(HexValue(uri[i + 1]) * 16 + HexValue(uri[i + 2]));
      i += 2;
    } else {
      path += uri[i];
    }
  }
  return path;
}

bool IsOtherUrl(std::string_view line) {
  const std::size_t colon = line.find("://");
  if (colon == std::string_view::npos || colon == 0) return false;
  for (std::size_t i = 0; i < colon; ++i)
    if (!std::isalnum(static_cast<unsigned char>(line[i])) && line[i] != '+' && line[i] != '-' &&
        line[i] != '.')
      return false;
  return true;
}

// "#EXTINF:213,Artist - Title" gives artist and title; without " - " the
// whole text is the title.
void ReadExtinf(std::string_view line, M3uEntry& pending) {
  const std::size_t comma = line.find(',');
  pending.title.clear();
  pending.artist.clear();
  if (comma == std::string_view::npos) return;
  const std::string_view text = line.substr(comma + 1);
  const std::size_t dash = text.find(" - ");
  if (dash == std::string_view::npos) {
    pending.title = text;
  } else {
    pending.artist = text.substr(0, dash);
    pending.title = text.substr(dash + 3);
  }
}

}  // namespace

const char* ListFileStatusText(ListFileStatus status) {
  switch (status) {
    case ListFileStatus::kLoaded:
      return "read";
    case ListFileStatus::kMissing:
      return "file not found";
    case ListFileStatus::kUnreadable:
      return "cannot be opened";
    case ListFileStatus::kNotParsed:
      return "XML not parsed successfully";
    case ListFileStatus::kWrongRoot:
      return "XML root node is foreign";
    case ListFileStatus::kRefused:
      return "refused";
  }
  return "?";
}

bool ListBoolean(std::string_view value) {
  std::string upper(value);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper == "OK" || upper == "YES" || upper == "Y" || upper == "TRUE";
}

void CutToCharacters(std::string& text, std::size_t characters) {
  if (text.size() <= characters) return;
  std::size_t seen = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) continue;  // continuation byte
    if (seen++ == characters) {
      text.resize(i);
      return;
    }
  }
}

ListFileContents ReadListText(std::string_view text, const std::string& source,
                              const ListRowSink& onRow) {
  ListFileContents file;
  XmlReader reader(text, source);
  int cut = 0;
  std::size_t handed = 0;
  std::string countText;
  while (reader.Next()) {
    if (reader.IsRoot()) {
      if (reader.Name() != "list") {
        file.status = ListFileStatus::kWrongRoot;
        file.rows.clear();
        return file;
      }
      file.status = ListFileStatus::kLoaded;
      ReadHeader(reader, file.header);
      if (const std::string* said = reader.Attribute("count")) countText = said->substr(0, 24);
    } else if (reader.Name() == "song" && file.status == ListFileStatus::kLoaded) {
      if (onRow) {
        onRow(ReadRow(reader, cut));
        ++handed;
      } else {
        file.rows.push_back(ReadRow(reader, cut));
      }
    }
  }
  if (cut > 0)
    DebugLog("%s: %d texts longer than %zu characters cut", source.c_str(), cut,
             kMaxCellCharacters);
  // `count` is only ever informative: a file that lies about it is read as
  // it is, and said so.
  const std::size_t read = handed + file.rows.size();
  if (!countText.empty() && countText != std::to_string(read))
    DebugLog("%s: count says %s, %zu rows read", source.c_str(), countText.c_str(), read);
  if (reader.Refused()) {
    file.status = ListFileStatus::kRefused;
    file.rows.clear();
  }
  file.damaged = reader.Damaged();
  return file;
}

ListFileContents ReadListFile(const std::string& path, const ListRowSink& onRow) {
  std::string text;
  ListFileContents file;
  switch (ReadXmlFile(path, XmlFileKind::kSongDatabase, text)) {
    case XmlFileStatus::kRead:
      return ReadListText(text, path, onRow);
    case XmlFileStatus::kMissing:
      file.status = ListFileStatus::kMissing;
      break;
    case XmlFileStatus::kUnreadable:
      file.status = ListFileStatus::kUnreadable;
      break;
    case XmlFileStatus::kRefused:
      file.status = ListFileStatus::kRefused;
      break;
  }
  return file;
}

std::string FormatListFile(const ListFileHeader& header, const std::vector<TZKListElement*>& rows,
                           bool withAux) {
  std::string out;
  out.reserve(256 + rows.size() * 300);
  out.append(kUtf8Mark).append(kXmlDeclaration).append("\n");
  out.append(kMakerComment).append("\n");
  out.append("<list version=\"100\" ");
  AppendXmlTextAttribute(out, "name", header.name);
  out += ' ';
  AppendXmlTextAttribute(out, "imgfile", header.imgfile);
  out += ' ';
  AppendInt(out, "overrideduration", header.overrideduration);
  AppendInt(out, "shuffleonload", header.shuffleonload);
  char count[24];
  out.append("count=\"").append(count, std::to_chars(count, count + 24, rows.size()).ptr);
  out.append("\">\n");
  std::int64_t number = 0;
  for (TZKListElement* row : rows) {
    out.append("<song ");
    AppendInt(out, "numb", ++number);
    for (int c = 1; c < kListColumns; ++c) {
      CutToCharacters(row->column[c], kMaxCellCharacters);
      AppendXmlTextAttribute(out, kColumnKeys[c], row->column[c]);
      out += ' ';
    }
    if (row->gnr1 < 0) row->gnr1 = GenreCodeOfText(row->column[kColGenre]);
    AppendInt(out, "gnr1", row->gnr1);
    AppendInt(out, "gnr2", row->gnr2);
    AppendInt(out, "gnr3", row->gnr3);
    AppendInt(out, "duration_ms", row->duration_ms);
    if (row->highlight > -1) AppendInt(out, "highlight", row->highlight);
    if (row->mediatype > -1) AppendInt(out, "mediatype", row->mediatype);
    if (withAux) {
      CutToCharacters(row->auxstr, kMaxCellCharacters);
      AppendXmlTextAttribute(out, "auxstr", row->auxstr);
      out += ' ';
    }
    out.append("isnew=\"").append(row->isnew ? "YES" : "NO").append("\" ");
    out.append("explicit=\"").append(row->explicit_ ? "YES" : "NO").append("\" ");
    out.append("/>\n");
  }
  out.append("</list>\n");
  return out;
}

// A close writes every list: one that did not change costs a read, not a
// flush to disk (and its .bak stays the version before the last change).
bool WriteFileIfChanged(const std::string& path, const std::string& text, std::string* error) {
  std::string old;
  if (ReadXmlFile(path, XmlFileKind::kSongDatabase, old) == XmlFileStatus::kRead && old == text)
    return true;
  return WriteFileAtomically(path, text, true, error);
}

bool IsM3uPath(std::string_view path) {
  const std::string extension = LowerExtension(path);
  return extension == "m3u" || extension == "m3u8";
}

std::vector<M3uEntry> ParseM3u(std::string_view text, const std::string& folder,
                               const std::string& source) {
  std::vector<M3uEntry> entries;
  if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
  M3uEntry pending;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view raw = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    std::string line;
    for (const char c : raw)
      if (c != '\r') line += c;
    if (line.size() > kMaxM3uLine) {
      DebugLog("%s: a line of %zu bytes skipped (longest read: %zu)", source.c_str(), line.size(),
               kMaxM3uLine);
      continue;
    }
    if (!IsUtf8(line)) line = Latin1ToUtf8(line);
    if (line.rfind("#EXTINF", 0) == 0) ReadExtinf(line, pending);
    if (line.size() < 2 || line[0] == '#') continue;
    M3uEntry entry = std::move(pending);
    pending = {};
    if (line.rfind("file://", 0) == 0) {
      entry.path = PathOfFileUri(line);
      if (entry.path.empty()) {
        DebugLog("%s: skipped %s (not a local file)", source.c_str(), line.c_str());
        continue;
      }
    } else if (IsOtherUrl(line)) {
      DebugLog("%s: skipped %s (a URL, not a file)", source.c_str(), line.c_str());
      continue;
    } else {
      entry.path = line[0] == '/' ? line : folder + "/" + line;
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace vantaro
