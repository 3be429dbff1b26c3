#pragma once
// CEncoderLame: an MP3 writer on the LAME library, opened at run time with
// dlopen ("libmp3lame.so.0"): the program neither links nor needs it, and
// offers MP3 recording only when it loads.
//
// Settings: VBR near 128 kbps (quality 5, floor 32 kbps), joint stereo,
// with the LAME tag written over the first frame at close so players know
// the length. Write encodes whatever it is given at once (no holding back
// a second), and Close flushes the encoder: nothing handed in is dropped.
//
// Threads: one owner at a time (the recorder's writer thread while a file
// is open, the GUI thread to open and close). Never the audio thread.

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "codecs/base_codec.h"

namespace vantaro {

inline constexpr const char* kLameLibrary = "libmp3lame.so.0";

class CEncoderLame : public CBaseCodec {
 public:
  // Loads `library` and looks up its entry points; failures are logged and
  // leave IsAvailable false.
  explicit CEncoderLame(int codecId = 101, const char* library = kLameLibrary);
  ~CEncoderLame() override;

  int Open(const std::string& path, TCodecFormat& format, int mode) override;
  int GetSamples(void*, int, int64_t) override { return 0; }
  // Encodes `frames` frames of 16-bit samples. `frames`, or 0 when the
  // file could not be written.
  int PutSamples(const void* buffer, int frames) override;
  int IsBigEndian() override { return 0; }
  float GetSeconds() override;
  void Close() override;
  const char* GetName() override { return "lamenc"; }

  virtual bool IsAvailable() const;
  virtual void SetBitrate(int kbps) { bitrate_ = kbps; }
  virtual void SetVbr(int on) { vbr_ = on != 0; }

  // The library's own version text; empty when it is not loaded.
  std::string Version() const;

 private:
  struct Api;
  bool WriteOut(const unsigned char* bytes, int count);
  bool FinishFile();

  void* library_ = nullptr;
  std::unique_ptr<Api> api_;
  void* encoder_ = nullptr;  // lame_t
  FILE* file_ = nullptr;
  std::string path_;
  TCodecFormat format_{};
  int bitrate_ = 128;
  bool vbr_ = true;
  std::unique_ptr<unsigned char[]> out_;  // one chunk's worst-case MP3 bytes
};

}  // namespace vantaro
