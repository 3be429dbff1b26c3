#include "codecs/decoder_aif.h"

#include <climits>
#include <cmath>
#include <cstring>

#include "codecs/byte_order.h"
#include "codecs/codec_paths.h"

namespace vantaro {

namespace {
constexpr int kAiffHeaderBytes = 54;
constexpr int kMaxChunksWalked = 100;
}  // namespace

bool CDecoderAIF::AcceptsPath(const std::string& lowerPath) const {
  return EndsWith(lowerPath, "aif") || EndsWith(lowerPath, "aiff");
}

bool CDecoderAIF::ReadHeader(FILE* file, THeader& header) {
  uint8_t form[12];
  if (std::fread(form, 1, sizeof(form), file) != sizeof(form)) return false;
  if (!IsChunkId(form, "FORM") || !IsChunkId(form + 8, "AIFF")) return false;
  double rate = 0.0;
  bool haveSound = false;
  int64_t position = 12;
  for (int walked = 0; walked < kMaxChunksWalked && !haveSound; ++walked) {
    uint8_t chunk[8];
    if (fseeko(file, position, SEEK_SET) != 0) return false;
    if (std::fread(chunk, 1, sizeof(chunk), file) != sizeof(chunk)) return false;
    const uint32_t size = ReadBE32(chunk + 4);
    if (IsChunkId(chunk, "COMM")) {
      if (size != 18) return false;  // AIFC and other variants
      uint8_t common[18];
      if (std::fread(common, 1, sizeof(common), file) != sizeof(common)) return false;
      header.format.channels = ReadBE16(common);
      header.format.bitsPerSample = ReadBE16(common + 6);
      rate = ReadExtended80(common + 8);
    } else if (IsChunkId(chunk, "SSND")) {
      uint8_t sound[8];
      if (std::fread(sound, 1, sizeof(sound), file) != sizeof(sound)) return false;
      header.dataStart = position + 16 + ReadBE32(sound);
      header.dataBytes = static_cast<int64_t>(size) - 8;
      haveSound = true;
    }
    position += 8 + static_cast<int64_t>(size);  // odd sizes are not padded here
  }
  if (!haveSound) return false;
  if (!(rate > 11024.0 && rate <= 96000.0)) return false;
  header.format.sampleRate = static_cast<int32_t>(std::lround(rate));
  const int bits = header.format.bitsPerSample;
  return bits >= 16 && bits <= 32;
}

bool CDecoderAIF::WriteHeader(FILE* file, const TCodecFormat& f) {
  uint8_t head[kAiffHeaderBytes] = {};
  std::memcpy(head, "FORM", 4);
  std::memcpy(head + 8, "AIFFCOMM", 8);
  WriteBE32(head + 16, 18);
  WriteBE16(head + 20, static_cast<uint32_t>(f.channels));
  WriteBE16(head + 26, static_cast<uint32_t>(f.bitsPerSample));
  WriteExtended80(head + 28, static_cast<uint32_t>(f.sampleRate));
  std::memcpy(head + 38, "SSND", 4);
  return std::fwrite(head, 1, sizeof(head), file) == sizeof(head);
}

void CDecoderAIF::PatchHeader(FILE* file) {
  const uint32_t bytes = static_cast<uint32_t>(dataFrames * frameSize);
  uint8_t field[4];
  WriteBE32(field, bytes + 8 + 38);
  if (fseeko(file, 4, SEEK_SET) == 0) std::fwrite(field, 1, 4, file);
  WriteBE32(field, static_cast<uint32_t>(dataFrames));
  if (fseeko(file, 22, SEEK_SET) == 0) std::fwrite(field, 1, 4, file);
  WriteBE32(field, bytes + 8);
  if (fseeko(file, 42, SEEK_SET) == 0) std::fwrite(field, 1, 4, file);
}

}  // namespace vantaro
