#pragma once
// Songs whose beat the test knows, loaded as a stored song is: a record in
// the song database (tempo and gain measured) and a stripe file written by
// the test, with a mark on the stripe value of every beat. Decks 0 and 1
// take them through the real analysis feed and store their record through
// the program's own StoreDeckRecord.

#include <cstdint>
#include <string>
#include <vector>

#include "library/song_database.h"
#include "tests/engine/deck_test_rig.h"

namespace vantaro::test {

struct MarkedSongPlan {
  double bpm = 120;      // 0: no tempo in the record
  double seconds = 20;   // the song's length
  int clickChannel = 2;  // 0 left, 1 right, 2 both
  double toneHz = 0;     // a tone instead of clicks
  // Instead of clicks every frame tells its place: the left channel counts
  // frames modulo 32000, the right one steps by 500 every 32000 frames.
  bool ramp = false;
  double soundFrom = 0;  // seconds of silence at the head
  double soundTail = 0;  // seconds of silence at the tail
};

class MarkedSongTest : public DeckTest {
 protected:
  explicit MarkedSongTest(int blockFrames = 50);
  ~MarkedSongTest() override { SaveSongDatabase(dir.File("db.vtx")); }
  // Writes the song, its record and its stripe file; returns its path.
  std::string Write(const MarkedSongPlan& plan, const std::string& name);
  // Loads `path` on `d` with one store run; false when it did not load.
  bool LoadOn(CSoundSource& d, const std::string& path, bool keepCue = false);
  // Frames at which `channel` of `out` rises above `threshold` after at
  // least 1000 quiet frames.
  static std::vector<long> Onsets(const std::vector<float>& out, int channel,
                                  float threshold = 0.1f);
  // The largest distance from an onset of `a` to the nearest onset of `b`.
  static long LargestOffset(const std::vector<long>& a, const std::vector<long>& b);

  const std::string stripes = dir.Path() + "/Stripes/";
  CSoundSource& deck1 = rig.AddDeck(1);
};

}  // namespace vantaro::test
