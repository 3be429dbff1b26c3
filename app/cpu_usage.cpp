#include "app/cpu_usage.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace vantaro {
namespace {

CpuTimes ReadMachineTimes() {
  std::ifstream stat("/proc/stat");
  std::string line;
  CpuTimes times;
  if (std::getline(stat, line)) ParseCpuLine(line, &times);
  return times;
}

double ClockSeconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace

bool ParseCpuLine(const std::string& line, CpuTimes* times) {
  std::istringstream fields(line);
  std::string name;
  fields >> name;
  if (name != "cpu") return false;
  // user nice system idle iowait irq softirq steal; guest time is already
  // inside user and nice.
  unsigned long long value[8] = {};
  int read = 0;
  while (read < 8 && fields >> value[read]) ++read;
  if (read < 4) return false;
  unsigned long long total = 0;
  for (unsigned long long v : value) total += v;
  times->total = total;
  times->busy = total - value[3] - value[4];
  return true;
}

double BusyFraction(const CpuTimes& before, const CpuTimes& after) {
  if (after.total <= before.total || after.busy < before.busy) return 0;
  const double fraction = static_cast<double>(after.busy - before.busy) /
                          static_cast<double>(after.total - before.total);
  return std::min(fraction, 1.0);
}

CpuUsage::CpuUsage()
    : machine_(ReadMachineTimes()),
      programSeconds_(ClockSeconds(CLOCK_PROCESS_CPUTIME_ID)),
      wallSeconds_(ClockSeconds(CLOCK_MONOTONIC)) {}

void CpuUsage::Read(double* machine, double* program) {
  const CpuTimes machineNow = ReadMachineTimes();
  const double programNow = ClockSeconds(CLOCK_PROCESS_CPUTIME_ID);
  const double wallNow = ClockSeconds(CLOCK_MONOTONIC);
  const double cores = std::max(1L, sysconf(_SC_NPROCESSORS_ONLN));
  const double wall = (wallNow - wallSeconds_) * cores;
  *machine = BusyFraction(machine_, machineNow);
  *program = wall > 0 ? std::clamp((programNow - programSeconds_) / wall, 0.0, 1.0) : 0.0;
  machine_ = machineNow;
  programSeconds_ = programNow;
  wallSeconds_ = wallNow;
}

}  // namespace vantaro
