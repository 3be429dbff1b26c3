#include "app/settings.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/debug_log.h"
#include "base/xml_reader.h"
#include "base/xml_text.h"
#include "effects/effect.h"
#include "engine/audio_render.h"
#include "engine/engine_settings.h"

namespace vantaro {
namespace {

// One key of config.xml: exactly one of `number` and `text` is set.
struct SettingKey {
  const char* name;
  int Settings::*number;
  std::string Settings::*text;
  bool readBack;  // false for `opengl`: written, but its value is set elsewhere
};

#define VANTARO_INT_KEY(key) \
  { #key, &Settings::key, nullptr, true }
#define VANTARO_TEXT_KEY(key) \
  { #key, nullptr, &Settings::key, true }

// Writing order of config.xml. The midiin%02d keys follow the table.
const SettingKey kKeys[] = {
    VANTARO_TEXT_KEY(skinf1), VANTARO_TEXT_KEY(langf1),
    VANTARO_TEXT_KEY(audio0), VANTARO_TEXT_KEY(audio1),
    VANTARO_INT_KEY(audmod),  VANTARO_INT_KEY(nvideo),
    VANTARO_INT_KEY(naudio),  VANTARO_INT_KEY(latncy),
    VANTARO_INT_KEY(ptchrg),  VANTARO_INT_KEY(maxram),
    VANTARO_INT_KEY(fltmod),  VANTARO_INT_KEY(cfcurv),
    VANTARO_INT_KEY(bmatch),  VANTARO_INT_KEY(jscrat),
    VANTARO_INT_KEY(hqtime),  VANTARO_INT_KEY(resetd),
    VANTARO_INT_KEY(rmbreq),  VANTARO_INT_KEY(apgain),
    VANTARO_INT_KEY(mixlst),  VANTARO_INT_KEY(histry),
    VANTARO_INT_KEY(evideo),  {"opengl", &Settings::opengl, nullptr, false},
    VANTARO_INT_KEY(vidhqm),  VANTARO_INT_KEY(videof),
    VANTARO_INT_KEY(videox),  VANTARO_INT_KEY(videoy),
    VANTARO_INT_KEY(videow),  VANTARO_INT_KEY(videoh),
    VANTARO_INT_KEY(remain),  VANTARO_INT_KEY(extmix),
    VANTARO_INT_KEY(dsblcf),  VANTARO_INT_KEY(mixtim),
    VANTARO_INT_KEY(alimit),  VANTARO_INT_KEY(random),
    VANTARO_INT_KEY(keylk0),  VANTARO_INT_KEY(keylk1),
    VANTARO_INT_KEY(mixaut),  VANTARO_INT_KEY(revmmo),
    VANTARO_INT_KEY(slowrt),  VANTARO_INT_KEY(ptchjw),
    VANTARO_INT_KEY(usecup),  VANTARO_INT_KEY(usedim),
    VANTARO_INT_KEY(disacu),  VANTARO_INT_KEY(sampv1),
    VANTARO_INT_KEY(sampp1),  VANTARO_INT_KEY(sampit),
    VANTARO_INT_KEY(tctype),  VANTARO_INT_KEY(dhints),
    VANTARO_INT_KEY(hqfine),
};

#undef VANTARO_INT_KEY
#undef VANTARO_TEXT_KEY

constexpr char kConfigFileName[] = "config.xml";
constexpr char kMidiInputPrefix[] = "midiin";
constexpr char kMidiScriptPrefix[] = "midiscr";

std::string WithSlash(const std::string& folder) {
  if (folder.empty() || folder.back() == '/') return folder;
  return folder + "/";
}

bool FileExists(const std::string& path) {
  struct stat info;
  return !path.empty() && stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// ("midiin07", "midiin") -> 7; -1 for any other name.
int NumberedKey(const std::string& name, const std::string& stem) {
  const std::size_t prefix = stem.size();
  if (name.compare(0, prefix, stem) != 0 || name.size() < prefix + 2) return -1;
  int slot = 0;
  for (std::size_t i = prefix; i < name.size(); ++i) {
    if (name[i] < '0' || name[i] > '9' || slot > 9999) return -1;
    slot = slot * 10 + (name[i] - '0');
  }
  return slot;
}

// One <setting> element: type absent counts as -1; type 1 or more carries
// text, anything else an integer (absent value: -1). A key of the other kind
// than its element's type gets -1 or empty, as only one form is read.
void ReadSettingElement(const XmlReader& reader, Settings& settings) {
  const std::string* name = reader.Attribute("name");
  if (!name) return;
  const std::string* typeText = reader.Attribute("type");
  const int type = typeText ? std::atoi(typeText->c_str()) : -1;
  const std::string* valueText = reader.Attribute("value");
  const bool isText = type >= 1;
  const std::string text = isText ? reader.Text("value") : std::string();
  const int number = (!isText && valueText) ? std::atoi(valueText->c_str()) : -1;

  for (auto [stem, texts] : {std::pair{kMidiInputPrefix, &settings.midiInputs},
                             std::pair{kMidiScriptPrefix, &settings.midiScripts}}) {
    const int midiSlot = NumberedKey(*name, stem);
    if (midiSlot < 0) continue;
    if (static_cast<std::size_t>(midiSlot) >= texts->size()) texts->resize(midiSlot + 1);
    (*texts)[midiSlot] = text;
    return;
  }
  for (const SettingKey& key : kKeys) {
    if (*name != key.name) continue;
    if (!key.readBack) return;
    if (key.number) settings.*key.number = number;
    if (key.text) settings.*key.text = text;
    return;
  }
  // An unknown key is dropped; the next save forgets it.
}

bool OnlyBlanks(std::string_view content) {
  std::size_t start = content.compare(0, kUtf8Mark.size(), kUtf8Mark) == 0 ? kUtf8Mark.size() : 0;
  return content.find_first_not_of(" \t\r\n", start) == std::string::npos;
}

std::uint32_t AvailableKilobytes(int maxram, std::uint32_t current, std::uint32_t workingSetKB) {
  switch (maxram) {
    case 1:
      return workingSetKB;
    case 2:
      return 103360;
    case 3:
      return 206720;
    case 4:
      return 310080;
    case 5:
      return 0;
    default:
      return current;
  }
}

}  // namespace

Settings& TheSettings() {
  static Settings settings;
  return settings;
}

SettingsFileStatus ReadSettingsText(std::string_view text, const std::string& source,
                                    Settings& settings) {
  if (OnlyBlanks(text)) {
    DebugLog("LoadSettings: XML is empty (%s)", source.c_str());
    return SettingsFileStatus::kEmpty;
  }
  XmlReader reader(text, source);
  Settings read = settings;
  bool rootSeen = false;
  while (reader.Next()) {
    if (reader.IsRoot()) {
      if (reader.Name() != "settings") {
        DebugLog("LoadSettings: XML root node is NOT 'settings' (%s)", source.c_str());
        return SettingsFileStatus::kWrongRoot;
      }
      rootSeen = true;
    } else if (reader.Depth() == 1 && reader.Name() == "setting") {
      ReadSettingElement(reader, read);
    }
  }
  if (reader.Refused()) return SettingsFileStatus::kRefused;
  if (!rootSeen || reader.Damaged() > 0) {
    DebugLog("LoadSettings: XML not parsed successfully (%s)", source.c_str());
    return SettingsFileStatus::kNotParsed;
  }
  settings = std::move(read);
  return SettingsFileStatus::kLoaded;
}

SettingsFileStatus ReadSettingsFile(const std::string& path, Settings& settings) {
  std::string text;
  switch (ReadXmlFile(path, XmlFileKind::kSettings, text)) {
    case XmlFileStatus::kRead:
      return ReadSettingsText(text, path, settings);
    case XmlFileStatus::kMissing:
      return SettingsFileStatus::kMissing;
    case XmlFileStatus::kUnreadable:
      return SettingsFileStatus::kNotParsed;
    case XmlFileStatus::kRefused:
      break;
  }
  return SettingsFileStatus::kRefused;
}

std::string FormatSettingsFile(const Settings& settings) {
  std::string out;
  out.reserve(4096);
  out.append(kXmlDeclaration).append("\n");
  out.append(kMakerComment).append("\n");
  out.append("<settings version=\"100\">\n");
  auto line = [&out](const std::string& name, const std::string& value, int type) {
    out.append("<setting name=\"").append(EscapeXmlText(name)).append("\" ");
    AppendXmlTextAttribute(out, "value", value);
    out.append(" type=\"").append(std::to_string(type)).append("\" />\n");
  };
  for (const SettingKey& key : kKeys) {
    if (key.number) line(key.name, std::to_string(settings.*key.number), 0);
    if (key.text) line(key.name, settings.*key.text, 1);
  }
  for (auto [stem, texts] : {std::pair{kMidiInputPrefix, &settings.midiInputs},
                             std::pair{kMidiScriptPrefix, &settings.midiScripts}}) {
    for (std::size_t slot = 0; slot < texts->size(); ++slot) {
      if ((*texts)[slot].empty()) continue;  // a gap left by the file
      char name[32];
      std::snprintf(name, sizeof name, "%s%02zu", stem, slot);
      line(name, (*texts)[slot], 1);
    }
  }
  out.append("</settings>\n");
  return out;
}

MidiBindings ReadMidiBindings(const Settings& settings) {
  MidiBindings bindings;
  for (std::size_t slot = 0; slot < settings.midiInputs.size(); ++slot)
    if (!settings.midiInputs[slot].empty()) bindings.inputs[slot] = settings.midiInputs[slot];
  for (std::size_t slot = 0; slot < settings.midiScripts.size(); ++slot)
    if (!settings.midiScripts[slot].empty()) bindings.scripts[slot] = settings.midiScripts[slot];
  return bindings;
}

SettingsFileStatus LoadSettings(const std::string& settingsFolder) {
  Settings& settings = TheSettings();
  settings = Settings{};
  const std::string path = WithSlash(settingsFolder) + kConfigFileName;
  const SettingsFileStatus status = ReadSettingsFile(path, settings);
  if (status != SettingsFileStatus::kLoaded) settings = Settings{};
  if (status == SettingsFileStatus::kNotParsed || status == SettingsFileStatus::kWrongRoot ||
      status == SettingsFileStatus::kRefused) {
    // The close writes config.xml from the defaults: keep the user's file.
    const std::string aside = MoveFileAside(path);
    if (!aside.empty()) DebugLog("LoadSettings: %s kept as %s", path.c_str(), aside.c_str());
  }
  ApplySettings(settings);
  return status;
}

void ApplySettings(Settings& settings) {
  settings.hqtime = 0;
  settings.extmix = 0;
  settings.dsblcf = 0;
  if (!FileExists(settings.skinf1)) settings.skinf1.clear();

  EngineSettings& engine = TheEngineSettings();
  engine.availKB = AvailableKilobytes(settings.maxram, engine.availKB.load(), engine.wsKB.load());
  engine.pitchRange = settings.ptchrg;
  engine.slowReset = settings.slowrt != 0;
  engine.jogScratch = settings.jscrat != 0;
  engine.jogMovesPitch = settings.ptchjw != 0;
  engine.filterMode = settings.fltmod;
  engine.crossfaderCurve = settings.cfcurv;
  engine.disableCrossfaderExternal = settings.dsblcf != 0;
  engine.autoGain = settings.apgain != 0;
  engine.disableAutoCue = settings.disacu != 0;
  engine.highQualityTime = settings.hqtime != 0;
  engine.highQualityFine = settings.hqfine != 0;
  engine.resetDeckAfterLoad = settings.resetd != 0;
  engine.rememberSongEq = settings.rmbreq != 0;

  AudioRenderer& renderer = TheAudioRenderer();
  renderer.outputMode = settings.audmod;
  renderer.externalMixer = settings.extmix != 0;
  renderer.reverseMasterMonitor = settings.revmmo != 0;
  // The output limiter (bypassed at start) follows alimit; it fades in or
  // out at the next block.
  if (CEffect* limiter = renderer.limiter.load())
    limiter->RequestSwitch(settings.alimit != 0 ? kSwitchOn : kSwitchOff);
}

int OutputDeviceIndex(const std::string& name, const std::vector<std::string>& deviceNames,
                      bool mainDevice) {
  for (std::size_t i = 0; i < deviceNames.size(); ++i)
    if (!name.empty() && deviceNames[i] == name) return static_cast<int>(i);
  return mainDevice ? 0 : -1;
}

bool SaveSettingsFile(const Settings& settings, const std::string& path, std::string* userMessage) {
  std::string reason;
  if (WriteFileAtomically(path, FormatSettingsFile(settings), false, &reason)) return true;
  DebugLog("SaveSettings: %s", reason.c_str());
  if (userMessage) *userMessage = "can not save settings to " + path;
  return false;
}

bool SaveSettings(const std::string& settingsFolder, std::string* userMessage) {
  return SaveSettingsFile(TheSettings(), WithSlash(settingsFolder) + kConfigFileName, userMessage);
}

}  // namespace vantaro
