#pragma once
// The WAV file a recording writes: the program's WAV writer, with its sizes
// kept true on disk while the file grows, so that a program killed mid-set
// leaves a file every player reads. Also the repair of a file whose header
// fell behind its data (a kill between the data and the header write).
//
// Threads: the recorder's writer thread (Commit), or the GUI thread at
// start and stop. Never the audio thread.

#include <cstdint>
#include <string>

#include "codecs/decoder_wav.h"

namespace vantaro {

// Bytes of the header this writer puts before the samples.
inline constexpr int kRecordedWavHeaderBytes = 44;

class RecordingWavFile : public CDecoderWAV {
 public:
  RecordingWavFile() : CDecoderWAV(100) {}
  ~RecordingWavFile() override { Close(); }

  // Pushes what was written to the kernel and rewrites the two sizes of the
  // header from what really reached the file. False when the data or the
  // header could not be written (a full disk, a file-size limit).
  bool Commit();

 protected:
  // The recorder picks WAV for every name not ending in ".mp3": any path is
  // taken.
  bool AcceptsPath(const std::string&) const override { return true; }
  // At close: the sizes of what the file really holds, not of what was
  // handed to the stream (a failed write must not leave a header claiming
  // data that never reached the disk).
  void PatchHeader(FILE* file) override;
};

enum class WavRepair { kNotNeeded, kRepaired, kNotAWav, kFailed };

// Sets the RIFF and data sizes of a WAV file written by RecordingWavFile to
// the whole frames the file holds. `frames` receives them when given.
WavRepair RepairRecordedWav(const std::string& path, std::int64_t* frames = nullptr);

}  // namespace vantaro
