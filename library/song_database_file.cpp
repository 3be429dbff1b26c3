#include "library/song_database_file.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <unordered_map>

#include "base/xml_reader.h"
#include "base/xml_text.h"

namespace vantaro {
namespace {

// The attributes a <song> may carry, as slots of one array.
enum Slot {
  kName,
  kNameBytes,
  kPgain,
  kBpm,
  kEql,
  kEqm,
  kEqh,
  kDurationMs,
  kDuration,
  kCurrentCue,
  kCueIn,
  kCueOut,
  kPitchKey,
  kCue1,
  kLoop1In = kCue1 + TZKSongRecord::kCueCount,
  kSlotCount = kLoop1In + 2 * TZKSongRecord::kLoopCount
};

const std::unordered_map<std::string_view, int>& SlotOfName() {
  static const std::unordered_map<std::string_view, int> table{{"name", kName},
                                                               {"name_bytes", kNameBytes},
                                                               {"pgain", kPgain},
                                                               {"bpm", kBpm},
                                                               {"eql", kEql},
                                                               {"eqm", kEqm},
                                                               {"eqh", kEqh},
                                                               {"duration_ms", kDurationMs},
                                                               {"duration", kDuration},
                                                               {"currentcue", kCurrentCue},
                                                               {"cue_in", kCueIn},
                                                               {"cue_out", kCueOut},
                                                               {"pitch_key", kPitchKey},
                                                               {"cue1", kCue1 + 0},
                                                               {"cue2", kCue1 + 1},
                                                               {"cue3", kCue1 + 2},
                                                               {"cue4", kCue1 + 3},
                                                               {"cue5", kCue1 + 4},
                                                               {"cue6", kCue1 + 5},
                                                               {"cue7", kCue1 + 6},
                                                               {"cue8", kCue1 + 7},
                                                               {"cue9", kCue1 + 8},
                                                               {"cue10", kCue1 + 9},
                                                               {"loop1_in", kLoop1In + 0},
                                                               {"loop1_out", kLoop1In + 1},
                                                               {"loop2_in", kLoop1In + 2},
                                                               {"loop2_out", kLoop1In + 3},
                                                               {"loop3_in", kLoop1In + 4},
                                                               {"loop3_out", kLoop1In + 5},
                                                               {"loop4_in", kLoop1In + 6},
                                                               {"loop4_out", kLoop1In + 7},
                                                               {"loop5_in", kLoop1In + 8},
                                                               {"loop5_out", kLoop1In + 9}};
  return table;
}

const char* SkipBlanks(const char* text) {
  while (*text == ' ' || *text == '\t' || *text == '\n' || *text == '\r' || *text == '\f' ||
         *text == '\v')
    ++text;
  return text;
}

// The standard decimal conversion: leading blanks and a sign allowed,
// trailing text ignored, a bad or out-of-range value reads as 0.
std::int32_t ParseInt(const char* text) {
  text = SkipBlanks(text);
  if (*text == '+') ++text;
  std::int32_t value = 0;
  const auto result = std::from_chars(text, text + std::strlen(text), value);
  return result.ec == std::errc() ? value : 0;
}

// A float by the conversion to double, narrowed; "." is the decimal point
// whatever the process locale.
float ParseFloat(const char* text) {
  text = SkipBlanks(text);
  if (*text == '+') ++text;
  double value = 0;
  const auto result = std::from_chars(text, text + std::strlen(text), value);
  return result.ec == std::errc() ? static_cast<float>(value) : 0.0f;
}

using Slots = std::array<const std::string*, kSlotCount>;

std::int32_t IntOr(const std::string* text, std::int32_t missing) {
  return text ? ParseInt(text->c_str()) : missing;
}

float FloatOr(const std::string* text, float missing) {
  return text ? ParseFloat(text->c_str()) : missing;
}

TZKSongRecord SongFromSlots(const Slots& slot) {
  TZKSongRecord record;
  for (auto& cue : record.cue) cue = 0;
  record.name = XmlTextFromAttributes(slot[kName], slot[kNameBytes]);
  record.pgain_valid = slot[kPgain] ? 1 : 0;
  record.pgain = FloatOr(slot[kPgain], 0.0f);
  record.bpm = FloatOr(slot[kBpm], 0.0f);
  record.eql = FloatOr(slot[kEql], 0.0f);
  record.eqm = FloatOr(slot[kEqm], 0.0f);
  record.eqh = FloatOr(slot[kEqh], 0.0f);

  record.duration_ms = IntOr(slot[kDurationMs], 0);
  if (record.duration_ms < 1) {
    // Files of older versions give whole seconds in `duration`.
    if (!slot[kDuration]) {
      record.duration_ms = -1;
    } else {
      const std::int64_t seconds = ParseInt(slot[kDuration]->c_str());
      record.duration_ms =
          seconds > 0 ? static_cast<std::int32_t>(std::min<std::int64_t>(seconds * 1000, INT32_MAX))
                      : static_cast<std::int32_t>(seconds);
    }
  }
  const std::int32_t currentCue = IntOr(slot[kCurrentCue], 0);
  record.currentcue = (currentCue >= 1 && currentCue <= 20) ? currentCue - 1 : 0;
  for (int i = 0; i < TZKSongRecord::kCueCount; ++i) {
    const std::int32_t cue = IntOr(slot[kCue1 + i], 0);
    record.cue[i] = cue < 0 ? 0 : cue;
  }
  const std::int32_t cueIn = IntOr(slot[kCueIn], 0);
  record.cue_in = cueIn < 0 ? 0 : cueIn;
  record.cue_out = IntOr(slot[kCueOut], -1);
  for (int i = 0; i < TZKSongRecord::kLoopCount; ++i) {
    record.loop_in[i] = IntOr(slot[kLoop1In + 2 * i], -1);
    record.loop_out[i] = IntOr(slot[kLoop1In + 2 * i + 1], -1);
  }
  record.pitch_key = IntOr(slot[kPitchKey], -1);
  return record;
}

// The attributes of the element under the reader, by slot; the first of a
// name counts. The pointers stay valid until the reader moves on.
void FillSlots(const XmlReader& reader, Slots& slot) {
  slot.fill(nullptr);
  const auto& slotOfName = SlotOfName();
  for (int i = 0; i < reader.AttributeCount(); ++i) {
    const auto found = slotOfName.find(reader.AttributeName(i));
    if (found != slotOfName.end() && !slot[found->second])
      slot[found->second] = &reader.AttributeValue(i);
  }
}

void AppendInt(std::string& out, std::int64_t value) {
  char text[24];
  const auto result = std::to_chars(text, text + sizeof text, value);
  out.append(text, result.ptr);
}

void AppendAttribute(std::string& out, std::string_view name, std::int64_t value) {
  out.append(name).append("=\"");
  AppendInt(out, value);
  out.append("\" ");
}

void AppendFloatAttribute(std::string& out, std::string_view name, float value) {
  out.append(name).append("=\"").append(FormatFloat4(value)).append("\" ");
}

}  // namespace

SongFileResult ReadSongDatabaseText(std::string_view text, const std::string& source,
                                    const std::function<void(TZKSongRecord&&)>& onSong) {
  XmlReader reader(text, source);
  SongFileResult result;  // not parsed until a root is seen
  Slots slot;
  while (reader.Next()) {
    if (reader.IsRoot()) {
      if (reader.Name() != "songdatabase") return {SongFileStatus::kWrongRoot, 0};
      result.status = SongFileStatus::kLoaded;
    } else if (reader.Name() == "song") {
      FillSlots(reader, slot);
      TZKSongRecord record = SongFromSlots(slot);
      if (!record.name.empty()) onSong(std::move(record));  // a song without a name is dropped
    }
  }
  if (reader.Refused()) return {SongFileStatus::kRefused, 0};
  result.damaged = reader.Damaged();
  return result;
}

SongFileResult ReadSongDatabaseFile(const std::string& path,
                                    const std::function<void(TZKSongRecord&&)>& onSong) {
  std::string text;
  switch (ReadXmlFile(path, XmlFileKind::kSongDatabase, text)) {
    case XmlFileStatus::kRead:
      return ReadSongDatabaseText(text, path, onSong);
    case XmlFileStatus::kMissing:
      return {SongFileStatus::kMissing, 0};
    case XmlFileStatus::kUnreadable:
      return {SongFileStatus::kUnreadable, 0};
    case XmlFileStatus::kRefused:
      break;
  }
  return {SongFileStatus::kRefused, 0};
}

void AppendSongLine(std::string& out, const TZKSongRecord& record) {
  out.append("<song ");
  AppendXmlTextAttribute(out, "name", record.name);
  out += ' ';
  AppendFloatAttribute(out, "bpm", record.bpm);
  AppendAttribute(out, "duration_ms", record.duration_ms);
  if (record.pgain_valid) AppendFloatAttribute(out, "pgain", record.pgain);
  AppendFloatAttribute(out, "eql", record.eql);
  AppendFloatAttribute(out, "eqm", record.eqm);
  AppendFloatAttribute(out, "eqh", record.eqh);
  AppendAttribute(out, "currentcue", static_cast<std::int64_t>(record.currentcue) + 1);
  char name[16];
  for (int i = 0; i < TZKSongRecord::kCueCount; ++i) {
    if (record.cue[i] <= 0) continue;
    const auto end = std::to_chars(name + 3, name + sizeof name, i + 1).ptr;
    std::memcpy(name, "cue", 3);
    AppendAttribute(out, std::string_view(name, end - name), record.cue[i]);
  }
  AppendAttribute(out, "cue_in", record.cue_in);
  AppendAttribute(out, "cue_out", record.cue_out);
  for (int i = 0; i < TZKSongRecord::kLoopCount; ++i) {
    if (record.loop_in[i] <= 0) continue;
    const char digit = static_cast<char>('1' + i);
    AppendAttribute(out, std::string("loop") + digit + "_in", record.loop_in[i]);
    AppendAttribute(out, std::string("loop") + digit + "_out", record.loop_out[i]);
  }
  AppendAttribute(out, "pitch_key", record.pitch_key);
  out.append("/>\n");
}

std::string FormatSongDatabaseFile(const std::vector<TZKSongRecord>& records) {
  std::string out;
  out.reserve(256 + records.size() * 200);
  out.append(kUtf8Mark);
  out.append(kXmlDeclaration).append("\n");
  out.append(kMakerComment).append("\n");
  out.append("<songdatabase version=\"100\">\n");
  for (const TZKSongRecord& record : records) AppendSongLine(out, record);
  out.append("</songdatabase>\n");
  return out;
}

}  // namespace vantaro
