#include "tests/engine/stretch_rig.h"

#include <algorithm>

#include "engine/engine_settings.h"

namespace vantaro::test {

const char* Name(StretchPath path) {
  switch (path) {
    case StretchPath::kCheap:
      return "cheap";
    case StretchPath::kFaster:
      return "R2";
    case StretchPath::kFiner:
      return "R3";
  }
  return "?";
}

std::string PathName(const ::testing::TestParamInfo<StretchPath>& info) {
  return Name(info.param);
}

std::vector<float> Slice(const std::vector<float>& stereo, long first, long count) {
  const long end = std::min<long>(stereo.size(), (first + count) * 2);
  return std::vector<float>(stereo.begin() + std::min<long>(first * 2, end), stereo.begin() + end);
}

StretchTest::~StretchTest() {
  TheEngineSettings().highQualityFine = false;
}

std::string StretchTest::Sox(const std::string& first, const std::string& second) {
  const std::string path = dir.File("sox" + std::to_string(++songs_) + ".wav");
  std::string parts;
  for (const std::string* effects : {&first, &second}) {
    if (effects->empty()) continue;
    const std::string part = path + std::to_string(effects == &first) + ".wav";
    if (RunCommand("sox -D -n -r 44100 -c 2 -b 16 '" + part + "' " + *effects) != 0) return "";
    parts += " '" + part + "'";
  }
  return RunCommand("sox" + parts + " '" + path + "'") == 0 ? path : "";
}

bool StretchTest::LoadSox(const std::string& first, const std::string& second, CSoundSource* d) {
  const std::string path = Sox(first, second);
  if (!d) d = &deck;
  if (path.empty() || !d->LoadSong(path, false, nullptr, false)) return false;
  d->StoreThreadRun();
  return d->IsSongReady();
}

void StretchTest::UsePath(StretchPath path, CSoundSource* d) {
  if (!d) d = &deck;
  const bool high = path != StretchPath::kCheap;
  TheEngineSettings().highQualityFine = path == StretchPath::kFiner;
  d->SetHQ(high);
  d->SetKeyLock(true);
  if (!high) return;
  d->StretchThreadRun();  // builds the stretcher for the engine asked for
  stretched.push_back(d);
}

std::vector<float> StretchTest::Play(long frames, long chunkFrames) {
  std::vector<float> out;
  out.reserve(frames * 2);
  for (long done = 0; done < frames;) {
    const long chunk = std::min(frames - done, chunkFrames);
    for (CSoundSource* d : stretched) d->StretchThreadRun();
    const std::vector<float> part = rig.Render(chunk);
    out.insert(out.end(), part.begin(), part.end());
    done += chunk;
  }
  return out;
}

}  // namespace vantaro::test
