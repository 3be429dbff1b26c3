#pragma once
// The mixer's place in the program's start and close: the objects the long
// initialisation builds (two deck channels, the microphone channel, the
// master channel, the mix object), their wiring, and the effect chain files
// read at start and written at close.
//
// Order for the application:
//   start, step 9:   CreateMixerObjects(rig, decks, microphone)
//                    (after the decks and the microphone source exist;
//                    the preview player is created by its owner)
//   start, step 10:  WireMixer(rig, preview, samplers, 8) once the eight
//                    samplers exist; then TheAudioRenderer().mix = rig.mixer
//                    and TheAudioRenderer().limiter = rig.limiter
//   applying settings: SetLimiterOn(rig, alimit) (also the `limiter` button)
//   after config.xml (step 14): rig.mixer->ApplySettings(TheEngineSettings())
//   start, step 19:  LoadMixerEffectFiles(rig, settingsFolder)
//   close, step 2:   SaveScannedEffectList(rig, settingsFolder)
//   close, step 5:   SaveMixerEffectChains(rig, settingsFolder)
//                    (audio output already stopped)
//   close, step 6:   DestroyMixerObjects(rig) (mix object before channels)
//
// Threads: GUI thread only, while no audio runs (loading a chain while
// playing is also safe: chains are swapped copy-on-write).

#include <memory>
#include <string>
#include <vector>

#include "effects/effect.h"
#include "effects/effect_chain.h"
#include "effects/effect_chain_file.h"

namespace vantaro {

class CAudioSignalSource;
class CMixer;
class CZKMixerChannel;

struct MixerRig {
  static constexpr int kDeckCount = 2;
  static constexpr int kCapacityFrames = 22050;
  static constexpr int kFaderSteps = 128;
  static constexpr int kCrossCurve = 50;

  std::unique_ptr<CZKMixerChannel> deckChannel[kDeckCount];
  std::unique_ptr<CZKMixerChannel> micChannel;
  std::unique_ptr<CZKMixerChannel> masterChannel;
  std::unique_ptr<CMixer> mixer;
  // The output limiter on the master (the peak limiter), bypassed until
  // SetLimiterOn.
  std::unique_ptr<CEffect> limiter;
  // The samplers' chain; the mixer runs it once on the slots' sub-bus.
  CEffectChain samplerChain;
  std::vector<TScannedEffect> scannedEffects;
  // Chain files that existed but could not be read: they are saved with a
  // backup of the broken original (".bak") so that nothing is lost.
  bool brokenFile[6] = {};

  MixerRig();
  ~MixerRig();
};

// Creates the channels and the mix object (capacity 22050). Sources may be
// null (a channel without source is silent). Returns false when an object
// could not be created (logged).
bool CreateMixerObjects(MixerRig& rig, CAudioSignalSource* const decks[2],
                        CAudioSignalSource* microphone);

// Adds the deck channels (roles deck A and deck B), the preview (when not
// null) and the samplers (role other, on the sub-bus that runs
// samplerChain) as inputs, sets the microphone channel
// as the auxiliary and the master channel as the master chain, then 128
// fader and crossfader steps, curve 50, deck A left and deck B right. Returns false when an input
// could not be added (logged; the rest is still wired).
bool WireMixer(MixerRig& rig, CAudioSignalSource* preview, CAudioSignalSource* const* samplers,
               int samplerCount);

// File names of the chains in the settings folder, in the order
// deck A, deck B, sampler, microphone, master.
std::vector<std::string> MixerChainFileNames();
inline constexpr const char* kScannedEffectsFileName = "fx_scanned.xml";

// Reads fx_scanned.xml, then the chains "fx_deckA.vfx", "fx_deckB.vfx",
// "fx_sampler.vfx", "fx_mic.vfx", "fx_master.vfx" from `folder` (with or
// without a trailing slash). A missing file leaves its chain empty; a broken
// one is logged and skipped. Returns the number of files read.
int LoadMixerEffectFiles(MixerRig& rig, const std::string& folder);
// Writes fx_scanned.xml. Returns false on a write failure (logged).
bool SaveScannedEffectList(const MixerRig& rig, const std::string& folder);
// Writes the five chain files. Returns the number written.
int SaveMixerEffectChains(const MixerRig& rig, const std::string& folder);

// Switches the output limiter on or off (any thread; it fades at the next
// block).
void SetLimiterOn(MixerRig& rig, bool on);
bool IsLimiterOn(const MixerRig& rig);

// Deletes the mix object, then the channels. Audio must be stopped.
void DestroyMixerObjects(MixerRig& rig);

}  // namespace vantaro
