#pragma once
// The two CPU figures the screen shows: the whole machine's busy share and
// this program's own share, each a fraction 0..1 of the time since the
// previous reading (across all cores).
//
// Threads: GUI thread (the screen tick reads once in ten ticks).

#include <string>

namespace vantaro {

// Clock ticks of the "cpu" line of /proc/stat.
struct CpuTimes {
  unsigned long long busy = 0;
  unsigned long long total = 0;
};

// Parses the aggregate "cpu " line of /proc/stat; idle and iowait count as
// not busy. False when the line is not one.
bool ParseCpuLine(const std::string& line, CpuTimes* times);

// Busy share between two readings; 0 when no time passed.
double BusyFraction(const CpuTimes& before, const CpuTimes& after);

class CpuUsage {
 public:
  CpuUsage();
  // Both figures since the previous call (the first: since construction).
  void Read(double* machine, double* program);

 private:
  CpuTimes machine_;
  double programSeconds_ = 0;  // the process CPU clock
  double wallSeconds_ = 0;     // the monotonic clock
};

}  // namespace vantaro
