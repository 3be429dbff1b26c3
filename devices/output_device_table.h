#pragma once
// The table of output devices the user can choose from: one row per
// PortAudio output device on the ALSA and JACK host APIs, ALSA rows first,
// then JACK rows, one index running through both. A row's name is
// "HostApi: device name", which is also what config.xml stores.
//
// Threads: filled and read by the GUI thread only (enumeration, settings
// dialog, OpenAudio). Tests fill their own tables.

#include <string>
#include <string_view>
#include <vector>

namespace vantaro {

// Which host API a row belongs to. JACK rows are ordinary rows: the user's
// output mode applies to them and a second device may be chosen with them.
enum OutputHostApi { kHostAlsa = 0, kHostJack = 1 };

struct TOutputDeviceRow {
  std::string name;  // "ALSA: HDA Intel PCH: ALC892 Analog (hw:0,0)"
  OutputHostApi hostApi = kHostAlsa;
  int portAudioIndex = -1;  // PortAudio's device index; -1 in tables built by tests
  int maxOutputChannels = 2;
  int maxInputChannels = 2;
};

class OutputDeviceTable {
 public:
  static constexpr int kMaxRows = 100;

  void Clear() { rows_.clear(); }
  // Appends a row unless the table is full or the device is excluded
  // (IsExcludedOutputName). Returns true when the row was added.
  bool Add(const TOutputDeviceRow& row);

  int Count() const { return static_cast<int>(rows_.size()); }
  // Null when `index` is out of range.
  const TOutputDeviceRow* Row(int index) const;
  // Empty when `index` is out of range.
  std::string Name(int index) const;
  // Index of the row named exactly `name`, -1 when there is none (an empty
  // name matches nothing).
  int Find(std::string_view name) const;

 private:
  std::vector<TOutputDeviceRow> rows_;
};

// True for devices never offered: the BCD-2000/3000 family (a controller
// whose audio interface must not carry the mix), whatever the host API adds
// around the name.
bool IsExcludedOutputName(std::string_view deviceName);

// "HostApi: device name", the row name shown and stored.
std::string MakeOutputRowName(std::string_view hostApiName, std::string_view deviceName);

}  // namespace vantaro
