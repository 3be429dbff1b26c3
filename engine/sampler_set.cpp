#include "engine/sampler_set.h"

#include <charconv>
#include <cmath>
#include <vector>

#include "base/data_file.h"
#include "base/debug_log.h"
#include "base/xml_reader.h"
#include "base/xml_text.h"
#include "engine/sound_source.h"

namespace vantaro {
namespace {

constexpr int kLoopVolume = 102;
constexpr int kWholeBeat = 64;  // loop sizes are in 1/64 beats

bool ReadInt(const XmlReader& reader, std::string_view name, int& value) {
  const std::string* text = reader.Attribute(name);
  if (!text) return false;
  int parsed = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), parsed);
  if (error != std::errc() || end != text->data() + text->size()) return false;
  value = parsed;
  return true;
}

void AppendInt(std::string& out, const char* name, int value) {
  out += ' ';
  out += name;
  out += "=\"" + std::to_string(value) + '"';
}

}  // namespace

std::string FormatSamplerFile(const SamplerEntries& entries) {
  std::string out(kUtf8Mark);
  out += std::string(kXmlDeclaration) + "\n" + std::string(kMakerComment) + "\n";
  out += "<sampler version=\"100\">\n";
  for (int i = 0; i < kSamplerSlots; ++i) {
    const SamplerSlotEntry& e = entries[i];
    if (!e.used || e.file.empty()) continue;
    out += "<sample";
    AppendInt(out, "index", i);
    out += ' ';
    AppendXmlTextAttribute(out, "file", e.file);
    AppendInt(out, "beats", e.beats);
    AppendInt(out, "autosync", e.autosync ? 1 : 0);
    AppendInt(out, "loop", e.loop ? 1 : 0);
    AppendInt(out, "pitch", e.pitch);
    AppendInt(out, "volume", e.volume);
    out += " />\n";
  }
  out += "</sampler>\n";
  return out;
}

SamplerFileStatus ParseSamplerFile(std::string_view text, const std::string& source,
                                   SamplerEntries& entries) {
  XmlReader reader(text, source);
  bool rootSeen = false;
  while (reader.Next()) {
    if (reader.IsRoot()) {
      if (reader.Name() != "sampler") break;
      rootSeen = true;
      continue;
    }
    if (!rootSeen || reader.Depth() != 1 || reader.Name() != "sample") continue;
    int index = -1;
    if (!ReadInt(reader, "index", index) || index < 0 || index >= kSamplerSlots) continue;
    SamplerSlotEntry e;
    int flag = 0;
    ReadInt(reader, "beats", e.beats);
    if (ReadInt(reader, "autosync", flag)) e.autosync = flag != 0;
    if (ReadInt(reader, "loop", flag)) e.loop = flag != 0;
    ReadInt(reader, "pitch", e.pitch);
    ReadInt(reader, "volume", e.volume);
    e.file = reader.Text("file");
    e.used = !e.file.empty();
    if (e.used) entries[index] = e;
  }
  return rootSeen ? SamplerFileStatus::kRead : SamplerFileStatus::kBroken;
}

CSamplerSet::CSamplerSet() {
  for (int i = 0; i < kSamplerSlots; ++i) {
    players_[i] = std::make_unique<CSamplerPlayer>(i);
    sources_[i] = players_[i].get();
  }
}

SamplerFileStatus CSamplerSet::Load(const std::string& path,
                                    const CSamplerPlayer::SavedLoopLookup& savedLoop) {
  std::string text;
  const XmlFileStatus read = ReadXmlFile(path, XmlFileKind::kSettings, text);
  if (read == XmlFileStatus::kMissing) return SamplerFileStatus::kMissing;
  SamplerEntries entries;
  const SamplerFileStatus status = read == XmlFileStatus::kRead
                                       ? ParseSamplerFile(text, path, entries)
                                       : SamplerFileStatus::kBroken;
  if (status != SamplerFileStatus::kRead) {
    DebugLog("sampler: %s unusable, slots left empty", path.c_str());
    return status;
  }
  int loaded = 0;
  for (int i = 0; i < kSamplerSlots; ++i) {
    const SamplerSlotEntry& e = entries[i];
    if (!e.used) continue;
    CSamplerPlayer& p = *players_[i];
    p.SetBeats(e.beats);
    p.SetAutosync(e.autosync);
    p.SetLoop(e.loop);
    entries_[i] = e;
    if (LoadSlot(i, e.file, savedLoop))
      ++loaded;
    else
      DebugLog("sampler: slot %d: %s not loaded, kept for the next save", i + 1, e.file.c_str());
    // The load resets the pitch; the slider's value comes back after it.
    p.SetPitch(e.pitch);
  }
  DebugLog("sampler: %s read, %d samples loaded", path.c_str(), loaded);
  return status;
}

bool CSamplerSet::LoadSlot(int slot, const std::string& file,
                           const CSamplerPlayer::SavedLoopLookup& savedLoop) {
  entries_[slot].used = true;
  entries_[slot].file = file;
  return players_[slot]->LoadSample(file, savedLoop) == 1;
}

SamplerSlotEntry CSamplerSet::Entry(int slot) const {
  SamplerSlotEntry e = entries_[slot];
  const CSamplerPlayer& p = *players_[slot];
  e.beats = p.Beats();
  e.autosync = p.IsAutosync();
  e.loop = p.IsLooping();
  e.pitch = p.Pitch();
  return e;
}

bool CSamplerSet::Save(const std::string& path) const {
  SamplerEntries entries;
  for (int i = 0; i < kSamplerSlots; ++i) entries[i] = Entry(i);
  std::string error;
  if (WriteFileAtomically(path, FormatSamplerFile(entries), false, &error)) return true;
  DebugLog("sampler: %s not saved: %s", path.c_str(), error.c_str());
  return false;
}

void CSamplerSet::Play(int slot, int flag, int crossfader, CSoundSource* const decks[2]) {
  const bool playing0 = decks[0] && decks[0]->IsPlaying();
  const bool playing1 = decks[1] && decks[1]->IsPlaying();
  players_[slot]->Play(flag, decks[ReferenceDeck(crossfader, playing0, playing1)]);
}

bool CSamplerSet::LoopToSampler(int slot, CSoundSource& deck) {
  const std::int32_t in = deck.LoopIn(), out = deck.LoopOut();
  if (!deck.IsLooping() || in < 0 || out <= in) return false;
  const std::int32_t length = out - in;
  const int size = deck.GetLoopSize(length);
  if (size <= 0) return false;
  const int repeats = size < kWholeBeat ? kWholeBeat / size : 1;
  if (static_cast<std::int64_t>(length) * repeats > CSamplerPlayer::kMaxFrames) return false;
  std::vector<float> loop(static_cast<std::size_t>(length) * 2);
  deck.ReadFrames(in, length, loop.data());
  std::vector<std::int16_t> frames;
  frames.reserve(loop.size() * repeats);
  for (int r = 0; r < repeats; ++r)
    for (float v : loop)
      frames.push_back(static_cast<std::int16_t>(
          std::clamp(std::lrint(v / CSoundSource::kSampleScale), -32768L, 32767L)));
  CSamplerPlayer& p = *players_[slot];
  if (!p.TakeSample(std::move(frames), "")) return false;
  p.SetBeats(std::max(1, size * repeats / kWholeBeat));
  p.SetLoop(true);
  p.SetAutosync(true);
  p.SetPitch(0);
  entries_[slot] = SamplerSlotEntry{};  // from memory: nothing to save
  entries_[slot].volume = kLoopVolume;
  return true;
}

}  // namespace vantaro
