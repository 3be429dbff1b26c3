#pragma once
// `vantaro --analyse [--key] [--no-store] [--mode 0|-1|-2|BPM]
// [--skip-analysed] FILE...`: analyses files as the background worker does,
// with no window, display or sound card, and prints one tab-separated line
// per analysed file on standard output: path, BPM, gain dB, key name, key
// code, length in milliseconds. "-" among the files reads paths from
// standard input, one a line.
//
// Exit status: 0 when every file was analysed, 1 when any was skipped (its
// reason on standard error), 2 on a usage error, a running program beside
// it, or a failed write.
//
// Threads: the main thread, before any other exists.

namespace vantaro {

// True when `argv` asks for the command (its first argument is --analyse).
bool IsAnalyseCommand(int argc, char** argv);

int RunAnalyseCommand(int argc, char** argv);

}  // namespace vantaro
