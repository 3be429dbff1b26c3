#pragma once
// DeckDecoder: where a deck's store thread gets its samples from. The program
// reads files through CCodecSet (MakeCodecSetDeckDecoder); tests may hand a
// deck a generated source of their own (for lengths no file on disk could
// have). Samples are always 44100 Hz interleaved signed 16-bit stereo.
//
// Threads: the owning deck's store thread only (every call may touch disk).

#include <cstdint>
#include <memory>
#include <string>

#include "codecs/base_codec.h"

namespace vantaro {

class DeckDecoder {
 public:
  virtual ~DeckDecoder() = default;
  // Opens `path`; on success `totalFrames` receives the length in frames
  // (0 or less means the file holds nothing playable). Returns false when
  // nothing could open the file.
  virtual bool Open(const std::string& path, std::int64_t& totalFrames) = 0;
  // Reads `frames` frames starting at frame `start` into `out`
  // (2 * frames samples). Returns the frames delivered.
  virtual int Read(std::int16_t* out, int frames, std::int64_t start) = 0;
  // Idempotent.
  virtual void Close() = 0;
};

// The program's decoder: a CCodecSet with `codecId`, asked for 44100 Hz
// stereo 16-bit with reads of at most one block. `extra` joins the set's
// codecs after its own (tests use it to watch the reads).
std::unique_ptr<DeckDecoder> MakeCodecSetDeckDecoder(int codecId,
                                                     std::unique_ptr<CBaseCodec> extra = nullptr);

}  // namespace vantaro
