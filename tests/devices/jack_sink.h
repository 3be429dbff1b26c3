#pragma once
// A JACK client for the tests: it registers input ports, so that PortAudio
// lists it as an output device of as many channels, and records what
// arrives at those ports once asked to.
//
// The server is the one of JACK_DEFAULT_SERVER; it is never started here.

#include <jack/jack.h>

#include <atomic>
#include <string>
#include <vector>

namespace vantaro::test {

class JackSink {
 public:
  // `name` should be unique per process (see UniqueJackName); `capacity`
  // is the longest recording in frames.
  JackSink(const std::string& name, int ports, long capacityFrames);
  ~JackSink();
  JackSink(const JackSink&) = delete;
  JackSink& operator=(const JackSink&) = delete;

  // False when the server could not be reached or a port not registered.
  bool Ok() const { return client_ != nullptr; }
  // The PortAudio row name of this client.
  std::string RowName() const;

  // Drops what was recorded and records from the next period on.
  void StartRecording();
  // Waits until `frames` frames were recorded or `timeoutSeconds` passed;
  // then stops recording. Returns true when the frames arrived.
  bool RecordFor(long frames, double timeoutSeconds);
  // The recording, interleaved, one channel per port.
  std::vector<float> Recording() const;
  // Over-/underruns the server reported since the client started: a
  // recording spanning one may hold a glitch that is not the program's.
  long Xruns() const { return xruns_.load(); }
  int Ports() const { return static_cast<int>(ports_.size()); }

 private:
  static int Process(jack_nframes_t frames, void* self);
  static int Xrun(void* self);

  jack_client_t* client_ = nullptr;
  std::string name_;
  std::vector<jack_port_t*> ports_;
  std::vector<std::vector<float>> channels_;  // capacity frames each
  long capacity_;
  std::atomic<bool> recording_{false};
  std::atomic<long> recorded_{0};
  std::atomic<long> xruns_{0};
};

// "<prefix>-<pid>-<counter>": a client name no other test process uses.
std::string UniqueJackName(const std::string& prefix);

}  // namespace vantaro::test
