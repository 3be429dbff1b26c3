#include "codecs/ffmpeg_file_input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

extern "C" {
#include <libavformat/avformat.h>
}

namespace vantaro {
namespace {

// Bytes libavformat asks for at a time.
constexpr int kReadBytes = 32768;

std::atomic<void (*)()> gReadHook{nullptr};

}  // namespace

void SetFFmpegFileReadHook(void (*hook)()) {
  gReadHook.store(hook);
}

int FFmpegFileInput::Read(void* opaque, uint8_t* buffer, int size) {
  auto* self = static_cast<FFmpegFileInput*>(opaque);
  if (self->interrupt_ && self->interrupt_(nullptr)) return AVERROR_EXIT;
  if (void (*hook)() = gReadHook.load()) hook();
  ssize_t got;
  do {
    got = read(self->fd_, buffer, static_cast<size_t>(size));
  } while (got < 0 && errno == EINTR);
  if (got < 0) return AVERROR(errno);
  return got == 0 ? AVERROR_EOF : static_cast<int>(got);
}

int64_t FFmpegFileInput::Seek(void* opaque, int64_t offset, int whence) {
  auto* self = static_cast<FFmpegFileInput*>(opaque);
  if (whence == AVSEEK_SIZE) {
    struct stat info;
    return fstat(self->fd_, &info) == 0 ? static_cast<int64_t>(info.st_size) : AVERROR(errno);
  }
  const off_t position = lseek(self->fd_, offset, whence & ~AVSEEK_FORCE);
  return position < 0 ? AVERROR(errno) : static_cast<int64_t>(position);
}

AVFormatContext* FFmpegFileInput::Open(const std::string& path, int (*interrupt)(void*)) {
  Close();
  interrupt_ = interrupt;
  fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  auto* buffer = static_cast<uint8_t*>(av_malloc(kReadBytes));
  if (fd_ < 0 || !buffer) {
    av_free(buffer);
    Close();
    return nullptr;
  }
  io_ = avio_alloc_context(buffer, kReadBytes, 0, this, Read, nullptr, Seek);
  format_ = io_ ? avformat_alloc_context() : nullptr;
  if (!format_) {
    if (!io_) av_free(buffer);
    Close();
    return nullptr;
  }
  format_->pb = io_;
  format_->interrupt_callback.callback = interrupt;
  // The name still takes part in recognising the container (its ending).
  if (avformat_open_input(&format_, path.c_str(), nullptr, nullptr) < 0) {
    format_ = nullptr;  // freed by the failed open
    Close();
    return nullptr;
  }
  return format_;
}

void FFmpegFileInput::Close() {
  if (format_) avformat_close_input(&format_);
  if (io_) {
    av_freep(&io_->buffer);  // the context may have replaced the first buffer
    avio_context_free(&io_);
  }
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
}

}  // namespace vantaro
