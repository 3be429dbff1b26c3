#include "engine/deck_decoder.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/debug_log.h"
#include "codecs/codec_set.h"
#include "engine/deck_block_store.h"

namespace vantaro {
namespace {

// The codec set refuses reads below this many frames.
constexpr int kSmallestRead = 256;
// The largest single read: a block plus the gap skipped in front of it.
constexpr int kLargestRead = 2 * kBlockFrames;

// Codecs that ignore the start frame of a read and always go on from where
// the last read ended: a deck reading them out of order must skip forwards,
// or reopen the file to go back.
bool IgnoresStartFrame(const char* codecName) {
  return std::strcmp(codecName, "ffmpeg-audio") == 0 || std::strcmp(codecName, "ffmpeg-video") == 0;
}

class CodecSetDeckDecoder final : public DeckDecoder {
 public:
  CodecSetDeckDecoder(int codecId, std::unique_ptr<CBaseCodec> extra) : codecs_(codecId) {
    if (extra) codecs_.AddCodec(std::move(extra));
  }

  bool Open(const std::string& path, std::int64_t& totalFrames) override {
    codecs_.Close();
    if (!OpenCodecs(path)) return false;
    path_ = path;
    forwardOnly_ = IgnoresStartFrame(codecs_.CurrentCodecName());
    if (forwardOnly_) scratch_.resize(static_cast<std::size_t>(kLargestRead) * 2);
    totalFrames = totalFrames_;
    return true;
  }

  int Read(std::int16_t* out, int frames, std::int64_t start) override {
    if (frames <= 0 || start < 0) return 0;
    if (forwardOnly_) return ReadInOrder(out, frames, start);
    if (frames >= kSmallestRead) return codecs_.GetShortSamples(out, frames, start);
    // A last block shorter than the smallest read: read the smallest read
    // that ends where this one ends, and keep its tail.
    const std::int64_t end = std::min<std::int64_t>(start + frames, totalFrames_);
    const std::int64_t first = std::max<std::int64_t>(0, end - kSmallestRead);
    const int got = codecs_.GetShortSamples(tail_, kSmallestRead, first);
    return CopyFrom(tail_, got, start - first, frames, out);
  }

  void Close() override { codecs_.Close(); }

 private:
  bool OpenCodecs(const std::string& path) {
    TCodecFormat format;
    format.sampleRate = 44100;
    format.channels = 2;
    format.bitsPerSample = 16;
    format.containerBits = 16;
    if (!codecs_.Open(path, format, kCodecRead, kLargestRead)) return false;
    totalFrames_ = format.frames;
    nextFrame_ = 0;
    return true;
  }

  static int CopyFrom(const std::int16_t* source, int got, std::int64_t skip, int frames,
                      std::int16_t* out) {
    const int usable = static_cast<int>(std::clamp<std::int64_t>(got - skip, 0, frames));
    std::memcpy(out, source + skip * 2, sizeof(std::int16_t) * 2 * usable);
    return usable;
  }

  // Out-of-order reads on a codec that only goes forwards: reopen to go
  // back, decode and drop to go ahead, then read the gap and the wanted
  // frames in one read so that no read is below the smallest size.
  int ReadInOrder(std::int16_t* out, int frames, std::int64_t start) {
    if (start < nextFrame_) {
      codecs_.Close();
      if (!OpenCodecs(path_)) {
        DebugLog("deck decoder: cannot reopen \"%s\" to read backwards", path_.c_str());
        return 0;
      }
    }
    while (start - nextFrame_ > kBlockFrames) {
      const int skipped = codecs_.GetShortSamples(scratch_.data(), kBlockFrames, nextFrame_);
      if (skipped <= 0) return 0;
      nextFrame_ += skipped;
    }
    const std::int64_t gap = start - nextFrame_;
    const int wanted = static_cast<int>(std::max<std::int64_t>(gap + frames, kSmallestRead));
    const int got = codecs_.GetShortSamples(scratch_.data(), wanted, nextFrame_);
    nextFrame_ += std::max(got, 0);
    return CopyFrom(scratch_.data(), got, gap, frames, out);
  }

  CCodecSet codecs_;
  std::string path_;
  bool forwardOnly_ = false;
  std::int64_t totalFrames_ = 0;
  std::int64_t nextFrame_ = 0;  // where a forward-only codec stands
  std::vector<std::int16_t> scratch_;
  std::int16_t tail_[kSmallestRead * 2] = {};
};

}  // namespace

std::unique_ptr<DeckDecoder> MakeCodecSetDeckDecoder(int codecId,
                                                     std::unique_ptr<CBaseCodec> extra) {
  return std::make_unique<CodecSetDeckDecoder>(codecId, std::move(extra));
}

}  // namespace vantaro
