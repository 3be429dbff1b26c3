#include "control/language.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "base/debug_log.h"
#include "base/xml_reader.h"

namespace vantaro {

// Walks a file's text into the tables (the only writer of their rows).
class LanguageReader {
 public:
  static void Read(const std::string& text, const std::string& source, LanguageTables& tables);
};

namespace {

const std::string kEmpty;

// A language file read whole and walked once: its root's name and
// attributes, and whether anything in it was damaged or refused.
struct LanguageDocument {
  bool wellFormed = false;
  bool hasRoot = false;
  std::string rootName;
  std::string language, english, locale, targetVersion;
};

std::string AttributeOr(const XmlReader& reader, const char* name) {
  const std::string* value = reader.Attribute(name);
  return value ? *value : std::string();
}

LanguageDocument Inspect(const std::string& text, const std::string& source) {
  LanguageDocument doc;
  XmlReader reader(text, source);
  if (reader.Next() && reader.IsRoot()) {
    doc.hasRoot = true;
    doc.rootName = std::string(reader.Name());
    doc.language = AttributeOr(reader, "language");
    doc.english = AttributeOr(reader, "english");
    doc.locale = AttributeOr(reader, "locale");
    doc.targetVersion = AttributeOr(reader, "targetversion");
  }
  while (reader.Next()) {
  }
  // A language file is small and hand-made: any damage means it is not the
  // file its author meant, so it is refused whole.
  doc.wellFormed = !reader.Refused() && reader.Damaged() == 0;
  return doc;
}

bool ReadText(const std::string& path, std::string& text) {
  return ReadXmlFile(path, XmlFileKind::kLanguage, text) == XmlFileStatus::kRead;
}

// Backslash and n make a line break.
std::string WithLineBreaks(std::string text) {
  for (std::size_t at = text.find("\\n"); at != std::string::npos; at = text.find("\\n", at + 1))
    text.replace(at, 2, "\n");
  return text;
}

int CountFilled(const std::string* rows, int count) {
  return static_cast<int>(
      std::count_if(rows, rows + count, [](const std::string& row) { return !row.empty(); }));
}

bool CheckDocument(const LanguageDocument& doc, LanguageFile* info) {
  if (!doc.wellFormed) {
    DebugLog("lang: xml is bad formed");
    return false;
  }
  if (!doc.hasRoot) {
    DebugLog("lang: xml root element does not exist");
    return false;
  }
  if (doc.rootName != "languagestrings") {
    DebugLog("lang: xml root element is not languagestrings");
    return false;
  }
  const int version = std::atoi(doc.targetVersion.c_str());
  if (version < kOldestLanguageVersion || version > kLanguageVersion) {
    DebugLog(
        "lang: xml targetversion is not correct - _VT_VERSION_=%d, "
        "_VT_OLDEST_COMPATIBLE_VERSION__LANGUAGE_=%d",
        kLanguageVersion, kOldestLanguageVersion);
    return false;
  }
  info->language = doc.language;
  info->english = doc.english;
  info->locale = doc.locale;
  return true;
}

// "de_DE.UTF-8@euro" -> "de_DE".
std::string BareLocale(const std::string& locale) {
  return locale.substr(0, locale.find_first_of(".@"));
}

std::string LanguagePart(const std::string& locale) {
  return locale.substr(0, locale.find('_'));
}

bool SameText(const std::string& a, const std::string& b) {
  return !a.empty() && strcasecmp(a.c_str(), b.c_str()) == 0;
}

const LanguageFile* FindByLocale(const std::vector<LanguageFile>& list, const std::string& user) {
  const std::string bare = BareLocale(user);
  if (bare.empty() || bare == "C" || bare == "POSIX") return nullptr;
  for (const LanguageFile& file : list)
    if (SameText(BareLocale(file.locale), bare)) return &file;
  for (const LanguageFile& file : list)
    if (SameText(LanguagePart(BareLocale(file.locale)), LanguagePart(bare))) return &file;
  return nullptr;
}

const LanguageFile* FindEnglish(const std::vector<LanguageFile>& list) {
  for (const LanguageFile& file : list)
    if (SameText(file.english, "English")) return &file;
  return nullptr;
}

}  // namespace

void LanguageReader::Read(const std::string& text, const std::string& source,
                          LanguageTables& tables) {
  XmlReader reader(text, source);
  while (reader.Next()) {
    if (reader.Depth() != 1) continue;
    const std::string* value = reader.Attribute("value");
    if (!value) continue;
    const std::string action = AttributeOr(reader, "action");
    const std::string_view name = reader.Name();
    if (name == "string") {
      const int id = FindTextId(action.c_str());
      if (id > 0) tables.texts_[id] = WithLineBreaks(*value);
    } else if (name == "label" || name == "hint") {
      const int id = FindControlAction(action.c_str());
      if (id <= 0) continue;
      (name == "label" ? tables.labels_ : tables.hints_)[id] = WithLineBreaks(*value);
    }
  }
}

const std::string& LanguageTables::Text(int id) const {
  return id > 0 && id < kTextTableRows ? texts_[id] : kEmpty;
}

const std::string& LanguageTables::Label(int actionId) const {
  return actionId > 0 && actionId < kControlTableRows ? labels_[actionId] : kEmpty;
}

const std::string& LanguageTables::Hint(int actionId) const {
  return actionId > 0 && actionId < kControlTableRows ? hints_[actionId] : kEmpty;
}

void LanguageTables::Clear() {
  for (auto& row : texts_) row.clear();
  for (auto& row : labels_) row.clear();
  for (auto& row : hints_) row.clear();
}

int LanguageTables::TextCount() const {
  return CountFilled(texts_, kTextTableRows);
}
int LanguageTables::LabelCount() const {
  return CountFilled(labels_, kControlTableRows);
}
int LanguageTables::HintCount() const {
  return CountFilled(hints_, kControlTableRows);
}

LanguageTables& TheLanguage() {
  static LanguageTables tables;
  return tables;
}

const std::string& Text(int id) {
  return TheLanguage().Text(id);
}

bool CheckLanguageFile(const std::string& path, LanguageFile* info) {
  info->path = path;
  std::string text;
  if (!ReadText(path, text)) {
    DebugLog("lang: xml is bad formed");
    return false;
  }
  return CheckDocument(Inspect(text, path), info);
}

bool LoadLanguageFile(const std::string& path, LanguageTables& tables) {
  std::string text;
  if (!ReadText(path, text) || !Inspect(text, path).hasRoot) return false;
  LanguageReader::Read(text, path, tables);
  return true;
}

bool LoadLanguageText(const std::string& xml, LanguageTables& tables) {
  if (!Inspect(xml, "english.xml").hasRoot) return false;
  LanguageReader::Read(xml, "english.xml", tables);
  return true;
}

std::vector<LanguageFile> ScanLanguages(const std::string& folder,
                                        const std::function<void(const LanguageFile&)>& onEach) {
  namespace fs = std::filesystem;
  std::vector<std::string> paths;
  std::error_code error;
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
    if (it->path().extension() == ".xml" && it->is_regular_file(error))
      paths.push_back(it->path().string());
  std::sort(paths.begin(), paths.end());
  std::vector<LanguageFile> list;
  for (const std::string& path : paths) {
    LanguageFile file;
    if (!CheckLanguageFile(path, &file)) continue;
    list.push_back(file);
    if (onEach) onEach(file);
  }
  return list;
}

std::vector<LanguageFile>& TheLanguageList() {
  static std::vector<LanguageFile> list;
  return list;
}

std::string LanguageDisplayName(int index) {
  const auto& list = TheLanguageList();
  if (index < 0 || index >= static_cast<int>(list.size())) return "unknown";
  return list[index].language;
}

LanguageChoice ChooseLanguage(const std::vector<LanguageFile>& list, const std::string& langf1,
                              const std::string& userLocale) {
  LanguageFile chosen;
  if (!langf1.empty() && CheckLanguageFile(langf1, &chosen))
    return {chosen.path, chosen.language, false};
  const LanguageFile* file = FindByLocale(list, userLocale);
  if (!file) file = FindEnglish(list);
  if (file) return {file->path, file->language, false};
  return {"", "English", true};
}

std::string UserMessageLocale() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"})
    if (const char* value = std::getenv(name); value && *value) return value;
  return "";
}

LanguageChoice LoadLanguage(const std::string& folder, const std::string& langf1,
                            const std::string& userLocale, LanguageTables& tables) {
  std::vector<LanguageFile>& list = TheLanguageList();
  list = ScanLanguages(folder);
  const LanguageChoice choice = ChooseLanguage(list, langf1, userLocale);
  tables.Clear();
  // English under everything: a row the chosen file lacks still reads.
  const LanguageFile* english = FindEnglish(list);
  if (!english || !LoadLanguageFile(english->path, tables))
    LoadLanguageText(BuiltInEnglish(), tables);
  if (choice.builtIn) {
    DebugLog("lang: no usable language file in %s; the built-in English texts are used",
             folder.c_str());
  } else if (!english || choice.path != english->path) {
    LoadLanguageFile(choice.path, tables);
  }
  DebugLog("lang: %s from %s: %d texts, %d labels, %d hints", choice.language.c_str(),
           choice.builtIn ? "the program" : choice.path.c_str(), tables.TextCount(),
           tables.LabelCount(), tables.HintCount());
  return choice;
}

}  // namespace vantaro
