#include "tests/codecs/ffmpeg_fixtures.h"

#include <sys/stat.h>

#include <cctype>
#include <cmath>
#include <map>
#include <memory>
#include <tuple>

#include "codecs/base_codec.h"
#include "codecs/codec_set.h"
#include "tests/support/test_support.h"

namespace vantaro::test {

namespace {

constexpr const char* kQuiet = "ffmpeg -nostdin -hide_banner -loglevel error -y ";

// Shell recipes: $S, $F and $E are tone files (see FFmpegFixture), $O the
// output file.
const std::map<std::string, std::string>& Recipes() {
  static const std::map<std::string, std::string> recipes = {
      {"cbr.mp3", "-i $S -c:a libmp3lame -b:a 192k $O"},
      {"cbr_noxing.mp3", "-i $S -c:a libmp3lame -b:a 192k -write_xing 0 $O"},
      {"vbr.mp3", "-i $S -c:a libmp3lame -q:a 2 $O"},
      {"vbr_noxing.mp3", "-i $S -c:a libmp3lame -q:a 2 -write_xing 0 $O"},
      {"aac.m4a", "-i $S -c:a aac -b:a 192k $O"},
      {"vorbis.ogg", "-i $S -c:a libvorbis -q:a 6 $O"},
      {"opus.opus", "-i $S -c:a libopus -b:a 160k $O"},
      {"flac.flac", "-i $S $O"},
      {"flac48.flac", "-i $S -ar 48000 $O"},
      {"ext24.wav", "-i $S -c:a pcm_s24le $O"},
      {"late1.ogg", "-i $S -c:a libvorbis -output_ts_offset 1 $O"},
      {"late5.ogg", "-i $S -c:a libvorbis -output_ts_offset 5 $O"},
      {"video.ogg", "-f lavfi -i testsrc=size=64x48:rate=10 -t 1 -c:v libtheora $O"},
      {"five.m4a", "-i $F -c:a aac -b:a 256k $O"},
      {"eight.flac", "-i $E $O"},
      {"adts.aac", "-i $S -c:a aac -b:a 192k $O"},
      {"wma.wma", "-i $S -c:a wmav2 -b:a 192k $O"},
      {"flac96.flac", "-i $S -ar 96000 $O"},
  };
  return recipes;
}

TempDir& Folder() {
  static TempDir folder;
  return folder;
}

bool Exists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && info.st_size > 0;
}

std::string Replace(std::string text, const std::string& key, const std::string& value) {
  for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + value.size()))
    text.replace(at, key.size(), value);
  return text;
}

// A 3-second 16-bit 44100 Hz sox tone file whose channel i carries
// firstHz + i * stepHz at amplitude 0.5.
std::string ToneWav(int channels, int firstHz, int stepHz) {
  const std::string path =
      Folder().File("tones" + std::to_string(channels) + "_" + std::to_string(firstHz) + ".wav");
  std::string tones;
  for (int i = 0; i < channels; ++i) tones += " sine " + std::to_string(firstHz + stepHz * i);
  if (!Exists(path))
    RunCommand("sox -D -n -r 44100 -c " + std::to_string(channels) + " -b 16 '" + path +
               "' synth 3" + tones + " vol 0.5");
  return path;
}

// The path in single quotes for the shell. (Built by appending: g++ 12
// warns falsely on "'" + path + "'" at -O2.)
std::string ShellQuoted(const std::string& path) {
  std::string quoted;
  quoted.reserve(path.size() + 2);
  quoted += '\'';
  quoted += path;
  quoted += '\'';
  return quoted;
}

}  // namespace

std::string FFmpegFixture(const std::string& name) {
  const std::string path = Folder().File(name);
  if (Exists(path)) return path;
  const auto recipe = Recipes().find(name);
  if (recipe == Recipes().end()) return "";
  std::string command = recipe->second;
  // $S is the test signal, $F and $E five and eight channels of their own
  // tones (300, 500, 700, ... Hz), so a test can tell which landed where.
  for (auto [key, channels, firstHz, stepHz] :
       {std::tuple{"$S", 2, 1000, 0}, std::tuple{"$F", 5, 300, 200}, std::tuple{"$E", 8, 300, 200}})
    if (command.find(key) != std::string::npos)
      command = Replace(command, key, ShellQuoted(ToneWav(channels, firstHz, stepHz)));
  command = Replace(command, "$O", ShellQuoted(path));
  if (RunCommand(kQuiet + command) != 0 || !Exists(path)) return "";
  return path;
}

std::string FixtureScratchPath(const std::string& name) {
  return Folder().File(name);
}

std::string CutFixture(const std::string& name, const std::string& copyName, double fraction) {
  const std::string from = FFmpegFixture(name);
  if (from.empty()) return "";
  const std::string data = ReadFile(from);
  const std::string path = FixtureScratchPath(copyName);
  WriteFile(path, data.substr(0, static_cast<size_t>(data.size() * fraction)));
  return path;
}

::testing::AssertionResult OpenFixture(CBaseCodec& codec, const std::string& name,
                                       TCodecFormat& format) {
  const std::string path = name.find('/') != std::string::npos ? name : FFmpegFixture(name);
  if (path.empty()) return ::testing::AssertionFailure() << "could not make " << name;
  if (codec.Open(path, format, kCodecRead) != 1)
    return ::testing::AssertionFailure() << "could not open " << path;
  return ::testing::AssertionSuccess();
}

std::string FileTestName(std::string file) {
  for (char& ch : file)
    if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
  return file;
}

std::vector<float> ReadDecoderToEnd(CBaseCodec& codec, int channels, int blockFrames, int* reads) {
  std::vector<float> out;
  std::vector<int16_t> block(static_cast<size_t>(blockFrames) * channels);
  int calls = 0;
  int64_t start = 0;
  while (calls < 100000) {
    const int got = codec.GetSamples(block.data(), blockFrames, start);
    ++calls;
    for (int i = 0; i < got * channels; ++i) out.push_back(block[i] / 32768.0f);
    if (got < blockFrames) break;
    start = kContinueFrame;
  }
  if (reads) *reads = calls;
  return out;
}

std::vector<float> ReadSetToEnd(CCodecSet& set, int channels, int blockFrames) {
  std::vector<float> out;
  std::vector<float> block(static_cast<size_t>(blockFrames) * channels);
  int64_t start = 0;
  for (int calls = 0; calls < 100000; ++calls) {
    const int got = set.GetFloatSamples(block.data(), blockFrames, start);
    out.insert(out.end(), block.begin(), block.begin() + static_cast<size_t>(got) * channels);
    if (got < blockFrames) break;
    start += got;
  }
  return out;
}

double LevelDb(const std::vector<float>& samples, int channels, int channel) {
  const double reference = kSignalAmplitude / std::sqrt(2.0);
  return 20.0 * std::log10(Rms(samples, channels, channel) / reference);
}

std::vector<float> Frames(const std::vector<float>& samples, int channels, int64_t first,
                          int64_t count) {
  const size_t begin = static_cast<size_t>(first) * channels;
  const size_t end = std::min(samples.size(), static_cast<size_t>(first + count) * channels);
  if (begin >= end) return {};
  return std::vector<float>(samples.begin() + begin, samples.begin() + end);
}

int64_t FirstSoundFrame(const std::vector<float>& samples, int channels, float threshold) {
  for (size_t i = 0; i < samples.size(); i += channels) {
    if (std::fabs(samples[i]) > threshold) return static_cast<int64_t>(i / channels);
  }
  return -1;
}

}  // namespace vantaro::test
