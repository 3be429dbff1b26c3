#pragma once
// CCodecSet: the decoder chain of one user (deck load, sampler, preview,
// analysis, ...). It owns one instance of each decoder class, offers a path to
// them in a fixed preference order until one accepts, and hands back samples
// in the format the caller asked for, whatever the file stores.
//
// Threads: one owner thread per object, never the audio thread. Open, the
// whole of a float read, and Close run under the global codec lock
// (codec_lock.h), so decodes of all codec sets in the process are serialised.

#include <cstdint>
#include <memory>
#include <string>

#include "codecs/base_codec.h"
#include "codecs/unpacked_archive.h"

namespace vantaro {

// round(a * b / c) in 64 bits; 0 when any of a, b, c is zero or negative.
// The one frame-count conversion between rates used by the codec layer.
int64_t ConvertFrameCount(int64_t a, int64_t b, int64_t c);

class CCodecSet {
 public:
  static constexpr int kMaxCodecs = 16;

  // Builds the decoder array for `codecId` (analysis uses 30; ids below 50
  // also get the video decoder once it exists).
  explicit CCodecSet(int codecId);
  // Closes, then destroys the codecs from the last to the first.
  ~CCodecSet();
  CCodecSet(const CCodecSet&) = delete;
  CCodecSet& operator=(const CCodecSet&) = delete;

  // Opens `path` (UTF-8) with the first codec that accepts it. `format` is
  // the target format on entry (32 bits = float); on success its `frames`
  // becomes the stream length at the target rate. `maxFrames` is the largest
  // frame count of any later read. Returns 1 on success, 0 when a codec is
  // already open, the file is missing (read mode, path not ending in "$"), or
  // no codec takes it ("no suitable codec found" is logged).
  int Open(const std::string& path, TCodecFormat& format, int mode, int maxFrames);

  // Reads `frames` frames at the target rate starting at target frame
  // `startFrame`, as interleaved 32-bit floats with the target's channel count
  // (the buffer holds frames * targetChannels floats). Returns the frames
  // delivered at the target rate; 0 when the buffer is null, frames < 256 or
  // > maxFrames, startFrame < 0, or nothing is open. Takes the codec lock.
  int GetFloatSamples(float* buffer, int frames, int64_t startFrame);

  // As GetFloatSamples, but interleaved signed 16-bit stereo (the buffer holds
  // 2 * frames samples). Reads straight into the buffer when rate, channels
  // and a 16-bit source agree with the target.
  int GetShortSamples(int16_t* buffer, int frames, int64_t startFrame);

  // Write mode: passes `frames` frames in the opened format to the codec.
  // Returns what the codec returns; 0 when nothing is open.
  int PutSamples(const void* buffer, int frames);

  // Seconds as the current codec counts them; 0 when closed.
  float GetSeconds();

  // No-op unless open. Closes the codec, frees the buffers, and removes
  // everything unpacked from an archive.
  void Close();

  // Appends `codec` behind the codecs made by the constructor; the set owns
  // it from then on. False (and the codec deleted) when the array is full or
  // a codec is open. For readers built outside this library and for tests.
  bool AddCodec(std::unique_ptr<CBaseCodec> codec);

  bool IsOpen() const { return currentCodec >= 0; }
  const TCodecFormat& SourceFormat() const { return sourceFormat; }
  const TCodecFormat& TargetFormat() const { return targetFormat; }
  int CodecCount() const { return codecCount; }
  // Index of the current codec in the array, -1 while closed.
  int CurrentCodecIndex() const { return currentCodec; }
  // The codec at `index`, null outside the array.
  CBaseCodec* CodecAt(int index) const;
  // Name of the current codec, "" while closed.
  const char* CurrentCodecName() const;
  // Path of the file unpacked from an archive by the last Open, "" if none.
  const std::string& TempPath() const { return tempPath; }

 private:
  std::string ResolvePath(const std::string& path);
  bool AllocateBuffers();
  bool AcceptsRead(const void* buffer, int frames, int64_t startFrame) const;

  TCodecFormat sourceFormat;
  TCodecFormat targetFormat;
  int maxFrames_ = 0;
  int64_t chunkFrames = 0;  // 32-bit words in readBuffer
  std::unique_ptr<int32_t[]> readBuffer;
  std::unique_ptr<int32_t[]> convertBuffer;
  int64_t readBufferWords_ = 0;
  int64_t convertBufferWords_ = 0;
  int codecCount = 0;
  int currentCodec = -1;
  CBaseCodec* codecs[kMaxCodecs] = {};
  std::string tempPath;
  CUnpackedArchive archive_;  // what the last Open unpacked, removed at Close
};

}  // namespace vantaro
