#pragma once
// Helpers of the key-lock tests: the three paths a key-locked deck can take,
// songs made by sox, and playing in chunks with the stretch thread's routine
// run between them (as the thread would, but in step with the offline
// device, which renders faster than real time).

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/engine/deck_test_rig.h"

namespace vantaro::test {

enum class StretchPath { kCheap, kFaster, kFiner };
const char* Name(StretchPath path);
std::string PathName(const ::testing::TestParamInfo<StretchPath>& info);
inline const auto kAllPaths =
    ::testing::Values(StretchPath::kCheap, StretchPath::kFaster, StretchPath::kFiner);
inline const auto kHighQualityPaths = ::testing::Values(StretchPath::kFaster, StretchPath::kFiner);

// Frames [first, first + count) of an interleaved stereo buffer.
std::vector<float> Slice(const std::vector<float>& stereo, long first, long count);

class StretchTest : public DeckTest, public ::testing::WithParamInterface<StretchPath> {
 protected:
  explicit StretchTest(int blockFrames = 441) : DeckTest(blockFrames) {}
  ~StretchTest() override;
  // A song of the sox synth `effects` (one file per argument, joined in
  // order), stereo 16-bit at 44100 Hz; its path, empty when sox failed.
  std::string Sox(const std::string& first, const std::string& second = "");
  // The same, loaded on `d` (deck 0 when null) with one store run.
  bool LoadSox(const std::string& first, const std::string& second = "", CSoundSource* d = nullptr);
  // Key lock on `d` by `path`; the stretcher is built for its engine.
  void UsePath(StretchPath path, CSoundSource* d = nullptr);
  // Renders `frames` frames in chunks of `chunk` frames, the stretch
  // routine of each deck on the high-quality path run before each chunk.
  std::vector<float> Play(long frames, long chunk = 4410);

  std::vector<CSoundSource*> stretched;
};

}  // namespace vantaro::test
