#include "library/song_database_file.h"

#include <libxml/xmlreader.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <unordered_map>

#include "base/xml_text.h"

namespace vantaro {
namespace {

// The attributes a <song> may carry, as slots of one array.
enum Slot {
  kName,
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

TZKSongRecord SongFromSlots(const std::array<const char*, kSlotCount>& slot) {
  TZKSongRecord record;
  for (auto& cue : record.cue) cue = 0;
  if (slot[kName]) record.name = slot[kName];
  record.pgain_valid = slot[kPgain] ? 1 : 0;
  record.pgain = slot[kPgain] ? ParseFloat(slot[kPgain]) : 0.0f;
  record.bpm = slot[kBpm] ? ParseFloat(slot[kBpm]) : 0.0f;
  record.eql = slot[kEql] ? ParseFloat(slot[kEql]) : 0.0f;
  record.eqm = slot[kEqm] ? ParseFloat(slot[kEqm]) : 0.0f;
  record.eqh = slot[kEqh] ? ParseFloat(slot[kEqh]) : 0.0f;

  record.duration_ms = slot[kDurationMs] ? ParseInt(slot[kDurationMs]) : 0;
  if (record.duration_ms < 1) {
    // Files of older versions give whole seconds in `duration`.
    if (!slot[kDuration]) {
      record.duration_ms = -1;
    } else {
      const std::int64_t seconds = ParseInt(slot[kDuration]);
      record.duration_ms =
          seconds > 0 ? static_cast<std::int32_t>(std::min<std::int64_t>(seconds * 1000, INT32_MAX))
                      : static_cast<std::int32_t>(seconds);
    }
  }
  const std::int32_t currentCue = slot[kCurrentCue] ? ParseInt(slot[kCurrentCue]) : 0;
  record.currentcue = (currentCue >= 1 && currentCue <= 20) ? currentCue - 1 : 0;
  for (int i = 0; i < TZKSongRecord::kCueCount; ++i) {
    const std::int32_t cue = slot[kCue1 + i] ? ParseInt(slot[kCue1 + i]) : 0;
    record.cue[i] = cue < 0 ? 0 : cue;
  }
  const std::int32_t cueIn = slot[kCueIn] ? ParseInt(slot[kCueIn]) : 0;
  record.cue_in = cueIn < 0 ? 0 : cueIn;
  record.cue_out = slot[kCueOut] ? ParseInt(slot[kCueOut]) : -1;
  for (int i = 0; i < TZKSongRecord::kLoopCount; ++i) {
    const char* in = slot[kLoop1In + 2 * i];
    const char* out = slot[kLoop1In + 2 * i + 1];
    record.loop_in[i] = in ? ParseInt(in) : -1;
    record.loop_out[i] = out ? ParseInt(out) : -1;
  }
  record.pitch_key = slot[kPitchKey] ? ParseInt(slot[kPitchKey]) : -1;
  return record;
}

bool NameIs(xmlTextReaderPtr reader, const char* name) {
  const xmlChar* current = xmlTextReaderConstName(reader);
  return current && std::strcmp(reinterpret_cast<const char*>(current), name) == 0;
}

// Reads the attributes of the <song> element under the reader into slots.
// The pointers stay valid until the reader moves on.
void FillSlots(xmlTextReaderPtr reader, std::array<const char*, kSlotCount>& slot) {
  slot.fill(nullptr);
  const auto& slotOfName = SlotOfName();
  for (int more = xmlTextReaderMoveToFirstAttribute(reader); more == 1;
       more = xmlTextReaderMoveToNextAttribute(reader)) {
    const char* name = reinterpret_cast<const char*>(xmlTextReaderConstName(reader));
    if (!name) continue;
    const auto found = slotOfName.find(name);
    if (found == slotOfName.end()) continue;
    slot[found->second] = reinterpret_cast<const char*>(xmlTextReaderConstValue(reader));
  }
  xmlTextReaderMoveToElement(reader);
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

TZKSongRecord SongFromAttributes(const SongAttributeLookup& attribute) {
  std::array<const char*, kSlotCount> slot;
  slot.fill(nullptr);
  for (const auto& [name, index] : SlotOfName()) {
    const std::string zeroTerminated(name);
    slot[index] = attribute(zeroTerminated.c_str());
  }
  return SongFromSlots(slot);
}

SongFileStatus ReadSongDatabaseFile(const std::string& path,
                                    const std::function<void(TZKSongRecord&&)>& onSong) {
  struct stat info;
  if (stat(path.c_str(), &info) != 0) return SongFileStatus::kMissing;
  xmlTextReaderPtr reader =
      xmlReaderForFile(path.c_str(), nullptr,
                       XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE);
  if (!reader) return SongFileStatus::kUnreadable;

  SongFileStatus status = SongFileStatus::kNotParsed;  // until a root is seen
  std::array<const char*, kSlotCount> slot;
  int step;
  while ((step = xmlTextReaderRead(reader)) == 1) {
    if (xmlTextReaderNodeType(reader) != XML_READER_TYPE_ELEMENT) continue;
    const int depth = xmlTextReaderDepth(reader);
    if (depth == 0) {
      if (!NameIs(reader, "songdatabase")) {
        status = SongFileStatus::kWrongRoot;
        break;
      }
      status = SongFileStatus::kLoaded;
    } else if (depth == 1 && NameIs(reader, "song")) {
      FillSlots(reader, slot);
      if (!slot[kName]) continue;  // a song without a name is dropped
      onSong(SongFromSlots(slot));
    }
  }
  if (step < 0) status = SongFileStatus::kNotParsed;
  xmlFreeTextReader(reader);
  return status;
}

void AppendSongLine(std::string& out, const TZKSongRecord& record) {
  out.append("<song name=\"").append(EscapeXmlText(record.name)).append("\" ");
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
