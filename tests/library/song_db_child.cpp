// A program that uses the song database and is then killed, for the
// crash-safety tests of library_tests. Its first line of output is its
// process id.
//
//   song_db_child learn <db.vtx> <key>       load, store one record, print
//                                            "stored", then wait forever
//   song_db_child crash-save <db.vtx> <key>  load, store one record, and
//                                            save; the process kills itself
//                                            between writing the temporary
//                                            file and the rename

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "base/xml_text.h"
#include "library/song_database.h"

namespace {

void KillSelf(const std::string& temporaryPath) {
  std::printf("writing %s\n", temporaryPath.c_str());
  std::fflush(stdout);
  raise(SIGKILL);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: song_db_child learn|crash-save <db.vtx> <key>\n");
    return 2;
  }
  const std::string mode = argv[1], path = argv[2];
  std::printf("%d\n", static_cast<int>(getpid()));
  std::fflush(stdout);
  vantaro::LoadSongDatabase(path);
  vantaro::TZKSongRecord record;
  vantaro::InitSongRecord(record);
  record.name = argv[3];
  record.bpm = 126.5f;
  record.cue[0] = 44100;
  record.pgain = -2.25f;
  record.pgain_valid = 1;
  if (!vantaro::StoreSong(record)) return 3;
  if (mode == "learn") {
    std::printf("stored\n");
    std::fflush(stdout);
    for (;;) pause();
  }
  if (mode == "crash-save") {
    vantaro::SetAtomicWriteHookForTests(KillSelf);
    vantaro::SaveSongDatabase(path);
    return 4;  // not reached: the hook kills the process
  }
  return 2;
}
