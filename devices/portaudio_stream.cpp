#include "devices/portaudio_stream.h"

#include <pa_linux_alsa.h>
#include <portaudio.h>

#include "base/debug_log.h"

namespace vantaro {
namespace {

// PortAudio's callback thread: counts underflows and fills the block.
int StreamCallback(const void* /*input*/, void* output, unsigned long frameCount,
                   const PaStreamCallbackTimeInfo* /*timeInfo*/, PaStreamCallbackFlags statusFlags,
                   void* userData) {
  OutputBlockFiller& filler = static_cast<TDSoutput*>(userData)->Filler();
  if (statusFlags & paOutputUnderflow) filler.underflows.fetch_add(1, std::memory_order_relaxed);
  filler.Fill(static_cast<std::int16_t*>(output), static_cast<long>(frameCount));
  return paContinue;
}

}  // namespace

std::unique_ptr<TDSoutput> TDSoutput::Open(int slot, int deviceIndex, const TOutputDeviceRow& row,
                                           int blockFrames, int channels, bool multichannel,
                                           DeviceRenderCallback renderCallback, void* userData) {
  std::unique_ptr<TDSoutput> output(new TDSoutput());
  output->slot = slot;
  output->deviceIndex = deviceIndex;
  output->isMultichannel = multichannel || channels > 2;
  output->channels = channels;
  output->blockFrames = blockFrames;
  output->blockBytes = static_cast<unsigned>(blockFrames * channels * 2);
  output->filler_ =
      std::make_unique<OutputBlockFiller>(renderCallback, userData, channels, blockFrames);
  if (output->isMultichannel)
    DebugLog("portaudio - opening in multichannel - %d channels", channels);

  PaStreamParameters parameters{};
  parameters.device = row.portAudioIndex;
  parameters.channelCount = channels;
  parameters.sampleFormat = paInt16;
  parameters.suggestedLatency = static_cast<double>(blockFrames) * 8 / 44100.0;
  PaStream* stream = nullptr;
  PaError error = paInvalidDevice;
  if (row.portAudioIndex >= 0 && row.portAudioIndex < Pa_GetDeviceCount()) {
    // On ALSA the hardware ring is the program's ring: eight blocks.
    if (row.hostApi == kHostAlsa) PaAlsa_SetNumPeriods(8);
    error = Pa_OpenStream(&stream, nullptr, &parameters, 44100.0,
                          static_cast<unsigned long>(blockFrames), paClipOff | paDitherOff,
                          &StreamCallback, output.get());
  }
  if (error != paNoError) {
    DebugLog("Pa_OpenStream ERROR on \"%s\": %s", row.name.c_str(), Pa_GetErrorText(error));
    DebugLog("can't open audio device %d, index=%d FramesPerBuffer=%d, Buffers=%d", slot,
             deviceIndex, blockFrames, 8);
    return nullptr;
  }
  output->stream_ = stream;
  // The callback thread is the audio thread: FIFO scheduling where the
  // user's limits allow it (JACK's own thread is already set up by JACK).
  if (row.hostApi == kHostAlsa) PaAlsa_EnableRealtimeScheduling(stream, 1);
  return output;
}

TDSoutput::~TDSoutput() {
  Stop();
  if (stream_) {
    const PaError error = Pa_CloseStream(static_cast<PaStream*>(stream_));
    if (error != paNoError) DebugLog("Pa_CloseStream ERROR: %s", Pa_GetErrorText(error));
  }
}

bool TDSoutput::Start() {
  if (!stream_ || running_) return running_;
  filler_->stopped.store(false, std::memory_order_release);
  const PaError error = Pa_StartStream(static_cast<PaStream*>(stream_));
  if (error != paNoError) {
    DebugLog("Pa_StartStream ERROR: %s", Pa_GetErrorText(error));
    DebugLog("can't open audio device %d, index=%d FramesPerBuffer=%d, Buffers=%d", slot,
             deviceIndex, blockFrames, 8);
    return false;
  }
  running_ = true;
  return true;
}

void TDSoutput::Stop() {
  filler_->stopped.store(true, std::memory_order_release);
  if (!stream_ || !running_) return;
  running_ = false;
  const PaError error = Pa_StopStream(static_cast<PaStream*>(stream_));
  if (error != paNoError) DebugLog("Stop ERROR: %s", Pa_GetErrorText(error));
}

int TDSoutput::LatencyFrames() const {
  return static_cast<int>(blockBytes * blockCount / static_cast<unsigned>(channels * 2));
}

}  // namespace vantaro
