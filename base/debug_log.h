#pragma once
// The program's debug log: one formatted line per call, prefixed "-- xvt: ",
// written to standard error and appended to vantaro.log in the data root once
// that folder is known. The file is rotated (vantaro.log -> vantaro.log.1)
// when it passes 1 MB.
//
// Threads: any thread but the audio thread (formatting and file I/O block).

#include <string>

namespace vantaro {

// Sets the folder of vantaro.log (with or without trailing slash). Until it is
// called, lines go to standard error only. An empty folder stops file output.
void SetDebugLogFolder(const std::string& folder);

// Whether lines also go to standard error (default on). A command-line run
// turns it off so that its own output stays readable.
void SetDebugLogEcho(bool toStandardError);

// printf-style; a trailing newline is added.
void DebugLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Path of the log file, empty when file output is off.
std::string DebugLogPath();

}  // namespace vantaro
