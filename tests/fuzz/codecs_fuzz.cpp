// libFuzzer target: the WAV, AIFF and Au header parsers, the unpacking of a
// karaoke archive, and the codec set's open and reads, on arbitrary file
// bytes. Any crash, sanitizer report, read outside a buffer or endless loop
// is a finding.

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "codecs/codec_set.h"
#include "codecs/decoder_aif.h"
#include "codecs/decoder_au.h"
#include "codecs/decoder_wav.h"
#include "tests/fuzz/codec_fuzz_input.h"

namespace {

std::string ScratchBase() {
  const char* shm = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
  return std::string(shm) + "/vantaro-fuzz-" + std::to_string(getpid());
}

bool WriteBytes(const std::string& path, const uint8_t* data, size_t size) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  const bool ok = std::fwrite(data, 1, size, file) == size;
  return std::fclose(file) == 0 && ok;
}

// Opens `path` with one decoder and reads it to its end in odd-sized steps,
// jumping back once.
void ReadWithDecoder(vantaro::CBaseCodec& codec, const std::string& path) {
  vantaro::TCodecFormat format{};
  if (!codec.Open(path, format, vantaro::kCodecRead)) return;
  std::vector<uint8_t> buffer(static_cast<size_t>(codec.frameSize) * 777);
  for (int step = 0; step < 64; ++step) {
    const int got = codec.GetSamples(buffer.data(), 777, step == 3 ? 1 : vantaro::kContinueFrame);
    if (got <= 0) break;
  }
  codec.GetSeconds();
  codec.Close();
}

void ReadWithCodecSet(const std::string& path, uint8_t selector) {
  vantaro::CCodecSet set(30);
  vantaro::TCodecFormat format{vantaro::fuzz::TargetRateOf(selector),
                               vantaro::fuzz::TargetChannelsOf(selector),
                               32,
                               32,
                               0,
                               0};
  constexpr int kBlock = 1024;
  if (!set.Open(path, format, vantaro::kCodecRead, kBlock)) return;
  std::vector<float> floats(static_cast<size_t>(kBlock) * format.channels);
  std::vector<int16_t> shorts(static_cast<size_t>(kBlock) * 2);
  // At most 64 blocks: a lying length must not turn one input into minutes.
  const int64_t end = std::min<int64_t>(format.frames, int64_t{64} * kBlock) + kBlock;
  for (int64_t start = 0; start < end; start += kBlock) {
    if (vantaro::fuzz::ReadsShorts(selector) && format.channels == 2) {
      set.GetShortSamples(shorts.data(), kBlock, start);
    } else {
      set.GetFloatSamples(floats.data(), kBlock, start);
    }
  }
  set.GetSeconds();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  static const std::string base = ScratchBase();
  const uint8_t selector = data[0];
  const uint8_t* file = data + 1;
  const size_t fileSize = size - 1;

  // Every parser sees the bytes, whatever the selector says.
  vantaro::CDecoderWAV wav(30);
  vantaro::CDecoderAIF aif(30);
  vantaro::CDecoderAu au(30);
  const std::string wavPath = base + ".wav", aifPath = base + ".aiff", auPath = base + ".au";
  if (!WriteBytes(wavPath, file, fileSize) || !WriteBytes(aifPath, file, fileSize) ||
      !WriteBytes(auPath, file, fileSize)) {
    return 0;
  }
  ReadWithDecoder(wav, wavPath);
  ReadWithDecoder(aif, aifPath);
  ReadWithDecoder(au, auPath);

  const std::string setPath =
      base + "-set" +
      (vantaro::fuzz::IsArchive(selector) ? ".zip" : vantaro::fuzz::EndingOf(selector));
  if (WriteBytes(setPath, file, fileSize)) ReadWithCodecSet(setPath, selector);
  return 0;
}
