#include "codecs/decoder_wav.h"

#include <climits>
#include <cstring>

#include "codecs/byte_order.h"
#include "codecs/codec_paths.h"

namespace vantaro {

namespace {
constexpr int kWavHeaderBytes = 44;
}

bool CDecoderWAV::AcceptsPath(const std::string& lowerPath) const {
  return EndsWith(lowerPath, "wav");
}

bool CDecoderWAV::ReadHeader(FILE* file, THeader& header) {
  uint8_t head[36];
  if (std::fread(head, 1, sizeof(head), file) != sizeof(head)) return false;
  if (!IsChunkId(head, "RIFF") || !IsChunkId(head + 8, "WAVE") || !IsChunkId(head + 12, "fmt ")) {
    return false;
  }
  // Only the plain 16-byte format chunk is read here; extensible files (18 or
  // 40 bytes) go on to the next decoder.
  if (ReadLE32(head + 16) != 16) return false;
  const int tag = ReadLE16(head + 20);
  if (tag != 1 && tag != 3) return false;
  header.format.channels = ReadLE16(head + 22);
  const uint32_t rate = ReadLE32(head + 24);
  header.format.sampleRate = rate > INT32_MAX ? 0 : static_cast<int32_t>(rate);
  header.format.bitsPerSample = ReadLE16(head + 34);
  header.floatSamples = tag == 3 ? 1 : 0;

  // Chunks are walked up to "data"; every step moves forward by at least 8
  // bytes, so a lying size ends the walk at the end of the file.
  int64_t position = 36;
  for (;;) {
    uint8_t chunk[8];
    if (fseeko(file, position, SEEK_SET) != 0) return false;
    if (std::fread(chunk, 1, sizeof(chunk), file) != sizeof(chunk)) return false;
    const uint32_t size = ReadLE32(chunk + 4);
    if (IsChunkId(chunk, "data")) {
      header.dataStart = position + 8;
      header.dataBytes = size;
      return true;
    }
    position += 8 + static_cast<int64_t>(size);
  }
}

bool CDecoderWAV::WriteHeader(FILE* file, const TCodecFormat& f) {
  const uint32_t block = static_cast<uint32_t>(StoredFrameSize(f.bitsPerSample, f.channels));
  uint8_t head[kWavHeaderBytes];
  std::memcpy(head, "RIFF", 4);
  WriteLE32(head + 4, kWavHeaderBytes);
  std::memcpy(head + 8, "WAVEfmt ", 8);
  WriteLE32(head + 16, 16);
  WriteLE16(head + 20, f.bitsPerSample == 32 ? 3 : 1);
  WriteLE16(head + 22, static_cast<uint32_t>(f.channels));
  WriteLE32(head + 24, static_cast<uint32_t>(f.sampleRate));
  WriteLE32(head + 28, block * static_cast<uint32_t>(f.sampleRate));
  WriteLE16(head + 32, block);
  WriteLE16(head + 34, static_cast<uint32_t>(f.bitsPerSample));
  std::memcpy(head + 36, "data", 4);
  WriteLE32(head + 40, 0);
  return std::fwrite(head, 1, sizeof(head), file) == sizeof(head);
}

void CDecoderWAV::PatchHeader(FILE* file) {
  const uint32_t bytes = static_cast<uint32_t>(dataFrames * frameSize);
  uint8_t field[4];
  WriteLE32(field, bytes + 36);
  if (fseeko(file, 4, SEEK_SET) == 0) std::fwrite(field, 1, 4, file);
  WriteLE32(field, bytes);
  if (fseeko(file, 40, SEEK_SET) == 0) std::fwrite(field, 1, 4, file);
}

}  // namespace vantaro
