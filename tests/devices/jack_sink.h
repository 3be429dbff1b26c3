#pragma once
// A JACK client for the tests: it registers input ports, so that PortAudio
// lists it as an output device of as many channels, and records what
// arrives at those ports when asked. The server is the one of
// JACK_DEFAULT_SERVER; it is never started here.

#include <jack/jack.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace vantaro::test {

class JackSink {
 public:
  // `prefix` is made unique per process and sink.
  JackSink(const std::string& prefix, int ports) : ports(ports), buffer_(kCapacity * ports) {
    static int counter = 0;
    const std::string name =
        prefix + "-" + std::to_string(getpid()) + "-" + std::to_string(++counter);
    client_ = jack_client_open(name.c_str(), JackNoStartServer, nullptr);
    for (int i = 0; client_ && i < ports; ++i) {
      const std::string port = "in_" + std::to_string(i + 1);
      ports_.push_back(
          jack_port_register(client_, port.c_str(), JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0));
    }
    if (!client_) return;
    name_ = jack_get_client_name(client_);
    jack_set_process_callback(client_, &JackSink::Process, this);
    jack_set_xrun_callback(client_, &JackSink::Xrun, this);
    if (std::count(ports_.begin(), ports_.end(), nullptr) > 0 || jack_activate(client_) != 0) {
      jack_client_close(client_);
      client_ = nullptr;
    }
  }
  ~JackSink() {
    if (client_) jack_client_close(client_);
  }
  bool Ok() const { return client_ != nullptr; }
  std::string RowName() const { return "JACK Audio Connection Kit: " + name_; }

  // Records `frames` (at most 3 s) from the next period on, waiting at most
  // 10 s; answers them interleaved, one channel a port, fewer when JACK
  // delivered fewer.
  std::vector<float> Record(long frames) {
    recorded_ = 0;
    wanted_ = frames;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (recorded_ < frames && std::chrono::steady_clock::now() < deadline)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    wanted_ = 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // a period in flight
    return std::vector<float>(buffer_.begin(), buffer_.begin() + recorded_ * ports);
  }

  const int ports;
  std::atomic<long> xruns{0};  // a recording spanning one may glitch, not our fault

 private:
  static constexpr long kCapacity = 3 * 44100;
  static int Xrun(void* arg) {
    static_cast<JackSink*>(arg)->xruns.fetch_add(1);
    return 0;
  }
  static int Process(jack_nframes_t frames, void* arg) {
    auto* self = static_cast<JackSink*>(arg);
    // The wish first: Record resets the count only while it is 0.
    const long wanted = self->wanted_.load(), done = self->recorded_.load();
    const long take = std::min<long>(frames, wanted - done);
    for (int c = 0; c < self->ports; ++c) {
      const auto* in = static_cast<const float*>(jack_port_get_buffer(self->ports_[c], frames));
      for (long i = 0; i < take; ++i) self->buffer_[(done + i) * self->ports + c] = in[i];
    }
    if (take > 0) self->recorded_.store(done + take);
    return 0;
  }

  jack_client_t* client_ = nullptr;
  std::string name_;
  std::vector<jack_port_t*> ports_;
  std::vector<float> buffer_;  // kCapacity frames, interleaved
  std::atomic<long> recorded_{0}, wanted_{0};
};

}  // namespace vantaro::test
