#include "codecs/native_file_codec.h"

#include <algorithm>
#include <climits>

#include "base/debug_log.h"
#include "codecs/codec_paths.h"
#include "codecs/sample_convert.h"

namespace vantaro {

int64_t FileSize(FILE* file) {
  const off_t here = ftello(file);
  if (here < 0 || fseeko(file, 0, SEEK_END) != 0) return -1;
  const off_t size = ftello(file);
  if (fseeko(file, here, SEEK_SET) != 0) return -1;
  return size;
}

int CNativeFileCodec::StoredFrameSize(int bits, int channels) {
  if (bits <= 0 || bits > kMaxFileBits || channels <= 0 || channels > kMaxFileChannels) return 0;
  return (bits + 7) / 8 * channels;
}

CNativeFileCodec::~CNativeFileCodec() {
  CNativeFileCodec::Close();
}

int CNativeFileCodec::Open(const std::string& path, TCodecFormat& requested, int mode) {
  if (opened) return 0;
  if (!AcceptsPath(LowerCasePath(path))) return 0;
  if (mode == kCodecWrite) return OpenForWriting(path, requested);
  if (mode == kCodecRead) return OpenForReading(path, requested);
  return 0;
}

int CNativeFileCodec::OpenForReading(const std::string& path, TCodecFormat& result) {
  FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return 0;
  THeader header;
  const int64_t fileSize = FileSize(file);
  const bool parsed =
      fileSize >= 0 && std::fseek(file, 0, SEEK_SET) == 0 && ReadHeader(file, header);
  const TCodecFormat& f = header.format;
  const int storedFrame = StoredFrameSize(f.bitsPerSample, f.channels);
  // A header may lie; what cannot be read safely is refused here, and a data
  // size past the end of the file is cut to the real end.
  if (!parsed || storedFrame <= 0 || f.sampleRate <= 0 || header.dataStart < 0) {
    std::fclose(file);
    return 0;
  }
  // Samples the codec set could not turn into floats would reach it raw, and
  // raw bytes read as floats can be NaN: refused here, so the next decoder
  // may try the file.
  if (!CanWidenToFloat(storedFrame / f.channels, header.floatSamples != 0)) {
    DebugLog("%s: %d-bit %s samples are not read", path.c_str(), f.bitsPerSample,
             header.floatSamples ? "float" : "integer");
    std::fclose(file);
    return 0;
  }
  const int64_t available = std::max<int64_t>(0, fileSize - header.dataStart);
  const int64_t bytes = std::clamp<int64_t>(header.dataBytes, 0, available);
  readFile = file;
  writing = 0;
  format = f;
  format.containerBits = f.bitsPerSample;
  format.flags = 0;
  dataStart = header.dataStart;
  dataFrames = std::min<int64_t>(bytes / storedFrame, INT32_MAX);
  format.frames = static_cast<int32_t>(dataFrames);
  readPosition = 0;
  frameSize = storedFrame;
  framesDone = 0;
  sampleRate = f.sampleRate;
  unsigned8 = header.unsigned8;
  floatSamples = header.floatSamples;
  opened = 1;
  result = format;
  return 1;
}

int CNativeFileCodec::OpenForWriting(const std::string& path, const TCodecFormat& requested) {
  const int storedFrame = StoredFrameSize(requested.bitsPerSample, requested.channels);
  if (storedFrame <= 0 || requested.sampleRate <= 0) return 0;
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return 0;
  format = requested;
  format.containerBits = requested.bitsPerSample;
  format.flags = 0;
  format.frames = 0;
  if (!WriteHeader(file, format)) {
    std::fclose(file);
    std::remove(path.c_str());
    return 0;
  }
  writeFile = file;
  writing = 1;
  dataStart = FileSize(file);
  dataFrames = 0;
  frameSize = storedFrame;
  framesDone = 0;
  sampleRate = requested.sampleRate;
  opened = 1;
  return 1;
}

int CNativeFileCodec::GetSamples(void* buffer, int frames, int64_t startFrame) {
  if (!opened || writing || !buffer || frames <= 0) return 0;
  if (startFrame != kContinueFrame) {
    if (startFrame < 0) return 0;
    readPosition = startFrame;
  }
  if (readPosition >= dataFrames) return 0;
  const int64_t wanted = std::min<int64_t>(frames, dataFrames - readPosition);
  if (fseeko(readFile, dataStart + readPosition * frameSize, SEEK_SET) != 0) return 0;
  const size_t bytes = std::fread(buffer, 1, static_cast<size_t>(wanted * frameSize), readFile);
  const int got = static_cast<int>(bytes / static_cast<size_t>(frameSize));
  readPosition += got;
  framesDone += got;
  return got;
}

int CNativeFileCodec::WriteFrames(const void* buffer, int frames) {
  if (!opened || !writing || !buffer || frames <= 0) return 0;
  const size_t bytes = std::fwrite(
      buffer, 1, static_cast<size_t>(frames) * static_cast<size_t>(frameSize), writeFile);
  const int written = static_cast<int>(bytes / static_cast<size_t>(frameSize));
  framesDone += written;
  dataFrames += written;
  return written;
}

int CNativeFileCodec::PutSamples(const void* buffer, int frames) {
  return WriteFrames(buffer, frames);
}

float CNativeFileCodec::GetSeconds() {
  if (!opened || sampleRate <= 0) return 0.0f;
  const int64_t counted = (!writing && SecondsFromLength()) ? dataFrames : framesDone;
  return static_cast<float>(static_cast<double>(counted) / sampleRate);
}

void CNativeFileCodec::Close() {
  if (!opened) return;
  if (writing) {
    PatchHeader(writeFile);
    std::fclose(writeFile);
    writeFile = nullptr;
  } else {
    std::fclose(readFile);
    readFile = nullptr;
    frameSize = 1;
  }
  writing = 0;
  framesDone = 0;
  sampleRate = 0;
  dataStart = 0;
  dataFrames = 0;
  readPosition = 0;
  unsigned8 = 1;
  floatSamples = 0;
  opened = 0;
}

}  // namespace vantaro
