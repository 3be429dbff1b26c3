#pragma once
// A data folder holding one stored song for the engine benchmarks: a
// `seconds`-long 16-bit sine as song.wav, its record at 126 BPM in db.vtx and
// a stripe file with a mark on every beat (210 stripes), as a loaded and
// analysed song has. Made once per `tag` and process; removed at exit.
//
// Threads: the benchmark's main thread.

#include <string>

namespace vantaro::bench {

inline constexpr double kStoredSongBpm = 126;  // 21000 frames a beat: every beat on a stripe

const std::string& StoredSongFolder(const char* tag, int seconds);

}  // namespace vantaro::bench
