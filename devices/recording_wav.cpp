#include "devices/recording_wav.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "codecs/byte_order.h"

namespace vantaro {
namespace {

constexpr int kRiffSizeAt = 4;
constexpr int kDataSizeAt = 40;

// The header sizes for a file of `fileBytes` bytes of `frameBytes`-byte
// frames. A torn last frame is left outside the data chunk.
std::int64_t WholeDataBytes(std::int64_t fileBytes, int frameBytes) {
  const std::int64_t data = fileBytes - kRecordedWavHeaderBytes;
  if (data <= 0 || frameBytes <= 0) return 0;
  // RIFF sizes are 32-bit: a recording past 4 GB keeps the largest that fits.
  const std::int64_t limit = 0xffffffffLL - 36;
  const std::int64_t whole = data - data % frameBytes;
  return whole > limit ? limit - limit % frameBytes : whole;
}

bool WriteSizes(int fd, std::int64_t dataBytes) {
  std::uint8_t field[4];
  WriteLE32(field, static_cast<std::uint32_t>(dataBytes + 36));
  if (pwrite(fd, field, 4, kRiffSizeAt) != 4) return false;
  WriteLE32(field, static_cast<std::uint32_t>(dataBytes));
  return pwrite(fd, field, 4, kDataSizeAt) == 4;
}

std::int64_t FdSize(int fd) {
  struct stat info {};
  return fstat(fd, &info) == 0 ? static_cast<std::int64_t>(info.st_size) : -1;
}

}  // namespace

bool RecordingWavFile::Commit() {
  if (!opened || !writing) return false;
  // The header is written with pwrite on the descriptor: the stream's
  // buffer is empty after the flush and its position stays at the end.
  if (std::fflush(writeFile) != 0) return false;
  const int fd = fileno(writeFile);
  const std::int64_t size = FdSize(fd);
  return size >= 0 && WriteSizes(fd, WholeDataBytes(size, frameSize));
}

void RecordingWavFile::PatchHeader(FILE* file) {
  std::fflush(file);
  const int fd = fileno(file);
  const std::int64_t size = FdSize(fd);
  if (size >= 0) WriteSizes(fd, WholeDataBytes(size, frameSize));
}

WavRepair RepairRecordedWav(const std::string& path, std::int64_t* frames) {
  const int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return WavRepair::kFailed;
  std::uint8_t head[kRecordedWavHeaderBytes];
  WavRepair result = WavRepair::kNotAWav;
  if (pread(fd, head, sizeof head, 0) == static_cast<ssize_t>(sizeof head) &&
      std::memcmp(head, "RIFF", 4) == 0 && std::memcmp(head + 8, "WAVEfmt ", 8) == 0 &&
      std::memcmp(head + 36, "data", 4) == 0) {
    const int frameBytes = static_cast<int>(ReadLE16(head + 32));
    const std::int64_t data = WholeDataBytes(FdSize(fd), frameBytes);
    if (frames) *frames = frameBytes > 0 ? data / frameBytes : 0;
    if (ReadLE32(head + kDataSizeAt) == static_cast<std::uint32_t>(data) &&
        ReadLE32(head + kRiffSizeAt) == static_cast<std::uint32_t>(data + 36))
      result = WavRepair::kNotNeeded;
    else
      result = WriteSizes(fd, data) && fsync(fd) == 0 ? WavRepair::kRepaired : WavRepair::kFailed;
  }
  close(fd);
  return result;
}

}  // namespace vantaro
