#include "base/realtime.h"

#include <cstdio>
#include <cstdlib>
#include <new>

namespace vantaro {
namespace {
thread_local bool t_realtime = false;
}

RealtimeScope::RealtimeScope() : wasRealtime_(t_realtime) {
  t_realtime = true;
}
RealtimeScope::~RealtimeScope() {
  t_realtime = wasRealtime_;
}

bool IsRealtimeThread() {
  return t_realtime;
}

void AssertNotRealtime(const char* operation) {
#ifdef VANTARO_RT_CHECKS
  if (t_realtime) {
    t_realtime = false;  // let the report itself run
    std::fprintf(stderr, "-- xvt: real-time violation: %s on the audio thread\n", operation);
    std::abort();
  }
#else
  (void)operation;
#endif
}

}  // namespace vantaro

#ifdef VANTARO_RT_CHECKS
// Replacements of the global allocation functions: they behave as the
// standard ones and add the real-time check. They live in this file so that
// every program linking the base library gets them.
void* operator new(std::size_t size) {
  vantaro::AssertNotRealtime("operator new");
  if (size == 0) size = 1;
  if (void* p = std::malloc(size)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
  return ::operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  vantaro::AssertNotRealtime("operator new");
  return std::malloc(size ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return ::operator new(size, tag);
}
void operator delete(void* p) noexcept {
  if (p) vantaro::AssertNotRealtime("operator delete");
  std::free(p);
}
void operator delete[](void* p) noexcept {
  ::operator delete(p);
}
void operator delete(void* p, std::size_t) noexcept {
  ::operator delete(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  ::operator delete(p);
}
// The nothrow forms must match the nothrow news above (malloc), or a block
// freed with ::operator delete(p, std::nothrow) reaches the library's own.
void operator delete(void* p, const std::nothrow_t&) noexcept {
  ::operator delete(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
  ::operator delete(p);
}
#endif
