#include "engine/preview_player.h"

#include <algorithm>
#include <thread>

#include "base/thread_priority.h"
#include "codecs/codec_set.h"

namespace vantaro {
namespace {

constexpr int kFrameBytes = 2 * sizeof(float);
constexpr int kPreviewCodecId = 70;  // sounds only: no video decoder

}  // namespace

CZKPreviewPlayer::CZKPreviewPlayer(int playerIndex, bool noThread, int endWarnFrames)
    : playerIndex_(playerIndex),
      endWarnFrames_(endWarnFrames),
      ring_(static_cast<std::size_t>(kRingFrames) * kFrameBytes),
      readBuffer_(std::make_unique<float[]>(static_cast<std::size_t>(kReadFrames) * 2)) {
  if (!noThread) {
    reader_ = std::make_unique<TimedThread>("preview-reader", kReaderPeriodMs, kPriorityLowest,
                                            [this] { ReaderStep(); });
    reader_->Start();
  }
}

CZKPreviewPlayer::~CZKPreviewPlayer() {
  if (reader_) reader_->Stop();
  Close();
}

std::unique_lock<std::mutex> CZKPreviewPlayer::StopReaders() {
  std::unique_lock<std::mutex> lock(readerMutex_);
  opened_ = false;
  // A block that saw the file open finishes before the ring changes.
  while (rendering_.load()) std::this_thread::yield();
  return lock;
}

bool CZKPreviewPlayer::Open(const std::string& path) {
  auto lock = StopReaders();
  CloseLocked();
  auto decoder = std::make_unique<CCodecSet>(kPreviewCodecId);
  TCodecFormat format{44100, 2, 32, 32, 0, 0};
  if (!decoder->Open(path, format, kCodecRead, kReadFrames) || format.frames <= 0) return false;
  decoder_ = std::move(decoder);
  filePath_ = path;
  lengthFrames_ = format.frames;
  opened_ = true;
  lock.unlock();
  if (reader_) reader_->Wake();
  return true;
}

void CZKPreviewPlayer::Close() {
  auto lock = StopReaders();
  CloseLocked();
}

void CZKPreviewPlayer::CloseLocked() {
  // Both sides are out of the ring.
  ring_.Clear();
  decoder_.reset();
  filePath_.clear();
  playing_ = false;
  endWarned_ = false;
  eventBits_ = 0;
  lengthFrames_ = 0;
  renderPosition_ = 0;
  readPosition_ = 0;
}

void CZKPreviewPlayer::SetPlaying(bool on) {
  if (on) endWarned_ = false;
  playing_ = on;
}

void CZKPreviewPlayer::Seek(std::int32_t frame) {
  auto lock = StopReaders();
  if (!decoder_) return;
  ring_.Clear();
  renderPosition_ = frame;
  readPosition_ = frame;
  opened_ = true;
  lock.unlock();
  if (reader_) reader_->Wake();
}

void CZKPreviewPlayer::ReaderStep() {
  std::lock_guard<std::mutex> lock(readerMutex_);
  if (!opened_ || !decoder_) return;
  const std::int32_t length = lengthFrames_.load();
  const std::int32_t at = readPosition_.load();
  if (at >= length || ring_.Available() >= static_cast<std::size_t>(kReadFrames) * kFrameBytes)
    return;
  const int got = decoder_->GetFloatSamples(readBuffer_.get(), kReadFrames, at);
  if (got <= 0) {
    readPosition_ = length;  // a short file: it ends here, quietly
    return;
  }
  const int frames = std::min(got, length - at);
  ring_.Write(readBuffer_.get(), static_cast<std::size_t>(frames) * kFrameBytes);
  readPosition_ = at + frames;
}

void CZKPreviewPlayer::Render(float* buffer, int frames) {
  rendering_.store(true);
  int done = 0;
  if (opened_.load() && playing_.load()) {
    const std::int32_t length = lengthFrames_.load();
    const std::int32_t read = readPosition_.load();
    // Measured at the reader's position: the warning comes when the file
    // has been read that far, before it is heard.
    if (endWarnFrames_ > 0 && !endWarned_ && read >= length - endWarnFrames_) {
      endWarned_ = true;
      eventBits_.fetch_or(kEventEndNear);
    }
    const std::size_t want = static_cast<std::size_t>(frames) * kFrameBytes;
    if (ring_.Read(buffer, want)) {
      done = frames;
    } else if (read >= length) {
      // The tail: what the ring still holds, then the end.
      done = static_cast<int>(ring_.Available() / kFrameBytes);
      ring_.Read(buffer, static_cast<std::size_t>(done) * kFrameBytes);
      playing_ = false;
      eventBits_.fetch_or(kEventEnded);
    } else if (reader_) {
      reader_->Wake();  // ran short mid-file: silence now, nothing skipped
    }
    renderPosition_.fetch_add(done);
  }
  std::fill(buffer + static_cast<std::ptrdiff_t>(done) * 2,
            buffer + static_cast<std::ptrdiff_t>(frames) * 2, 0.0f);
  rendering_.store(false);
}

}  // namespace vantaro
