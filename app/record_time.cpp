#include "app/record_time.h"

#include "base/clock_text.h"
#include "control/control_action.h"
#include "control/control_table.h"
#include "devices/recorder.h"
#include "skin/static_text.h"

namespace vantaro {

std::string FormatRecordTime(double seconds) {
  return ClockText(seconds, false);
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
