#include "base/thread_priority.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

namespace vantaro {
namespace {

bool SetNice(int nice) {
  // setpriority on a thread id changes that thread only on Linux.
  const pid_t tid = static_cast<pid_t>(syscall(SYS_gettid));
  if (setpriority(PRIO_PROCESS, static_cast<id_t>(tid), nice) == 0) return true;
  // Lowering nice below the soft limit fails without privileges; take the
  // lowest value RLIMIT_NICE allows (20 - rlim_cur) instead.
  rlimit limit{};
  if (getrlimit(RLIMIT_NICE, &limit) != 0) return false;
  const int lowestAllowed = 20 - static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 40));
  if (nice < lowestAllowed) setpriority(PRIO_PROCESS, static_cast<id_t>(tid), lowestAllowed);
  return false;
}

}  // namespace

int NiceForPriority(int priority) {
  static const int kNice[] = {19, 10, 5, 0, -5};
  priority = std::clamp(priority, 0, 6);
  return priority <= 4 ? kNice[priority] : -5;
}

bool SetCurrentThreadPriority(int priority) {
  priority = std::clamp(priority, 0, 6);
  if (priority >= kPriorityHighest) {
    rlimit limit{};
    if (getrlimit(RLIMIT_RTPRIO, &limit) == 0 && limit.rlim_cur > 0) {
      // Time critical takes the top of what the limit grants, highest one
      // step below it.
      const int top = static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 99));
      sched_param param{};
      param.sched_priority = priority == kPriorityTimeCritical ? top : std::max(1, top - 1);
      if (pthread_setschedparam(pthread_self(), SCHED_FIFO, &param) == 0) return true;
    }
    SetNice(NiceForPriority(priority));
    return false;
  }
  return SetNice(NiceForPriority(priority));
}

}  // namespace vantaro
