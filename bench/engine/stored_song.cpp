#include "bench/engine/stored_song.h"

#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "analysis/stripe_file.h"
#include "codecs/codec_set.h"
#include "library/song_database.h"

namespace vantaro::bench {
namespace {

std::string made;  // the folder, for the exit handler

std::string MakeFolder(const char* tag, int seconds) {
  const std::string root = std::filesystem::temp_directory_path().string() + "/vantaro_" + tag +
                           "_bench_" + std::to_string(getpid()) + "/";
  std::filesystem::create_directories(root + "Stripes");
  const std::string song = root + "song.wav";
  std::vector<std::int16_t> samples(static_cast<std::size_t>(seconds) * 44100 * 2);
  for (std::size_t i = 0; i < samples.size(); ++i)
    samples[i] = static_cast<std::int16_t>(12000 * std::sin(i * 0.031));
  CCodecSet writer(100);
  TCodecFormat format{44100, 2, 16, 16, 0, 0};
  if (writer.Open(song, format, kCodecWrite, seconds * 44100)) {
    writer.PutSamples(samples.data(), seconds * 44100);
    writer.Close();
  }
  std::vector<float> stripe(static_cast<std::size_t>(seconds) * 441, 0.01f);
  for (std::size_t beat = 0; beat * 210 < stripe.size(); ++beat) stripe[beat * 210] += 55.0f;
  SaveStripes(root + "Stripes/", song, stripe.data(), static_cast<int>(stripe.size()));
  LoadSongDatabase(root + "db.vtx");
  TZKSongRecord record;
  record.name = "song.wav";
  record.bpm = static_cast<float>(kStoredSongBpm);
  record.pgain_valid = 1;
  StoreSong(record);
  made = root;
  std::atexit([] { std::filesystem::remove_all(made); });
  return root;
}

}  // namespace

const std::string& StoredSongFolder(const char* tag, int seconds) {
  static const std::string folder = MakeFolder(tag, seconds);
  return folder;
}

}  // namespace vantaro::bench
