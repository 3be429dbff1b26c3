#pragma once
// The zip archive beside a karaoke track, unpacked as the untrusted input it
// is.
//
// Each open unpacks into a private folder of its own, made by mkdtemp (mode
// 0700) in the temporary folder and named "vantaro-unzip-<process id>-XXXXXX":
// two decks never share a file, one deck's close never removes the other's,
// and the folders a dead run left behind can be told from anything else
// there. Files are created with O_EXCL | O_NOFOLLOW; entries whose name holds
// a folder part ("../x", "a/b") are refused; the unpacked size is capped,
// by the stated sizes before anything is written and by the real bytes
// while writing, and must leave room on the disk.
//
// Threads: the owner's thread, never the audio thread (file I/O).

#include <cstdint>
#include <string>

#include "codecs/codec_paths.h"

namespace vantaro {

class CUnpackedArchive {
 public:
  // Most bytes one archive may unpack to: a karaoke pair is tens of
  // megabytes, a WAV of ten minutes about a hundred.
  static constexpr int64_t kDefaultLimitBytes = int64_t{512} << 20;

  CUnpackedArchive() = default;
  ~CUnpackedArchive() { Remove(); }
  CUnpackedArchive(const CUnpackedArchive&) = delete;
  CUnpackedArchive& operator=(const CUnpackedArchive&) = delete;

  // Unpacks every file of the zip archive at `archivePath` into a new private
  // folder below `temporaryFolder` (which ends in "/"), after removing what
  // an earlier call unpacked. Returns the path to open: the first ".cdg" file
  // if the archive has one, else the first file. Returns "" with a log line,
  // and nothing left on disk, when the archive cannot be read, holds no file
  // that may be unpacked, or would pass `limitBytes` or the free space.
  std::string Unpack(const std::string& archivePath, const std::string& temporaryFolder,
                     int64_t limitBytes = kDefaultLimitBytes);

  // Removes the private folder and everything in it. Idempotent.
  void Remove();

  // The private folder, "" when nothing is unpacked.
  const std::string& Folder() const { return folder_; }

 private:
  std::string folder_;
};

// Removes the unpack folders that earlier runs left in `temporaryFolder`
// (ending in "/"): only real folders (no links) owned by this user, named as
// above, whose process id is no living process, so that the folders of an
// instance still running stay. Returns how many were removed and logs a line
// when there were any. Called once early in start-up.
int SweepUnpackLeftovers(const std::string& temporaryFolder = TemporaryFolder());

}  // namespace vantaro
