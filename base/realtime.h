#pragma once
// Marking of real-time threads (the audio callback, and anything it calls).
//
// A RealtimeScope marks the calling thread for its lifetime. In builds with
// VANTARO_RT_CHECKS (every build but Release), a heap allocation through
// operator new, or a call of AssertNotRealtime, on a marked thread prints the
// offending operation and aborts: the audio callback never allocates, locks or
// blocks, and these checks make a violation loud in every test run.

namespace vantaro {

class RealtimeScope {
 public:
  RealtimeScope();
  ~RealtimeScope();
  RealtimeScope(const RealtimeScope&) = delete;
  RealtimeScope& operator=(const RealtimeScope&) = delete;

 private:
  bool wasRealtime_;
};

// True on a thread inside a RealtimeScope.
bool IsRealtimeThread();

// Called by every blocking or allocating helper of the program (locks, thread
// joins, the debug log). Aborts on a real-time thread when checks are built.
void AssertNotRealtime(const char* operation);

// True when this build aborts on real-time violations.
constexpr bool kRealtimeChecksBuilt =
#ifdef VANTARO_RT_CHECKS
    true;
#else
    false;
#endif

}  // namespace vantaro
