#pragma once
// Language strings: every word the program shows comes from three tables
// filled from language files: texts by text id, control labels and control
// hints (tooltips) by action id.
//
// A language file is XML with the root `languagestrings` (attributes
// `language`, `english`, `locale`, `targetversion`) and children `string`,
// `label` and `hint`, each with `action` and `value`. In a value the two
// characters backslash and n become a line break.
//
// The files lie in the "languages" folder beside the program. The chosen
// file (the setting langf1, else the one whose locale matches the user's,
// else English) is loaded over the English file, so that an entry a
// translation lacks still reads in English. With no usable file at all the
// English file built into the program is used.
//
// Threads: GUI thread (start-up and the preferences); the tables are read
// on the GUI thread only.

#include <functional>
#include <string>
#include <vector>

#include "control/control_action.h"
#include "control/text_ids.h"

namespace vantaro {

inline constexpr int kLanguageVersion = 250;
inline constexpr int kOldestLanguageVersion = 211;

class LanguageTables {
 public:
  // Empty for an id out of range or a row without value.
  const std::string& Text(int id) const;
  const std::string& Label(int actionId) const;
  const std::string& Hint(int actionId) const;
  void Clear();

  // Counts of rows holding a value.
  int TextCount() const;
  int LabelCount() const;
  int HintCount() const;

 private:
  friend class LanguageReader;
  std::string texts_[kTextTableRows];
  std::string labels_[kControlTableRows];
  std::string hints_[kControlTableRows];
};

// The program's tables, and a shorthand for its texts.
LanguageTables& TheLanguage();
const std::string& Text(int id);

// One usable file of the languages folder.
struct LanguageFile {
  std::string path;
  std::string language;  // shown in the list of languages
  std::string english;   // the language's name in English
  std::string locale;    // as "de_DE" or "de"
};

// Checks a file and reads its root's attributes into `info` (path set).
// Logs one "lang: ..." line and returns false when the file is not XML, has
// no root, another root, or a `targetversion` outside 211..250.
bool CheckLanguageFile(const std::string& path, LanguageFile* info);

// Writes the rows of a checked file (or of XML text) into `tables`, over
// what they hold: only known ids with a `value` are written. Returns false
// when the file cannot be parsed.
bool LoadLanguageFile(const std::string& path, LanguageTables& tables);
bool LoadLanguageText(const std::string& xml, LanguageTables& tables);

// Every usable "*.xml" file of `folder`, in name order (unusable ones are
// logged and left out). `onEach`, when given, sees each as it is added (the
// preferences fill their list with it).
std::vector<LanguageFile> ScanLanguages(
    const std::string& folder, const std::function<void(const LanguageFile&)>& onEach = {});

// The list of the last ScanLanguages of the program; the name of entry
// `index`, or "unknown" out of range.
std::vector<LanguageFile>& TheLanguageList();
std::string LanguageDisplayName(int index);

// The English file compiled into the program.
const std::string& BuiltInEnglish();

// What the start-up chose.
struct LanguageChoice {
  std::string path;      // empty when the built-in English is used
  std::string language;  // its `language` attribute
  bool builtIn = false;
};

// Picks the file: `langf1` when it checks; else the listed file whose
// locale matches `userLocale` (as "de_DE.UTF-8"; the whole name first, then
// the language part); else the English one; else the built-in English.
LanguageChoice ChooseLanguage(const std::vector<LanguageFile>& list, const std::string& langf1,
                              const std::string& userLocale);

// The user's message locale: LC_ALL, else LC_MESSAGES, else LANG.
std::string UserMessageLocale();

// Start-up: scans `folder`, chooses, and fills `tables` with English first
// and the chosen file over it. Logs one line with the choice. Never fails:
// at worst the built-in English fills the tables.
LanguageChoice LoadLanguage(const std::string& folder, const std::string& langf1,
                            const std::string& userLocale, LanguageTables& tables);

}  // namespace vantaro
