#pragma once
// The common part of the native readers and writers of uncompressed sound
// files (WAV, AIFF, Au): plain file calls, stored sample bytes handed through
// unchanged. A subclass knows its path endings and its header.
//
// Threads: one owner at a time, never the audio thread (file I/O).

#include <cstdio>
#include <string>

#include "codecs/base_codec.h"

namespace vantaro {

// Channels beyond this are taken for a lying header: buffers for one second
// of such a file would run to gigabytes.
inline constexpr int kMaxFileChannels = 64;
// Widest stored sample read or written (64-bit float Au); wider is a lie too.
inline constexpr int kMaxFileBits = 64;

class CNativeFileCodec : public CBaseCodec {
 public:
  using CBaseCodec::CBaseCodec;
  ~CNativeFileCodec() override;

  int Open(const std::string& path, TCodecFormat& format, int mode) override;
  int GetSamples(void* buffer, int frames, int64_t startFrame) override;
  int PutSamples(const void* buffer, int frames) override;
  float GetSeconds() override;
  void Close() override;

  // File position of the first sample; 0 while closed.
  int64_t DataStart() const { return dataStart; }
  // Bytes of one stored frame: ceil(bits / 8) * channels; 0 for a format
  // that cannot be stored (no or too many channels, bits outside 1..64).
  static int StoredFrameSize(int bits, int channels);

 protected:
  // What the parsed header of a file to read says.
  struct THeader {
    TCodecFormat format;
    int64_t dataStart = 0;
    int64_t dataBytes = 0;  // bytes of sample data the header claims
    int unsigned8 = 1;
    int floatSamples = 0;
  };

  // True when the lower-cased path's ending is one of this codec's.
  virtual bool AcceptsPath(const std::string& lowerPath) const = 0;
  // Parses the header of `file` (opened for reading, at offset 0). False
  // refuses the file; no message is logged.
  virtual bool ReadHeader(FILE* file, THeader& header) = 0;
  // Writes the header of a new file in `format`.
  virtual bool WriteHeader(FILE* file, const TCodecFormat& format) = 0;
  // Patches the sizes into the header of a file being closed; the file
  // position is at the end of the data.
  virtual void PatchHeader(FILE* file) = 0;
  // True when GetSeconds counts the whole stream while reading (WAV);
  // otherwise the frames read so far.
  virtual bool SecondsFromLength() const { return false; }

  // Writes `frames` frames; returns the whole frames written.
  int WriteFrames(const void* buffer, int frames);

  int writing = 0;
  FILE* readFile = nullptr;
  FILE* writeFile = nullptr;
  TCodecFormat format;
  int64_t dataStart = 0;
  int64_t dataFrames = 0;    // frames readable from dataStart (clamped to the file)
  int64_t readPosition = 0;  // next frame GetSamples reads without a start

 private:
  int OpenForReading(const std::string& path, TCodecFormat& format);
  int OpenForWriting(const std::string& path, const TCodecFormat& format);
};

// Size of an open file in bytes, -1 when it cannot be told.
int64_t FileSize(FILE* file);

}  // namespace vantaro
