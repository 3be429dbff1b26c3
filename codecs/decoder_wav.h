#pragma once
// CDecoderWAV: reads and writes RIFF WAVE files with a 16-byte "fmt " chunk
// (integer tag 1 or float tag 3). Samples are little-endian as stored.
//
// Threads: one owner at a time, never the audio thread.

#include "codecs/native_file_codec.h"

namespace vantaro {

class CDecoderWAV : public CNativeFileCodec {
 public:
  using CNativeFileCodec::CNativeFileCodec;
  ~CDecoderWAV() override { Close(); }

  int IsBigEndian() override { return 0; }
  const char* GetName() override { return "wav"; }

 protected:
  bool AcceptsPath(const std::string& lowerPath) const override;
  bool ReadHeader(FILE* file, THeader& header) override;
  bool WriteHeader(FILE* file, const TCodecFormat& format) override;
  void PatchHeader(FILE* file) override;
  bool SecondsFromLength() const override { return true; }
};

}  // namespace vantaro
