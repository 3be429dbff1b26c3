#pragma once
// FFmpegAudioStream: one audio stream of a file, decoded with libavcodec's
// send/receive calls and converted by libswresample to interleaved signed
// 16-bit samples at 44100 Hz, with the stream's own channel count.
//
// Lengths are in frames at 44100 Hz unless a name says otherwise.
//
// Length contract (what CDecoderFFMpeg reports and the deck relies on):
//  - Open() measures the stream's length. MPEG audio (MP3) states either
//    whole packets (Xing/Info header) or only an estimate from the bit rate,
//    so its packets are demuxed without decoding, through a second opening
//    of the file and without the global codec lock, and their durations summed,
//    less the samples the decoder is told to drop at the start and end
//    (encoder delay and padding). Other containers state the length (Ogg
//    Opus with its pre-skip, which is taken off); where none is stated the
//    packets are counted too.
//  - NextChunk() never delivers more than ExpectedFrames(). For an intact file
//    the frames delivered before NextChunk() returns false equal
//    ExpectedFrames() exactly; rate conversion is padded or trimmed by its
//    rounding at the end so that the output is the input length converted.
//  - A file that breaks early (truncated, corrupt) ends where decoding stops;
//    DeliveredFrames() is then the real length.
//
// Threads: one owner at a time; never the audio thread (decoding reads the
// disk and allocates).

#include <cstdint>
#include <string>
#include <vector>

#include "codecs/ffmpeg_file_input.h"

struct AVFormatContext;
struct AVCodecContext;
struct AVFrame;
struct AVPacket;
struct SwrContext;

namespace vantaro {

// Output rate of every stream, frames per second.
inline constexpr int kFFmpegOutputRate = 44100;

// Process-wide flag read by libavformat's interrupt callback: when set,
// blocking library calls of every open stream return early. Nothing in the
// audio path sets it; the program sets it at close to cut a slow network or
// device read short.
void SetFFmpegInterrupt(bool abort);

// Quiets libav's own log (fatal errors only) and caps the size of any one
// block libav allocates (256 MB), once per process. Any thread.
void PrepareFFmpegLibraries();

class FFmpegAudioStream {
 public:
  FFmpegAudioStream();
  ~FFmpegAudioStream();
  FFmpegAudioStream(const FFmpegAudioStream&) = delete;
  FFmpegAudioStream& operator=(const FFmpegAudioStream&) = delete;

  // Opens the first audio stream of the file at `path` (a plain file path).
  // Returns false, with everything released, when the file cannot be opened,
  // holds no audio stream, or has no usable decoder; `error` then says why in
  // a few words.
  bool Open(const std::string& path, std::string& error);
  void Close();
  bool IsOpen() const { return format_ != nullptr; }

  int Channels() const { return channels_; }
  int SourceRate() const { return sourceRate_; }
  // Frames the stream will deliver (see the length contract above).
  int64_t ExpectedFrames() const { return expectedFrames_; }
  // Frames of silence the stream's positive start time asks for before its
  // first sample (codec priming that the decoder drops is not counted).
  int64_t LeadingSilenceFrames() const { return leadFrames_; }
  // True when the length came from counting packets.
  bool CountedPackets() const { return countedPackets_; }

  // Decodes up to the next block of output. Returns true with `data` and
  // `bytes` set (bytes > 0, whole frames) while output remains; false at the
  // real end of the stream. `data` stays valid until the next call.
  bool NextChunk(const uint8_t*& data, int& bytes);

  bool Finished() const { return finished_; }
  int64_t DeliveredFrames() const { return deliveredFrames_; }
  // Packets or frames the decoder rejected (damaged data), skipped.
  int64_t BrokenPackets() const { return brokenPackets_; }

 private:
  bool OpenDecoder(std::string& error);
  bool ConfigureResampler(const AVFrame* frame);
  int64_t MeasureLength(const std::string& path, int64_t& firstSkip);
  void ComputeLeadingSilence(int64_t firstSkip);
  bool FeedDecoder();
  int ConvertFrame(const AVFrame* frame);
  int FinishResampler();
  int ClampToExpected(int frames);

  FFmpegFileInput input_;
  AVFormatContext* format_ = nullptr;  // owned by input_
  AVCodecContext* codec_ = nullptr;
  AVFrame* frame_ = nullptr;
  AVPacket* packet_ = nullptr;
  SwrContext* resampler_ = nullptr;
  int streamIndex_ = -1;
  int channels_ = 0;
  int sourceRate_ = 0;
  // The input the resampler is set up for; a change mid-stream (an MP3 that
  // switches between mono and stereo) sets it up again.
  int resamplerInRate_ = 0;
  int resamplerInFormat_ = -1;
  int resamplerInChannels_ = 0;

  int64_t expectedFrames_ = 0;
  int64_t leadFrames_ = 0;
  bool countedPackets_ = false;

  int64_t decodedSourceFrames_ = 0;  // at the source rate
  int64_t deliveredFrames_ = 0;
  bool inputDrained_ = false;  // null packet sent
  bool finished_ = false;
  int decodeErrors_ = 0;  // in a row
  int64_t brokenPackets_ = 0;
  std::vector<uint8_t> output_;
};

}  // namespace vantaro
