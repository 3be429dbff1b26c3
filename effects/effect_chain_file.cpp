#include "effects/effect_chain_file.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/debug_log.h"
#include "base/xml_reader.h"
#include "base/xml_text.h"
#include "effects/builtin_effect.h"
#include "effects/effect.h"
#include "effects/effect_chain.h"
#include "effects/effect_registry.h"

namespace vantaro {
namespace {

int IntAttribute(const XmlReader& reader, const char* name, int fallback = 0) {
  const std::string* text = reader.Attribute(name);
  if (!text || text->empty()) return fallback;
  char* end = nullptr;
  const long value = std::strtol(text->c_str(), &end, 10);
  return end == text->c_str() ? fallback : static_cast<int>(value);
}

float FloatAttribute(const XmlReader& reader, const char* name) {
  // from_chars ignores the process locale: the files always use ".".
  const std::string* text = reader.Attribute(name);
  float value = 0.0f;
  if (text) std::from_chars(text->data(), text->data() + text->size(), value);
  return value;
}

bool YesAttribute(const XmlReader& reader, const char* name) {
  const std::string* text = reader.Attribute(name);
  return text && *text == "yes";
}

// Calls `onElement` for every element below the document element, which
// must be `rootName`. These files are read whole or not at all: false, with
// a log line, when the text is refused, damaged anywhere or foreign.
template <typename OnElement>
bool ReadElements(std::string_view text, const std::string& source, std::string_view rootName,
                  OnElement onElement) {
  XmlReader reader(text, source);
  bool rootSeen = false;
  while (reader.Next()) {
    if (!reader.IsRoot()) {
      onElement(reader);
    } else if (reader.Name() == rootName) {
      rootSeen = true;
    } else {
      DebugLog("%s: root element is not <%.*s>, skipped", source.c_str(),
               static_cast<int>(rootName.size()), rootName.data());
      return false;
    }
  }
  if (reader.Refused()) return false;
  if (!rootSeen || reader.Damaged() > 0) {
    DebugLog("%s: not well-formed XML, skipped", source.c_str());
    return false;
  }
  return true;
}

std::string Header() {
  std::string text(kUtf8Mark);
  text += kXmlDeclaration;
  text += "\n";
  text += kMakerComment;
  text += "\n";
  return text;
}

std::string Quoted(const char* name, const std::string& value) {
  std::string text(" ");
  AppendXmlTextAttribute(text, name, value);
  return text;
}

std::string Quoted(const char* name, long value) {
  return std::string(" ") + name + "=\"" + std::to_string(value) + "\"";
}

std::shared_ptr<TEffectChainEntry> ReadEntry(const XmlReader& reader) {
  auto entry = std::make_shared<TEffectChainEntry>();
  entry->type = IntAttribute(reader, "type", -1);
  entry->componentId = reader.Text("componentid");
  entry->name = reader.Text("name");
  entry->filename = reader.Text("filename");
  entry->enabled.store(YesAttribute(reader, "enabled"));
  entry->dryWet = FloatAttribute(reader, "drywetmix");
  entry->editorVisible = YesAttribute(reader, "editorvisible");
  entry->x = IntAttribute(reader, "x");
  entry->y = IntAttribute(reader, "y");
  return entry;
}

TEffectParamRecord ReadParam(const XmlReader& reader) {
  return {IntAttribute(reader, "id"), IntAttribute(reader, "val"), reader.Text("name"),
          reader.Text("value"), reader.Text("unit")};
}

// Parameters of a file that the effect cannot take: counted, and named once
// per file.
struct SkippedParams {
  int count = 0;
  std::string first;
};

// True when `effect` takes `param` as it stands: a parameter id it
// describes, and for a built-in effect's preset (id 0) one it has. Other
// values out of range are held to the range by SetParam.
bool TakesParam(CEffect& effect, const TEffectParamRecord& param) {
  bool described = effect.GetParamCount() == 0;  // an effect that lists none takes any
  for (int i = 0; i < effect.GetParamCount() && !described; ++i)
    described = effect.GetParamId(i) == param.id;
  if (!described) return false;
  int low, high;
  const bool isPreset = param.id == 0 && dynamic_cast<CBuiltinEffect*>(&effect) != nullptr;
  return !isPreset || !effect.GetParamRange(0, &low, &high) ||
         (param.val >= low && param.val <= high);
}

// Creates the effect an entry read from `source` names, with its values.
void CreateEntryEffect(const std::string& source, TEffectChainEntry& entry,
                       SkippedParams& skipped) {
  std::unique_ptr<CEffect> effect = CreateEffectOfType(entry.type);
  if (!effect) {
    DebugLog("%s: effect \"%s\" has unknown type %d, kept silent", source.c_str(),
             entry.name.c_str(), entry.type);
    return;
  }
  effect->SetDryWet(entry.dryWet);
  effect->SetEditorPosition(entry.x, entry.y);
  for (const TEffectParamRecord& param : entry.params) {
    if (TakesParam(*effect, param)) {
      effect->SetParam(param.id, param.val);
    } else if (skipped.count++ == 0) {
      skipped.first = "effect \"" + entry.name + "\" parameter " + std::to_string(param.id) +
                      " value " + std::to_string(param.val);
    }
  }
  entry.effect = std::move(effect);
}

void WriteEntry(std::string& text, int id, const TEffectChainEntry& entry) {
  CEffect* effect = entry.effect.get();
  int x = entry.x, y = entry.y;
  if (effect) effect->GetEditorPosition(&x, &y);
  const bool visible = effect ? effect->IsEditorVisible() != 0 : entry.editorVisible;
  const float dryWet = effect ? effect->GetDryWet() : entry.dryWet;
  text += "  <effect";
  text += Quoted("id", id);
  text += Quoted("enabled", entry.enabled.load() ? "yes" : "no");
  text += Quoted("drywetmix", FormatFloat4(dryWet));
  text += Quoted("editorvisible", visible ? "yes" : "no");
  text += Quoted("x", x);
  text += Quoted("y", y);
  text += Quoted("type", entry.type);
  text += Quoted("componentid", entry.componentId);
  text += Quoted("name", entry.name);
  text += Quoted("filename", entry.filename);
  text += ">\n";
  std::vector<TEffectParamRecord> params;
  if (effect) {
    for (int i = 0; i < effect->GetParamCount(); ++i) {
      const int pid = effect->GetParamId(i);
      params.push_back({pid, effect->GetParam(pid), effect->GetParamName(pid),
                        effect->GetParamText(pid), effect->GetParamUnit(pid)});
    }
  } else {
    params = entry.params;
  }
  for (const TEffectParamRecord& p : params) {
    text += "    <param";
    text += Quoted("id", p.id);
    text += Quoted("val", p.val);
    text += Quoted("name", p.name);
    text += Quoted("value", p.value);
    text += Quoted("unit", p.unit);
    text += " />\n";
  }
  text += "  </effect>\n";
}

}  // namespace

bool LoadEffectChainText(std::string_view text, const std::string& source, CEffectChain& chain) {
  EffectChainEntries entries;
  TEffectChainEntry* current = nullptr;  // the effect its <param> children belong to
  const bool read = ReadElements(text, source, "effects", [&](const XmlReader& reader) {
    if (reader.Depth() == 1) {
      current = nullptr;
      if (reader.Name() != "effect") return;
      entries.push_back(ReadEntry(reader));
      current = entries.back().get();
    } else if (reader.Depth() == 2 && current && reader.Name() == "param") {
      current->params.push_back(ReadParam(reader));
    }
  });
  if (!read) return false;
  SkippedParams skipped;
  for (const auto& entry : entries) CreateEntryEffect(source, *entry, skipped);
  if (skipped.count > 0)
    DebugLog("%s: %d unknown parameter(s) or preset(s) skipped, first %s", source.c_str(),
             skipped.count, skipped.first.c_str());
  chain.Replace(std::move(entries));
  return true;
}

bool LoadEffectChainFile(const std::string& path, CEffectChain& chain) {
  std::string text;
  return ReadXmlFile(path, XmlFileKind::kEffectChain, text) == XmlFileStatus::kRead &&
         LoadEffectChainText(text, path, chain);
}

std::string FormatEffectChain(const CEffectChain& chain) {
  std::string text = Header();
  text += "<effects version=\"100\">\n";
  const EffectChainEntries entries = chain.Entries();
  for (std::size_t i = 0; i < entries.size(); ++i)
    WriteEntry(text, static_cast<int>(i), *entries[i]);
  text += "</effects>\n\n";
  return text;
}

bool SaveEffectChainFile(const std::string& path, const CEffectChain& chain, bool keepBackup) {
  std::string error;
  if (!WriteFileAtomically(path, FormatEffectChain(chain), keepBackup, &error)) {
    DebugLog("%s: cannot save the effect chain: %s", path.c_str(), error.c_str());
    return false;
  }
  return true;
}

bool LoadScannedEffectsText(std::string_view text, const std::string& source,
                            std::vector<TScannedEffect>& effects) {
  std::vector<TScannedEffect> found;
  const bool read = ReadElements(text, source, "exteffects", [&](const XmlReader& reader) {
    if (reader.Depth() != 1 || reader.Name() != "exteffect") return;
    found.push_back({IntAttribute(reader, "type"), IntAttribute(reader, "subType"),
                     reader.Text("componentId"), reader.Text("filename"), reader.Text("name")});
  });
  if (read) effects = std::move(found);
  return read;
}

bool LoadScannedEffects(const std::string& path, std::vector<TScannedEffect>& effects) {
  std::string text;
  const XmlFileStatus status = ReadXmlFile(path, XmlFileKind::kPluginList, text);
  if (status == XmlFileStatus::kMissing) return false;
  if (status == XmlFileStatus::kRead && LoadScannedEffectsText(text, path, effects)) return true;
  // The list is written again at close: keep the user's file.
  const std::string aside = MoveFileAside(path);
  if (!aside.empty()) DebugLog("%s kept as %s", path.c_str(), aside.c_str());
  return false;
}

std::string FormatScannedEffects(const std::vector<TScannedEffect>& effects) {
  std::string text = Header();
  text += "<exteffects version=\"100\">\n";
  for (const TScannedEffect& e : effects) {
    text += "  <exteffect";
    text += Quoted("type", e.type);
    text += Quoted("subType", e.subType);
    text += Quoted("componentId", e.componentId);
    text += Quoted("filename", e.filename);
    text += Quoted("name", e.name);
    text += " />\n";
  }
  text += "</exteffects>\n\n";
  return text;
}

bool SaveScannedEffects(const std::string& path, const std::vector<TScannedEffect>& effects) {
  std::string error;
  if (!WriteFileAtomically(path, FormatScannedEffects(effects), false, &error)) {
    DebugLog("%s: cannot save the plug-in list: %s", path.c_str(), error.c_str());
    return false;
  }
  return true;
}

}  // namespace vantaro
