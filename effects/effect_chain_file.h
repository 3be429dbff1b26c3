#pragma once
// Effect chain files (.vfx) and the list of scanned plug-ins
// (fx_scanned.xml), in the program's one XML form: UTF-8 mark, declaration,
// maker comment, root with version="100", one element a line, floats with
// four decimals.
//
// Files are read through the program's hardened reader (base/xml_reader.h)
// and whole or not at all. Loading rules:
// - A missing file leaves the chain as it was (first start) and returns false
//   quietly.
// - A file that is refused (hostile or too large), damaged anywhere, or whose
//   root is not the expected element, is logged and skipped: the chain is
//   left as it was and false is returned. The caller should save such a
//   chain with a backup, so that the user's file survives as "<name>.bak"
//   (the mixer's set-up does, engine/mixer_setup.h).
// - An effect whose type this program cannot create is logged and kept as a
//   silent entry: the rest of the chain loads and plays, and the next save
//   writes the unknown entry back exactly as it was read.
//
// - A text (name, path, parameter text) that XML cannot hold exactly is
//   written with a `<attribute>_bytes` companion (base/xml_bytes.h).
//
// Threads: GUI thread only.

#include <string>
#include <string_view>
#include <vector>

namespace vantaro {

class CEffectChain;

bool LoadEffectChainFile(const std::string& path, CEffectChain& chain);
// Same, for the text of a chain file; `source` names it in log lines.
bool LoadEffectChainText(std::string_view text, const std::string& source, CEffectChain& chain);
bool SaveEffectChainFile(const std::string& path, const CEffectChain& chain,
                         bool keepBackup = false);
// The file's text for `chain`.
std::string FormatEffectChain(const CEffectChain& chain);

// One plug-in found by the scanner.
struct TScannedEffect {
  int type = 0;
  int subType = 0;
  std::string componentId;
  std::string filename;
  std::string name;
};

// Same rules as the chain files: a missing or broken file leaves `effects`
// as it was and returns false. As the list is written again at close from
// what was read, a file that exists but is not used is moved aside
// ("fx_scanned.xml.broken-YYYYMMDD-HHMMSS").
bool LoadScannedEffects(const std::string& path, std::vector<TScannedEffect>& effects);
bool LoadScannedEffectsText(std::string_view text, const std::string& source,
                            std::vector<TScannedEffect>& effects);
bool SaveScannedEffects(const std::string& path, const std::vector<TScannedEffect>& effects);
std::string FormatScannedEffects(const std::vector<TScannedEffect>& effects);

}  // namespace vantaro
