#pragma once
// CDecoderFFMpeg: the compressed-audio reader of the codec set (MP3, AAC, Ogg
// Vorbis, Opus, FLAC, WMA), and the last resort for the WAV, AIFF and Au files
// the native readers refuse (extensible WAV, AIFC, 8-bit AIFF, mu-law Au).
//
// It delivers interleaved signed 16-bit little-endian samples at 44100 Hz with
// the file's own channel count; other rates are converted here with a
// windowed-sinc filter (libswresample), so the codec set never interpolates.
// It reads forwards only: the start frame of GetSamples is ignored except 0,
// which puts the stream's leading silence (from a positive start time, at most
// 441,000 bytes) into the pending ring first, on every read from 0.
//
// Length contract the deck relies on:
//  - `frames` reported by Open is the leading silence plus the stream's frames
//    at 44100 Hz, exact for an intact file, also for MP3 files without a
//    Xing/Info header (their packets are counted at Open) and for files whose
//    rate is converted.
//  - GetSamples returns the frames actually delivered: fewer than asked only
//    at the real end of the stream, 0 after it. Nothing past the returned
//    count is written to the buffer.
//  - When a damaged file ends before its reported length, reading stops there
//    and GetFrames()/GetSeconds() are corrected to the frames delivered, so a
//    reader that stops at the first short read plays the file to its real end.
//
// Threads: one owner at a time, never the audio thread. Through a codec set,
// Open, GetSamples and Close run under the global codec lock, except the
// length scan of Open, which lets it go (see CountPacketFrames). The decoder
// has no lock of its own: it would guard nothing its one owner does not
// already order, and holding it across that scan would take the two locks
// in both orders.

#include <cstdint>
#include <memory>
#include <string>

#include "base/byte_ring.h"
#include "codecs/base_codec.h"
#include "codecs/ffmpeg_audio_stream.h"

namespace vantaro {

class CDecoderFFMpeg : public CBaseCodec {
 public:
  // Bytes of the pending ring: three seconds of 16-bit stereo at 44100 Hz.
  static constexpr int kPendingBytes = 529200;
  // Most leading silence put in front of a read from 0, in bytes.
  static constexpr int kMaxLeadingSilenceBytes = 441000;

  explicit CDecoderFFMpeg(int codecId);
  ~CDecoderFFMpeg() override;

  // Accepts paths ending (lower case) in "mp3", "m3e", "aac", "ogg", "flac",
  // "m4a", "opus", "wma", "wav", "aif", "aiff" or "au"; "kv:/" in front is
  // dropped. Mode is ignored (no writing). Returns 1 when opened.
  int Open(const std::string& path, TCodecFormat& format, int mode) override;
  // Returns the frames delivered into `buffer` (frames * channels * 2 bytes).
  int GetSamples(void* buffer, int frames, int64_t startFrame) override;
  int PutSamples(const void* buffer, int frames) override;
  int IsBigEndian() override { return 0; }
  // Length in seconds while open (see GetFrames), 0 while closed.
  float GetSeconds() override;
  void Close() override;
  const char* GetName() override { return "ffmpeg-audio"; }

  // Length in frames at 44100 Hz as known now: the count reported by Open,
  // corrected once decoding has reached a real end that differs from it.
  int64_t GetFrames() const { return format_.frames; }
  // True once the stream has delivered its last frame.
  bool ReachedEnd() const;

  // The ending test of Open, on the lower-cased path.
  static bool AcceptsPath(const std::string& path);
  // `path` without a leading "kv:/".
  static std::string PlainPath(const std::string& path);

 private:
  void PutLeadingSilence();
  int64_t TakePending(uint8_t* out, int64_t bytes);
  int64_t DecodeInto(uint8_t* out, int64_t bytes);

  TCodecFormat format_;
  FFmpegAudioStream stream_;
  std::unique_ptr<ByteRing> pending_;
  int64_t leadBytes_ = 0;  // leading silence of a read from 0, whole frames
  bool droppedWarned_ = false;
  bool endSeen_ = false;  // the real end was reached and the length corrected
  std::string path_;      // for the one log line of a damaged file
};

}  // namespace vantaro
