#pragma once
// Test files for the codec tests: sound files made by sox, sox's own decoding
// of them as the reference, crafted headers and archives, whole-file reads
// through a codec set, and the debug log of a test.

#include <cstdint>
#include <string>
#include <vector>

#include "codecs/codec_set.h"
#include "tests/support/test_support.h"

namespace vantaro::test {

// A tone file made by sox: each channel c gets a sine of 300 + 150 * c Hz at
// 0.7 of full scale, `seconds` long. `soxFormat` holds the sox output options
// (e.g. "-b 24", "-e floating-point -b 32"). Returns false when sox fails.
bool MakeSoxTone(const std::string& path, int rate, int channels, const std::string& soxFormat,
                 double seconds = 0.25);

// The samples of `path` as sox decodes them: interleaved 32-bit floats.
// `inputOptions` go before the input file (e.g. "--ignore-length").
std::vector<float> SoxDecode(const std::string& path, const std::string& inputOptions = "");

// Output of `soxi <option> path`, trimmed ("" on failure).
std::string Soxi(const std::string& option, const std::string& path);

// Every frame of an open codec set as floats, read in blocks of `block`
// target frames from start to `format.frames`.
std::vector<float> ReadAllFloats(CCodecSet& set, const TCodecFormat& format, int block = 4096);

// Largest absolute difference between two sample vectors; +infinity when
// their lengths differ or both are empty.
double LargestDifference(const std::vector<float>& a, const std::vector<float>& b);

// One entry of a test archive. A `statedBytes` of -1 states the true size;
// any other value is written into the archive as the entry's unpacked size
// (the bytes are then stored, not deflated).
struct ZipEntry {
  std::string name;
  std::string bytes;
  int64_t statedBytes = -1;
};
// Writes a zip archive at `archive`. Returns false on any error.
bool MakeZip(const std::string& archive, const std::vector<ZipEntry>& entries);

// Points TMPDIR at `folder` for the lifetime of the object.
class ScopedTmpDir {
 public:
  explicit ScopedTmpDir(const std::string& folder);
  ~ScopedTmpDir();

 private:
  bool had_ = false;
  std::string old_;
};

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

// Little helpers for building headers byte by byte.
void AppendLE16(std::string& s, uint32_t v);
void AppendLE32(std::string& s, uint32_t v);
void AppendBE16(std::string& s, uint32_t v);
void AppendBE32(std::string& s, uint32_t v);
uint32_t LE32At(const std::string& s, size_t offset);
uint32_t BE32At(const std::string& s, size_t offset);

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
