// libFuzzer target: db.vtx. Every name must come back byte for byte through
// the writer, and a second save must equal the first.
#include <cstdlib>
#include <string_view>
#include <vector>

#include "library/song_database_file.h"
#include "tests/fuzz/data_fuzz_entries.h"

namespace vantaro::fuzz {
namespace {

std::vector<TZKSongRecord> Read(std::string_view text, SongFileResult* result = nullptr) {
  std::vector<TZKSongRecord> records;
  const SongFileResult read = ReadSongDatabaseText(
      text, "fuzz", [&](TZKSongRecord&& record) { records.push_back(std::move(record)); });
  if (result) *result = read;
  return records;
}

}  // namespace

int SongDatabaseEntry(const std::uint8_t* data, std::size_t size) {
  const std::vector<TZKSongRecord> first = Read({reinterpret_cast<const char*>(data), size});
  // The first save settles values with more than one form (a duration of 0
  // reads back as unknown); from then on nothing changes.
  const std::string written = FormatSongDatabaseFile(first);
  SongFileResult result;
  const std::vector<TZKSongRecord> second = Read(written, &result);
  if (result.status != SongFileStatus::kLoaded || result.damaged != 0) std::abort();
  if (second.size() != first.size()) std::abort();
  for (std::size_t i = 0; i < first.size(); ++i)
    if (second[i].name != first[i].name) std::abort();
  const std::string settled = FormatSongDatabaseFile(second);
  if (FormatSongDatabaseFile(Read(settled)) != settled) std::abort();
  return 0;
}

}  // namespace vantaro::fuzz

#ifdef VANTARO_FUZZ_MAIN
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return vantaro::fuzz::SongDatabaseEntry(data, size);
}
#endif
