#include "skin/skin_file.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <utility>

#include "base/xml_reader.h"
#include "control/action_names.h"
#include "control/control_action.h"
#include "skin/skin_kinds.h"

namespace vantaro {
namespace {

// Line numbers of byte offsets met in increasing order.
class LineCounter {
 public:
  explicit LineCounter(const std::string& text) : text_(text) {}
  int LineAt(std::size_t offset) {
    if (offset < at_) at_ = 0, line_ = 1;
    for (; at_ < offset && at_ < text_.size(); ++at_)
      if (text_[at_] == '\n') ++line_;
    return line_;
  }

 private:
  const std::string& text_;
  std::size_t at_ = 0;
  int line_ = 1;
};

std::string Quoted(const std::string& text) {
  return "'" + text + "'";
}

// Width and height of a PNG or BMP from its header; false with `why` set
// when the file is neither or cannot be read.
bool PictureSize(const std::string& path, int* width, int* height, std::string* why) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  struct stat info;
  if (fd < 0 || fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    if (fd >= 0) ::close(fd);
    *why = "its picture " + path + " cannot be read";
    return false;
  }
  unsigned char head[26] = {};
  const ssize_t got = ::read(fd, head, sizeof head);
  ::close(fd);
  const auto big = [&](int at) {
    return static_cast<std::uint32_t>(head[at]) << 24 | head[at + 1] << 16 | head[at + 2] << 8 |
           head[at + 3];
  };
  const auto little = [&](int at) {
    return static_cast<std::int32_t>(head[at] | head[at + 1] << 8 | head[at + 2] << 16 |
                                     static_cast<std::uint32_t>(head[at + 3]) << 24);
  };
  static const unsigned char kPng[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  if (got >= 24 && std::equal(kPng, kPng + 8, head) && std::equal(head + 12, head + 16, "IHDR")) {
    const std::uint32_t w = big(16), h = big(20);
    *width = w > 1u << 30 ? 1 << 30 : static_cast<int>(w);
    *height = h > 1u << 30 ? 1 << 30 : static_cast<int>(h);
    return true;
  }
  if (got >= 26 && head[0] == 'B' && head[1] == 'M') {
    const std::int64_t w = little(18), h = little(22);  // a top-down picture has h < 0
    *width = static_cast<int>(std::min<std::int64_t>(std::llabs(w), 1 << 30));
    *height = static_cast<int>(std::min<std::int64_t>(std::llabs(h), 1 << 30));
    return true;
  }
  *why = "its picture " + path + " is not a PNG or BMP picture";
  return false;
}

bool OutOfRange(const SkinElement& element, const char* name, int low, SkinFault* fault) {
  const std::string* value = element.Find(name);
  if (!value) return false;
  const int v = std::atoi(value->c_str());
  if (v >= low && v <= kMaxSkinPixels) return false;
  fault->line = element.line;
  fault->reason = std::string(name) + "=\"" + *value + "\" of " + Quoted(element.tag) +
                  " is outside " + std::to_string(low) + ".." + std::to_string(kMaxSkinPixels);
  return true;
}

// Sizes and positions the window system could not take, anywhere below
// `element`.
bool CheckGeometry(const SkinElement& element, SkinFault* fault) {
  for (const char* size : {"width", "height", "size"})
    if (OutOfRange(element, size, 0, fault)) return false;
  for (const char* position : {"posx", "posy"})
    if (OutOfRange(element, position, -kMaxSkinPixels, fault)) return false;
  for (const SkinElement& child : element.children)
    if (!CheckGeometry(child, fault)) return false;
  return true;
}

// Notes the elements the loader will skip, with their lines.
class SkipFinder {
 public:
  SkipFinder(int targetversion, std::vector<std::string>* skipped)
      : targetversion_(targetversion), skipped_(skipped) {}

  void Walk(const std::vector<SkinElement>& elements) {
    for (const SkinElement& element : elements) Check(element);
  }

 private:
  void Note(const SkinElement& element, const std::string& what) {
    skipped_->push_back("line " + std::to_string(element.line) + ": " + what);
  }

  void Check(const SkinElement& element) {
    if (element.attributes.size() > static_cast<std::size_t>(kMaxSkinAttributes))
      Note(element, "attributes past " + std::to_string(kMaxSkinAttributes) + " dropped");
    std::string action;
    int deck = -1;
    ResolveElementAction(element, targetversion_, &action, &deck);
    const int id = FindControlAction(action.c_str());
    if (IsValidAction(id)) {
      const ControlAction& row = ControlActionRow(id);
      if (row.isGlobal ? deck != -1 : (deck != 0 && deck != 1))
        Note(element,
             Quoted(action) +
                 (row.isGlobal ? " belongs to no deck: deck " : " needs deck 0 or 1, not ") +
                 std::to_string(deck));
      else if (!builtIns_.emplace(id, deck).second)
        Note(element, Quoted(action) + " placed twice: the later attributes win");
      return;
    }
    if (action.empty()) {
      Note(element, Quoted(element.tag) + " without an action");
    } else if (action == kBigTabName) {
      return;
    } else if (action[0] != '_') {
      Note(element, "unknown action " + Quoted(action));
    } else {
      CheckSkinDefined(element, action);
    }
  }

  void CheckSkinDefined(const SkinElement& element, const std::string& name) {
    const int kind = ControlKindOfTag(element.tag.c_str());
    if (kind == kKindGroup) {
      Walk(element.children);
      return;
    }
    if (!SkinDefinedKindBuilt(kind))
      Note(element, Quoted(name) + ": no control of kind " + Quoted(element.tag));
    else if (!ownNames_.insert(name).second)
      Note(element, Quoted(name) + " named twice: the first tag decides the kind");
  }

  int targetversion_;
  std::vector<std::string>* skipped_;
  std::set<std::pair<int, int>> builtIns_;
  std::set<std::string> ownNames_;
};

bool Fail(SkinFault* fault, int line, std::string reason) {
  fault->line = line;
  fault->reason = std::move(reason);
  return false;
}

// Reads the element tree of `text` into `document`: the root's attributes
// and its `window` children with everything below them.
bool ParseTree(const std::string& text, const std::string& path, SkinDocument* document,
               SkinFault* fault) {
  XmlReader reader(text, path);
  LineCounter lines(text);
  std::vector<SkinElement*> open;  // open[d] is the element at depth d + 1 we keep
  bool rootSeen = false;
  int skipBelow = -1;  // depth of an ignored child of the root
  while (reader.Next()) {
    const int depth = reader.Depth();
    const int line = lines.LineAt(static_cast<std::size_t>(reader.Name().data() - text.data()));
    if (depth == 0) {
      if (rootSeen) continue;  // counted as damage by the reader
      rootSeen = true;
      if (reader.Name() != "skin")
        return Fail(fault, line,
                    "the root element is " + Quoted(std::string(reader.Name())) + ", not 'skin'");
      if (const std::string* v = reader.Attribute("skinname")) document->skinname = *v;
      const auto number = [&](const char* name, int absent) {
        const std::string* v = reader.Attribute(name);
        return v ? std::atoi(v->c_str()) : absent;
      };
      document->screenwidth = number("screenwidth", 0);
      document->screenheight = number("screenheight", 0);
      document->targetversion = number("targetversion", -1);
      if (const std::string* v = reader.Attribute("dontuselabelsontimepitch"))
        document->dontuselabelsontimepitch = SkinRootBool(*v);
      continue;
    }
    if (skipBelow >= 0 && depth > skipBelow) continue;
    skipBelow = -1;
    open.resize(depth - 1);
    SkinElement element;
    element.tag = std::string(reader.Name());
    element.line = line;
    for (int i = 0; i < reader.AttributeCount(); ++i)
      element.attributes.emplace_back(std::string(reader.AttributeName(i)),
                                      reader.AttributeValue(i));
    if (depth == 1) {
      if (element.tag != "window") {
        skipBelow = depth;
        continue;
      }
      document->windows.push_back(std::move(element));
      open.push_back(&document->windows.back());
    } else if (static_cast<int>(open.size()) == depth - 1 && !open.empty()) {
      open.back()->children.push_back(std::move(element));
      open.push_back(&open.back()->children.back());
    }
  }
  if (reader.Refused())
    return Fail(fault, 0,
                "refused: a document type declaration or nesting deeper than " +
                    std::to_string(kMaxXmlDepth));
  if (reader.Damaged() > 0)
    return Fail(fault, lines.LineAt(reader.FirstDamageOffset()), "the XML is not well formed");
  if (!rootSeen) return Fail(fault, 0, "no root element");
  return true;
}

}  // namespace

const std::string* SkinElement::Find(const std::string& name) const {
  for (const auto& [key, value] : attributes)
    if (key == name) return &value;
  return nullptr;
}

int SkinElement::Int(const std::string& name, int absent) const {
  const std::string* value = Find(name);
  return value ? std::atoi(value->c_str()) : absent;
}

bool SkinRootBool(const std::string& value) {
  for (const char* yes : {"OK", "YES", "Y", "TRUE"})
    if (strcasecmp(value.c_str(), yes) == 0) return true;
  return false;
}

void ResolveElementAction(const SkinElement& element, int targetversion, std::string* action,
                          int* deck) {
  const std::string* name = element.Find("action");
  const std::string given = name ? *name : std::string();
  if (targetversion < 2) {
    NormaliseActionName(given, action, deck);
    return;
  }
  *action = given;
  *deck = element.Int("deck");
}

std::string SkinPicturePath(const std::string& xmlPath) {
  if (xmlPath.size() < 3) return {};
  const std::string stem = xmlPath.substr(0, xmlPath.size() - 3);
  for (const char* extension : {"bmp", "png"}) {
    struct stat info;
    if (::stat((stem + extension).c_str(), &info) == 0) return stem + extension;
  }
  return {};
}

bool ReadSkinText(const std::string& text, const std::string& path, SkinDocument* document,
                  SkinFault* fault) {
  *document = SkinDocument{};
  document->path = path;
  if (!ParseTree(text, path, document, fault)) return false;
  if (document->screenwidth < 10) document->screenwidth = 800;
  if (document->screenheight < 10) document->screenheight = 600;
  document->picturePath = SkinPicturePath(path);
  if (document->picturePath.empty())
    return Fail(fault, 0, "no picture beside it (.bmp or .png of the same name)");
  std::string why;
  if (!PictureSize(document->picturePath, &document->pictureWidth, &document->pictureHeight, &why))
    return Fail(fault, 0, why);
  if (document->pictureWidth < 1 || document->pictureHeight < 1 ||
      document->pictureWidth > kMaxSkinPixels || document->pictureHeight > kMaxSkinPixels)
    return Fail(fault, 0,
                "its picture is " + std::to_string(document->pictureWidth) + "x" +
                    std::to_string(document->pictureHeight) + ", outside 1.." +
                    std::to_string(kMaxSkinPixels));
  for (const SkinElement& window : document->windows)
    if (!CheckGeometry(window, fault)) return false;
  SkipFinder finder(document->targetversion, &document->skipped);
  for (const SkinElement& window : document->windows) finder.Walk(window.children);
  return true;
}

bool ReadSkinFile(const std::string& path, SkinDocument* document, SkinFault* fault) {
  std::string text;
  switch (ReadXmlFile(path, XmlFileKind::kSkin, text)) {
    case XmlFileStatus::kRead:
      return ReadSkinText(text, path, document, fault);
    case XmlFileStatus::kMissing:
      return Fail(fault, 0, "no such file");
    case XmlFileStatus::kUnreadable:
      return Fail(fault, 0, "the file cannot be read");
    case XmlFileStatus::kRefused:
      return Fail(fault, 0, "the file is too large or not a plain file");
  }
  return false;
}

}  // namespace vantaro
