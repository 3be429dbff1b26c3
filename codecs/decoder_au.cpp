#include "codecs/decoder_au.h"

#include <climits>
#include <cstring>

#include "codecs/byte_order.h"
#include "codecs/codec_paths.h"

namespace vantaro {

namespace {
constexpr int kAuHeaderBytes = 24;
}

int CDecoderAu::BitsOfEncoding(uint32_t encoding) {
  switch (encoding) {
    case 2:
      return 8;
    case 3:
      return 16;
    case 4:
      return 24;
    case 5:
    case 6:
      return 32;
    case 7:
      return 64;
    default:
      return 0;
  }
}

uint32_t CDecoderAu::EncodingOfBits(int bits) {
  switch (bits) {
    case 8:
      return 2;
    case 16:
      return 3;
    case 24:
      return 4;
    case 32:
      return 5;
    default:
      return 0;
  }
}

bool CDecoderAu::AcceptsPath(const std::string& lowerPath) const {
  return EndsWith(lowerPath, "au");
}

bool CDecoderAu::ReadHeader(FILE* file, THeader& header) {
  uint8_t head[kAuHeaderBytes];
  if (std::fread(head, 1, sizeof(head), file) != sizeof(head)) return false;
  if (!IsChunkId(head, ".snd")) return false;
  const uint32_t encoding = ReadBE32(head + 12);
  const int bits = BitsOfEncoding(encoding);
  if (bits == 0) return false;
  const uint32_t offset = ReadBE32(head + 4);
  const uint32_t rate = ReadBE32(head + 16);
  const uint32_t channels = ReadBE32(head + 20);
  if (rate > INT32_MAX || channels > INT32_MAX) return false;
  header.dataStart = offset == 0 ? kAuHeaderBytes : offset;
  header.dataBytes = ReadBE32(head + 8);
  header.format.sampleRate = static_cast<int32_t>(rate);
  header.format.channels = static_cast<int32_t>(channels);
  header.format.bitsPerSample = bits;
  header.unsigned8 = 0;
  header.floatSamples = encoding == 6 || encoding == 7 ? 1 : 0;
  return true;
}

bool CDecoderAu::WriteHeader(FILE* file, const TCodecFormat& f) {
  uint8_t head[kAuHeaderBytes];
  std::memcpy(head, ".snd", 4);
  WriteBE32(head + 4, kAuHeaderBytes);
  WriteBE32(head + 8, 0);
  WriteBE32(head + 12, EncodingOfBits(f.bitsPerSample));
  WriteBE32(head + 16, static_cast<uint32_t>(f.sampleRate));
  WriteBE32(head + 20, static_cast<uint32_t>(f.channels));
  return std::fwrite(head, 1, sizeof(head), file) == sizeof(head);
}

void CDecoderAu::PatchHeader(FILE* file) {
  // The running count is kept in frames, not bytes: every file this writer
  // has made carries it so, and it stays that way.
  uint8_t field[4];
  WriteBE32(field, static_cast<uint32_t>(dataFrames));
  if (fseeko(file, 8, SEEK_SET) == 0) std::fwrite(field, 1, 4, file);
}

int CDecoderAu::PutSamples(const void* buffer, int frames) {
  const int written = WriteFrames(buffer, frames);
  return writeFile && std::ferror(writeFile) ? written : 0;
}

}  // namespace vantaro
