#pragma once
// FFmpegFileInput: a file opened for libavformat through reads of the
// program's own (a custom AVIOContext), so that every read of a file by the
// FFmpeg reader passes one place: the interrupt flag is honoured there, and
// tests can slow reads down to prove that no lock is held across a long scan.
//
// Threads: one owner at a time; never the audio thread (disk reads).

#include <string>

struct AVFormatContext;
struct AVIOContext;

namespace vantaro {

class FFmpegFileInput {
 public:
  FFmpegFileInput() = default;
  ~FFmpegFileInput() { Close(); }
  FFmpegFileInput(const FFmpegFileInput&) = delete;
  FFmpegFileInput& operator=(const FFmpegFileInput&) = delete;

  // Opens the file at `path` and recognises its container. Returns the format
  // context, owned by this object until Close; null when the file cannot be
  // read or its container is not known. `interrupt` is installed as the
  // context's interrupt callback.
  AVFormatContext* Open(const std::string& path, int (*interrupt)(void*));
  // Idempotent.
  void Close();

 private:
  static int Read(void* opaque, uint8_t* buffer, int size);
  static int64_t Seek(void* opaque, int64_t offset, int whence);

  int fd_ = -1;
  int (*interrupt_)(void*) = nullptr;
  AVIOContext* io_ = nullptr;
  AVFormatContext* format_ = nullptr;
};

// For tests: `hook` runs on the reading thread before every read of a file by
// the FFmpeg reader; null (the default) runs nothing.
void SetFFmpegFileReadHook(void (*hook)());

}  // namespace vantaro
