// The MIDI service on a private JACK dummy server, against a JACK client of
// the test's own playing the device: bytes as a device may send them reach
// the MIDI ring under the slot's owner; identity replies; a flood; unplug
// and replug; the outputs.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/debug_log.h"
#include "control/gui_sync.h"
#include "devices/midi_service.h"
#include "tests/devices/jack_midi_peer.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using Bytes = test::JackMidiPeer::Bytes;
using namespace std::chrono_literals;

std::vector<MidiMessage> g_owned;
int g_unowned = 0;
void Owned(const MidiMessage& m) {
  g_owned.push_back(m);
}
void Unowned(const MidiMessage&) {
  ++g_unowned;
}

// The end of a row: a control change on channel 16, then 0xF4 so that no
// running status carries into the next row.
const Bytes kRowEnd = {0xBF, 0x7F, 0x7F, 0xF4};
bool IsRowEnd(const MidiMessage& m) {
  return m.status == 0xB0 && m.channel == 15 && m.data1 == 0x7F;
}

long ResidentKilobytes() {
  std::ifstream status("/proc/self/status");
  std::string key;
  long value = 0;
  while (status >> key) {
    if (key == "VmRSS:") return (status >> value) ? value : 0;
  }
  return 0;
}

class MidiJack : public ::testing::Test {
 protected:
  void SetUp() override {
    SetDebugLogEcho(false);
    SetDebugLogFolder(dir_.Path());
    SetMidiHandlers(&Owned, &Unowned);
    DrainMidi();
    g_owned.clear();
    g_unowned = 0;
    peer_ = std::make_unique<test::JackMidiPeer>("midipeer" + std::to_string(getpid()));
    ASSERT_TRUE(peer_->Ok()) << "no JACK server " << (getenv("JACK_DEFAULT_SERVER") ?: "");
    service_ = std::make_unique<RtMidiService>(MidiApi::kJack, nullptr, "vantaro-test");
  }
  void TearDown() override {
    service_.reset();
    peer_.reset();
    SetMidiHandlers(nullptr, nullptr);
    SetDebugLogFolder("");
  }

  // Drains the ring until a row's end came (10 s at most); the messages
  // before it.
  std::vector<MidiMessage> Row(const std::vector<Bytes>& events) {
    std::vector<Bytes> all = events;
    all.push_back(kRowEnd);
    peer_->Send(all);
    g_owned.clear();
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (std::chrono::steady_clock::now() < deadline) {
      DrainMidi();
      if (!g_owned.empty() && IsRowEnd(g_owned.back())) {
        g_owned.pop_back();
        return g_owned;
      }
      std::this_thread::sleep_for(2ms);
    }
    ADD_FAILURE() << "the row's end did not come";
    return g_owned;
  }
  bool HasInput(const std::string& name) {
    for (const std::string& listed : service_->InputNames())
      if (listed == name) return true;
    return false;
  }
  int LogLinesWith(const std::string& text) const {
    const std::string log = test::ReadFile(dir_.File("vantaro.log"));
    int count = 0;
    for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1))
      ++count;
    return count;
  }

  test::TempDir dir_;
  std::unique_ptr<test::JackMidiPeer> peer_;
  std::unique_ptr<RtMidiService> service_;
};

std::string Text(const std::vector<MidiMessage>& messages) {
  std::string text;
  for (const MidiMessage& m : messages) {
    char one[48];
    std::snprintf(one, sizeof one, "%d:%X/%d/%d/%d ", m.owner, m.status, m.channel, m.data1,
                  m.data2);
    text += one;
  }
  return text;
}

TEST_F(MidiJack, DeviceBytesReachTheRingUnderTheSlotsOwner) {
  ASSERT_TRUE(service_->OpenInput(3, peer_->OutName()));
  struct Case {
    const char* what;
    std::vector<Bytes> events;
    const char* expected;
  } const cases[] = {
      {"running status across events",
       {{0x90, 0x40, 0x7F}, {0x41, 0x00}},
       "4:90/0/64/127 4:90/0/65/0 "},
      {"truncated sysex", {{0xF0, 0x7E, 0x00, 0x06}, {0x90, 0x42, 0x7F}}, "4:90/0/66/127 "},
      {"undefined status bytes",
       {{0x90, 0x40, 0x7F},
        {0xF9},
        {0x41, 0x7F},
        {0xFD},
        {0x42, 0x7F},
        {0xF4},
        {0x43, 0x7F},
        {0xF5}},
       "4:90/0/64/127 4:90/0/65/127 4:90/0/66/127 "},
      {"status-less data", {{0x40, 0x7F}, {0x10}}, ""},
      {"every channel", {{0x9F, 0x10, 0x01}, {0x85, 0x10, 0x00}}, "4:90/15/16/1 4:80/5/16/0 "},
      {"a clock stream", std::vector<Bytes>(500, Bytes{0xF8}), ""},
  };
  for (const Case& c : cases) EXPECT_EQ(Text(Row(c.events)), c.expected) << c.what;
  EXPECT_EQ(g_unowned, 0);
  EXPECT_GT(service_->MalformedDropped(3), 0);
}

TEST_F(MidiJack, IdentityReplyOfNineBytesIgnoredTenKept) {
  ASSERT_TRUE(service_->OpenInput(0, peer_->OutName()));
  const Bytes nine = {0xF0, 0x7E, 0x00, 0x06, 0x02, 0x47, 0x01, 0x02, 0xF7};
  const Bytes ten = {0xF0, 0x7E, 0x00, 0x06, 0x02, 0x47, 0x01, 0x02, 0x03, 0xF7};
  Row({nine});
  EXPECT_TRUE(service_->TakeIdentityReply(0).empty());
  Row({ten});
  EXPECT_EQ(service_->TakeIdentityReply(0), ten);
  EXPECT_TRUE(service_->TakeIdentityReply(0).empty()) << "taken once";
  EXPECT_TRUE(service_->TakeIdentityReply(1).empty()) << "kept for its slot only";
}

TEST_F(MidiJack, FloodOverloadsTheRingWithOneLineASecondAndBoundedMemory) {
  ASSERT_TRUE(service_->OpenInput(0, peer_->OutName()));
  peer_->Flood(10000);
  std::this_thread::sleep_for(1s);
  const long settled = ResidentKilobytes();
  long received = 0;
  const auto end = std::chrono::steady_clock::now() + 4s;
  while (std::chrono::steady_clock::now() < end) {
    received += DrainMidi();  // a slow GUI: the ring of 250 overflows
    std::this_thread::sleep_for(50ms);
  }
  peer_->Flood(0);
  const long grown = ResidentKilobytes() - settled;
  EXPECT_GT(peer_->FloodSent(), 30000);
  EXPECT_GT(received, 4 * 3000) << "the drain kept getting messages";
  EXPECT_LT(grown, 16 * 1024) << "kB grown under the flood";
  const int lines = LogLinesWith("error - overload - maxMidiMessages");
  EXPECT_GE(lines, 2);
  EXPECT_LE(lines, 5) << "one line a second at most";
  // The input still works afterwards, behind what the flood left.
  const std::string after = Text(Row({{0x90, 0x01, 0x02}}));
  EXPECT_EQ(after.substr(after.size() - 11), "1:90/0/1/2 ");
}

TEST_F(MidiJack, UnpluggedPortVanishesAndOpensAgainWhenBack) {
  ASSERT_TRUE(HasInput(peer_->OutName()));
  EXPECT_FALSE(HasInput("vantaro-test:out 00")) << "own ports are not listed";
  ASSERT_TRUE(service_->OpenInput(2, peer_->OutName()));
  ASSERT_TRUE(service_->OpenOutput(2, peer_->InName()));
  EXPECT_EQ(Text(Row({{0x90, 0x30, 0x7F}})), "3:90/0/48/127 ");

  peer_->Close();
  EXPECT_FALSE(HasInput(peer_->OutName()));
  EXPECT_FALSE(service_->OpenInput(2, peer_->OutName()));
  EXPECT_FALSE(service_->InputOpen(2));

  ASSERT_TRUE(peer_->Open());
  EXPECT_TRUE(HasInput(peer_->OutName()));
  ASSERT_TRUE(service_->OpenInput(2, peer_->OutName()));
  EXPECT_EQ(Text(Row({{0x90, 0x31, 0x7F}})), "3:90/0/49/127 ");
}

TEST_F(MidiJack, OutputsSendShortAndSysex) {
  ASSERT_TRUE(service_->OpenOutput(5, peer_->InName()));
  EXPECT_FALSE(service_->OpenOutput(6, "nobody:in"));
  service_->SendShort(5, 0x91, 0x40, 0x7F);
  service_->SendShort(5, 0xC2, 0x05, 0x00);
  service_->SendShort(6, 0x90, 0x01, 0x01);  // closed: nothing
  const Bytes request = {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7};
  service_->SendSysex(5, request);
  const std::vector<Bytes> expected = {{0x91, 0x40, 0x7F}, {0xC2, 0x05}, request};
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (peer_->Received().size() < expected.size() && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(5ms);
  EXPECT_EQ(peer_->Received(), expected);
}

}  // namespace
}  // namespace vantaro
