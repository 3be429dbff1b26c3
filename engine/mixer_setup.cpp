#include "engine/mixer_setup.h"

#include <filesystem>
#include <new>
#include <type_traits>

#include "base/debug_log.h"
#include "effects/effect_dynamics.h"
#include "engine/audio_render.h"
#include "engine/mixer.h"
#include "engine/mixer_channel.h"

namespace vantaro {
namespace {

std::string InFolder(const std::string& folder, const std::string& name) {
  if (folder.empty() || folder.back() == '/') return folder + name;
  return folder + "/" + name;
}

// The chains in the order of MixerChainFileNames (null where the channel
// does not exist).
template <typename Rig>
auto Chains(Rig& rig) {
  using Chain = std::conditional_t<std::is_const_v<Rig>, const CEffectChain, CEffectChain>;
  std::vector<Chain*> chains;
  for (auto& deck : rig.deckChannel) chains.push_back(deck ? &deck->Chain() : nullptr);
  chains.push_back(&rig.samplerChain);
  chains.push_back(rig.micChannel ? &rig.micChannel->Chain() : nullptr);
  chains.push_back(rig.masterChannel ? &rig.masterChannel->Chain() : nullptr);
  return chains;
}

}  // namespace

MixerRig::MixerRig() = default;
MixerRig::~MixerRig() {
  DestroyMixerObjects(*this);
}

bool CreateMixerObjects(MixerRig& rig, CAudioSignalSource* const decks[2],
                        CAudioSignalSource* microphone) {
  for (int d = 0; d < MixerRig::kDeckCount; ++d)
    rig.deckChannel[d].reset(new (std::nothrow) CZKMixerChannel(decks ? decks[d] : nullptr, false));
  rig.micChannel.reset(new (std::nothrow) CZKMixerChannel(microphone, false));
  rig.masterChannel.reset(new (std::nothrow) CZKMixerChannel(nullptr, true));
  rig.mixer.reset(new (std::nothrow) CMixer(MixerRig::kCapacityFrames));
  rig.limiter.reset(new (std::nothrow) CEffectDynamics(CEffectDynamics::kPeakLimiter));
  if (rig.limiter) rig.limiter->RequestSwitch(kSwitchOff);
  const bool ok = rig.deckChannel[0] && rig.deckChannel[1] && rig.micChannel && rig.masterChannel &&
                  rig.mixer && rig.limiter;
  if (!ok) DebugLog("mixer: could not create the mixer objects");
  return ok;
}

bool WireMixer(MixerRig& rig, CAudioSignalSource* preview, CAudioSignalSource* const* samplers,
               int samplerCount) {
  if (!rig.mixer) return false;
  CMixer& mixer = *rig.mixer;
  bool ok = true;
  const MixerInputRole deckRoles[MixerRig::kDeckCount] = {kInputDeckA, kInputDeckB};
  int deckInput[MixerRig::kDeckCount] = {-1, -1};
  for (int d = 0; d < MixerRig::kDeckCount; ++d) {
    if (rig.deckChannel[d]) deckInput[d] = mixer.AddInput(rig.deckChannel[d].get(), deckRoles[d]);
    ok = deckInput[d] >= 0 && ok;
  }
  if (preview) ok = mixer.AddInput(preview, kInputPreview) >= 0 && ok;
  if (rig.micChannel) ok = mixer.SetAux(rig.micChannel.get()) && ok;
  mixer.SetMasterChain(rig.masterChannel.get());
  // The slots share one sub-bus, so that fx_sampler.vfx runs once on their
  // sum.
  mixer.SetSubBusChain(&rig.samplerChain);
  for (int i = 0; i < samplerCount; ++i)
    if (samplers && samplers[i]) ok = mixer.AddInput(samplers[i], kInputOther, true) >= 0 && ok;
  mixer.SetFaderSteps(MixerRig::kFaderSteps);
  mixer.SetCrossSteps(MixerRig::kFaderSteps);
  mixer.SetCrossCurve(MixerRig::kCrossCurve);
  // Deck A left, deck B right, wherever their inputs landed.
  for (int d = 0; d < MixerRig::kDeckCount; ++d)
    if (deckInput[d] >= 0) mixer.SetCrossSide(d, deckInput[d]);
  // A DJ who loads a track and presses play must hear it: both deck faders
  // start fully up and the crossfader in the middle, where both decks play.
  for (int d = 0; d < MixerRig::kDeckCount; ++d)
    if (deckInput[d] >= 0) mixer.SetFader(deckInput[d], MixerRig::kFaderSteps - 1);
  mixer.SetCrossfader(MixerRig::kFaderSteps / 2);
  if (!ok) DebugLog("mixer: not every input could be wired");
  return ok;
}

std::vector<std::string> MixerChainFileNames() {
  std::vector<std::string> names;
  for (char letter = 'A'; letter < 'A' + MixerRig::kDeckCount; ++letter)
    names.push_back(std::string("fx_deck") + letter + ".vfx");
  names.push_back("fx_sampler.vfx");
  names.push_back("fx_mic.vfx");
  names.push_back("fx_master.vfx");
  return names;
}

int LoadMixerEffectFiles(MixerRig& rig, const std::string& folder) {
  int loaded = 0;
  if (LoadScannedEffects(InFolder(folder, kScannedEffectsFileName), rig.scannedEffects)) ++loaded;
  const auto names = MixerChainFileNames();
  const auto chains = Chains(rig);
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!chains[i]) continue;
    const std::string path = InFolder(folder, names[i]);
    if (LoadEffectChainFile(path, *chains[i])) {
      ++loaded;
      rig.brokenFile[i] = false;
    } else {
      // LoadEffectChainFile is quiet about a missing file only; anything
      // else it refused is broken. (Looked up, never opened: a FIFO in its
      // place must not hold up start-up.)
      std::error_code error;
      rig.brokenFile[i] = std::filesystem::exists(path, error);
    }
  }
  return loaded;
}

bool SaveScannedEffectList(const MixerRig& rig, const std::string& folder) {
  return SaveScannedEffects(InFolder(folder, kScannedEffectsFileName), rig.scannedEffects);
}

int SaveMixerEffectChains(const MixerRig& rig, const std::string& folder) {
  int saved = 0;
  const auto names = MixerChainFileNames();
  const auto chains = Chains(rig);
  for (std::size_t i = 0; i < names.size(); ++i)
    if (chains[i] && SaveEffectChainFile(InFolder(folder, names[i]), *chains[i], rig.brokenFile[i]))
      ++saved;
  return saved;
}

void SetLimiterOn(MixerRig& rig, bool on) {
  if (rig.limiter) rig.limiter->RequestSwitch(on ? kSwitchOn : kSwitchOff);
}

bool IsLimiterOn(const MixerRig& rig) {
  return rig.limiter && rig.limiter->SwitchRequest() == kSwitchOn;
}

void DestroyMixerObjects(MixerRig& rig) {
  // The callback must not keep a pointer to a deleted mix object or limiter.
  MixRenderer* expected = rig.mixer.get();
  if (expected) TheAudioRenderer().mix.compare_exchange_strong(expected, nullptr);
  CEffect* limiter = rig.limiter.get();
  if (limiter) TheAudioRenderer().limiter.compare_exchange_strong(limiter, nullptr);
  rig.limiter.reset();
  rig.mixer.reset();
  for (auto& deck : rig.deckChannel) deck.reset();
  rig.micChannel.reset();
  rig.masterChannel.reset();
}

}  // namespace vantaro
