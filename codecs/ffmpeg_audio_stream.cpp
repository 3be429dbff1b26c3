#include "codecs/ffmpeg_audio_stream.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include "codecs/codec_lock.h"
#include "codecs/codec_set.h"

namespace vantaro {

namespace {

std::atomic<bool> gInterrupt{false};

int InterruptCallback(void*) {
  return gInterrupt.load(std::memory_order_relaxed) ? 1 : 0;
}

// Broken frames in a row after which a stream counts as ended: a file of
// garbage with a valid header must not keep the reader busy.
constexpr int kMaxDecodeErrors = 64;
// Largest end correction of the rate conversion, in frames: its rounding is a
// few frames; a larger gap is a stream that ended early and is not padded.
constexpr int64_t kMaxEndPadFrames = 64;
constexpr int kBytesPerSample = 2;
// Largest block libav may allocate at once (see PrepareFFmpegLibraries).
constexpr size_t kLargestLibraryBlockBytes = size_t{256} << 20;

// A channel layout swresample can work with: the stream's own when it names
// its channels, else the default order for that many channels.
void UsableLayout(const AVChannelLayout& source, AVChannelLayout& out) {
  if (source.order == AV_CHANNEL_ORDER_NATIVE || source.order == AV_CHANNEL_ORDER_AMBISONIC) {
    av_channel_layout_copy(&out, &source);
  } else {
    av_channel_layout_default(&out, source.nb_channels);
  }
}

// Decoder-drop samples (encoder delay at the start, padding at the end) that
// the demuxer attached to a packet.
void PacketSkips(const AVPacket* packet, int64_t& atStart, int64_t& atEnd) {
  size_t size = 0;
  const uint8_t* data = av_packet_get_side_data(packet, AV_PKT_DATA_SKIP_SAMPLES, &size);
  atStart = 0;
  atEnd = 0;
  if (!data || size < 8) return;
  atStart = AV_RL32(data);
  atEnd = AV_RL32(data + 4);
}

// Sums the durations of the packets of stream `index` without decoding them,
// less the samples the decoder will drop. Result in source frames, -1 when a
// packet carries no duration or the file cannot be read again.
//
// This reads the whole file, so it runs without the global codec lock: on a
// slow disk a long mix would otherwise stall every other deck's store
// thread. That is safe because the scan opens the file a second time with a
// format context and packet of its own and touches no decoder state at all,
// and the codec set whose Open called it is used by this thread alone until
// Open returns.
int64_t CountPacketFrames(const std::string& path, int index, int sourceRate, int fallbackFrameSize,
                          int64_t& firstSkip) {
  CodecLockRelease unlocked;
  FFmpegFileInput input;
  AVFormatContext* format = input.Open(path, InterruptCallback);
  if (!format) return -1;
  int64_t total = -1;
  AVPacket* packet = av_packet_alloc();
  if (packet && index < static_cast<int>(format->nb_streams)) {
    const AVRational timeBase = format->streams[index]->time_base;
    const AVRational sampleBase{1, sourceRate};
    int64_t durationTicks = 0, skipped = 0, packets = 0;
    bool complete = true;
    while (av_read_frame(format, packet) >= 0) {
      if (packet->stream_index == index) {
        int64_t ticks = packet->duration;
        if (ticks <= 0 && fallbackFrameSize > 0)
          ticks = av_rescale_q(fallbackFrameSize, sampleBase, timeBase);
        if (ticks <= 0) complete = false;
        durationTicks += ticks;
        int64_t atStart = 0, atEnd = 0;
        PacketSkips(packet, atStart, atEnd);
        if (packets == 0) firstSkip = atStart;
        skipped += atStart + atEnd;
        ++packets;
      }
      av_packet_unref(packet);
    }
    if (complete && packets > 0)
      total = std::max<int64_t>(0, av_rescale_q(durationTicks, timeBase, sampleBase) - skipped);
  }
  av_packet_free(&packet);
  return total;
}

}  // namespace

void SetFFmpegInterrupt(bool abort) {
  gInterrupt.store(abort, std::memory_order_relaxed);
}

void PrepareFFmpegLibraries() {
  static std::once_flag once;
  std::call_once(once, [] {
    // The library's own lines would come once per broken packet; the reader
    // logs one line per file instead.
    av_log_set_level(AV_LOG_FATAL);
    // The demuxers allocate what a header claims before reading it (a WAV
    // LIST chunk of 1.6 GB is zero-filled whole): no single block of the
    // library may pass this, so such a file fails to open instead of taking
    // the machine's memory. Decoded 8K video frames stay well below it.
    av_max_alloc(kLargestLibraryBlockBytes);
  });
}

FFmpegAudioStream::FFmpegAudioStream() = default;

FFmpegAudioStream::~FFmpegAudioStream() {
  Close();
}

bool FFmpegAudioStream::Open(const std::string& path, std::string& error) {
  Close();
  format_ = input_.Open(path, InterruptCallback);
  if (!format_) {
    error = "cannot be opened";
    return false;
  }
  format_->flags |= AVFMT_FLAG_GENPTS;
  if (avformat_find_stream_info(format_, nullptr) < 0) {
    error = "has no readable stream information";
    Close();
    return false;
  }
  for (unsigned i = 0; i < format_->nb_streams && streamIndex_ < 0; ++i) {
    if (format_->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
      streamIndex_ = static_cast<int>(i);
  }
  if (streamIndex_ < 0) {
    error = "holds no audio stream";
    Close();
    return false;
  }
  if (!OpenDecoder(error)) {
    Close();
    return false;
  }
  int64_t firstSkip = 0;
  const int64_t sourceLength = MeasureLength(path, firstSkip);
  expectedFrames_ =
      sourceLength > 0 ? ConvertFrameCount(sourceLength, kFFmpegOutputRate, sourceRate_) : 0;
  ComputeLeadingSilence(firstSkip);
  return true;
}

namespace {
constexpr int kHighestSourceRate = 768000;  // Hz
constexpr int kMostSourceChannels = 64;
}  // namespace

bool FFmpegAudioStream::OpenDecoder(std::string& error) {
  const AVStream* stream = format_->streams[streamIndex_];
  const AVCodec* decoder = avcodec_find_decoder(stream->codecpar->codec_id);
  if (!decoder) {
    error = "has no decoder for its audio";
    return false;
  }
  codec_ = avcodec_alloc_context3(decoder);
  if (!codec_ || avcodec_parameters_to_context(codec_, stream->codecpar) < 0) {
    error = "cannot set up its decoder";
    return false;
  }
  codec_->pkt_timebase = stream->time_base;
  if (avcodec_open2(codec_, decoder, nullptr) < 0) {
    error = "cannot open its decoder";
    return false;
  }
  channels_ = codec_->ch_layout.nb_channels;
  sourceRate_ = codec_->sample_rate;
  frame_ = av_frame_alloc();
  packet_ = av_packet_alloc();
  if (channels_ <= 0 || sourceRate_ <= 0 || !frame_ || !packet_) {
    error = "reports no channels or rate";
    return false;
  }
  // A damaged header can claim a rate of gigahertz or hundreds of channels;
  // the resampler would then ask for gigabytes. No real recording goes past
  // these.
  if (sourceRate_ > kHighestSourceRate || channels_ > kMostSourceChannels) {
    error = "reports an impossible rate or channel count";
    return false;
  }
  return true;
}

int64_t FFmpegAudioStream::MeasureLength(const std::string& path, int64_t& firstSkip) {
  const AVStream* stream = format_->streams[streamIndex_];
  const AVRational sampleBase{1, sourceRate_};
  const bool estimated = format_->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
  int64_t stated = -1;
  if (!estimated && stream->duration != AV_NOPTS_VALUE && stream->duration > 0)
    stated = av_rescale_q(stream->duration, stream->time_base, sampleBase);
  // MPEG audio states whole packets (an Info header) or only a bit-rate
  // estimate: its packets are counted, less the encoder delay and padding the
  // demuxer marks for dropping. Other containers state the stream's length;
  // Ogg Opus counts its pre-skip in it, which the decoder drops.
  const AVCodecID id = stream->codecpar->codec_id;
  const bool mpegAudio = id == AV_CODEC_ID_MP3 || id == AV_CODEC_ID_MP2 || id == AV_CODEC_ID_MP1;
  if (stated > 0 && !mpegAudio)
    return std::max<int64_t>(0, stated - stream->codecpar->initial_padding);
  const int64_t counted =
      CountPacketFrames(path, streamIndex_, sourceRate_, stream->codecpar->frame_size, firstSkip);
  countedPackets_ = counted >= 0;
  return counted >= 0 ? counted : stated;
}

void FFmpegAudioStream::ComputeLeadingSilence(int64_t firstSkip) {
  const AVStream* stream = format_->streams[streamIndex_];
  leadFrames_ = 0;
  if (stream->start_time == AV_NOPTS_VALUE || stream->start_time <= 0) return;
  const int64_t startSource =
      av_rescale_q(stream->start_time, stream->time_base, AVRational{1, sourceRate_});
  const int64_t silentSource = startSource - firstSkip;
  if (silentSource <= 0) return;
  leadFrames_ = silentSource * kFFmpegOutputRate / sourceRate_;
}

bool FFmpegAudioStream::ConfigureResampler(const AVFrame* frame) {
  if (resampler_ && frame->sample_rate == resamplerInRate_ && frame->format == resamplerInFormat_ &&
      frame->ch_layout.nb_channels == resamplerInChannels_)
    return true;
  AVChannelLayout inLayout{}, outLayout{};
  UsableLayout(frame->ch_layout, inLayout);
  UsableLayout(codec_->ch_layout, outLayout);
  if (outLayout.nb_channels != channels_) {
    av_channel_layout_uninit(&outLayout);
    av_channel_layout_default(&outLayout, channels_);
  }
  swr_free(&resampler_);
  int result = swr_alloc_set_opts2(&resampler_, &outLayout, AV_SAMPLE_FMT_S16, kFFmpegOutputRate,
                                   &inLayout, static_cast<AVSampleFormat>(frame->format),
                                   frame->sample_rate, 0, nullptr);
  av_channel_layout_uninit(&inLayout);
  av_channel_layout_uninit(&outLayout);
  if (result < 0 || !resampler_) return false;
  // A longer windowed-sinc filter than the default: 48 and 96 kHz material
  // keeps its top octave without aliasing.
  av_opt_set_int(resampler_, "filter_size", 64, 0);
  av_opt_set_int(resampler_, "phase_shift", 10, 0);
  av_opt_set_double(resampler_, "cutoff", 0.97, 0);
  if (swr_init(resampler_) < 0) {
    swr_free(&resampler_);
    return false;
  }
  resamplerInRate_ = frame->sample_rate;
  resamplerInFormat_ = frame->format;
  resamplerInChannels_ = frame->ch_layout.nb_channels;
  return true;
}

int FFmpegAudioStream::ConvertFrame(const AVFrame* frame) {
  if (frame->nb_samples <= 0 || frame->sample_rate <= 0 || !ConfigureResampler(frame)) return 0;
  const int room = swr_get_out_samples(resampler_, frame->nb_samples);
  if (room <= 0) return 0;
  const size_t need = static_cast<size_t>(room) * channels_ * kBytesPerSample;
  if (output_.size() < need) output_.resize(need);
  uint8_t* out = output_.data();
  const int got = swr_convert(resampler_, &out, room,
                              const_cast<const uint8_t**>(frame->extended_data), frame->nb_samples);
  decodedSourceFrames_ += frame->nb_samples;
  return std::max(got, 0);
}

int FFmpegAudioStream::FinishResampler() {
  if (!resampler_) return 0;
  const int room =
      std::max(swr_get_out_samples(resampler_, 0), 0) + static_cast<int>(kMaxEndPadFrames);
  const size_t need = static_cast<size_t>(room) * channels_ * kBytesPerSample;
  if (output_.size() < need) output_.resize(need);
  uint8_t* out = output_.data();
  int got = std::max(
      swr_convert(resampler_, &out, room - static_cast<int>(kMaxEndPadFrames), nullptr, 0), 0);
  if (resamplerInRate_ == kFFmpegOutputRate) return got;
  // The output is the input length converted, to the frame: pad or trim the
  // resampler's rounding.
  const int64_t target =
      ConvertFrameCount(decodedSourceFrames_, kFFmpegOutputRate, resamplerInRate_);
  const int64_t gap = target - (deliveredFrames_ + got);
  if (gap > 0 && gap <= kMaxEndPadFrames) {
    std::memset(out + static_cast<size_t>(got) * channels_ * kBytesPerSample, 0,
                static_cast<size_t>(gap) * channels_ * kBytesPerSample);
    got += static_cast<int>(gap);
  } else if (gap < 0) {
    got = static_cast<int>(std::max<int64_t>(0, got + gap));
  }
  return got;
}

int FFmpegAudioStream::ClampToExpected(int frames) {
  if (expectedFrames_ <= 0) return frames;
  const int64_t left = expectedFrames_ - deliveredFrames_;
  if (frames >= left) {
    finished_ = true;
    return static_cast<int>(std::max<int64_t>(0, left));
  }
  return frames;
}

bool FFmpegAudioStream::FeedDecoder() {
  if (inputDrained_) return false;
  while (true) {
    if (av_read_frame(format_, packet_) < 0) {
      avcodec_send_packet(codec_, nullptr);
      inputDrained_ = true;
      return true;
    }
    if (packet_->stream_index != streamIndex_) {
      av_packet_unref(packet_);
      continue;
    }
    const int result = avcodec_send_packet(codec_, packet_);
    av_packet_unref(packet_);
    // A packet the decoder rejects is dropped; reading goes on.
    if (result < 0 && result != AVERROR(EAGAIN)) {
      ++brokenPackets_;
      if (++decodeErrors_ > kMaxDecodeErrors) {
        avcodec_send_packet(codec_, nullptr);
        inputDrained_ = true;
      }
    }
    return true;
  }
}

bool FFmpegAudioStream::NextChunk(const uint8_t*& data, int& bytes) {
  while (codec_ && !finished_) {
    int frames = 0;
    const int result = avcodec_receive_frame(codec_, frame_);
    if (result == 0) {
      decodeErrors_ = 0;
      frames = ConvertFrame(frame_);
      av_frame_unref(frame_);
    } else if (result == AVERROR(EAGAIN)) {
      if (!FeedDecoder()) finished_ = true;
      continue;
    } else if (result == AVERROR_EOF) {
      frames = FinishResampler();
      finished_ = true;
    } else {
      ++brokenPackets_;
      if (++decodeErrors_ <= kMaxDecodeErrors) continue;  // the decoder goes on with the next
      frames = FinishResampler();
      finished_ = true;
    }
    frames = ClampToExpected(frames);
    if (frames > 0) {
      data = output_.data();
      bytes = frames * channels_ * kBytesPerSample;
      deliveredFrames_ += frames;
      return true;
    }
  }
  return false;
}

void FFmpegAudioStream::Close() {
  swr_free(&resampler_);
  av_frame_free(&frame_);
  av_packet_free(&packet_);
  avcodec_free_context(&codec_);
  input_.Close();
  format_ = nullptr;
  streamIndex_ = -1;
  channels_ = 0;
  sourceRate_ = 0;
  resamplerInRate_ = 0;
  resamplerInFormat_ = -1;
  resamplerInChannels_ = 0;
  expectedFrames_ = 0;
  leadFrames_ = 0;
  countedPackets_ = false;
  decodedSourceFrames_ = 0;
  deliveredFrames_ = 0;
  inputDrained_ = false;
  finished_ = false;
  decodeErrors_ = 0;
  brokenPackets_ = 0;
}

}  // namespace vantaro
