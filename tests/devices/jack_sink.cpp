#include "tests/devices/jack_sink.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace vantaro::test {

JackSink::JackSink(const std::string& name, int ports, long capacityFrames)
    : capacity_(capacityFrames) {
  jack_status_t status;
  client_ = jack_client_open(name.c_str(), JackNoStartServer, &status);
  if (!client_) return;
  name_ = jack_get_client_name(client_);
  channels_.assign(static_cast<std::size_t>(ports), std::vector<float>(capacity_));
  for (int i = 0; i < ports; ++i) {
    const std::string port = "in_" + std::to_string(i + 1);
    jack_port_t* handle =
        jack_port_register(client_, port.c_str(), JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
    if (!handle) {
      jack_client_close(client_);
      client_ = nullptr;
      return;
    }
    ports_.push_back(handle);
  }
  jack_set_process_callback(client_, &JackSink::Process, this);
  jack_set_xrun_callback(client_, &JackSink::Xrun, this);
  if (jack_activate(client_) != 0) {
    jack_client_close(client_);
    client_ = nullptr;
  }
}

JackSink::~JackSink() {
  if (client_) {
    jack_deactivate(client_);
    jack_client_close(client_);
  }
}

std::string JackSink::RowName() const {
  return "JACK Audio Connection Kit: " + name_;
}

int JackSink::Process(jack_nframes_t frames, void* arg) {
  auto* self = static_cast<JackSink*>(arg);
  if (!self->recording_.load(std::memory_order_acquire)) return 0;
  const long done = self->recorded_.load(std::memory_order_relaxed);
  const long take = std::min<long>(frames, self->capacity_ - done);
  if (take <= 0) return 0;
  for (std::size_t c = 0; c < self->ports_.size(); ++c) {
    const auto* in = static_cast<const float*>(jack_port_get_buffer(self->ports_[c], frames));
    std::copy(in, in + take, self->channels_[c].begin() + done);
  }
  self->recorded_.store(done + take, std::memory_order_release);
  return 0;
}

int JackSink::Xrun(void* arg) {
  static_cast<JackSink*>(arg)->xruns_.fetch_add(1);
  return 0;
}

void JackSink::StartRecording() {
  recording_.store(false);
  // One period for a callback in flight to finish before the counter resets.
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  recorded_.store(0);
  recording_.store(true, std::memory_order_release);
}

bool JackSink::RecordFor(long frames, double timeoutSeconds) {
  const auto deadline = std::chrono::steady_clock::now() +
                        std::chrono::milliseconds(static_cast<long>(timeoutSeconds * 1000));
  while (recorded_.load(std::memory_order_acquire) < std::min(frames, capacity_) &&
         std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  recording_.store(false, std::memory_order_release);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return recorded_.load() >= std::min(frames, capacity_);
}

std::vector<float> JackSink::Recording() const {
  const long frames = recorded_.load(std::memory_order_acquire);
  const std::size_t count = channels_.size();
  std::vector<float> out(static_cast<std::size_t>(frames) * count);
  for (long i = 0; i < frames; ++i)
    for (std::size_t c = 0; c < count; ++c)
      out[static_cast<std::size_t>(i) * count + c] = channels_[c][static_cast<std::size_t>(i)];
  return out;
}

std::string UniqueJackName(const std::string& prefix) {
  static int counter = 0;
  return prefix + "-" + std::to_string(getpid()) + "-" + std::to_string(++counter);
}

}  // namespace vantaro::test
