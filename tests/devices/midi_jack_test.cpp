// The MIDI service on a private JACK dummy server, against a JACK client of
// the test's own playing the device: bytes as a device may send them reach
// the MIDI ring under the slot's owner; identity replies; a flood; unplug
// and replug; the outputs.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
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

// Owned messages as "owner:status/channel/data1/data2 ".
std::string g_owned;
void Owned(const MidiMessage& m) {
  char one[48];
  std::snprintf(one, sizeof one, "%d:%X/%d/%d/%d ", m.owner, m.status, m.channel, m.data1, m.data2);
  g_owned += one;
}

// The end of a row: a control change on channel 16, then 0xF4 so that no
// running status carries into the next row.
const Bytes kRowEnd = {0xBF, 0x7F, 0x7F, 0xF4};
constexpr char kRowEndText[] = ":B0/15/127/127 ";

class MidiJack : public ::testing::Test {
 protected:
  void SetUp() override {
    SetDebugLogEcho(false);
    SetDebugLogFolder(dir_.Path());
    SetMidiHandlers(&Owned, nullptr);
    peer_ = std::make_unique<test::JackMidiPeer>("midipeer" + std::to_string(getpid()));
    ASSERT_TRUE(peer_->Ok()) << "no JACK server " << (getenv("JACK_DEFAULT_SERVER") ?: "");
    service_ = std::make_unique<RtMidiService>(MidiApi::kJack, nullptr, "vantaro-test");
  }
  void TearDown() override {
    service_.reset();
    SetMidiHandlers(nullptr, nullptr);
    SetDebugLogFolder("");
  }

  // Sends the events and drains the ring until the row's end came (10 s at
  // most); the messages before it.
  std::string Row(std::vector<Bytes> events) {
    events.push_back(kRowEnd);
    peer_->Send(events);
    g_owned.clear();
    for (int i = 0; i < 5000; ++i, std::this_thread::sleep_for(2ms)) {
      DrainMidi();
      const std::size_t end = g_owned.find(kRowEndText);
      if (end == std::string::npos) continue;
      const std::size_t start = g_owned.rfind(' ', end);
      return g_owned.substr(0, start == std::string::npos ? 0 : start + 1);
    }
    ADD_FAILURE() << "the row's end did not come";
    return g_owned;
  }
  bool HasInput(const std::string& name) {
    const std::vector<std::string> names = service_->InputNames();
    return std::find(names.begin(), names.end(), name) != names.end();
  }

  test::TempDir dir_;
  std::unique_ptr<test::JackMidiPeer> peer_;
  std::unique_ptr<RtMidiService> service_;
};

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
  for (const Case& c : cases) EXPECT_EQ(Row(c.events), c.expected) << c.what;
  EXPECT_GT(service_->MalformedDropped(3), 0);

  // Identity replies: nine bytes are ignored, ten kept for the slot, once.
  const Bytes ten = {0xF0, 0x7E, 0x00, 0x06, 0x02, 0x47, 0x01, 0x02, 0x03, 0xF7};
  Row({{0xF0, 0x7E, 0x00, 0x06, 0x02, 0x47, 0x01, 0x02, 0xF7}});
  EXPECT_TRUE(service_->TakeIdentityReply(3).empty());
  Row({ten});
  EXPECT_TRUE(service_->TakeIdentityReply(2).empty()) << "kept for its slot only";
  EXPECT_EQ(service_->TakeIdentityReply(3), ten);
  EXPECT_TRUE(service_->TakeIdentityReply(3).empty()) << "taken once";
}

TEST_F(MidiJack, FloodOverloadsTheRingWithOneLineASecondAndBoundedMemory) {
  ASSERT_TRUE(service_->OpenInput(0, peer_->OutName()));
  peer_->Flood(10000);
  std::this_thread::sleep_for(1s);
  const auto residentKb = [] {
    std::ifstream status("/proc/self/status");
    std::string key;
    while (status >> key && key != "VmRSS:") {
    }
    long kb = 0;
    status >> kb;
    return kb;
  };
  const long settled = residentKb();
  long received = 0;
  const auto end = std::chrono::steady_clock::now() + 4s;
  while (std::chrono::steady_clock::now() < end) {
    received += DrainMidi();  // a slow GUI: the ring of 250 overflows
    std::this_thread::sleep_for(50ms);
  }
  peer_->Flood(0);
  const long grown = residentKb() - settled;
  EXPECT_GT(peer_->FloodSent(), 30000);
  EXPECT_GT(received, 4 * 3000) << "the drain kept getting messages";
  EXPECT_LT(grown, 16 * 1024) << "kB grown under the flood";
  const std::string log = test::ReadFile(dir_.File("vantaro.log"));
  int lines = 0;
  for (std::size_t at = log.find("overload - maxMidiMessages"); at != std::string::npos;
       at = log.find("overload - maxMidiMessages", at + 1))
    ++lines;
  EXPECT_GE(lines, 2);
  EXPECT_LE(lines, 5) << "one line a second at most";
  // The input still works afterwards, behind what the flood left.
  const std::string after = Row({{0x90, 0x01, 0x02}});
  EXPECT_EQ(after.substr(after.size() - 11), "1:90/0/1/2 ");
}

TEST_F(MidiJack, PortsSendListVanishAndOpenAgainWhenBack) {
  ASSERT_TRUE(HasInput(peer_->OutName()));
  ASSERT_TRUE(service_->OpenInput(2, peer_->OutName()));
  ASSERT_TRUE(service_->OpenOutput(2, peer_->InName()));
  EXPECT_FALSE(HasInput("vantaro-test:out 02")) << "own ports are not listed";
  EXPECT_FALSE(service_->OpenOutput(6, "nobody:in"));
  EXPECT_EQ(Row({{0x90, 0x30, 0x7F}}), "3:90/0/48/127 ");

  // Outputs: a program change carries one data byte; a closed slot sends
  // nothing.
  const Bytes request = {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7};
  service_->SendShort(2, 0x91, 0x40, 0x7F);
  service_->SendShort(2, 0xC2, 0x05, 0x00);
  service_->SendShort(6, 0x90, 0x01, 0x01);
  service_->SendSysex(2, request);
  const std::vector<Bytes> sent = {{0x91, 0x40, 0x7F}, {0xC2, 0x05}, request};
  for (int i = 0; i < 2000 && peer_->Received().size() < sent.size(); ++i)
    std::this_thread::sleep_for(5ms);
  EXPECT_EQ(peer_->Received(), sent);

  peer_->Close();
  EXPECT_FALSE(HasInput(peer_->OutName()));
  EXPECT_FALSE(service_->OpenInput(2, peer_->OutName()));
  EXPECT_FALSE(service_->InputOpen(2));

  ASSERT_TRUE(peer_->Open());
  EXPECT_TRUE(HasInput(peer_->OutName()));
  ASSERT_TRUE(service_->OpenInput(2, peer_->OutName()));
  EXPECT_EQ(Row({{0x90, 0x31, 0x7F}}), "3:90/0/49/127 ");
}

}  // namespace
}  // namespace vantaro
