#include "codecs/decoder_ffmpeg.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>

#include "base/debug_log.h"

namespace vantaro {

namespace {

constexpr const char* kKvScheme = "kv:/";
constexpr int kBytesPerSample = 2;

// Living decoders; the first one prepares the libraries. Never lowered to
// an unregistering call: the libraries stay ready for the process.
std::atomic<int> gLivingDecoders{0};

bool HasEnding(const std::string& lower, const char* ending) {
  const size_t length = std::strlen(ending);
  return lower.size() >= length && lower.compare(lower.size() - length, length, ending) == 0;
}

// `frames` is a 32-bit field: a stream of more than 13.5 hours reports the
// largest count it can hold.
int32_t ClampFrames(int64_t frames) {
  return static_cast<int32_t>(std::min<int64_t>(frames, INT32_MAX));
}

}  // namespace

CDecoderFFMpeg::CDecoderFFMpeg(int codecId) : CBaseCodec(codecId) {
  if (gLivingDecoders.fetch_add(1) == 0) PrepareFFmpegLibraries();
}

CDecoderFFMpeg::~CDecoderFFMpeg() {
  Close();
  gLivingDecoders.fetch_sub(1);
}

bool CDecoderFFMpeg::AcceptsPath(const std::string& path) {
  std::string lower = path;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  static const char* const kEndings[] = {"mp3",  "m3e", "aac", "ogg", "flac", "m4a",
                                         "opus", "wma", "wav", "aif", "aiff", "au"};
  for (const char* ending : kEndings) {
    if (HasEnding(lower, ending)) return true;
  }
  return false;
}

std::string CDecoderFFMpeg::PlainPath(const std::string& path) {
  const size_t length = std::strlen(kKvScheme);
  if (path.compare(0, length, kKvScheme) == 0) return path.substr(length);
  return path;
}

int CDecoderFFMpeg::Open(const std::string& path, TCodecFormat& format, int mode) {
  (void)mode;
  if (opened || !AcceptsPath(path)) return 0;
  const std::string plain = PlainPath(path);
  std::string error;
  if (!stream_.Open(plain, error)) {
    DebugLog("ffmpeg-audio: %s %s", plain.c_str(), error.c_str());
    return 0;
  }
  const int channels = stream_.Channels();
  frameSize = channels * kBytesPerSample;
  const int64_t maxLeadFrames = kMaxLeadingSilenceBytes / frameSize;
  leadBytes_ = std::min(stream_.LeadingSilenceFrames(), maxLeadFrames) * frameSize;
  format_ = TCodecFormat{};
  format_.sampleRate = kFFmpegOutputRate;
  format_.channels = channels;
  format_.bitsPerSample = 16;
  format_.containerBits = 16;
  format_.flags = 0;
  const int64_t streamFrames = stream_.ExpectedFrames();
  format_.frames = streamFrames > 0 ? ClampFrames(leadBytes_ / frameSize + streamFrames) : 0;
  format = format_;
  pending_ = std::make_unique<ByteRing>(kPendingBytes);
  sampleRate = kFFmpegOutputRate;
  framesDone = 0;
  droppedWarned_ = false;
  endSeen_ = false;
  path_ = plain;
  opened = 1;
  return 1;
}

void CDecoderFFMpeg::PutLeadingSilence() {
  static const uint8_t kZeros[4096] = {};
  // Whole frames per put, so the ring never holds half a frame.
  const int64_t step = (static_cast<int64_t>(sizeof(kZeros)) / frameSize) * frameSize;
  int64_t put = 0;
  while (put < leadBytes_) {
    const int64_t bytes = std::min(step, leadBytes_ - put);
    if (!pending_->Write(kZeros, static_cast<size_t>(bytes))) break;
    put += bytes;
  }
}

int64_t CDecoderFFMpeg::TakePending(uint8_t* out, int64_t bytes) {
  int64_t take = std::min<int64_t>(bytes, static_cast<int64_t>(pending_->Available()));
  take -= take % frameSize;
  if (take > 0 && !pending_->Read(out, static_cast<size_t>(take))) return 0;
  return take;
}

int64_t CDecoderFFMpeg::DecodeInto(uint8_t* out, int64_t bytes) {
  int64_t filled = 0;
  const uint8_t* chunk = nullptr;
  int chunkBytes = 0;
  while (filled < bytes && stream_.NextChunk(chunk, chunkBytes)) {
    const int64_t direct = std::min<int64_t>(chunkBytes, bytes - filled);
    std::memcpy(out + filled, chunk, static_cast<size_t>(direct));
    filled += direct;
    // The decoded overshoot waits in the ring for the next read.
    const int64_t rest = chunkBytes - direct;
    if (rest > 0 && !pending_->Write(chunk + direct, static_cast<size_t>(rest)) &&
        !droppedWarned_) {
      droppedWarned_ = true;
      DebugLog("ffmpeg-audio: pending ring full, %lld bytes dropped", static_cast<long long>(rest));
    }
  }
  return filled;
}

int CDecoderFFMpeg::GetSamples(void* buffer, int frames, int64_t startFrame) {
  if (!opened || !buffer || frames <= 0) return 0;
  auto* out = static_cast<uint8_t*>(buffer);
  const int64_t wanted = static_cast<int64_t>(frames) * frameSize;
  if (startFrame == 0 && leadBytes_ > 0) PutLeadingSilence();
  int64_t filled = TakePending(out, wanted);
  if (filled < wanted) filled += DecodeInto(out + filled, wanted - filled);
  const int delivered = static_cast<int>(filled / frameSize);
  framesDone += delivered;
  if (stream_.Finished() && pending_->Available() == 0 && !endSeen_) {
    // The real end is known now: the length is what was delivered.
    endSeen_ = true;
    const int32_t reported = format_.frames;
    format_.frames = ClampFrames(leadBytes_ / frameSize + stream_.DeliveredFrames());
    if (stream_.BrokenPackets() > 0 || format_.frames != reported)
      DebugLog("ffmpeg-audio: %s ends at frame %d, reported %d (%lld damaged packets skipped)",
               path_.c_str(), format_.frames, reported,
               static_cast<long long>(stream_.BrokenPackets()));
  }
  return delivered;
}

bool CDecoderFFMpeg::ReachedEnd() const {
  return opened && stream_.Finished() && pending_->Available() == 0;
}

int CDecoderFFMpeg::PutSamples(const void* buffer, int frames) {
  (void)buffer;
  (void)frames;
  return 0;
}

float CDecoderFFMpeg::GetSeconds() {
  if (!opened || format_.sampleRate <= 0) return 0.0f;
  return static_cast<float>(static_cast<double>(format_.frames) / format_.sampleRate);
}

void CDecoderFFMpeg::Close() {
  if (!opened) return;
  opened = 0;
  stream_.Close();
  pending_.reset();
  format_ = TCodecFormat{};
  frameSize = 1;
  framesDone = 0;
  sampleRate = 0;
  leadBytes_ = 0;
}

}  // namespace vantaro
