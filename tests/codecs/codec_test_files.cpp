#include "tests/codecs/codec_test_files.h"

#include <zip.h>
#include <zlib.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "base/debug_log.h"
#include "codecs/byte_order.h"

namespace vantaro::test {

bool MakeSoxTone(const std::string& path, int rate, int channels, const std::string& soxFormat,
                 double seconds) {
  std::string tones;
  for (int c = 0; c < channels; ++c) tones += " sine " + std::to_string(300 + 150 * c);
  return RunCommand("sox -D -n -r " + std::to_string(rate) + " -c " + std::to_string(channels) +
                    " " + soxFormat + " '" + path + "' synth " + std::to_string(seconds) + tones +
                    " vol 0.7 2>&1") == 0;
}

std::vector<float> SoxDecode(const std::string& path, const std::string& inputOptions) {
  std::string raw;
  std::vector<float> samples;
  if (RunCommand("sox " + inputOptions + " '" + path + "' -t f32 - 2>/dev/null", &raw) != 0)
    return samples;
  samples.resize(raw.size() / 4);
  std::memcpy(samples.data(), raw.data(), samples.size() * 4);
  return samples;
}

std::string Soxi(const std::string& option, const std::string& path) {
  std::string output;
  if (RunCommand("soxi " + option + " '" + path + "' 2>/dev/null", &output) != 0) return "";
  while (!output.empty() && (output.back() == '\n' || output.back() == ' ')) output.pop_back();
  return output;
}

namespace {
const uint8_t* At(const std::string& s, size_t offset) {
  return reinterpret_cast<const uint8_t*>(s.data() + offset);
}
}  // namespace

std::vector<float> ReadAllFloats(CCodecSet& set, const TCodecFormat& format, int block) {
  std::vector<float> all;
  std::vector<float> buffer(static_cast<size_t>(block) * format.channels);
  for (int64_t start = 0; start < format.frames; start += block) {
    const int got = set.GetFloatSamples(buffer.data(), block, start);
    const int64_t keep = std::min<int64_t>(got, format.frames - start);
    if (keep <= 0) break;
    all.insert(all.end(), buffer.begin(), buffer.begin() + keep * format.channels);
  }
  return all;
}

double LargestDifference(const std::vector<float>& a, const std::vector<float>& b) {
  if (a.size() != b.size() || a.empty()) return std::numeric_limits<double>::infinity();
  double largest = 0;
  for (size_t i = 0; i < a.size(); ++i) largest = std::max(largest, std::fabs(double(a[i]) - b[i]));
  return largest;
}

bool MakeZip(const std::string& archive, const std::vector<ZipEntry>& entries) {
  zipFile zip = zipOpen64(archive.c_str(), APPEND_STATUS_CREATE);
  if (!zip) return false;
  bool ok = true;
  for (const ZipEntry& e : entries) {
    const bool lie = e.statedBytes >= 0;
    zip_fileinfo info = {};
    ok = ok &&
         zipOpenNewFileInZip2_64(zip, e.name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr,
                                 lie ? 0 : Z_DEFLATED, Z_DEFAULT_COMPRESSION, lie, 0) == ZIP_OK &&
         zipWriteInFileInZip(zip, e.bytes.data(), static_cast<unsigned>(e.bytes.size())) == ZIP_OK;
    const uLong crc =
        crc32(0, reinterpret_cast<const Bytef*>(e.bytes.data()), static_cast<uInt>(e.bytes.size()));
    ok = ok && (lie ? zipCloseFileInZipRaw64(zip, static_cast<ZPOS64_T>(e.statedBytes), crc)
                    : zipCloseFileInZip(zip)) == ZIP_OK;
  }
  return zipClose(zip, nullptr) == ZIP_OK && ok;
}

ScopedTmpDir::ScopedTmpDir(const std::string& folder) {
  const char* old = std::getenv("TMPDIR");
  had_ = old != nullptr;
  if (had_) old_ = old;
  setenv("TMPDIR", folder.c_str(), 1);
}

ScopedTmpDir::~ScopedTmpDir() {
  had_ ? setenv("TMPDIR", old_.c_str(), 1) : unsetenv("TMPDIR");
}

LogCapture::LogCapture() {
  SetDebugLogFolder(folder_.Path());
}
LogCapture::~LogCapture() {
  SetDebugLogFolder("");
}
std::string LogCapture::Text() const {
  return ReadFile(folder_.File("vantaro.log"));
}

namespace {
void AppendBytes(std::string& s, uint32_t v, int width, bool bigEndian) {
  for (int i = 0; i < width; ++i)
    s += static_cast<char>(v >> (8 * (bigEndian ? width - 1 - i : i)));
}
}  // namespace

void AppendLE16(std::string& s, uint32_t v) {
  AppendBytes(s, v, 2, false);
}
void AppendLE32(std::string& s, uint32_t v) {
  AppendBytes(s, v, 4, false);
}
void AppendBE16(std::string& s, uint32_t v) {
  AppendBytes(s, v, 2, true);
}
void AppendBE32(std::string& s, uint32_t v) {
  AppendBytes(s, v, 4, true);
}
uint32_t LE32At(const std::string& s, size_t o) {
  return ReadLE32(At(s, o));
}
uint32_t BE32At(const std::string& s, size_t o) {
  return ReadBE32(At(s, o));
}

std::string WavFile(int tag, int channels, uint32_t rate, int bits, uint32_t dataSize,
                    const std::string& data) {
  std::string s = "RIFF";
  AppendLE32(s, 36 + dataSize);
  s += "WAVEfmt ";
  AppendLE32(s, 16);
  AppendLE16(s, tag);
  AppendLE16(s, channels);
  AppendLE32(s, rate);
  const uint32_t block = (bits + 7) / 8 * channels;
  AppendLE32(s, block * rate);
  AppendLE16(s, block);
  AppendLE16(s, bits);
  s += "data";
  AppendLE32(s, dataSize);
  return s + data;
}

std::string AiffFile(int channels, uint32_t frames, int bits, uint32_t rate, uint32_t ssndSize,
                     const std::string& data, uint32_t commSize) {
  std::string s = "FORM";
  AppendBE32(s, 4 + 8 + commSize + 16 + static_cast<uint32_t>(data.size()));
  s += "AIFFCOMM";
  AppendBE32(s, commSize);
  AppendBE16(s, channels);
  AppendBE32(s, frames);
  AppendBE16(s, bits);
  uint8_t extended[10];
  WriteExtended80(extended, rate);
  s.append(reinterpret_cast<char*>(extended), 10);
  s.append(commSize - 18, '\0');
  s += "SSND";
  AppendBE32(s, ssndSize);
  AppendBE32(s, 0);
  AppendBE32(s, 0);
  return s + data;
}

std::string AuFile(uint32_t offset, uint32_t dataSize, uint32_t encoding, uint32_t rate,
                   uint32_t channels, const std::string& data) {
  std::string s = ".snd";
  for (uint32_t field : {offset, dataSize, encoding, rate, channels}) AppendBE32(s, field);
  return s + data;
}

}  // namespace vantaro::test
