#pragma once
// StretchRing: 16 s of a deck's stretched audio, written ahead of the play
// position by the stretch thread and copied out by the render. The ring
// knows which song frames its contents came from: output frame k (counted
// from the oldest held) is song frame SourceStart() + k * Ratio(), so the
// render finds the frames heard at any position it holds.
//
// One writer (the stretch thread), one reader (the audio thread), no lock.
// The readable region is what the reader may copy; the writer shrinks it
// before it overwrites frames (a restart, or the oldest frames dropped when
// the ring is full) and widens it only after the new frames are written
// (release; the reader acquires). A shrink advances a generation word, odd
// while it is under way; the reader checks the word after copying and
// treats any change as a miss, so a read never mixes old and new audio.
// The frames themselves are relaxed atomics: a read racing an overwrite is
// discarded, never undefined.
//
// Units: positions in song frames at 44100 Hz (doubles: the ratio makes
// them fractional); ring sizes in output frames.

#include <atomic>
#include <cstdint>
#include <memory>

namespace vantaro {

class StretchRing {
 public:
  static constexpr int kRingFrames = 705600;  // 16 s

  StretchRing();  // allocates the frames; the region is empty
  StretchRing(const StretchRing&) = delete;
  StretchRing& operator=(const StretchRing&) = delete;

  // ---- stretch thread ------------------------------------------------------
  // Empties the ring; what it holds next starts at song frame `sourceStart`,
  // made at `ratio` song frames per output frame (the speed's magnitude)
  // and pitch scale `pitch`. The frames are not zeroed: nothing outside the
  // region is ever read.
  void Restart(double sourceStart, double ratio, double pitch);
  // Appends `frames` interleaved stereo frames (at most kRingFrames),
  // dropping the oldest when the ring is full; the region then grows.
  void Append(const float* stereo, int frames);

  // ---- any thread (consistent only on the stretch thread) --------------------
  double SourceStart() const { return sourceStart_.load(std::memory_order_acquire); }
  double SourceEnd() const { return sourceEnd_.load(std::memory_order_acquire); }
  double Ratio() const { return ratio_.load(std::memory_order_acquire); }
  double Pitch() const { return pitch_.load(std::memory_order_acquire); }
  int Fill() const { return fill_.load(std::memory_order_acquire); }
  bool Holds(double position) const {
    return Fill() > 0 && position >= SourceStart() && position < SourceEnd();
  }

  // ---- audio thread --------------------------------------------------------
  // Copies the `frames` output frames heard from song frame `position` on
  // into `stereo`. False, with `stereo` undefined, when they are not all in
  // the region or the writer shrank it meanwhile. Never blocks.
  bool Read(double position, int frames, float* stereo) const;

 private:
  // A shrink: the generation is odd from Begin to End.
  void BeginShrink();
  void EndShrink();

  std::unique_ptr<std::atomic<float>[]> data_;  // 2 * kRingFrames
  std::atomic<int> head_{0};                    // ring index of the oldest frame
  std::atomic<int> fill_{0};                    // frames held
  std::atomic<double> sourceStart_{0.0};
  std::atomic<double> sourceEnd_{0.0};
  std::atomic<double> ratio_{1.0};
  std::atomic<double> pitch_{1.0};
  std::atomic<std::uint32_t> generation_{0};
};

}  // namespace vantaro
