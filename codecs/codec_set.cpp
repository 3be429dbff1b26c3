#include "codecs/codec_set.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>

#include "base/debug_log.h"
#include "codecs/codec_lock.h"
#include "codecs/codec_paths.h"
#include "codecs/decoder_aif.h"
#include "codecs/decoder_au.h"
#include "codecs/decoder_ffmpeg.h"
#include "codecs/decoder_wav.h"
#include "codecs/sample_convert.h"

namespace vantaro {

namespace {

// Largest pair of conversion buffers one codec set may hold, in 32-bit words.
// Only a lying header (absurd rate or channel count) asks for more.
constexpr int64_t kMaxBufferWords = int64_t{1} << 26;  // 256 MB

// Creates the decoders of one codec set in preference order and returns how
// many were made. A codec that cannot be built leaves no gap.
//   Place 1 video (codec ids below 50) and place 2 audio CD: added by their
//   own modules, in front of the native readers.
//   Places 3 to 5 (system decoders) have no counterpart on this platform.
//   Places 6 to 8: the native WAV, AIFF and Au readers.
//   Place 9: the FFmpeg audio reader, after the native readers.
int CreateDecoders(int codecId, CBaseCodec** codecs, int maxCodecs) {
  int count = 0;
  auto add = [&](CBaseCodec* codec) {
    if (codec && count < maxCodecs) codecs[count++] = codec;
  };
  add(new CDecoderWAV(codecId));
  add(new CDecoderAIF(codecId));
  add(new CDecoderAu(codecId));
  add(new CDecoderFFMpeg(codecId));
  return count;
}

// True when the samples `codec` delivers in `source` can be turned into
// floats: a whole number of bytes per sample, of a width and coding that
// WidenToFloat reads.
bool CanConvert(const CBaseCodec& codec, const TCodecFormat& source) {
  return source.channels > 0 && codec.frameSize % source.channels == 0 &&
         CanWidenToFloat(codec.frameSize / source.channels, codec.floatSamples != 0);
}

std::unique_ptr<int32_t[]> AllocateWords(int64_t words) {
  int32_t* block = new (std::nothrow) int32_t[static_cast<size_t>(words)];
  if (block) std::memset(block, 0, static_cast<size_t>(words) * 4);
  return std::unique_ptr<int32_t[]>(block);
}

}  // namespace

int64_t ConvertFrameCount(int64_t a, int64_t b, int64_t c) {
  if (a <= 0 || b <= 0 || c <= 0) return 0;
  const double result = static_cast<double>(a) * static_cast<double>(b) / static_cast<double>(c);
  return result >= 9.2e18 ? INT64_MAX : std::llround(result);
}

CCodecSet::CCodecSet(int codecId) {
  codecCount = CreateDecoders(codecId, codecs, kMaxCodecs);
}

CCodecSet::~CCodecSet() {
  Close();
  for (int i = codecCount - 1; i >= 0; --i) {
    delete codecs[i];
    codecs[i] = nullptr;
  }
}

bool CCodecSet::AddCodec(std::unique_ptr<CBaseCodec> codec) {
  if (!codec || currentCodec >= 0 || codecCount >= kMaxCodecs) return false;
  codecs[codecCount++] = codec.release();
  return true;
}

CBaseCodec* CCodecSet::CodecAt(int index) const {
  return index >= 0 && index < codecCount ? codecs[index] : nullptr;
}

const char* CCodecSet::CurrentCodecName() const {
  return currentCodec >= 0 ? codecs[currentCodec]->GetName() : "";
}

// Applies the path rules: "kv:/" for the FFmpeg layer's own scheme, the .cdg
// neighbour of an .mp3, and unpacking of a .zip. Returns the path to offer to
// the codecs; "" when an archive could not be unpacked.
std::string CCodecSet::ResolvePath(const std::string& path) {
  std::string resolved = path;
  const std::string lower = LowerCasePath(path);
  if (EndsWith(lower, ".mpe") || EndsWith(lower, ".m3e")) resolved = "kv:/" + resolved;
  if (EndsWith(lower, "mp3")) {
    // Names on this file system are case-sensitive: "SONG.MP3" may have its
    // graphics in "SONG.CDG".
    const std::string stem = path.substr(0, path.size() - 3);
    for (const char* ending : {"cdg", "CDG"}) {
      if (PathExists(stem + ending)) {
        resolved = stem + ending;
        break;
      }
    }
  }
  if (EndsWith(lower, "zip")) {
    resolved = archive_.Unpack(path, TemporaryFolder());
    tempPath = resolved;
  }
  return resolved;
}

int CCodecSet::Open(const std::string& path, TCodecFormat& format, int mode, int maxFrames) {
  if (currentCodec >= 0) return 0;
  if (mode == kCodecRead && !EndsWith(path, "$") && !PathExists(path)) return 0;
  if (format.sampleRate <= 0 || format.channels <= 0) {
    DebugLog("codec set: bad target format (%d Hz, %d channels) for %s", format.sampleRate,
             format.channels, path.c_str());
    return 0;
  }
  const std::string resolved = ResolvePath(path);
  targetFormat = format;
  int accepted = -1;
  if (!resolved.empty()) {
    CodecLockGuard lock;
    for (int i = 0; i < codecCount && accepted < 0; ++i) {
      sourceFormat = format;  // a refusing codec may have touched it
      if (!codecs[i]->Open(resolved, sourceFormat, mode)) continue;
      if (mode == kCodecWrite || CanConvert(*codecs[i], sourceFormat)) {
        accepted = i;
      } else {
        DebugLog("codec set: %s delivers %d-bit samples that cannot be converted: %s",
                 codecs[i]->GetName(), sourceFormat.bitsPerSample, resolved.c_str());
        codecs[i]->Close();
      }
    }
  }
  if (accepted < 0) {
    DebugLog("no suitable codec found");
    archive_.Remove();
    tempPath.clear();
    return 0;
  }
  currentCodec = accepted;
  maxFrames_ = std::max(maxFrames, 0);
  if (!AllocateBuffers()) {
    DebugLog("codec set: no buffers for %s (%d Hz, %d channels)", resolved.c_str(),
             sourceFormat.sampleRate, sourceFormat.channels);
    Close();
    return 0;
  }
  format.frames = static_cast<int32_t>(std::min<int64_t>(
      ConvertFrameCount(sourceFormat.frames, targetFormat.sampleRate, sourceFormat.sampleRate),
      INT32_MAX));
  return 1;
}

bool CCodecSet::AllocateBuffers() {
  const int64_t m = ConvertFrameCount(maxFrames_, sourceFormat.sampleRate, targetFormat.sampleRate);
  const int64_t c = std::max(sourceFormat.channels, targetFormat.channels);
  // Checked first, so that the products below cannot overflow.
  if (m >= kMaxBufferWords || c >= kMaxBufferWords) return false;
  chunkFrames = c * (m + 1);
  // Stored samples wider than 4 bytes narrow to floats in place, so the read
  // buffer also holds (m + 1) stored frames; the short path converts through
  // convertBuffer, which holds at least maxFrames target frames of two or
  // more channels.
  const int64_t storedWords = ((m + 1) * codecs[currentCodec]->frameSize + 3) / 4;
  readBufferWords_ = std::max(chunkFrames, storedWords);
  convertBufferWords_ =
      std::max<int64_t>(2 * chunkFrames, int64_t{maxFrames_} * std::max(targetFormat.channels, 2));
  if (readBufferWords_ + convertBufferWords_ > kMaxBufferWords) return false;
  readBuffer = AllocateWords(readBufferWords_);
  convertBuffer = AllocateWords(convertBufferWords_);
  return readBuffer && convertBuffer;
}

void CCodecSet::Close() {
  if (currentCodec < 0) return;
  {
    CodecLockGuard lock;
    codecs[currentCodec]->Close();
    currentCodec = -1;
  }
  readBuffer.reset();
  convertBuffer.reset();
  readBufferWords_ = 0;
  convertBufferWords_ = 0;
  chunkFrames = 0;
  // Everything an archive unpacked goes, not only a karaoke pair: the
  // private folder is this set's alone.
  archive_.Remove();
  tempPath.clear();
}

float CCodecSet::GetSeconds() {
  return currentCodec >= 0 ? codecs[currentCodec]->GetSeconds() : 0.0f;
}

int CCodecSet::PutSamples(const void* buffer, int frames) {
  if (currentCodec < 0 || !buffer) return 0;
  return codecs[currentCodec]->PutSamples(buffer, frames);
}

bool CCodecSet::AcceptsRead(const void* buffer, int frames, int64_t startFrame) const {
  return buffer && frames >= 256 && frames <= maxFrames_ && startFrame >= 0 && currentCodec >= 0;
}

int CCodecSet::GetFloatSamples(float* buffer, int frames, int64_t startFrame) {
  if (!AcceptsRead(buffer, frames, startFrame)) return 0;
  CodecLockGuard lock;
  CBaseCodec* codec = codecs[currentCodec];
  const int sourceRate = sourceFormat.sampleRate;
  const int targetRate = targetFormat.sampleRate;
  const int sourceChannels = sourceFormat.channels;
  const int targetChannels = targetFormat.channels;
  const int64_t sourceFrames = ConvertFrameCount(frames, sourceRate, targetRate);
  const int64_t sourceStart = ConvertFrameCount(startFrame, sourceRate, targetRate);

  // The buffer is cleared where the later steps look before the read: a
  // reader may deliver fewer bytes than it counts (the FFmpeg reader counts
  // whole requests at the end of a stream), and what it leaves must be
  // silence.
  uint8_t* stored = reinterpret_cast<uint8_t*>(readBuffer.get());
  const int64_t usedWords = std::min(
      readBufferWords_, std::max((sourceFrames + 1) * std::max(sourceChannels, targetChannels),
                                 (sourceFrames * codec->frameSize + 3) / 4));
  std::memset(stored, 0, static_cast<size_t>(usedWords) * 4);
  const int delivered = codec->GetSamples(stored, static_cast<int>(sourceFrames), sourceStart);
  // Only what was delivered is converted: the cleared tail must stay 0.0f
  // (an unsigned 8-bit zero byte would widen to full scale).
  const int64_t samples = int64_t{std::max(delivered, 0)} * sourceChannels;
  const int sampleBytes = codec->frameSize / sourceChannels;
  if (codec->IsBigEndian() == 1) SwapSampleBytes(stored, samples, sampleBytes);
  WidenToFloat(stored, samples, sampleBytes, codec->unsigned8 != 0, codec->floatSamples != 0);

  float* widened = reinterpret_cast<float*>(readBuffer.get());
  FitChannels(widened, sourceFrames, sourceChannels, targetChannels);
  if (sourceRate == targetRate) {
    std::memcpy(buffer, widened, static_cast<size_t>(frames) * targetChannels * sizeof(float));
  } else if (sourceFrames == 0) {
    std::memset(buffer, 0, static_cast<size_t>(frames) * targetChannels * sizeof(float));
  } else {
    ResampleLinear(widened, sourceFrames, buffer, frames, targetChannels);
  }
  KeepSamplesFinite(buffer, int64_t{frames} * targetChannels);
  return static_cast<int>(ConvertFrameCount(delivered, targetRate, sourceRate));
}

int CCodecSet::GetShortSamples(int16_t* buffer, int frames, int64_t startFrame) {
  if (!AcceptsRead(buffer, frames, startFrame)) return 0;
  CBaseCodec* codec = codecs[currentCodec];
  if (sourceFormat.sampleRate == targetFormat.sampleRate &&
      sourceFormat.channels == targetFormat.channels && sourceFormat.bitsPerSample == 16 &&
      codec->frameSize == 2 * sourceFormat.channels) {
    const int delivered = codec->GetSamples(buffer, frames, startFrame);
    if (delivered > 0 && codec->IsBigEndian() == 1) {
      SwapSampleBytes(reinterpret_cast<uint8_t*>(buffer),
                      int64_t{delivered} * sourceFormat.channels, 2);
    }
    return delivered;
  }
  float* converted = reinterpret_cast<float*>(convertBuffer.get());
  const int delivered = GetFloatSamples(converted, frames, startFrame);
  for (int64_t i = 0; i < 2 * int64_t{frames}; ++i) {
    const double v = std::rint(static_cast<double>(converted[i]) * 32767.0);
    buffer[i] = std::isnan(v) ? 0 : static_cast<int16_t>(std::clamp(v, -32768.0, 32767.0));
  }
  return delivered;
}

}  // namespace vantaro
