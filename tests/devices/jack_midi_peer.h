#pragma once
// A JACK client for the MIDI tests and benchmark: the "device" on the other
// end of the program's ports. It has one MIDI output ("out"), whose events
// the test queues as raw bytes (well-formed or not) or as a flood at a fixed
// rate, and one MIDI input ("in") that records what arrives. Closing and
// opening it again unplugs and replugs the device. The server is the one of
// JACK_DEFAULT_SERVER; it is never started here.

#include <jack/jack.h>
#include <jack/midiport.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace vantaro::test {

class JackMidiPeer {
 public:
  using Bytes = std::vector<std::uint8_t>;

  explicit JackMidiPeer(std::string name) : name_(std::move(name)) { Open(); }
  ~JackMidiPeer() { Close(); }

  bool Open() {
    if (client_) return true;
    client_ = jack_client_open(name_.c_str(), JackNoStartServer, nullptr);
    if (!client_) return false;
    out_ = jack_port_register(client_, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    in_ = jack_port_register(client_, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    jack_set_process_callback(client_, &JackMidiPeer::Process, this);
    if (!out_ || !in_ || jack_activate(client_) != 0) Close();
    return client_ != nullptr;
  }
  void Close() {
    if (client_) jack_client_close(client_);
    client_ = nullptr;
  }
  bool Ok() const { return client_ != nullptr; }
  // The name the program lists for the output, and for the input.
  std::string OutName() const { return name_ + ":out"; }
  std::string InName() const { return name_ + ":in"; }

  // Each entry goes out as one JACK event in the next period.
  void Send(const std::vector<Bytes>& events) {
    std::lock_guard<std::mutex> guard(lock_);
    pending_.insert(pending_.end(), events.begin(), events.end());
  }
  // Polyphonic key pressure (0xA0, which no test script maps) at
  // `perSecond` until stopped (0).
  void Flood(int perSecond) { floodRate_.store(perSecond); }
  long FloodSent() const { return floodSent_.load(); }
  // The last event sent by Send on JACK's clock (us): the time of its frame
  // (jack_frames_to_time), and the time the process callback wrote it.
  jack_time_t LastSentTime() const { return lastSentUs_.load(); }
  jack_time_t LastWrittenTime() const { return lastWrittenUs_.load(); }

  std::vector<Bytes> Received() {
    std::lock_guard<std::mutex> guard(lock_);
    return received_;
  }

 private:
  static int Process(jack_nframes_t frames, void* self) {
    static_cast<JackMidiPeer*>(self)->Cycle(frames);
    return 0;
  }
  // The test's own client may lock: a missed try_lock waits for the next
  // period.
  void Cycle(jack_nframes_t frames) {
    void* out = jack_port_get_buffer(out_, frames);
    jack_midi_clear_buffer(out);
    void* in = jack_port_get_buffer(in_, frames);
    std::unique_lock<std::mutex> guard(lock_, std::try_to_lock);
    if (!guard) return;
    const jack_nframes_t count = jack_midi_get_event_count(in);
    for (jack_nframes_t i = 0; i < count; ++i) {
      jack_midi_event_t event;
      if (jack_midi_event_get(&event, in, i) == 0)
        received_.emplace_back(event.buffer, event.buffer + event.size);
    }
    jack_nframes_t time = 0;
    for (const Bytes& event : pending_) {
      jack_midi_event_write(out, time, event.data(), event.size());
      lastSentUs_.store(jack_frames_to_time(client_, jack_last_frame_time(client_) + time));
      lastWrittenUs_.store(jack_get_time());
      if (time + 1 < frames) ++time;
    }
    pending_.clear();
    FloodCycle(out, frames);
  }
  void FloodCycle(void* out, jack_nframes_t frames) {
    const int rate = floodRate_.load();
    if (rate <= 0) return;
    floodDue_ += static_cast<double>(rate) * frames / jack_get_sample_rate(client_);
    for (jack_nframes_t time = 0; floodDue_ >= 1.0; floodDue_ -= 1.0) {
      const std::uint8_t note[3] = {0xA0, static_cast<std::uint8_t>(floodSent_ % 128), 0x40};
      if (jack_midi_event_write(out, time, note, 3) != 0) break;
      ++floodSent_;
      if (time + 1 < frames) ++time;
    }
  }

  std::string name_;
  jack_client_t* client_ = nullptr;
  jack_port_t* out_ = nullptr;
  jack_port_t* in_ = nullptr;
  std::mutex lock_;
  std::vector<Bytes> pending_, received_;
  std::atomic<int> floodRate_{0};
  std::atomic<long> floodSent_{0};
  std::atomic<jack_time_t> lastSentUs_{0}, lastWrittenUs_{0};
  double floodDue_ = 0;
};

}  // namespace vantaro::test
