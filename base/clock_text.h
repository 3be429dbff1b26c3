#pragma once
// A length of time as a person reads it on a clock: "m:ss" ("mm:ss" with
// `padMinutes`), and "h:mm:ss" from an hour on. Whole seconds, cut, never
// rounded up, so a clock never runs ahead; negative or non-finite counts
// as 0.
//
// Threads: any.

#include <string>

namespace vantaro {

std::string ClockText(double seconds, bool padMinutes);

}  // namespace vantaro
