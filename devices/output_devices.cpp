#include "devices/output_devices.h"

#include <alsa/error.h>
#include <portaudio.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/debug_log.h"
#include "base/realtime.h"
#include "engine/audio_render.h"

namespace vantaro {
namespace {

OutputDeviceTable g_table;
std::unique_ptr<TDSoutput> g_outputs[2];
bool g_portAudioUp = false;
AudioRenderer* g_renderer = nullptr;  // the renderer the open streams feed

// While PortAudio probes the ALSA configuration, the ALSA library complains
// on standard error about every card its configuration names but the
// machine lacks (dozens of lines on a machine without sound). They are
// counted instead, and one line goes to the log.
int g_alsaComplaints = 0;
void CountAlsaComplaint(const char*, int, const char*, int, const char*, ...) {
  ++g_alsaComplaints;
}

void ReleasePortAudio() {
  if (!g_portAudioUp) return;
  const PaError error = Pa_Terminate();
  if (error != paNoError) DebugLog("Pa_Terminate ERROR: %s", Pa_GetErrorText(error));
  g_portAudioUp = false;
}

// Adds every output device of one host API type to the table.
void AddRowsOfHostApi(PaHostApiTypeId type, OutputHostApi hostApi) {
  const int count = Pa_GetDeviceCount();
  for (int i = 0; i < count; ++i) {
    const PaDeviceInfo* device = Pa_GetDeviceInfo(i);
    if (!device || device->maxOutputChannels <= 0) continue;
    const PaHostApiInfo* api = Pa_GetHostApiInfo(device->hostApi);
    if (!api || api->type != type) continue;
    // ALSA's "null" device has no clock: a stream on it would spin its
    // callback as fast as the CPU allows.
    if (type == paALSA && std::strcmp(device->name, "null") == 0) continue;
    TOutputDeviceRow row;
    row.name = MakeOutputRowName(api->name, device->name);
    row.hostApi = hostApi;
    row.portAudioIndex = i;
    row.maxOutputChannels = device->maxOutputChannels;
    row.maxInputChannels = device->maxInputChannels;
    if (g_table.Count() >= OutputDeviceTable::kMaxRows) return;
    g_table.Add(row);
  }
}

std::unique_ptr<TDSoutput> OpenSlot(int slot, int deviceIndex, const TOutputPlan& plan,
                                    AudioRenderer& renderer) {
  const TOutputDeviceRow* row = g_table.Row(deviceIndex);
  if (!row) return nullptr;
  const int channels = slot == 0 ? plan.channels : 2;
  const bool multichannel = slot == 0 && plan.multichannel;
  DeviceRenderCallback callback =
      slot == 0 ? &RenderFirstDeviceCallback : &RenderSecondDeviceCallback;
  return TDSoutput::Open(slot, deviceIndex, *row, plan.blockFrames, channels, multichannel,
                         callback, &renderer);
}

}  // namespace

int EnumerateOutputs() {
  AssertNotRealtime("EnumerateOutputs");
  if (GetOpenOutputCount() > 0) {
    DebugLog("EnumerateOutputs refused while audio is open");
    return g_table.Count();
  }
  ReleasePortAudio();
  g_table.Clear();
  // The program uses a JACK server that runs; it never starts one itself.
  setenv("JACK_NO_START_SERVER", "1", 0);
  g_alsaComplaints = 0;
  snd_lib_error_set_handler(&CountAlsaComplaint);
  const PaError error = Pa_Initialize();
  snd_lib_error_set_handler(nullptr);
  if (g_alsaComplaints > 0)
    DebugLog("ALSA reported %d problem(s) while probing devices", g_alsaComplaints);
  if (error != paNoError) {
    DebugLog("Pa_Initialize ERROR: %s", Pa_GetErrorText(error));
    return 0;
  }
  g_portAudioUp = true;
  AddRowsOfHostApi(paALSA, kHostAlsa);
  AddRowsOfHostApi(paJACK, kHostJack);
  DebugLog("%d output device(s) found", g_table.Count());
  return g_table.Count();
}

OutputDeviceTable& TheOutputDeviceTable() {
  return g_table;
}
int GetDeviceCount() {
  return g_table.Count();
}
std::string GetDeviceName(int index) {
  return g_table.Name(index);
}
int FindOutputDevice(const std::string& name) {
  return g_table.Find(name);
}

bool OpenAudio(TOutputSelection& selection, int forcedChannels) {
  return OpenAudio(selection, forcedChannels, TheAudioRenderer());
}

bool OpenAudio(TOutputSelection& selection, int forcedChannels, AudioRenderer& renderer) {
  AssertNotRealtime("OpenAudio");
  CloseAudio(false);
  g_renderer = &renderer;
  const TOutputPlan plan = PlanOutputs(g_table, selection, forcedChannels);
  renderer.outputMode.store(selection.outputMode);
  if (plan.device[0] < 0) return false;
  if (!g_portAudioUp) {
    DebugLog("OpenAudio: output devices were not enumerated");
    return false;
  }
  g_outputs[0] = OpenSlot(0, plan.device[0], plan, renderer);
  if (!g_outputs[0]) return false;
  if (plan.device[1] >= 0) g_outputs[1] = OpenSlot(1, plan.device[1], plan, renderer);

  // The headphone stream starts first and plays silence until the first
  // stream fills the monitor ring, so the ring starts empty and in step.
  renderer.MonitorRing().Clear();
  if (g_outputs[1] && !g_outputs[1]->Start()) g_outputs[1].reset();
  renderer.secondDeviceActive.store(g_outputs[1] != nullptr);
  if (!g_outputs[0]->Start()) {
    CloseAudio(false);
    return false;
  }
  DebugLog("audio open: \"%s\", %d channel(s), %d frames a block%s",
           g_table.Name(plan.device[0]).c_str(), plan.channels, plan.blockFrames,
           g_outputs[1] ? ", with a second device" : "");
  return true;
}

void CloseAudio(bool freeNames) {
  AssertNotRealtime("CloseAudio");
  if (g_outputs[1]) {
    g_outputs[1]->Stop();
    g_outputs[1].reset();
  }
  if (g_renderer) g_renderer->secondDeviceActive.store(false);
  if (g_outputs[0]) {
    g_outputs[0]->Stop();
    g_outputs[0].reset();
  }
  // No stream feeds from the renderer any more; it may go away.
  g_renderer = nullptr;
  if (freeNames) {
    g_table.Clear();
    ReleasePortAudio();
  }
}

int GetLatencyFrames() {
  return g_outputs[0] ? g_outputs[0]->LatencyFrames() : 0;
}

int GetOpenOutputCount() {
  return (g_outputs[0] ? 1 : 0) + (g_outputs[1] ? 1 : 0);
}

TDSoutput* GetOpenOutput(int slot) {
  return slot == 0 || slot == 1 ? g_outputs[slot].get() : nullptr;
}

}  // namespace vantaro
