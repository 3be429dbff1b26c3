#pragma once
// Test files for the codec tests: tones made by sox, crafted headers and
// archives, whole-file reads through a codec set, and the debug log of a test.

#include <cstdint>
#include <string>
#include <vector>

#include "codecs/codec_set.h"
#include "tests/support/test_support.h"

namespace vantaro::test {

// A tone file made by sox: each channel c gets a sine of 300 + 150 * c Hz at
// 0.7 of full scale. `soxFormat` holds the sox output options (e.g. "-b 24",
// "-t wavpcm"). Returns false when sox fails.
bool MakeSoxTone(const std::string& path, int rate, int channels, const std::string& soxFormat,
                 double seconds = 0.25);

// Every frame of an open codec set as floats, read in blocks of `block`
// target frames from start to `format.frames`.
std::vector<float> ReadAllFloats(CCodecSet& set, const TCodecFormat& format, int block = 4096);

// One entry of a test archive, stored. A `statedBytes` of -1 states the true
// size; any other value is written into the archive as the unpacked size.
struct ZipEntry {
  std::string name;
  std::string bytes;
  int64_t statedBytes = -1;
};
// Writes a zip archive at `archive`. Returns false on any error.
bool MakeZip(const std::string& archive, const std::vector<ZipEntry>& entries);

// The debug log of a test: lines logged while the object lives go to a file
// of its own, read by Text().
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  std::string Text() const;

 private:
  TempDir folder_;
};

// Appends the `width` low bytes of `v` in the given byte order.
void AppendBytes(std::string& s, uint64_t v, int width, bool bigEndian);

// A plain WAV header (44 bytes) with the given fields, followed by `data`.
std::string WavFile(int tag, int channels, uint32_t rate, int bits, uint32_t dataSize,
                    const std::string& data);
// An AIFF with COMM (size `commSize`, padded with zeros past 18 bytes) and
// SSND chunks, followed by `data`.
std::string AiffFile(int channels, uint32_t frames, int bits, uint32_t rate, uint32_t ssndSize,
                     const std::string& data, uint32_t commSize = 18);
// An Au header with the given fields, followed by `data`.
std::string AuFile(uint32_t offset, uint32_t dataSize, uint32_t encoding, uint32_t rate,
                   uint32_t channels, const std::string& data);

}  // namespace vantaro::test
