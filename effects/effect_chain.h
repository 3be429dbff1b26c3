#pragma once
// CEffectChain: the user's list of effects on one signal (a deck, the
// sampler, the microphone, the master), run in list order after the fixed
// slots of a mixer channel.
//
// The audio thread never waits for the GUI: every change builds a new
// immutable list and publishes it with one atomic pointer swap. The audio
// thread marks the list it is reading (a single hazard pointer, one reader
// per chain); a replaced list is freed on the GUI thread, at the next change
// or CollectRetired call, once the audio thread no longer reads it. Effects
// are shared by the lists that hold them, so a removed effect is destroyed
// with the last list, off the audio thread.
//
// Threads: Process on the one audio thread rendering this chain; everything
// else on the GUI thread (writers are serialised by a mutex the audio thread
// never takes).

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vantaro {

class CEffect;

// One parameter as a chain file lists it.
struct TEffectParamRecord {
  int id = 0;
  int val = 0;
  std::string name;
  std::string value;  // text form
  std::string unit;
};

// One place in a chain. Everything but `enabled` is fixed once the entry is
// in a published list; `enabled` is a request any thread may write, taken by
// the audio thread at its next block.
struct TEffectChainEntry {
  // Null for an effect of a type this program cannot create: such an entry
  // is kept, silent, so that saving the chain writes it back unchanged.
  std::shared_ptr<CEffect> effect;
  int type = 0;
  std::string componentId;
  std::string name;
  std::string filename;
  std::atomic<bool> enabled{true};
  // What the file said about an unknown effect (written back as it was).
  float dryWet = 0.0f;
  bool editorVisible = false;
  int x = 0, y = 0;
  std::vector<TEffectParamRecord> params;
};

using EffectChainEntries = std::vector<std::shared_ptr<TEffectChainEntry>>;

class CEffectChain {
 public:
  CEffectChain();
  ~CEffectChain();
  CEffectChain(const CEffectChain&) = delete;
  CEffectChain& operator=(const CEffectChain&) = delete;

  // Appends an entry; returns its index.
  int Add(std::shared_ptr<TEffectChainEntry> entry);
  // Creates an effect of `type` (effect_registry.h) and appends it with
  // `dryWet`. Returns the effect, or null for an unknown type.
  CEffect* AddEffect(int type, float dryWet);
  // False when `index` is out of range.
  bool Remove(int index);
  bool Move(int from, int to);
  void Clear();
  // Replaces the whole list at once.
  void Replace(EffectChainEntries entries);
  int Count() const;
  // A copy of the published list (the entries are shared).
  EffectChainEntries Entries() const;
  std::shared_ptr<TEffectChainEntry> Entry(int index) const;
  // Frees replaced lists the audio thread has left. Returns how many are
  // still waiting.
  int CollectRetired();

  // Audio thread: runs the effects of the published list in order, each
  // mixed by its dry/wet value; an entry switched off (`enabled`) fades its
  // effect out and stops it. Never blocks, never allocates.
  void Process(float* buffer, int frames, float bpm);

 private:
  struct List {
    EffectChainEntries entries;
  };
  void PublishLocked(std::unique_ptr<List> next);
  void CollectLocked();

  mutable std::mutex writerMutex_;
  std::atomic<List*> current_;
  std::atomic<List*> audioHolds_{nullptr};
  std::vector<List*> retired_;
};

}  // namespace vantaro
