#pragma once
// The codec interface shared by every decoder and encoder of the program.
//
// A codec reads or writes one stream of stored samples. Decoders hand back the
// sample bytes as the file stores them (width, byte order, rate and channel
// count of the file); CCodecSet does every conversion to the caller's format.
//
// Threads: codecs are driven by one owner at a time (a CCodecSet, under the
// global codec lock, or the recorder's writer thread). Never from the audio
// thread: every operation may touch the disk.

#include <cstdint>
#include <string>

namespace vantaro {

// The format exchanged with every codec: six 32-bit integers in this order.
struct TCodecFormat {
  int32_t sampleRate = 0;     // frames per second
  int32_t channels = 0;       // channels per frame
  int32_t bitsPerSample = 0;  // bits of one stored sample; 32 means float in a target format
  int32_t containerBits = 0;  // the same value again in all decoders
  int32_t flags = 0;          // always 0
  int32_t frames = 0;         // length of the stream in frames; 0 where unknown
};
static_assert(sizeof(TCodecFormat) == 24, "TCodecFormat is six 32-bit integers");

// Open modes.
inline constexpr int kCodecRead = 0;
inline constexpr int kCodecWrite = 1;

// Start frame of GetSamples meaning "go on from where the last read ended"
// (all bits set).
inline constexpr int64_t kContinueFrame = -1;

class CBaseCodec {
 public:
  explicit CBaseCodec(int codecId) : codecId(codecId) {}

  // Slot 0. Subclasses close themselves in their own destructor (a base
  // destructor cannot reach the subclass's Close).
  virtual ~CBaseCodec() = default;

  // Slot 1. `path` is UTF-8. In read mode `format` receives the stream's
  // format; in write mode it gives the format to write. Returns non-zero when
  // the codec accepts the path; a refusal leaves the codec closed and logs
  // nothing (the codec set tries the next codec).
  virtual int Open(const std::string& path, TCodecFormat& format, int mode) = 0;

  // Slot 2. Reads up to `frames` frames of stored samples into `buffer`
  // (frames * frameSize bytes), from `startFrame`, or from the present
  // position when startFrame is kContinueFrame. Returns the frames delivered.
  virtual int GetSamples(void* buffer, int frames, int64_t startFrame) = 0;

  // Slot 3. Writes `frames` frames of samples in the opened format. Returns
  // the frames written (see each codec for its own quirks).
  virtual int PutSamples(const void* buffer, int frames) = 0;

  // Slot 4. 1 when GetSamples delivers big-endian samples.
  virtual int IsBigEndian() = 0;

  // Slot 5. Seconds of the stream as each codec defines them.
  virtual float GetSeconds() = 0;

  // Slot 6. Idempotent.
  virtual void Close() = 0;

  // Slot 7. Short constant text naming the codec.
  virtual const char* GetName() { return "codec"; }

  // Slot 8. Frames at 44100 Hz and a flag; only the video decoder uses it.
  virtual void SetVideoClock(int64_t frames44100, int flag) {
    (void)frames44100;
    (void)flag;
  }

  CBaseCodec(const CBaseCodec&) = delete;
  CBaseCodec& operator=(const CBaseCodec&) = delete;

  int codecId;             // the integer given to the constructor
  int opened = 0;          // 0 or 1
  int frameSize = 1;       // bytes of one stored frame; 1 while closed
  int64_t framesDone = 0;  // frames read or written since Open
  int sampleRate = 0;      // frames per second of the open stream, 0 while closed

  // How the codec set reads stored samples whose width alone does not say
  // their coding (the width is frameSize / channels bytes). The defaults,
  // unsigned 8-bit and integer samples, fit WAV and the compressed readers;
  // a reader of signed 8-bit or of float samples sets its flag at Open.
  int unsigned8 = 1;     // 1: 8-bit samples are unsigned, 0: signed
  int floatSamples = 0;  // 1: 4- and 8-byte samples are IEEE floats
};

}  // namespace vantaro
