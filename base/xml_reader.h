#pragma once
// The one reader of the program's XML files: config.xml, db.vtx, the effect
// chains, the plug-in list, the language files (and the list, shortcut and
// skin files to come).
//
// Those files are the program's own form (base/xml_text.h): elements with
// attributes, one a line, no text that matters. XmlReader reads that form
// and trusts nothing else:
// - it knows the five predefined entities and character references, no
//   other entity; a document type declaration (<!DOCTYPE ...>) refuses the
//   whole file, so nothing is ever expanded and nothing outside the file is
//   ever opened;
// - ReadXmlFile refuses a file larger than its kind may be before reading
//   it, and anything that is not a plain file (a FIFO would block);
// - elements nested deeper than kMaxXmlDepth refuse the file.
// Each refusal logs one line, "<file> refused: <why>".
//
// It forgives what a torn or hand-edited file holds, and counts it: a tag
// that cannot be read is skipped up to the next "<"; an attribute whose
// value holds an unknown entity is left out of its element; stray text
// outside the document element, stray end tags and elements left open at
// the end are passed over. Damaged() counts the damaged places (a run of
// damage with nothing readable in between is one place). Bytes that are not
// UTF-8 are kept as they are, so files of older versions that held raw file
// name bytes read back exactly (see base/xml_bytes.h).
//
// Threads: any but the audio thread; a reader belongs to one thread.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vantaro {

enum class XmlFileKind { kSettings, kSongDatabase, kEffectChain, kPluginList, kLanguage, kSkin };

// Largest file of each kind, in bytes: far above any real file (a song
// database of a million and a half tracks fits), far below what would stall
// start-up for long.
std::size_t XmlFileLimit(XmlFileKind kind);

inline constexpr int kMaxXmlDepth = 64;

enum class XmlFileStatus {
  kRead,        // `text` holds the file
  kMissing,     // no such file (not logged)
  kUnreadable,  // exists but cannot be read (logged)
  kRefused,     // not a plain file, or too large (logged)
};

// Reads the file at `path` (following links) into `text`.
XmlFileStatus ReadXmlFile(const std::string& path, XmlFileKind kind, std::string& text);

class XmlReader {
 public:
  // `text` must outlive the reader; `source` names it in log lines.
  XmlReader(std::string_view text, std::string source);

  // Moves to the next start tag, at any depth. False at the end of the text
  // or when the file was refused.
  bool Next();

  std::string_view Name() const { return name_; }
  // 0 for a top-level element, 1 for its children, ...
  int Depth() const { return depth_; }
  // True for the first top-level element: the document element.
  bool IsRoot() const { return isRoot_; }
  int AttributeCount() const { return attributeCount_; }
  std::string_view AttributeName(int i) const { return attributes_[i].name; }
  // Decoded: references replaced, raw tab, LF and CR turned into blanks.
  const std::string& AttributeValue(int i) const { return attributes_[i].value; }
  // The first attribute of that name; null when absent.
  const std::string* Attribute(std::string_view name) const;
  // The exact text of an attribute with its `_bytes` companion
  // (XmlTextFromAttributes); empty when absent.
  std::string Text(std::string_view name) const;

  int Damaged() const { return damaged_; }
  // Byte offset in the text where the first damage was met; 0 without any.
  std::size_t FirstDamageOffset() const { return firstDamageAt_; }
  bool Refused() const { return refused_; }

 private:
  struct Attr {
    std::string_view name;
    std::string value;
  };
  bool ReadStartTag();
  void ReadEndTag();
  bool ReadAttribute(std::size_t& at, bool& keep);
  bool ReadValue(std::size_t& at, char quote, std::string& value, bool& keep);
  void SkipPast(std::string_view end);
  void NoteText(std::size_t from, std::size_t to);
  void Damage();
  void Refuse(const char* why);

  std::string_view text_;
  std::string source_;
  std::size_t at_ = 0;
  std::vector<std::string_view> open_;  // names of the elements open at at_
  std::string_view name_;
  int depth_ = 0;
  bool isRoot_ = false;
  bool rootSeen_ = false;
  std::vector<Attr> attributes_;  // reused from element to element
  int attributeCount_ = 0;
  int damaged_ = 0;
  std::size_t firstDamageAt_ = 0;
  bool inDamage_ = false;  // the last thing met was damage
  bool refused_ = false;
};

}  // namespace vantaro
