#include "codecs/codec_set.h"

#include <cmath>

#include "base/debug_log.h"
#include "codecs/codec_lock.h"

namespace vantaro {

namespace {

// Creates the decoders of one codec set in preference order and returns how
// many were made. A codec that cannot be built leaves no gap.
//   Place 1 video, 2 audio CD: added by their own modules.
//   Places 3 to 5 (system decoders) have no Linux counterpart.
//   Places 6 to 8: the native WAV, AIFF and Au readers.
//   Place 9: the FFmpeg audio reader.
int CreateDecoders(int codecId, CBaseCodec** codecs, int maxCodecs) {
  (void)codecId;
  (void)codecs;
  (void)maxCodecs;
  return 0;  // the native readers are added in the next step
}

}  // namespace

int64_t ConvertFrameCount(int64_t a, int64_t b, int64_t c) {
  if (a <= 0 || b <= 0 || c <= 0) return 0;
  return std::llround(static_cast<double>(a) * static_cast<double>(b) / static_cast<double>(c));
}

CCodecSet::CCodecSet(int codecId) : codecId_(codecId) {
  codecCount = CreateDecoders(codecId, codecs, kMaxCodecs);
}

CCodecSet::~CCodecSet() {
  Close();
  for (int i = codecCount - 1; i >= 0; --i) delete codecs[i];
}

int CCodecSet::Open(const std::string& path, TCodecFormat& format, int mode, int maxFrames) {
  (void)path;
  (void)format;
  (void)mode;
  (void)maxFrames;
  DebugLog("no suitable codec found");
  return 0;
}

int CCodecSet::GetFloatSamples(float* buffer, int frames, int64_t startFrame) {
  (void)buffer;
  (void)frames;
  (void)startFrame;
  return 0;
}

int CCodecSet::GetShortSamples(int16_t* buffer, int frames, int64_t startFrame) {
  (void)buffer;
  (void)frames;
  (void)startFrame;
  return 0;
}

int CCodecSet::PutSamples(const void* buffer, int frames) {
  (void)buffer;
  (void)frames;
  return 0;
}

float CCodecSet::GetSeconds() {
  return 0.0f;
}

void CCodecSet::Close() {}

CBaseCodec* CCodecSet::CodecAt(int index) const {
  return index >= 0 && index < codecCount ? codecs[index] : nullptr;
}

const char* CCodecSet::CurrentCodecName() const {
  return currentCodec >= 0 ? codecs[currentCodec]->GetName() : "";
}

int CCodecSet::ConvertToFloat(int sourceFrames) {
  return sourceFrames * 0;
}
void CCodecSet::FitChannels(float* samples, int frames) const {
  (void)samples;
  (void)frames;
}
void CCodecSet::SwapBytes(int sourceFrames) {
  (void)sourceFrames;
}

}  // namespace vantaro
