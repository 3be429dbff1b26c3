#pragma once
// Compressed test files for the FFmpeg reader, made on demand by sox and
// ffmpeg from one test signal: a steady 1000 Hz sine at amplitude 0.5 in both
// channels, 3 seconds at 44100 Hz (132300 frames). Each test process makes
// only the files it asks for, once, in its own temporary folder. sox runs
// without dither, so every run makes the same files.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "codecs/base_codec.h"

namespace vantaro {
class CCodecSet;
}  // namespace vantaro

namespace vantaro::test {

inline constexpr int kSignalFrames = 132300;
inline constexpr double kSignalHz = 1000.0;
inline constexpr double kSignalAmplitude = 0.5;

// Path of the fixture `name` (see the recipes in ffmpeg_fixtures.cpp), made
// if needed; "" when the tools failed.
std::string FFmpegFixture(const std::string& name);
// A new path in the fixtures' folder, for files a test makes itself.
std::string FixtureScratchPath(const std::string& name);
// A copy of the first `fraction` of fixture `name`'s bytes at scratch path
// `copyName` ("" when the fixture could not be made).
std::string CutFixture(const std::string& name, const std::string& copyName, double fraction);
// Opens fixture `name` (or the file `name` when it holds a '/') for reading.
::testing::AssertionResult OpenFixture(CBaseCodec& codec, const std::string& name,
                                       TCodecFormat& format);
// A test name made of a file name (".", "_" and the like become "_").
std::string FileTestName(std::string file);

// Reads a decoder from frame 0 in blocks of `blockFrames` until a short read,
// as floats (16-bit sample / 32768). `reads` gets the number of calls made.
std::vector<float> ReadDecoderToEnd(CBaseCodec& codec, int channels, int blockFrames,
                                    int* reads = nullptr);
// Reads an open codec set (float target) to its first short read.
std::vector<float> ReadSetToEnd(CCodecSet& set, int channels, int blockFrames);

// Level of one channel relative to the test signal, in dB.
double LevelDb(const std::vector<float>& samples, int channels, int channel);
// The frames [first, first + count) of an interleaved buffer.
std::vector<float> Frames(const std::vector<float>& samples, int channels, int64_t first,
                          int64_t count);
// Index of the first frame whose channel-0 magnitude passes `threshold`, or -1.
int64_t FirstSoundFrame(const std::vector<float>& samples, int channels, float threshold);

}  // namespace vantaro::test
