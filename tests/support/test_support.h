#pragma once
// Helpers shared by the test programs: temporary folders, shell commands,
// and signal measurements on interleaved float buffers.

#include <string>
#include <vector>

namespace vantaro::test {

// A fresh folder below $TMPDIR (or /tmp), removed with its contents when the
// object goes. Path() has no trailing slash.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& Path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// Runs `command` through /bin/sh; returns its exit status (-1 when it could
// not run or was killed). Standard output is appended to `output` if given.
int RunCommand(const std::string& command, std::string* output = nullptr);

// True when `program` is found on PATH.
bool HaveProgram(const std::string& program);

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& text);

// Root mean square of channel `channel` of an interleaved buffer.
double Rms(const std::vector<float>& samples, int channels, int channel);
// Largest absolute sample of one channel.
double Peak(const std::vector<float>& samples, int channels, int channel);
// Frequency (Hz at 44100) of a steady tone in one channel, from the spacing
// of its rising zero crossings with sub-sample interpolation.
double ToneFrequency(const std::vector<float>& samples, int channels, int channel);
// Largest difference between two neighbouring samples of one channel: a
// click detector.
double LargestStep(const std::vector<float>& samples, int channels, int channel);

}  // namespace vantaro::test
