#pragma once
// TDSoutput: one open output stream on a PortAudio device, slot 0 (the mix)
// or slot 1 (the headphones). 44100 Hz, 16-bit interleaved, `blockFrames`
// frames per callback; PortAudio's callback thread is the audio thread and
// runs the OutputBlockFiller.
//
// Threads: Open, Start, Stop and the destructor on the GUI thread, with
// PortAudio initialised. The stream callback runs on PortAudio's thread.

#include <memory>

#include "devices/device_block.h"
#include "devices/output_device_table.h"

namespace vantaro {

class TDSoutput {
 public:
  // Opens (does not start) the stream. Null on failure, after logging the
  // PortAudio error and "can't open audio device ...".
  static std::unique_ptr<TDSoutput> Open(int slot, int deviceIndex, const TOutputDeviceRow& row,
                                         int blockFrames, int channels, bool multichannel,
                                         DeviceRenderCallback renderCallback, void* userData);
  ~TDSoutput();  // stops and closes the stream
  TDSoutput(const TDSoutput&) = delete;
  TDSoutput& operator=(const TDSoutput&) = delete;

  bool Start();
  // Sets `stopped` (the callback plays silence from then on), then stops the
  // stream, which waits for the callback in flight and for queued blocks to
  // play. Safe to call twice.
  void Stop();

  int slot = 0;
  int deviceIndex = -1;
  int channels = 2;
  bool isMultichannel = false;
  int blockFrames = 0;
  unsigned blockBytes = 0;  // blockFrames * channels * 2
  unsigned blockCount = 8;

  // The ring length the user chose, in frames: blockBytes * blockCount /
  // (channels * 2).
  int LatencyFrames() const;

  OutputBlockFiller& Filler() { return *filler_; }
  const OutputBlockFiller& Filler() const { return *filler_; }

 private:
  TDSoutput() = default;

  void* stream_ = nullptr;  // PaStream*
  bool running_ = false;
  std::unique_ptr<OutputBlockFiller> filler_;
};

}  // namespace vantaro
