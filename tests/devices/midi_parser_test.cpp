// The MIDI input's byte rules, without a MIDI service: streams in, whole
// messages out (the cases the JACK suite sends are not repeated here);
// stable port names; a service without a server.

#include "devices/midi_parser.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "base/debug_log.h"
#include "devices/midi_names.h"
#include "devices/midi_service.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

// Messages as "status/channel/data1/data2 ", SysEx as "sysex:<size> ".
std::string Parse(const std::vector<int>& bytes) {
  MidiByteParser parser;
  std::string out;
  for (int byte : bytes) {
    const MidiParsed parsed = parser.Push(static_cast<std::uint8_t>(byte));
    const MidiShortMessage& m = parser.Short();
    char text[32];
    if (parsed == MidiParsed::kShort)
      std::snprintf(text, sizeof text, "%X/%d/%d/%d ", m.status, m.channel, m.data1, m.data2);
    else if (parsed == MidiParsed::kSysex)
      std::snprintf(text, sizeof text, "sysex:%zu ", parser.SysexSize());
    else
      continue;
    out += text;
  }
  return out;
}

// A SysEx of `size` bytes with F0 and F7, then a note.
std::vector<int> SysexThenNote(std::size_t size) {
  std::vector<int> bytes(size, 0x11);
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  bytes.insert(bytes.end(), {0x90, 0x40, 0x7F});
  return bytes;
}

TEST(MidiParser, StreamsBecomeWholeMessages) {
  constexpr std::size_t kMax = MidiByteParser::kMaxSysexBytes;
  const struct {
    const char* what;
    std::vector<int> bytes;
    std::string messages;
  } cases[] = {
      {"running status survives real time bytes",
       {0xB3, 0x07, 0xF8, 0x10, 0xF9, 0x08, 0xFD, 0xFE, 0x20},
       "B0/3/7/16 B0/3/8/32 "},
      {"one data byte kinds", {0xC5, 0x03, 0x04, 0xD0, 0x7F}, "C0/5/3/0 C0/5/4/0 D0/0/127/0 "},
      {"a status cut short by another", {0x90, 0x40, 0xB0, 0x01, 0x02}, "B0/0/1/2 "},
      {"system common is whole and stops running status",
       {0xF2, 0x10, 0x20, 0x30, 0xF6, 0xF3, 0x05},
       "F0/2/16/32 F0/6/0/0 F0/3/5/0 "},
      {"sysex, real time inside it", {0xF0, 0x7E, 0xF8, 0x01, 0xF7}, "sysex:4 "},
      {"a second F0 truncates the first", {0xF0, 0x01, 0xF0, 0x02, 0xF7}, "sysex:3 "},
      {"stray F7 and data after a sysex", {0xF7, 0xF0, 0xF7, 0x40, 0x40}, "sysex:2 "},
      {"sysex of the largest size", SysexThenNote(kMax), "sysex:512 90/0/64/127 "},
      {"sysex one byte too long", SysexThenNote(kMax + 1), "90/0/64/127 "},
  };
  for (const auto& c : cases) EXPECT_EQ(Parse(c.bytes), c.messages) << c.what;
}

TEST(MidiNames, ServiceNumbersAreStripped) {
  struct Case {
    MidiApi api;
    const char* service;
    const char* stable;
  } const cases[] = {
      {MidiApi::kAlsa, "Pad Box:Pad Box MIDI 1 24:0", "Pad Box:Pad Box MIDI 1"},
      {MidiApi::kAlsa, "Pads 8:0", "Pads"},
      {MidiApi::kAlsa, "Pads8:0", "Pads8:0"},
      {MidiApi::kAlsa, "Pads :0", "Pads :0"},
      {MidiApi::kJack, "a2j:Pads [24] (capture): Pads MIDI 1", "a2j:Pads (capture): Pads MIDI 1"},
      {MidiApi::kJack, "pads-01:out", "pads:out"},
      {MidiApi::kJack, "pads-1:out", "pads-1:out"},
      {MidiApi::kJack, "x [ab]:out", "x [ab]:out"},
      {MidiApi::kJack, "system:midi_capture_1", "system:midi_capture_1"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(StableMidiPortName(c.api, c.service), c.stable) << c.service;
  EXPECT_TRUE(IsOwnMidiPort("vantaro-midi:out 03", "vantaro-midi"));
  EXPECT_FALSE(IsOwnMidiPort("vantaro-midi2:out", "vantaro-midi"));
}

// No server of that name: nothing is listed or opened, no server is started,
// and the log says so once however often the hot-plug poll asks.
TEST(MidiService, WithoutAJackServerListsNothingAndSaysSoOnce) {
  test::TempDir dir;
  SetDebugLogEcho(false);
  SetDebugLogFolder(dir.Path());
  setenv("JACK_DEFAULT_SERVER", ("vantaro-none-" + std::to_string(getpid())).c_str(), 1);
  {
    RtMidiService service(MidiApi::kJack, nullptr, "vantaro-test");
    for (int poll = 0; poll < 3; ++poll) {
      EXPECT_TRUE(service.InputNames().empty());
      EXPECT_TRUE(service.OutputNames().empty());
    }
    EXPECT_FALSE(service.OpenInput(0, "x:out"));
    EXPECT_FALSE(service.OpenOutput(0, "x:in"));
    service.SendSysex(0, {0xF0, 0xF7});
  }
  SetDebugLogFolder("");
  const std::string log = test::ReadFile(dir.File("vantaro.log"));
  const std::size_t first = log.find("is not reachable");
  EXPECT_NE(first, std::string::npos);
  EXPECT_EQ(log.find("is not reachable", first + 1), std::string::npos);
}

}  // namespace
}  // namespace vantaro
