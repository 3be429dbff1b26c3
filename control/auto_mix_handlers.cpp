#include "control/auto_mix_handlers.h"

#include <iterator>

#include "control/auto_mix.h"
#include "control/control_action.h"
#include "control/control_handlers.h"
#include "control/control_table.h"

namespace vantaro {
namespace {

AutoMix* g_mix = nullptr;

// The switch a handler just flipped shows on its button.
void ShowSwitch(const char* action, bool on) {
  if (ControlTarget* control = TheControlTable().Find(FindControlAction(action), -1))
    control->ShowEngineValue(on ? 1 : 0);
}

void Toggle(int, int, int) {
  if (g_mix) g_mix->AutoMixToggled(!g_mix->On());
}
bool ReadOn(int, int* value) {
  if (g_mix) *value = g_mix->On() ? 1 : 0;
  return g_mix;
}

void ToLeft(int, int, int) {
  if (g_mix) g_mix->FadeLeft();
}
void ToRight(int, int, int) {
  if (g_mix) g_mix->FadeRight();
}
void More(int, int, int) {
  if (g_mix) g_mix->StepFadeTime(+1);
}
void Less(int, int, int) {
  if (g_mix) g_mix->StepFadeTime(-1);
}
// Mixes into the next track now, as the end of the audible one would.
void Next(int, int, int) {
  if (g_mix && !g_mix->Fading()) g_mix->StartFade();
}

void Random(int, int, int) {
  if (!g_mix) return;
  g_mix->options.random = !g_mix->options.random;
  ShowSwitch("random", g_mix->options.random);
}

const DeckMarkBinding kBindings[] = {
    {"autodj", Toggle, nullptr, ReadOn},   {"autodj_to_left", ToLeft, nullptr},
    {"autodj_to_right", ToRight, nullptr}, {"autodj_more", More, nullptr},
    {"autodj_less", Less, nullptr},
};

void WireButton(ControlTable& table, const char* action, ControlCallback press) {
  ControlCallbacks callbacks;
  callbacks.onLeftDown = press;
  if (ControlTarget* control = table.Find(FindControlAction(action), -1))
    control->SetCallbacks(callbacks);
}

}  // namespace

void SetProgramAutoMix(AutoMix* mix) {
  g_mix = mix;
}

AutoMix* ProgramAutoMix() {
  return g_mix;
}

void WireAutoMixExtraButtons(ControlTable& table) {
  WireButton(table, "autodj_next", Next);
  WireButton(table, "random", Random);
}

const DeckMarkBinding* AutoMixBindings(int& count) {
  count = static_cast<int>(std::size(kBindings));
  return kBindings;
}

}  // namespace vantaro
