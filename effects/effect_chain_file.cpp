#include "effects/effect_chain_file.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <sys/stat.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/debug_log.h"
#include "base/xml_text.h"
#include "effects/effect.h"
#include "effects/effect_chain.h"
#include "effects/effect_registry.h"

namespace vantaro {
namespace {

struct XmlDocFree {
  void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};
using XmlDocPtr = std::unique_ptr<xmlDoc, XmlDocFree>;

bool FileExists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

std::string Attribute(xmlNode* node, const char* name) {
  xmlChar* value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(name));
  if (!value) return std::string();
  std::string text(reinterpret_cast<const char*>(value));
  xmlFree(value);
  return text;
}

int IntAttribute(xmlNode* node, const char* name, int fallback = 0) {
  const std::string text = Attribute(node, name);
  if (text.empty()) return fallback;
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, 10);
  return end == text.c_str() ? fallback : static_cast<int>(value);
}

float FloatAttribute(xmlNode* node, const char* name) {
  // from_chars ignores the process locale: the files always use ".".
  const std::string text = Attribute(node, name);
  float value = 0.0f;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

bool YesAttribute(xmlNode* node, const char* name) {
  return Attribute(node, name) == "yes";
}

bool IsElement(xmlNode* node, const char* name) {
  return node->type == XML_ELEMENT_NODE &&
         std::strcmp(reinterpret_cast<const char*>(node->name), name) == 0;
}

// Parses `path` and checks its root element; null (with a log line) when the
// file is broken.
XmlDocPtr ReadRoot(const std::string& path, const char* rootName, xmlNode** root) {
  XmlDocPtr doc(xmlReadFile(path.c_str(), nullptr,
                            XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
  if (!doc) {
    DebugLog("%s: not well-formed XML, skipped", path.c_str());
    return nullptr;
  }
  *root = xmlDocGetRootElement(doc.get());
  if (!*root || !IsElement(*root, rootName)) {
    DebugLog("%s: root element is not <%s>, skipped", path.c_str(), rootName);
    return nullptr;
  }
  return doc;
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
  return std::string(" ") + name + "=\"" + EscapeXmlText(value) + "\"";
}

std::string Quoted(const char* name, long value) {
  return Quoted(name, std::to_string(value));
}

std::shared_ptr<TEffectChainEntry> ReadEntry(const std::string& path, xmlNode* node) {
  auto entry = std::make_shared<TEffectChainEntry>();
  entry->type = IntAttribute(node, "type", -1);
  entry->componentId = Attribute(node, "componentid");
  entry->name = Attribute(node, "name");
  entry->filename = Attribute(node, "filename");
  entry->enabled.store(YesAttribute(node, "enabled"));
  entry->dryWet = FloatAttribute(node, "drywetmix");
  entry->editorVisible = YesAttribute(node, "editorvisible");
  entry->x = IntAttribute(node, "x");
  entry->y = IntAttribute(node, "y");
  for (xmlNode* child = node->children; child; child = child->next) {
    if (!IsElement(child, "param")) continue;
    TEffectParamRecord param;
    param.id = IntAttribute(child, "id");
    param.val = IntAttribute(child, "val");
    param.name = Attribute(child, "name");
    param.value = Attribute(child, "value");
    param.unit = Attribute(child, "unit");
    entry->params.push_back(std::move(param));
  }
  std::unique_ptr<CEffect> effect = CreateEffectOfType(entry->type);
  if (!effect) {
    DebugLog("%s: effect \"%s\" has unknown type %d, kept silent", path.c_str(),
             entry->name.c_str(), entry->type);
    return entry;
  }
  effect->SetDryWet(entry->dryWet);
  effect->SetEditorPosition(entry->x, entry->y);
  for (const TEffectParamRecord& param : entry->params) effect->SetParam(param.id, param.val);
  entry->effect = std::move(effect);
  return entry;
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

bool LoadEffectChainFile(const std::string& path, CEffectChain& chain) {
  if (!FileExists(path)) return false;
  xmlNode* root = nullptr;
  XmlDocPtr doc = ReadRoot(path, "effects", &root);
  if (!doc) return false;
  EffectChainEntries entries;
  for (xmlNode* node = root->children; node; node = node->next)
    if (IsElement(node, "effect")) entries.push_back(ReadEntry(path, node));
  chain.Replace(std::move(entries));
  return true;
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

bool LoadScannedEffects(const std::string& path, std::vector<TScannedEffect>& effects) {
  if (!FileExists(path)) return false;
  xmlNode* root = nullptr;
  XmlDocPtr doc = ReadRoot(path, "exteffects", &root);
  if (!doc) return false;
  std::vector<TScannedEffect> found;
  for (xmlNode* node = root->children; node; node = node->next) {
    if (!IsElement(node, "exteffect")) continue;
    TScannedEffect effect;
    effect.type = IntAttribute(node, "type");
    effect.subType = IntAttribute(node, "subType");
    effect.componentId = Attribute(node, "componentId");
    effect.filename = Attribute(node, "filename");
    effect.name = Attribute(node, "name");
    found.push_back(std::move(effect));
  }
  effects = std::move(found);
  return true;
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
