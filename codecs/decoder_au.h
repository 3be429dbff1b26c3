#pragma once
// CDecoderAu: reads and writes Sun/NeXT .au files with linear or float
// samples (mu-law and other encodings are refused). Samples are big-endian
// as stored. The size field of a written file counts frames, not bytes.
//
// Threads: one owner at a time, never the audio thread.

#include "codecs/native_file_codec.h"

namespace vantaro {

class CDecoderAu : public CNativeFileCodec {
 public:
  using CNativeFileCodec::CNativeFileCodec;
  ~CDecoderAu() override { Close(); }

  // Answers the frames written only when the stream's error flag is set,
  // else 0; callers of this writer don't test the value.
  int PutSamples(const void* buffer, int frames) override;
  int IsBigEndian() override { return 1; }
  const char* GetName() override { return "au"; }

  // Bits of the encoding field of an .au header; 0 for encodings not read.
  static int BitsOfEncoding(uint32_t encoding);
  // Encoding written for `bits`: 8 gives 2, 16 gives 3, 24 gives 4, 32 gives
  // 5, anything else 0.
  static uint32_t EncodingOfBits(int bits);

 protected:
  bool AcceptsPath(const std::string& lowerPath) const override;
  bool ReadHeader(FILE* file, THeader& header) override;
  bool WriteHeader(FILE* file, const TCodecFormat& format) override;
  void PatchHeader(FILE* file) override;
};

}  // namespace vantaro
