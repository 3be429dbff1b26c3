#include "engine/deck_decoder.h"

#include <algorithm>
#include <cstring>

#include "codecs/codec_set.h"
#include "engine/deck_block_store.h"

namespace vantaro {
namespace {

// The codec set refuses reads below this many frames.
constexpr int kSmallestRead = 256;

class CodecSetDeckDecoder final : public DeckDecoder {
 public:
  explicit CodecSetDeckDecoder(int codecId) : codecs_(codecId) {}

  bool Open(const std::string& path, std::int64_t& totalFrames) override {
    codecs_.Close();
    TCodecFormat format;
    format.sampleRate = 44100;
    format.channels = 2;
    format.bitsPerSample = 16;
    format.containerBits = 16;
    if (!codecs_.Open(path, format, kCodecRead, kBlockFrames)) return false;
    totalFrames_ = format.frames;
    totalFrames = format.frames;
    return true;
  }

  int Read(std::int16_t* out, int frames, std::int64_t start) override {
    if (frames >= kSmallestRead) return codecs_.GetShortSamples(out, frames, start);
    if (frames <= 0) return 0;
    // A last block shorter than the smallest read: read the smallest read
    // that ends where this one ends, and keep its tail.
    const std::int64_t end = std::min<std::int64_t>(start + frames, totalFrames_);
    const std::int64_t first = std::max<std::int64_t>(0, end - kSmallestRead);
    const int got = codecs_.GetShortSamples(scratch_, kSmallestRead, first);
    const std::int64_t skip = start - first;
    const int usable = static_cast<int>(std::clamp<std::int64_t>(got - skip, 0, frames));
    std::memcpy(out, scratch_ + skip * 2, sizeof(std::int16_t) * 2 * usable);
    return usable;
  }

  void Close() override { codecs_.Close(); }

 private:
  CCodecSet codecs_;
  std::int64_t totalFrames_ = 0;
  std::int16_t scratch_[kSmallestRead * 2] = {};
};

}  // namespace

std::unique_ptr<DeckDecoder> MakeCodecSetDeckDecoder(int codecId) {
  return std::make_unique<CodecSetDeckDecoder>(codecId);
}

}  // namespace vantaro
