#include "app/key_lock_tick.h"

#include <string>

#include "app/program.h"
#include "app/settings.h"
#include "base/debug_log.h"
#include "control/language.h"
#include "control/text_ids.h"
#include "engine/engine_settings.h"

namespace vantaro {
namespace {

void Tell(Program& program, int deck, const std::string& text) {
  DebugLog("deck %d: %s", deck + 1, text.c_str());
  program.queuedStatusText = "Deck " + std::string(1, static_cast<char>('A' + deck)) + ": " + text;
}

}  // namespace

void KeyLockTick(Program& program) {
  static bool settingsApplied = false;  // GUI thread
  Settings& settings = TheSettings();
  int* keyLock[2] = {&settings.keylk0, &settings.keylk1};
  for (int i = 0; i < 2; ++i) {
    CSoundSource* deck = program.decks[i].get();
    if (!deck) continue;
    if (!settingsApplied) deck->SetKeyLock(*keyLock[i] != 0);
    *keyLock[i] = deck->IsKeyLocked() ? 1 : 0;
    deck->SetHQ(TheEngineSettings().highQualityTime.load());
    const int notices = deck->TakeKeyLockNotices();
    if (notices & kNoticeKeyShiftNeedsHQ) Tell(program, i, Text(txt_please_enable_hq_time_pitch));
    if (notices & kNoticeFellBackToFaster)
      Tell(program, i,
           "the finest time-stretching was too slow for this computer; the faster one plays "
           "until the next start");
  }
  settingsApplied = true;
}

}  // namespace vantaro
