#include "devices/device_block.h"

#include <algorithm>
#include <cstring>
#include <ctime>

#include "base/realtime.h"
#include "devices/denormals.h"
#include "devices/offline_device.h"
#include "engine/audio_render.h"

namespace vantaro {

int RenderFirstDeviceCallback(float* out, int frames, int channels, void* userData) {
  auto* renderer = static_cast<AudioRenderer*>(userData);
  return renderer ? renderer->RenderDeviceBlock(out, frames, channels) : 0;
}

int RenderSecondDeviceCallback(float* out, int frames, int channels, void* userData) {
  auto* renderer = static_cast<AudioRenderer*>(userData);
  if (!renderer || channels != 2) return 0;
  // The renderer leaves the buffer untouched on an empty ring; this device
  // then plays silence rather than its previous block again.
  std::memset(out, 0, sizeof(float) * 2 * static_cast<std::size_t>(frames));
  renderer->RenderSecondDeviceBlock(out, frames);
  return frames;
}

void ConvertToDevice16(const float* in, std::int16_t* out, std::size_t count) {
  // One rule for every device, the offline one included.
  for (std::size_t i = 0; i < count; ++i) out[i] = FloatToDevice16(in[i]);
}

CallbackTiming::CallbackTiming()
    : buckets_(std::make_unique<std::atomic<std::uint32_t>[]>(kMaxMicros + 2)) {
  Reset();
}

void CallbackTiming::Record(std::int64_t nanoseconds) {
  const std::int64_t micros = std::max<std::int64_t>(0, nanoseconds / 1000);
  const int bucket = micros > kMaxMicros ? kMaxMicros + 1 : static_cast<int>(micros);
  buckets_[bucket].fetch_add(1, std::memory_order_relaxed);
  totalNanos_.fetch_add(std::max<std::int64_t>(0, nanoseconds), std::memory_order_relaxed);
}

void CallbackTiming::Reset() {
  for (int i = 0; i < kMaxMicros + 2; ++i) buckets_[i].store(0, std::memory_order_relaxed);
  totalNanos_.store(0, std::memory_order_relaxed);
}

std::uint64_t CallbackTiming::Count() const {
  std::uint64_t total = 0;
  for (int i = 0; i < kMaxMicros + 2; ++i) total += buckets_[i].load(std::memory_order_relaxed);
  return total;
}

int CallbackTiming::PercentileMicros(double fraction) const {
  const std::uint64_t total = Count();
  if (total == 0) return 0;
  const double wanted = std::clamp(fraction, 0.0, 1.0) * static_cast<double>(total);
  std::uint64_t seen = 0;
  for (int i = 0; i < kMaxMicros + 2; ++i) {
    seen += buckets_[i].load(std::memory_order_relaxed);
    if (seen > 0 && static_cast<double>(seen) >= wanted) return i;
  }
  return kMaxMicros + 1;
}

OutputBlockFiller::OutputBlockFiller(DeviceRenderCallback callback, void* userData, int channels,
                                     int maxFrames)
    : callback_(callback),
      userData_(userData),
      channels_(std::max(1, channels)),
      maxFrames_(std::max(1, maxFrames)),
      scratch_(std::make_unique<float[]>(static_cast<std::size_t>(maxFrames_) * channels_)) {}

namespace {
std::int64_t MonotonicNanoseconds() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}
}  // namespace

void OutputBlockFiller::Fill(std::int16_t* out, long frames) {
  RealtimeScope realtime;
  FlushDenormalsScope flushDenormals;
  const std::int64_t start = MonotonicNanoseconds();
  const bool silent = stopped.load(std::memory_order_acquire) || !callback_;
  for (long done = 0; done < frames;) {
    const int piece = static_cast<int>(std::min<long>(frames - done, maxFrames_));
    std::int16_t* dest = out + static_cast<std::size_t>(done) * channels_;
    const std::size_t samples = static_cast<std::size_t>(piece) * channels_;
    if (silent || callback_(scratch_.get(), piece, channels_, userData_) == 0)
      std::memset(dest, 0, samples * sizeof(std::int16_t));
    else
      ConvertToDevice16(scratch_.get(), dest, samples);
    done += piece;
  }
  callbacks.fetch_add(1, std::memory_order_relaxed);
  timing.Record(MonotonicNanoseconds() - start);
}

}  // namespace vantaro
