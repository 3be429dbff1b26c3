#include "effects/effect_chain.h"

#include <algorithm>

#include "base/realtime.h"
#include "effects/effect.h"
#include "effects/effect_registry.h"

namespace vantaro {

CEffectChain::CEffectChain() : current_(new List) {}

CEffectChain::~CEffectChain() {
  // No audio thread may run this chain any more.
  for (List* list : retired_) delete list;
  delete current_.load();
}

void CEffectChain::PublishLocked(std::unique_ptr<List> next) {
  List* old = current_.exchange(next.release());
  retired_.push_back(old);
  CollectLocked();
}

void CEffectChain::CollectLocked() {
  // A list the audio thread marked before the swap is still in use; the
  // mark is set before the reader re-checks current_, so a list seen here
  // unmarked can no longer be picked up.
  List* held = audioHolds_.load();
  auto keep = std::remove_if(retired_.begin(), retired_.end(), [held](List* list) {
    if (list == held) return false;
    delete list;
    return true;
  });
  retired_.erase(keep, retired_.end());
}

int CEffectChain::Add(std::shared_ptr<TEffectChainEntry> entry) {
  AssertNotRealtime("CEffectChain::Add");
  if (!entry) return -1;
  std::lock_guard<std::mutex> lock(writerMutex_);
  auto next = std::make_unique<List>(*current_.load());
  next->entries.push_back(std::move(entry));
  const int index = static_cast<int>(next->entries.size()) - 1;
  PublishLocked(std::move(next));
  return index;
}

CEffect* CEffectChain::AddEffect(int type, float dryWet) {
  std::unique_ptr<CEffect> effect = CreateEffectOfType(type);
  if (!effect) return nullptr;
  effect->SetDryWet(dryWet);
  auto entry = std::make_shared<TEffectChainEntry>();
  entry->type = type;
  entry->name = effect->GetName();
  entry->effect = std::move(effect);
  CEffect* raw = entry->effect.get();
  Add(std::move(entry));
  return raw;
}

bool CEffectChain::Remove(int index) {
  AssertNotRealtime("CEffectChain::Remove");
  std::lock_guard<std::mutex> lock(writerMutex_);
  const List* now = current_.load();
  if (index < 0 || index >= static_cast<int>(now->entries.size())) return false;
  auto next = std::make_unique<List>(*now);
  next->entries.erase(next->entries.begin() + index);
  PublishLocked(std::move(next));
  return true;
}

bool CEffectChain::Move(int from, int to) {
  AssertNotRealtime("CEffectChain::Move");
  std::lock_guard<std::mutex> lock(writerMutex_);
  const List* now = current_.load();
  const int count = static_cast<int>(now->entries.size());
  if (from < 0 || from >= count || to < 0 || to >= count) return false;
  auto next = std::make_unique<List>(*now);
  auto moved = next->entries[from];
  next->entries.erase(next->entries.begin() + from);
  next->entries.insert(next->entries.begin() + to, std::move(moved));
  PublishLocked(std::move(next));
  return true;
}

void CEffectChain::Clear() {
  Replace({});
}

void CEffectChain::Replace(EffectChainEntries entries) {
  AssertNotRealtime("CEffectChain::Replace");
  std::lock_guard<std::mutex> lock(writerMutex_);
  auto next = std::make_unique<List>();
  next->entries = std::move(entries);
  PublishLocked(std::move(next));
}

int CEffectChain::Count() const {
  std::lock_guard<std::mutex> lock(writerMutex_);
  return static_cast<int>(current_.load()->entries.size());
}

EffectChainEntries CEffectChain::Entries() const {
  std::lock_guard<std::mutex> lock(writerMutex_);
  return current_.load()->entries;
}

std::shared_ptr<TEffectChainEntry> CEffectChain::Entry(int index) const {
  std::lock_guard<std::mutex> lock(writerMutex_);
  const List* now = current_.load();
  if (index < 0 || index >= static_cast<int>(now->entries.size())) return nullptr;
  return now->entries[index];
}

int CEffectChain::CollectRetired() {
  std::lock_guard<std::mutex> lock(writerMutex_);
  CollectLocked();
  return static_cast<int>(retired_.size());
}

void CEffectChain::Process(float* buffer, int frames, float bpm) {
  List* list = current_.load();
  for (;;) {
    audioHolds_.store(list);
    List* again = current_.load();
    if (again == list) break;
    list = again;
  }
  // A disabled entry is still handed its block: an effect switched off there
  // fades out, and is stopped and reset on this thread, like any other.
  for (const auto& entry : list->entries) {
    if (entry->effect)
      entry->effect->ProcessBlock(buffer, frames, bpm, EffectMix::kByDryWet,
                                  entry->enabled.load(std::memory_order_relaxed));
  }
  audioHolds_.store(nullptr);
}

}  // namespace vantaro
