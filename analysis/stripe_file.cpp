#include "analysis/stripe_file.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "base/debug_log.h"
#include "base/xml_text.h"
#include "library/song_database.h"

namespace vantaro {
namespace {

// The file is the memory image of the float array.
static_assert(std::endian::native == std::endian::little, "stripe files are little-endian");

bool FileExists(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

}  // namespace

std::string StripePath(const std::string& stripesFolder, const std::string& trackPath) {
  return stripesFolder + MakeSongKey(trackPath) + ".vs2";
}

bool SaveStripes(const std::string& stripesFolder, const std::string& trackPath,
                 const float* stripe, int count) {
  const std::string path = StripePath(stripesFolder, trackPath);
  const std::string_view bytes(reinterpret_cast<const char*>(stripe),
                               sizeof(float) * static_cast<size_t>(std::max(count, 0)));
  std::string error;
  if (WriteFileAtomically(path, bytes, false, &error)) return true;
  DebugLog("can not write stripe %s: %s", path.c_str(), error.c_str());
  return false;
}

StripeLoad LoadStripes(const std::string& stripesFolder, const std::string& trackPath,
                       float* stripe, int expected, bool lightMode) {
  StripeLoad result;
  const std::string key = MakeSongKey(trackPath);
  if (!FindSong(key, result.record)) {
    DebugLog("ZKSC LoadStripes fname=%s -- NOT found in database", key.c_str());
    return result;
  }
  result.recordFound = true;
  const float bpm = result.record.bpm;
  if (lightMode) {
    result.loaded = bpm > 10;
    if (result.loaded) result.bpm = bpm;
    return result;
  }
  if (result.record.pgain_valid == 0) {
    DebugLog("ZKSC LoadStripes -- song GAIN not analyzed");
    return result;
  }
  if (bpm < 1) {
    DebugLog("ZKSC LoadStripes -- song BPM not analyzed");
    return result;
  }
  const std::string path = StripePath(stripesFolder, trackPath);
  if (!FileExists(path)) {
    DebugLog("ZKSC LoadStripes -- stripe file not found");
    return result;
  }
  FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) {
    DebugLog("ZKSC LoadStripes -- stripe file error on opening");
    return result;
  }
  const size_t bytes = std::fread(stripe, 1, sizeof(float) * std::max(expected, 0), file);
  std::fclose(file);
  // Bytes against samples: a file a quarter of its expected size still
  // passes, and the stripe beyond it keeps what it held.
  if (bytes < static_cast<size_t>(std::max(expected, 0))) {
    DebugLog("ZKSC LoadStripes -- stripe file error on reading");
    return result;
  }
  result.loaded = true;
  result.bpm = bpm;
  return result;
}

bool NeedsAnalysis(const std::string& stripesFolder, const std::string& trackPath) {
  TZKSongRecord record;
  if (!FindSong(MakeSongKey(trackPath), record)) return true;
  return !(record.bpm > 10 && FileExists(StripePath(stripesFolder, trackPath)));
}

}  // namespace vantaro
