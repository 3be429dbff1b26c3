#include "tests/codecs/codec_test_files.h"

#include <zip.h>
#include <zlib.h>

#include <cmath>
#include <cstring>

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

std::vector<float> ReadAllFloats(CCodecSet& set, const TCodecFormat& format, int block) {
  std::vector<float> all, buffer(static_cast<size_t>(block) * format.channels);
  for (int64_t start = 0; start < format.frames; start += block) {
    const int64_t keep =
        std::min<int64_t>(set.GetFloatSamples(buffer.data(), block, start), format.frames - start);
    if (keep <= 0) break;
    all.insert(all.end(), buffer.begin(), buffer.begin() + keep * format.channels);
  }
  return all;
}

bool MakeZip(const std::string& archive, const std::vector<ZipEntry>& entries) {
  zipFile zip = zipOpen64(archive.c_str(), APPEND_STATUS_CREATE);
  bool ok = zip != nullptr;
  for (const ZipEntry& e : entries) {
    // Written raw (stored), so that the stated size can be any number.
    const auto* bytes = reinterpret_cast<const Bytef*>(e.bytes.data());
    const auto size = static_cast<unsigned>(e.bytes.size());
    ok = ok &&
         zipOpenNewFileInZip2_64(zip, e.name.c_str(), nullptr, nullptr, 0, nullptr, 0, nullptr, 0,
                                 0, 1, 0) == ZIP_OK &&
         zipWriteInFileInZip(zip, bytes, size) == ZIP_OK &&
         zipCloseFileInZipRaw64(zip, e.statedBytes < 0 ? size : e.statedBytes,
                                crc32(0, bytes, size)) == ZIP_OK;
  }
  return zip && zipClose(zip, nullptr) == ZIP_OK && ok;
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

void AppendBytes(std::string& s, uint64_t v, int width, bool bigEndian) {
  for (int i = 0; i < width; ++i)
    s += static_cast<char>(v >> (8 * (bigEndian ? width - 1 - i : i)));
}

std::string WavFile(int tag, int channels, uint32_t rate, int bits, uint32_t dataSize,
                    const std::string& data) {
  const uint32_t block = (bits + 7) / 8 * channels;
  std::string s = "RIFF";
  AppendBytes(s, 36 + dataSize, 4, false);
  s += "WAVEfmt ";
  for (auto [value, width] : {std::pair<uint32_t, int>{16, 4},
                              {tag, 2},
                              {channels, 2},
                              {rate, 4},
                              {block * rate, 4},
                              {block, 2},
                              {bits, 2}})
    AppendBytes(s, value, width, false);
  s += "data";
  AppendBytes(s, dataSize, 4, false);
  return s + data;
}

std::string AiffFile(int channels, uint32_t frames, int bits, uint32_t rate, uint32_t ssndSize,
                     const std::string& data, uint32_t commSize) {
  std::string s = "FORM";
  AppendBytes(s, 4 + 8 + commSize + 16 + data.size(), 4, true);
  s += "AIFFCOMM";
  for (auto [value, width] :
       {std::pair<uint32_t, int>{commSize, 4}, {channels, 2}, {frames, 4}, {bits, 2}})
    AppendBytes(s, value, width, true);
  uint8_t extended[10];
  WriteExtended80(extended, rate);
  s.append(reinterpret_cast<char*>(extended), 10);
  s.append(commSize - 18, '\0');
  s += "SSND";
  AppendBytes(s, ssndSize, 4, true);
  return s + std::string(8, '\0') + data;
}

std::string AuFile(uint32_t offset, uint32_t dataSize, uint32_t encoding, uint32_t rate,
                   uint32_t channels, const std::string& data) {
  std::string s = ".snd";
  for (uint32_t field : {offset, dataSize, encoding, rate, channels})
    AppendBytes(s, field, 4, true);
  return s + data;
}

}  // namespace vantaro::test
