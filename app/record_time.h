#pragma once
// The record time on the face (the `record_time` text): how long the
// running recording is so far, refreshed with the meters on the screen tick.
//
// Threads: GUI thread.

#include <string>

namespace vantaro {

class CRecorder;

// "m:ss", or "h:mm:ss" from an hour on. Whole seconds cut, not rounded, so
// the text never runs ahead of the file; a negative or unknown time reads
// "0:00".
std::string FormatRecordTime(double seconds);
// The text for `recorder`: its time while it records, empty otherwise (no
// recorder, none running, or one stopped after a failed write).
std::string RecordTimeText(const CRecorder* recorder);
// Puts RecordTimeText into the `record_time` control, when the skin has one.
void ShowRecordTime(const CRecorder* recorder);

}  // namespace vantaro
