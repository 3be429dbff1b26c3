#pragma once
// A MIDI service without devices for the controller tests: the test sets
// the port names there are, queues identity replies, and reads back what
// was opened and sent.

#include <array>
#include <map>
#include <string>
#include <vector>

#include "control/midi_ports.h"

namespace vantaro::test {

class FakeMidiPorts : public MidiPorts {
 public:
  struct Sent {
    int slot, status, data1, data2;
    bool operator==(const Sent&) const = default;
  };

  std::vector<std::string> InputNames() override { return inputs; }
  std::vector<std::string> OutputNames() override { return outputs; }
  bool OpenInput(int slot, const std::string& name) override {
    ++openAttempts;
    if (name == refused) return false;
    openInputs[slot] = name;
    return true;
  }
  void CloseInput(int slot) override { openInputs.erase(slot); }
  bool OpenOutput(int slot, const std::string& name) override {
    openOutputs[slot] = name;
    return true;
  }
  void CloseOutput(int slot) override { openOutputs.erase(slot); }
  void SendShort(int slot, int status, int data1, int data2) override {
    if (openOutputs.count(slot)) shorts.push_back({slot, status, data1, data2});
  }
  void SendSysex(int slot, const std::vector<std::uint8_t>& bytes) override {
    if (openOutputs.count(slot)) sysex.push_back(bytes);
  }
  std::vector<std::uint8_t> TakeIdentityReply(int slot) override {
    std::vector<std::uint8_t> reply;
    reply.swap(replies[slot]);
    return reply;
  }

  std::vector<std::string> inputs, outputs;
  std::string refused;  // an input that will not open
  int openAttempts = 0;
  std::map<int, std::string> openInputs, openOutputs;
  std::vector<Sent> shorts;
  std::vector<std::vector<std::uint8_t>> sysex;
  std::array<std::vector<std::uint8_t>, kControllerSlots> replies;
};

}  // namespace vantaro::test
