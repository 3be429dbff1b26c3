#include "control/gui_sync.h"

#include <atomic>
#include <chrono>
#include <cstring>

#include "base/debug_log.h"
#include "base/realtime.h"
#include "control/message_ring.h"

namespace vantaro {
namespace {

// A ring with its wake-up flag and the counts its senders leave for the
// drain to report.
template <typename Record, std::size_t kRecords>
struct Channel {
  MessageRing<Record, kRecords> ring;
  std::atomic<bool> wakePending{false};
  std::atomic<int> overloaded{0};                      // sends that found the ring past its limit
  std::atomic<int> dropped{0};                         // sends that found it full
  std::chrono::steady_clock::time_point lastReport{};  // the drain's own
};

// Namespace scope: built before main, so the first send (perhaps from the
// audio thread) constructs nothing.
Channel<GuiSyncAction, kGuiSyncRingRecords> g_gui;
Channel<MidiMessage, kMaxMidiMessages> g_midi;
std::atomic<RingWake> g_wake{nullptr};

GuiSyncHandler g_guiHandlers[kGuiSyncTypes] = {};
MidiHandler g_ownedMidi = nullptr;
MidiHandler g_skinMidi = nullptr;

template <std::size_t kSize>
void CopyText(char (&field)[kSize], const char* text) {
  if (!text) return;
  const std::size_t length = strnlen(text, kSize - 1);
  std::memcpy(field, text, length);
  field[length] = '\0';
}

// The wake-up goes out once per drain. A real-time sender leaves it to the
// screen tick, which drains every ring on each tick.
void Wake(std::atomic<bool>& pending, int eventId) {
  if (pending.exchange(true, std::memory_order_acq_rel)) return;
  if (IsRealtimeThread()) return;
  if (RingWake wake = g_wake.load(std::memory_order_acquire)) wake(eventId);
}

// One line a second at most: a flood keeps counting into the next line.
template <typename Record, std::size_t kRecords>
void ReportOverload(Channel<Record, kRecords>& channel, const char* limitName, int limit) {
  const auto now = std::chrono::steady_clock::now();
  if (channel.lastReport != std::chrono::steady_clock::time_point{} &&
      now - channel.lastReport < std::chrono::seconds(1))
    return;
  if (channel.overloaded.load() == 0 && channel.dropped.load() == 0) return;
  channel.lastReport = now;
  const int over = channel.overloaded.exchange(0);
  const int lost = channel.dropped.exchange(0);
  if (over > 0 || lost > 0)
    DebugLog("error - overload - %s = %d (%d sent past the limit, %d dropped)", limitName, limit,
             over, lost);
}

// Kinds of the console: one bit each.
bool IsConsoleKind(int kind) {
  return kind > 0 && kind <= 64 && (kind & (kind - 1)) == 0;
}

}  // namespace

bool SendGuiSyncAction(int type, int auxi0, int auxi1, int auxi2, int auxi3, const char* auxs0,
                       const char* auxs1, const char* auxs2, const char* auxs3) {
  GuiSyncAction message;
  message.type = type;
  message.auxi0 = auxi0;
  message.auxi1 = auxi1;
  message.auxi2 = auxi2;
  message.auxi3 = auxi3;
  CopyText(message.auxs0, auxs0);
  CopyText(message.auxs1, auxs1);
  CopyText(message.auxs2, auxs2);
  CopyText(message.auxs3, auxs3);
  // Past the limit the message still goes in while there is room, and the
  // GUI is woken to catch up.
  if (g_gui.ring.Held() > kMaxGuiSyncActionMessages) {
    g_gui.overloaded.fetch_add(1, std::memory_order_relaxed);
    g_gui.wakePending.store(false, std::memory_order_relaxed);
  }
  const bool written = g_gui.ring.Push(message);
  if (!written) g_gui.dropped.fetch_add(1, std::memory_order_relaxed);
  Wake(g_gui.wakePending, kGuiSyncEventId);
  return written;
}

bool SendMidiMessage(int owner, int kind, int status, int channel, int data1, int data2, int time) {
  const MidiMessage message{owner, kind, status, channel, data1, data2, time};
  if (!g_midi.ring.Push(message)) {
    g_midi.dropped.fetch_add(1, std::memory_order_relaxed);
    return false;
  }
  Wake(g_midi.wakePending, kMidiEventId);
  return true;
}

void SetRingWake(RingWake wake) {
  g_wake.store(wake, std::memory_order_release);
}

int DrainGuiSync() {
  // The flag is cleared before reading: a message pushed during the drain
  // then wakes another (perhaps empty) drain instead of waiting for the
  // next send.
  g_gui.wakePending.store(false, std::memory_order_release);
  ReportOverload(g_gui, "maxGuiSyncActionMessages", kMaxGuiSyncActionMessages);
  int handled = 0;
  GuiSyncAction message;
  while (g_gui.ring.Pop(&message)) {
    ++handled;
    DebugLog(
        "GuiSyncAction type=%d, auxi0=%d, auxi1=%d, auxi2=%d, auxi3=%d, auxs0=%s, auxs1=%s, "
        "auxs2=%s, auxs3=%s",
        message.type, message.auxi0, message.auxi1, message.auxi2, message.auxi3, message.auxs0,
        message.auxs1, message.auxs2, message.auxs3);
    if (message.type >= 0 && message.type < kGuiSyncTypes && g_guiHandlers[message.type])
      g_guiHandlers[message.type](message);
  }
  return handled;
}

int DrainMidi() {
  g_midi.wakePending.store(false, std::memory_order_release);
  ReportOverload(g_midi, "maxMidiMessages", kMaxMidiMessages);
  int handled = 0, console = 0;
  MidiMessage message;
  while (g_midi.ring.Pop(&message)) {
    ++handled;
    if (message.owner != 0) {
      if (g_ownedMidi) g_ownedMidi(message);
    } else if (IsConsoleKind(message.kind)) {
      ++console;  // no console driver is built
    } else if (g_skinMidi) {
      g_skinMidi(message);
    }
  }
  if (console > 0) DebugLog("midi: %d console messages dropped (no console driver)", console);
  return handled;
}

bool SetGuiSyncHandler(int type, GuiSyncHandler handler) {
  if (type < 0 || type >= kGuiSyncTypes) return false;
  g_guiHandlers[type] = handler;
  return true;
}

void SetMidiHandlers(MidiHandler owned, MidiHandler skin) {
  g_ownedMidi = owned;
  g_skinMidi = skin;
}

}  // namespace vantaro
