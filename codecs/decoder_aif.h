#pragma once
// CDecoderAIF: reads and writes AIFF files (not AIFC). Samples are
// big-endian as stored. Files outside 11025..96000 Hz or 16..32 bits are
// refused, so 8-bit AIFF is not read here.
//
// Threads: one owner at a time, never the audio thread.

#include "codecs/native_file_codec.h"

namespace vantaro {

class CDecoderAIF : public CNativeFileCodec {
 public:
  using CNativeFileCodec::CNativeFileCodec;
  ~CDecoderAIF() override { Close(); }

  int IsBigEndian() override { return 1; }
  const char* GetName() override { return "aiff"; }

 protected:
  bool AcceptsPath(const std::string& lowerPath) const override;
  bool ReadHeader(FILE* file, THeader& header) override;
  bool WriteHeader(FILE* file, const TCodecFormat& format) override;
  void PatchHeader(FILE* file) override;
};

}  // namespace vantaro
