// The two rings to the GUI thread: limits, overload lines written by the
// drain, wake-ups, routing of MIDI records, and senders on several threads
// at once (this program also runs under the thread sanitizer).

#include "control/gui_sync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "base/debug_log.h"
#include "base/realtime.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

// Empties both rings and the handlers around each test; the log goes to a
// file of the test's own, which the test reads.
class GuiSyncTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetDebugLogEcho(false);
    SetDebugLogFolder(dir_.Path());
    Reset();
  }
  void TearDown() override {
    Reset();
    SetDebugLogFolder("");
    SetDebugLogEcho(true);
  }
  static void Reset() {
    SetRingWake(nullptr);
    SetMidiHandlers(nullptr, nullptr);
    for (int type = 0; type < kGuiSyncTypes; ++type) SetGuiSyncHandler(type, nullptr);
    DrainGuiSync();
    DrainMidi();
  }
  int LogLinesWith(const std::string& text) const {
    const std::string log = test::ReadFile(dir_.File("vantaro.log"));
    int count = 0;
    for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1))
      ++count;
    return count;
  }

 private:
  test::TempDir dir_;
};

std::vector<MidiMessage> g_skin, g_owned;
void Skin(const MidiMessage& m) {
  g_skin.push_back(m);
}
void Owned(const MidiMessage& m) {
  g_owned.push_back(m);
}
std::vector<GuiSyncAction> g_gui;
void Gui(const GuiSyncAction& m) {
  g_gui.push_back(m);
}
std::atomic<int> g_wakes[256];
void CountWake(int id) {
  ++g_wakes[id];
}

TEST_F(GuiSyncTest, The251stMidiMessageIsLostWithOneLine) {
  g_skin.clear();
  SetMidiHandlers(nullptr, &Skin);
  for (int i = 0; i < kMaxMidiMessages; ++i)
    ASSERT_TRUE(SendMidiMessage(0, 0, 0x90, 0, i % 128, 127, i));
  EXPECT_FALSE(SendMidiMessage(0, 0, 0x90, 0, 1, 127, 250));
  EXPECT_EQ(DrainMidi(), kMaxMidiMessages);
  ASSERT_EQ(g_skin.size(), 250u);
  EXPECT_EQ(g_skin.back().time, 249) << "the last kept is the 250th";
  EXPECT_EQ(LogLinesWith("error - overload - maxMidiMessages = 250"), 1);
  EXPECT_EQ(LogLinesWith("1 dropped"), 1);
  // Room again after the drain, and no second line.
  EXPECT_TRUE(SendMidiMessage(0, 0, 0x80, 0, 1, 0, 0));
  EXPECT_EQ(DrainMidi(), 1);
  EXPECT_EQ(LogLinesWith("maxMidiMessages"), 1);
}

TEST_F(GuiSyncTest, GuiOverloadStillWritesUpToFourTimesTheLimitAndTextsAreCut) {
  g_gui.clear();
  SetGuiSyncHandler(5, &Gui);
  EXPECT_FALSE(SetGuiSyncHandler(kGuiSyncTypes, &Gui));
  const std::string longText(300, 'x');
  int written = SendGuiSyncAction(5, 0, 0, 0, 0, longText.c_str(), nullptr, longText.c_str(), "d");
  for (int i = 1; i < 100; ++i) written += SendGuiSyncAction(5, i, 0, 0, 0);
  EXPECT_EQ(written, kGuiSyncRingRecords);
  EXPECT_EQ(DrainGuiSync(), kGuiSyncRingRecords);
  ASSERT_EQ(g_gui.size(), 96u);
  for (int i = 0; i < 96; ++i) ASSERT_EQ(g_gui[i].auxi0, i) << "order kept";
  EXPECT_EQ(std::string(g_gui[0].auxs0), std::string(255, 'x'));
  EXPECT_EQ(std::string(g_gui[0].auxs1), "");
  EXPECT_EQ(std::string(g_gui[0].auxs2), std::string(127, 'x'));
  EXPECT_EQ(std::string(g_gui[0].auxs3), "d");
  EXPECT_EQ(LogLinesWith("error - overload - maxGuiSyncActionMessages = 24"), 1);
  EXPECT_EQ(LogLinesWith("4 dropped"), 1);
  EXPECT_EQ(LogLinesWith("GuiSyncAction type=5, auxi0=95,"), 1);
  EXPECT_EQ(LogLinesWith("GuiSyncAction type=5, auxi0=96,"), 0);
  // Types without a handler, or out of range, are only logged.
  SendGuiSyncAction(kGuiSyncTypes, 0, 0, 0, 0);
  SendGuiSyncAction(-1, 0, 0, 0, 0);
  EXPECT_EQ(DrainGuiSync(), 2);
  EXPECT_EQ(g_gui.size(), 96u);
}

TEST_F(GuiSyncTest, MidiGoesToItsOwnerTheConsoleOrTheSkinMap) {
  g_skin.clear();
  g_owned.clear();
  SetMidiHandlers(&Owned, &Skin);
  for (int kind : {1, 2, 4, 8, 16, 32, 64}) SendMidiMessage(0, kind, 0xB0, 0, 1, 2, 0);
  for (int kind : {0, 3, 128}) SendMidiMessage(0, kind, 0xB0, 0, 1, 2, 0);
  SendMidiMessage(7, 1, 0x90, 3, 60, 100, 0);
  EXPECT_EQ(DrainMidi(), 11);
  ASSERT_EQ(g_owned.size(), 1u);
  EXPECT_EQ(g_owned[0].owner, 7);
  EXPECT_EQ(g_owned[0].channel, 3);
  EXPECT_EQ(g_skin.size(), 3u);
  EXPECT_EQ(LogLinesWith("7 console messages dropped"), 1);
}

TEST_F(GuiSyncTest, OneWakeUpPerDrainAndNoneFromTheAudioThread) {
  for (auto& wake : g_wakes) wake = 0;
  SetRingWake(&CountWake);
  for (int i = 0; i < 3; ++i) {
    SendGuiSyncAction(2, i, 0, 0, 0);
    SendMidiMessage(0, 0, 0xB0, 0, 1, i, 0);
  }
  EXPECT_EQ(g_wakes[kGuiSyncEventId], 1);
  EXPECT_EQ(g_wakes[kMidiEventId], 1);
  DrainGuiSync();
  DrainMidi();
  std::thread audio([] {
    RealtimeScope realtime;  // an allocation here aborts in checked builds
    SendGuiSyncAction(2, 9, 0, 0, 0, "from the audio thread");
    SendMidiMessage(0, 0, 0xB0, 0, 1, 9, 0);
  });
  audio.join();
  EXPECT_EQ(g_wakes[kGuiSyncEventId], 1) << "the audio thread posts nothing";
  EXPECT_EQ(g_wakes[kMidiEventId], 1);
  EXPECT_EQ(DrainGuiSync(), 1) << "the tick's drain takes it";
  EXPECT_EQ(DrainMidi(), 1);
  SendMidiMessage(0, 0, 0xB0, 0, 1, 1, 0);
  EXPECT_EQ(g_wakes[kMidiEventId], 2) << "after a drain the next send wakes again";
}

// Four senders at once while the reader drains: every message arrives, in
// each sender's order. Senders retry a full ring, as a test may.
TEST_F(GuiSyncTest, FourSendersAtOnceKeepTheirOrder) {
  constexpr int kSenders = 4, kEach = 3000;
  g_skin.clear();
  g_gui.clear();
  SetMidiHandlers(nullptr, &Skin);
  SetGuiSyncHandler(3, &Gui);
  std::atomic<int> running{kSenders};
  std::vector<std::thread> senders;
  for (int sender = 0; sender < kSenders; ++sender) {
    senders.emplace_back([sender, &running] {
      for (int i = 0; i < kEach; ++i) {
        while (!SendMidiMessage(0, 0, 0x90, sender, 0, 0, i)) std::this_thread::yield();
        if (i % 30 == 0)
          while (!SendGuiSyncAction(3, sender, i, 0, 0)) std::this_thread::yield();
      }
      --running;
    });
  }
  while (running > 0) {
    DrainMidi();
    DrainGuiSync();
  }
  for (auto& thread : senders) thread.join();
  DrainMidi();
  DrainGuiSync();
  ASSERT_EQ(g_skin.size(), static_cast<std::size_t>(kSenders * kEach));
  ASSERT_EQ(g_gui.size(), static_cast<std::size_t>(kSenders * kEach / 30));
  int nextMidi[kSenders] = {}, nextGui[kSenders] = {};
  for (const MidiMessage& m : g_skin) ASSERT_EQ(m.time, nextMidi[m.channel]++);
  for (const GuiSyncAction& m : g_gui) {
    ASSERT_EQ(m.auxi1, nextGui[m.auxi0]);
    nextGui[m.auxi0] += 30;
  }
}

}  // namespace
}  // namespace vantaro
