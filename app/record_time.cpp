#include "app/record_time.h"

#include <cmath>
#include <cstdio>

#include "control/control_action.h"
#include "control/control_table.h"
#include "devices/recorder.h"
#include "skin/static_text.h"

namespace vantaro {

std::string FormatRecordTime(double seconds) {
  const long long whole =
      std::isfinite(seconds) && seconds > 0 ? static_cast<long long>(seconds) : 0;
  char text[32];
  if (whole >= 3600)
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60,
                  whole % 60);
  else
    std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
  return text;
}

std::string RecordTimeText(const CRecorder* recorder) {
  if (!recorder || !recorder->IsRecording()) return {};
  return FormatRecordTime(recorder->GetRecordedSeconds());
}

void ShowRecordTime(const CRecorder* recorder) {
  static const int id = FindControlAction("record_time");
  auto* control = dynamic_cast<CZKStaticText*>(TheControlTable().Find(id, -1));
  if (!control) return;
  control->SetText(wxString::FromUTF8(RecordTimeText(recorder)));  // repaints on a change only
}

}  // namespace vantaro
