#pragma once
// The entries of the data-file fuzz targets, shared with the test that
// replays their seed corpora on every build. Each reads arbitrary bytes as
// its file kind; when they read, what the program's writer makes of them
// must read back to the same file. A finding aborts (besides crashes,
// sanitizer reports and endless loops). Each returns 0.

#include <cstddef>
#include <cstdint>

namespace vantaro::fuzz {

int SongDatabaseEntry(const std::uint8_t* data, std::size_t size);  // db.vtx
int SettingsEntry(const std::uint8_t* data, std::size_t size);      // config.xml
int EffectChainEntry(const std::uint8_t* data, std::size_t size);   // .vfx and fx_scanned.xml
int ListFilesEntry(const std::uint8_t* data, std::size_t size);  // .vtl, lists/favs.vtx, M3U

}  // namespace vantaro::fuzz
