// The deck across its threads: the audio thread renders without pause while
// the store thread loads, seeks and unloads, and the test thread acts as
// the GUI. Run under the thread sanitizer (filter DeckThreads*) and under
// the address sanitizer, these prove that the render never reads a block
// that is being freed and that every shared word is properly ordered.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "tests/engine/deck_test_rig.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::DeckRig;
using test::TempDir;

// Polls `condition` every millisecond; false when it did not hold within
// `limitMs` (a generous bound for slow sanitizer builds, not a timing check).
bool WaitFor(const std::function<bool()>& condition, int limitMs = 60000) {
  for (int waited = 0; waited < limitMs; ++waited) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return condition();
}

// The audio thread: renders 50 ms blocks through the offline device, paced by
// `pauseMs` after each block, and keeps the measurements of the last block.
class RenderLoop {
 public:
  RenderLoop(DeckRig& rig, int pauseMs) {
    thread_ = std::thread([this, &rig, pauseMs] {
      while (!stop_.load()) {
        const std::vector<float> out = rig.Render(2205);
        peak_.store(test::Peak(out, 2, 0));
        frequency_.store(test::ToneFrequency(out, 2, 0));
        blocks_.fetch_add(1);
        if (pauseMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(pauseMs));
      }
    });
  }
  ~RenderLoop() {
    stop_.store(true);
    thread_.join();
  }
  double Peak() const { return peak_.load(); }
  double Frequency() const { return frequency_.load(); }
  long Blocks() const { return blocks_.load(); }
  // True once a block rendered after this call satisfies `condition`.
  bool WaitForBlock(const std::function<bool()>& condition) {
    const long after = Blocks() + 1;
    return WaitFor([&] { return Blocks() > after && condition(); });
  }

 private:
  std::thread thread_;
  std::atomic<bool> stop_{false};
  std::atomic<double> peak_{0.0};
  std::atomic<double> frequency_{0.0};
  std::atomic<long> blocks_{0};
};

bool Near(double value, double expected, double tolerance) {
  return value > expected - tolerance && value < expected + tolerance;
}

// A rig whose decks run their own store threads (stopped by the decks'
// destructors), and sine songs written for them.
class DeckThreads : public ::testing::Test {
 protected:
  std::string Sine(const std::string& name, int seconds, double hz, double amplitude = 16000) {
    const std::string path = dir_.File(name);
    EXPECT_TRUE(test::WriteStereoWav(path, test::MakeSine(seconds * 44100, hz, amplitude)));
    return path;
  }
  CSoundSource& StartedDeck(int index = 0, bool repeat = true) {
    CSoundSource& deck = rig_.AddDeck(index);
    deck.SetRepeat(repeat);
    EXPECT_TRUE(deck.StartStoreThread());
    return deck;
  }

  TempDir dir_;
  DeckRig rig_;
};

TEST_F(DeckThreads, LoadWhilePlaying) {
  const std::string songs[2] = {Sine("a.wav", 6, 440), Sine("b.wav", 6, 1000)};
  CSoundSource& deck = StartedDeck();
  RenderLoop audio(rig_, 2);

  ASSERT_EQ(deck.LoadSong(songs[0], true, nullptr, false), 1);
  ASSERT_TRUE(audio.WaitForBlock([&] { return Near(audio.Frequency(), 440, 5); }));
  EXPECT_TRUE(deck.IsPlaying());

  ASSERT_EQ(deck.LoadSong(songs[1], true, nullptr, false), 1);
  ASSERT_TRUE(audio.WaitForBlock([&] { return Near(audio.Frequency(), 1000, 5); }));
  EXPECT_EQ(deck.GetLength(), 6 * 44100);
  // Loads back to back while the render runs flat out.
  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(WaitFor([&] { return !deck.IsLoadPending(); }));
    deck.LoadSong(songs[1 - i % 2], true, nullptr, false);
  }
  ASSERT_TRUE(WaitFor([&] { return !deck.IsLoadPending() && deck.IsSongReady(); }));
  ASSERT_TRUE(audio.WaitForBlock([&] { return Near(audio.Frequency(), 440, 5); }));
}

TEST_F(DeckThreads, SeekToTheFarEndOfATenMinuteFileWhilePlaying) {
  if (!test::HaveProgram("sox")) GTEST_SKIP() << "sox is needed to make the file";
  const std::string body = dir_.File("body.wav"), tail = dir_.File("tail.wav");
  const std::string song = dir_.File("ten.wav");
  ASSERT_EQ(test::RunCommand("sox -n -r 44100 -c 2 -b 16 '" + body + "' synth 590 sine 440"), 0);
  ASSERT_EQ(test::RunCommand("sox -n -r 44100 -c 2 -b 16 '" + tail + "' synth 10 sine 1000"), 0);
  ASSERT_EQ(test::RunCommand("sox '" + body + "' '" + tail + "' '" + song + "'"), 0);

  CSoundSource& deck = StartedDeck(0, false);
  RenderLoop audio(rig_, 5);
  ASSERT_EQ(deck.LoadSong(song, true, nullptr, false), 1);
  ASSERT_TRUE(audio.WaitForBlock([&] { return Near(audio.Frequency(), 440, 5); }));
  ASSERT_EQ(deck.GetLength(), 600 * 44100);
  EXPECT_FALSE(deck.IsStreaming());

  const double target = 600 * 44100.0 - 5 * 44100;
  deck.SeekRequest(target);
  ASSERT_TRUE(WaitFor([&] { return deck.GetExactPosition() >= target; }));
  ASSERT_TRUE(audio.WaitForBlock([&] { return Near(audio.Frequency(), 1000, 5); }));
  EXPECT_TRUE(deck.IsPlaying());
  EXPECT_GT(deck.GetPosition(), 590 * 44100);
}

TEST_F(DeckThreads, UnloadInTheMiddleOfARender) {
  const std::string song = Sine("a.wav", 8, 440);
  CSoundSource& deck = StartedDeck();
  RenderLoop audio(rig_, 0);  // no pause: renders overlap every unload
  for (int round = 0; round < 5; ++round) {
    ASSERT_EQ(deck.LoadSong(song, true, nullptr, false), 1);
    ASSERT_TRUE(audio.WaitForBlock([&] { return audio.Peak() > 0.4; })) << round;
    deck.RequestUnload();
    ASSERT_TRUE(WaitFor([&] { return !deck.IsSongLoaded() && deck.BlockCount() == 0; })) << round;
    ASSERT_TRUE(audio.WaitForBlock([&] { return audio.Peak() == 0.0; })) << round;
    EXPECT_FALSE(deck.IsBlockPresent(0));
  }
}

TEST_F(DeckThreads, TwoDecksLoadAndPlayTogether) {
  const std::string a = Sine("a.wav", 5, 440, 12000), b = Sine("b.wav", 7, 1000, 12000);
  CSoundSource& left = StartedDeck(0);
  CSoundSource& right = StartedDeck(1);
  RenderLoop audio(rig_, 2);
  // Both store threads decode at once, through the one codec lock.
  ASSERT_EQ(left.LoadSong(a, true, nullptr, false), 1);
  ASSERT_EQ(right.LoadSong(b, true, nullptr, false), 1);
  ASSERT_TRUE(WaitFor([&] { return left.GetDecodedPercent() == 100; }));
  ASSERT_TRUE(WaitFor([&] { return right.GetDecodedPercent() == 100; }));
  EXPECT_EQ(left.GetLength(), 5 * 44100);
  EXPECT_EQ(right.GetLength(), 7 * 44100);
  const double leftAt = left.GetExactPosition(), rightAt = right.GetExactPosition();
  ASSERT_TRUE(audio.WaitForBlock([&] {
    return left.GetExactPosition() > leftAt + 44100 && right.GetExactPosition() > rightAt + 44100;
  }));
  EXPECT_GT(audio.Peak(), 0.5) << "both tones in the mix";
}

TEST_F(DeckThreads, ScratchFromTheGuiWhileTheJogTickAndTheRenderRun) {
  CSoundSource& deck = StartedDeck(0, false);
  ASSERT_EQ(deck.LoadSong(Sine("a.wav", 10, 440), true, nullptr, false), 1);
  ASSERT_TRUE(WaitFor([&] { return deck.IsSongReady() && deck.IsPlaying(); }));
  RenderLoop audio(rig_, 1);
  std::atomic<bool> stop{false};
  std::thread jogTick([&] {
    while (!stop.load()) {
      deck.ScratchTick(CSoundSource::kJogIdleLimit);
      deck.PeriodicUpdate();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  for (int round = 0; round < 100; ++round) {
    deck.BeginScratch(0, round % 2 == 0);
    for (int move = 1; move <= 5; ++move) {
      deck.MoveScratch(round % 2 ? -move * 3 : move * 40);
      std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
    deck.Jog(70, 0, kJogRelative3, false, 10);
    deck.EndScratch();
    if (round % 10 == 0) deck.SeekRequest(44100.0 * (round % 7));
  }
  stop.store(true);
  jogTick.join();
  EXPECT_FALSE(deck.IsScratching());
  EXPECT_TRUE(deck.IsPlaying()) << "a playing deck plays on after every scratch";
}

}  // namespace
}  // namespace vantaro
