// The deck across its threads: the audio thread renders without pause while
// the store thread loads, seeks and unloads, the jog thread applies the
// hands' commands, and the test thread acts as the GUI. Run under the thread
// sanitizer (filter DeckThreads*) and under the address sanitizer, these
// prove that no block is read after it is freed, that no hand command is
// lost, and that every shared word is properly ordered.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "base/thread_priority.h"
#include "base/timed_thread.h"
#include "library/song_record.h"
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

bool Near(double value, double expected, double tolerance) {
  return value > expected - tolerance && value < expected + tolerance;
}

// The audio thread: renders 100 ms blocks through the offline device and,
// as the mixer channel does, asks each deck for its tempo after the block.
// Keeps the measurements of the last block.
class RenderLoop {
 public:
  RenderLoop(DeckRig& rig, int decks, int pauseMs) {
    thread_ = std::thread([this, &rig, decks, pauseMs] {
      while (!stop_.load()) {
        const std::vector<float> out = rig.Render(4410);
        for (int d = 0; d < decks; ++d) {
          const float bpm = rig.Deck(d).GetBPM();
          if (bpm != 0.0f && bpm != 120.0f) oddTempo_.store(true);
        }
        peak_.store(test::Peak(out, 2, 0));
        frequency_.store(test::ToneFrequency(out, 2, 0));
        // Pauses of 0, half and all of `pauseMs` in turn, so that other
        // threads meet the loop both inside and between renders.
        const long block = blocks_.fetch_add(1);
        std::this_thread::sleep_for(std::chrono::microseconds(pauseMs * 500 * (block % 3)));
      }
    });
  }
  ~RenderLoop() {
    stop_.store(true);
    thread_.join();
  }
  double Peak() const { return peak_.load(); }
  double Frequency() const { return frequency_.load(); }
  bool SawOddTempo() const { return oddTempo_.load(); }
  // True once a block rendered after this call satisfies `condition`.
  bool WaitForBlock(const std::function<bool()>& condition) {
    const long after = blocks_.load() + 1;
    return WaitFor([&] { return blocks_.load() > after && condition(); });
  }

 private:
  std::thread thread_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> oddTempo_{false};
  std::atomic<double> peak_{0.0};
  std::atomic<double> frequency_{0.0};
  std::atomic<long> blocks_{0};
};

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
  DeckRig rig_{4410};  // long renders: other threads meet them often
};

TEST_F(DeckThreads, LoadWhilePlaying) {
  const std::string songs[2] = {Sine("a.wav", 6, 440), Sine("b.wav", 6, 1000)};
  CSoundSource& deck = StartedDeck();
  RenderLoop audio(rig_, 1, 2);
  for (int i = 0; i < 6; ++i) {
    if (i >= 2) {
      ASSERT_TRUE(WaitFor([&] { return !deck.IsLoadPending(); }));
    }
    ASSERT_EQ(deck.LoadSong(songs[i % 2], true, nullptr, false), 1) << i;
    // The first two are heard out; the rest come back to back.
    if (i < 2 || i == 5) {
      const double hz = i % 2 ? 1000 : 440;
      ASSERT_TRUE(audio.WaitForBlock([&] { return Near(audio.Frequency(), hz, 5); })) << i;
    }
  }
  EXPECT_TRUE(deck.IsPlaying());
  EXPECT_EQ(deck.GetLength(), 6 * 44100);
}

TEST_F(DeckThreads, SeekToTheFarEndOfATenMinuteFileWhilePlaying) {
  if (!test::HaveProgram("sox")) GTEST_SKIP() << "sox is needed to make the file";
  const std::string body = dir_.File("body.wav"), tail = dir_.File("tail.wav");
  const std::string song = dir_.File("ten.wav");
  ASSERT_EQ(test::RunCommand("sox -n -r 44100 -c 2 -b 16 '" + body + "' synth 590 sine 440"), 0);
  ASSERT_EQ(test::RunCommand("sox -n -r 44100 -c 2 -b 16 '" + tail + "' synth 10 sine 1000"), 0);
  ASSERT_EQ(test::RunCommand("sox '" + body + "' '" + tail + "' '" + song + "'"), 0);

  CSoundSource& deck = StartedDeck(0, false);
  RenderLoop audio(rig_, 1, 5);
  ASSERT_EQ(deck.LoadSong(song, true, nullptr, false), 1);
  ASSERT_TRUE(audio.WaitForBlock([&] { return Near(audio.Frequency(), 440, 5); }));
  ASSERT_EQ(deck.GetLength(), 600 * 44100);
  EXPECT_FALSE(deck.IsStreaming());

  const double target = 600 * 44100.0 - 5 * 44100;
  deck.SeekRequest(target);
  ASSERT_TRUE(WaitFor([&] { return deck.GetExactPosition() >= target; }));
  ASSERT_TRUE(audio.WaitForBlock([&] { return Near(audio.Frequency(), 1000, 5); }));
  EXPECT_TRUE(deck.IsPlaying());
}

// The tempo read that follows every render, and the render itself, against
// a store thread that frees the blocks under them; the other deck decodes
// at the same time (through the one codec lock) and plays on throughout.
TEST_F(DeckThreads, UnloadRacesTheRenderAndItsTempoRead) {
  const std::string song = Sine("a.wav", 4, 440);
  TZKSongRecord record;
  record.bpm = 120.0f;  // every block carries the tempo
  CSoundSource& deck = StartedDeck(0);
  CSoundSource& other = StartedDeck(1);
  RenderLoop audio(rig_, 2, 0);
  ASSERT_EQ(other.LoadSong(Sine("b.wav", 30, 1000, 4000), true, &record, false), 1);
  for (int round = 0; round < 50; ++round) {
    ASSERT_EQ(deck.LoadSong(song, true, &record, false), 1);
    ASSERT_TRUE(audio.WaitForBlock([&] { return audio.Peak() > 0.4; })) << round;
    // Anywhere in the render loop's cycle, not just after a block.
    std::this_thread::sleep_for(std::chrono::microseconds(round * 797 % 5000));
    deck.RequestUnload();
    ASSERT_TRUE(WaitFor([&] { return !deck.IsSongLoaded() && deck.BlockCount() == 0; })) << round;
    ASSERT_TRUE(audio.WaitForBlock([&] { return audio.Peak() < 0.2; })) << round;
  }
  EXPECT_FALSE(audio.SawOddTempo());
  EXPECT_EQ(deck.GetBPM(), 0.0f);
  EXPECT_EQ(other.GetBPM(), 120.0f);
  EXPECT_TRUE(other.IsPlaying()) << "the other deck played on";
}

// Jog steps from the GUI thread while the jog tick (woken by each command)
// and the render run: none may be lost, so the steps and their opposite
// bring the hand back to the exact frame it started from.
TEST_F(DeckThreads, NoJogStepIsLostBetweenTheGuiAndTheJogThread) {
  CSoundSource& deck = StartedDeck(0, false);
  ASSERT_EQ(deck.LoadSong(Sine("a.wav", 60, 440), false, nullptr, false), 1);
  ASSERT_TRUE(WaitFor([&] { return deck.IsSongReady(); }));
  deck.SeekRequest(30 * 44100);
  ASSERT_TRUE(WaitFor([&] { return deck.GetExactPosition() == 30 * 44100; }));
  // A limit no test run reaches: the scratch must not end between steps.
  TimedThread jogTick("jog-tick", 25, kPriorityNormal, [&] { deck.ScratchTick(1 << 30); });
  ASSERT_TRUE(jogTick.Start());
  deck.SetJogTick(&jogTick);
  RenderLoop audio(rig_, 1, 1);

  std::thread gui([&] {
    deck.Jog(0, 0, 0, true, 10);  // touch: the scratch starts where the deck stands
    int sum = 0;
    for (int i = 0; i < 3000; ++i) {
      const int step = (i % 7) - 3 + (i % 2);  // -3..4, never a zero step
      if (step == 0) continue;
      deck.Jog(step, kJogRelativeStep, kJogRelative3, false, 10);
      sum += step;
    }
    deck.Jog(-sum, kJogRelativeStep, kJogRelative3, false, 10);
  });
  gui.join();
  EXPECT_TRUE(WaitFor([&] { return deck.GetScratchTarget() == 30 * 44100; }, 20000))
      << "the hand points at " << deck.GetScratchTarget();
  EXPECT_TRUE(deck.IsScratching());
  deck.SetJogTick(nullptr);
  jogTick.Stop();
}

}  // namespace
}  // namespace vantaro
