#include "codecs/encoder_lame.h"

#include <dlfcn.h>
#include <lame/lame.h>

#include <algorithm>

#include "base/debug_log.h"

namespace vantaro {
namespace {

// Input frames encoded per library call, and the output bytes that call can
// produce at worst (the library's own bound: 1.25 * samples + 7200).
constexpr int kChunkFrames = 44100;
constexpr int kOutBytes = kChunkFrames * 5 / 4 + 7200;
constexpr int kTagBytes = 2880;

}  // namespace

// The entry points, looked up by name. The last four are optional: the
// Linux library has no be* calls, and an old one may lack the tag calls.
struct CEncoderLame::Api {
  decltype(&lame_init) init = nullptr;
  decltype(&get_lame_version) version = nullptr;
  decltype(&lame_init_params) initParams = nullptr;
  decltype(&lame_encode_buffer) encode = nullptr;
  decltype(&lame_encode_buffer_interleaved) encodeInterleaved = nullptr;
  decltype(&lame_encode_flush) flush = nullptr;
  decltype(&lame_close) close = nullptr;
  decltype(&lame_set_in_samplerate) setInRate = nullptr;
  decltype(&lame_set_out_samplerate) setOutRate = nullptr;
  decltype(&lame_set_num_channels) setChannels = nullptr;
  decltype(&lame_set_quality) setQuality = nullptr;
  decltype(&lame_set_brate) setBitrate = nullptr;
  decltype(&lame_set_VBR) setVbr = nullptr;
  decltype(&lame_set_VBR_q) setVbrQuality = nullptr;
  decltype(&lame_set_VBR_min_bitrate_kbps) setVbrMin = nullptr;
  decltype(&lame_set_mode) setMode = nullptr;
  decltype(&lame_set_preset) setPreset = nullptr;
  decltype(&lame_set_error_protection) setErrorProtection = nullptr;
  decltype(&lame_set_disable_reservoir) setDisableReservoir = nullptr;
  int (*setPadding)(lame_t, int) = nullptr;  // gone from newer headers
  decltype(&lame_set_bWriteVbrTag) setWriteVbrTag = nullptr;
  decltype(&lame_get_lametag_frame) lameTagFrame = nullptr;
  decltype(&lame_mp3_tags_fid) tagsFid = nullptr;
  void* writeInfoTag = nullptr;  // beWriteInfoTag
  void* beVersion = nullptr;     // beVersion
};

namespace {

template <typename F>
bool Find(void* library, const char* name, F& entry) {
  entry = reinterpret_cast<F>(dlsym(library, name));
  return entry != nullptr;
}

}  // namespace

CEncoderLame::CEncoderLame(int codecId, const char* library) : CBaseCodec(codecId) {
  library_ = dlopen(library, RTLD_NOW | RTLD_LOCAL);
  if (!library_) {
    DebugLog("lame: can not load library");
    return;
  }
  auto api = std::make_unique<Api>();
  void* l = library_;
  const bool all =
      Find(l, "lame_init", api->init) & Find(l, "get_lame_version", api->version) &
      Find(l, "lame_init_params", api->initParams) & Find(l, "lame_encode_buffer", api->encode) &
      Find(l, "lame_encode_buffer_interleaved", api->encodeInterleaved) &
      Find(l, "lame_encode_flush", api->flush) & Find(l, "lame_close", api->close) &
      Find(l, "lame_set_in_samplerate", api->setInRate) &
      Find(l, "lame_set_out_samplerate", api->setOutRate) &
      Find(l, "lame_set_num_channels", api->setChannels) &
      Find(l, "lame_set_quality", api->setQuality) & Find(l, "lame_set_brate", api->setBitrate) &
      Find(l, "lame_set_VBR", api->setVbr) & Find(l, "lame_set_VBR_q", api->setVbrQuality) &
      Find(l, "lame_set_VBR_min_bitrate_kbps", api->setVbrMin) &
      Find(l, "lame_set_mode", api->setMode) & Find(l, "lame_set_preset", api->setPreset) &
      Find(l, "lame_set_error_protection", api->setErrorProtection) &
      Find(l, "lame_set_disable_reservoir", api->setDisableReservoir) &
      Find(l, "lame_set_padding_type", api->setPadding) &
      Find(l, "lame_set_bWriteVbrTag", api->setWriteVbrTag);
  Find(l, "lame_get_lametag_frame", api->lameTagFrame);
  Find(l, "lame_mp3_tags_fid", api->tagsFid);
  api->writeInfoTag = dlsym(l, "beWriteInfoTag");
  api->beVersion = dlsym(l, "beVersion");
  if (!all) {
    DebugLog("lame: library does not contain standard symbols");
    dlclose(library_);
    library_ = nullptr;
    return;
  }
  // A trial encoder proves the library works before MP3 is offered.
  lame_t trial = api->init();
  if (!trial) {
    DebugLog("lame: error on init");
    dlclose(library_);
    library_ = nullptr;
    return;
  }
  api->close(trial);
  api_ = std::move(api);
}

CEncoderLame::~CEncoderLame() {
  Close();
  if (library_) dlclose(library_);
}

bool CEncoderLame::IsAvailable() const {
  return api_ != nullptr;
}

std::string CEncoderLame::Version() const {
  return api_ ? api_->version() : "";
}

int CEncoderLame::Open(const std::string& path, TCodecFormat& format, int mode) {
  if (!api_) {
    DebugLog("lame: library not opened/found");
    return 0;
  }
  if (opened) {
    DebugLog("lame: already opened");
    return 0;
  }
  if (mode != kCodecWrite || format.bitsPerSample != 16 || format.channels < 1 ||
      format.channels > 2 || format.sampleRate <= 0)
    return 0;
  file_ = std::fopen(path.c_str(), "wb");
  if (!file_) {
    DebugLog("lame: output file '%s' not opened", path.c_str());
    return 0;
  }
  lame_t lame = api_->init();
  if (!lame) {
    DebugLog("lame: error on init");
    std::fclose(file_);
    file_ = nullptr;
    return 0;
  }
  api_->setInRate(lame, format.sampleRate);
  api_->setOutRate(lame, format.sampleRate);
  api_->setChannels(lame, format.channels);
  api_->setMode(lame, format.channels == 2 ? JOINT_STEREO : MONO);
  api_->setQuality(lame, 2);
  api_->setErrorProtection(lame, 0);
  api_->setWriteVbrTag(lame, 1);
  if (vbr_) {
    // VBR quality 5 averages close to 128 kbps on music.
    api_->setVbr(lame, vbr_default);
    api_->setVbrQuality(lame, 5);
    api_->setVbrMin(lame, 32);
  } else {
    api_->setVbr(lame, vbr_off);
    api_->setBitrate(lame, bitrate_);
  }
  if (api_->initParams(lame) < 0) {
    DebugLog("lame: error on init");
    api_->close(lame);
    std::fclose(file_);
    file_ = nullptr;
    return 0;
  }
  encoder_ = lame;
  out_ = std::make_unique<unsigned char[]>(kOutBytes);
  path_ = path;
  format_ = format;
  format_.frames = 0;
  frameSize = 2 * format.channels;
  sampleRate = format.sampleRate;
  framesDone = 0;
  opened = 1;
  DebugLog("lame encoding at %d Hz, %d channels, %d kbps bitrate, vbr=%d", format.sampleRate,
           format.channels, bitrate_, vbr_ ? 1 : 0);
  return 1;
}

bool CEncoderLame::WriteOut(const unsigned char* bytes, int count) {
  return count <= 0 ||
         std::fwrite(bytes, 1, static_cast<size_t>(count), file_) == static_cast<size_t>(count);
}

int CEncoderLame::PutSamples(const void* buffer, int frames) {
  if (!opened || !buffer || frames <= 0) return 0;
  auto lame = static_cast<lame_t>(encoder_);
  const auto* samples = static_cast<const short*>(buffer);
  for (int done = 0; done < frames; done += kChunkFrames) {
    const int n = std::min(kChunkFrames, frames - done);
    const short* in = samples + static_cast<std::ptrdiff_t>(done) * format_.channels;
    // A mono block is handed in as both channels.
    const int bytes = format_.channels == 1 ? api_->encode(lame, in, in, n, out_.get(), kOutBytes)
                                            : api_->encodeInterleaved(lame, const_cast<short*>(in),
                                                                      n, out_.get(), kOutBytes);
    if (bytes < 0 || !WriteOut(out_.get(), bytes) || std::fflush(file_) != 0) {
      DebugLog("lame: output file write error");
      return 0;
    }
    framesDone += n;
  }
  return frames;
}

float CEncoderLame::GetSeconds() {
  return opened && sampleRate > 0 ? static_cast<float>(framesDone) / sampleRate : 0.0f;
}

bool CEncoderLame::FinishFile() {
  auto lame = static_cast<lame_t>(encoder_);
  bool ok = true;
  const int rest = api_->flush(lame, out_.get(), kOutBytes);
  if (rest < 0 || !WriteOut(out_.get(), rest)) {
    DebugLog("lame: output file write error (flush)");
    ok = false;
  }
  if (ok && api_->lameTagFrame) {
    // The tag frame takes the place of the empty first frame the encoder
    // wrote when it started.
    unsigned char tag[kTagBytes];
    const size_t size = api_->lameTagFrame(lame, tag, sizeof tag);
    if (size > 0 && size <= sizeof tag &&
        (std::fflush(file_) != 0 || std::fseek(file_, 0, SEEK_SET) != 0 ||
         std::fwrite(tag, 1, size, file_) != size)) {
      DebugLog("lame: output file write error (infotag)");
      ok = false;
    }
  }
  return ok;
}

void CEncoderLame::Close() {
  if (!opened) return;
  FinishFile();
  std::fclose(file_);
  file_ = nullptr;
  api_->close(static_cast<lame_t>(encoder_));
  encoder_ = nullptr;
  out_.reset();
  opened = 0;
  frameSize = 1;
  framesDone = 0;
  sampleRate = 0;
}

}  // namespace vantaro
