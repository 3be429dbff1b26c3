#pragma once
// The program's seven-step thread priority scale:
// 0 idle, 1 lowest, 2 below normal, 3 normal, 4 above normal, 5 highest,
// 6 time critical.
//
// On Linux, 0..4 are SCHED_OTHER with nice 19, 10, 5, 0, -5 (where the user
// may lower nice); 5 and 6 ask for SCHED_FIFO when RLIMIT_RTPRIO allows it,
// else the lowest nice value allowed. Failures are silent: a thread that could
// not be raised simply runs at normal priority.

namespace vantaro {

enum ThreadPriority {
  kPriorityIdle = 0,
  kPriorityLowest = 1,
  kPriorityBelowNormal = 2,
  kPriorityNormal = 3,
  kPriorityAboveNormal = 4,
  kPriorityHighest = 5,
  kPriorityTimeCritical = 6,
};

// Applies the priority to the calling thread. Returns true when the exact
// mapping took effect, false when a fallback (or nothing) was applied.
bool SetCurrentThreadPriority(int priority);

// The nice value the scale maps 0..4 to; 5 and 6 answer -5 (their fallback).
int NiceForPriority(int priority);

}  // namespace vantaro
