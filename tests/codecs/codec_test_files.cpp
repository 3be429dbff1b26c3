#include "tests/codecs/codec_test_files.h"

#include <zip.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "codecs/byte_order.h"
#include "tests/support/test_support.h"

namespace vantaro::test {

bool MakeSoxTone(const std::string& path, int rate, int channels, const std::string& soxFormat,
                 double seconds) {
  std::string tones;
  for (int c = 0; c < channels; ++c) tones += " sine " + std::to_string(300 + 150 * c);
  const std::string command = "sox -D -n -r " + std::to_string(rate) + " -c " +
                              std::to_string(channels) + " " + soxFormat + " '" + path +
                              "' synth " + std::to_string(seconds) + tones + " vol 0.7 2>&1";
  std::string output;
  return RunCommand(command, &output) == 0;
}

std::vector<float> SoxDecode(const std::string& path, const std::string& inputOptions) {
  const std::string raw = path + ".reference.f32";
  std::vector<float> samples;
  if (RunCommand("sox " + inputOptions + " '" + path + "' -t f32 '" + raw + "' 2>/dev/null") != 0)
    return samples;
  const std::string bytes = ReadFile(raw);
  std::remove(raw.c_str());
  samples.resize(bytes.size() / 4);
  std::memcpy(samples.data(), bytes.data(), samples.size() * 4);
  return samples;
}

std::string Soxi(const std::string& option, const std::string& path) {
  std::string output;
  if (RunCommand("soxi " + option + " '" + path + "' 2>/dev/null", &output) != 0) return "";
  while (!output.empty() && (output.back() == '\n' || output.back() == ' ')) output.pop_back();
  return output;
}

bool RewriteAsPlainWav(const std::string& in, const std::string& out, int tag) {
  const std::string file = ReadFile(in);
  if (file.size() < 12 || file.compare(0, 4, "RIFF") != 0) return false;
  size_t position = 12;
  int channels = 0, bits = 0;
  uint32_t rate = 0;
  while (position + 8 <= file.size()) {
    const std::string id = file.substr(position, 4);
    const uint32_t size = LE32At(file, position + 4);
    if (id == "fmt ") {
      channels = LE16At(file, position + 10);
      rate = LE32At(file, position + 12);
      bits = LE16At(file, position + 22);
    } else if (id == "data") {
      const std::string data = file.substr(position + 8, size);
      WriteFile(out, WavFile(tag, channels, rate, bits, static_cast<uint32_t>(data.size()), data));
      return channels > 0;
    }
    position += 8 + size + (size & 1);
  }
  return false;
}

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

double LargestDifference(const std::vector<float>& a, const std::vector<float>& b,
                         size_t lengthSlack) {
  const size_t longer = std::max(a.size(), b.size()), shorter = std::min(a.size(), b.size());
  if (longer - shorter > lengthSlack || shorter == 0)
    return std::numeric_limits<double>::infinity();
  double largest = 0;
  for (size_t i = 0; i < shorter; ++i) largest = std::max(largest, std::fabs(double(a[i]) - b[i]));
  return largest;
}

std::vector<float> Channel(const std::vector<float>& samples, int channels, int channel) {
  std::vector<float> out;
  for (size_t i = channel; i < samples.size(); i += channels) out.push_back(samples[i]);
  return out;
}

bool MakeZip(const std::string& archive, const std::vector<std::string>& files) {
  zipFile zip = zipOpen64(archive.c_str(), APPEND_STATUS_CREATE);
  if (!zip) return false;
  bool ok = true;
  for (const std::string& path : files) {
    const std::string name = path.substr(path.find_last_of('/') + 1);
    const std::string bytes = ReadFile(path);
    zip_fileinfo info = {};
    ok = ok &&
         zipOpenNewFileInZip64(zip, name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr,
                               Z_DEFLATED, Z_DEFAULT_COMPRESSION, 0) == ZIP_OK &&
         zipWriteInFileInZip(zip, bytes.data(), static_cast<unsigned>(bytes.size())) == ZIP_OK &&
         zipCloseFileInZip(zip) == ZIP_OK;
  }
  return zipClose(zip, nullptr) == ZIP_OK && ok;
}

namespace {
void AppendBytes(std::string& s, uint32_t v, int width, bool bigEndian) {
  for (int i = 0; i < width; ++i)
    s += static_cast<char>(v >> (8 * (bigEndian ? width - 1 - i : i)));
}
const uint8_t* At(const std::string& s, size_t offset) {
  return reinterpret_cast<const uint8_t*>(s.data() + offset);
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
uint16_t LE16At(const std::string& s, size_t o) {
  return ReadLE16(At(s, o));
}
uint16_t BE16At(const std::string& s, size_t o) {
  return ReadBE16(At(s, o));
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
  if (commSize > 18) s.append(commSize - 18, '\0');
  s += "SSND";
  AppendBE32(s, ssndSize);
  AppendBE32(s, 0);
  AppendBE32(s, 0);
  return s + data;
}

std::string AuFile(uint32_t offset, uint32_t dataSize, uint32_t encoding, uint32_t rate,
                   uint32_t channels, const std::string& data) {
  std::string s = ".snd";
  AppendBE32(s, offset);
  AppendBE32(s, dataSize);
  AppendBE32(s, encoding);
  AppendBE32(s, rate);
  AppendBE32(s, channels);
  return s + data;
}

}  // namespace vantaro::test
