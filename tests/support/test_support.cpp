#include "tests/support/test_support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace vantaro::test {

TempDir::TempDir() {
  const char* base = std::getenv("TMPDIR");
  std::string pattern = std::string(base && *base ? base : "/tmp") + "/vantaro-test-XXXXXX";
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (mkdtemp(buffer.data())) path_ = buffer.data();
}

TempDir::~TempDir() {
  std::error_code error;
  if (!path_.empty()) std::filesystem::remove_all(path_, error);
}

int RunCommand(const std::string& command, std::string* output) {
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return -1;
  char chunk[4096];
  size_t got;
  while ((got = fread(chunk, 1, sizeof chunk, pipe)) > 0)
    if (output) output->append(chunk, got);
  const int status = pclose(pipe);
  if (status == -1 || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

bool HaveProgram(const std::string& program) {
  return RunCommand("command -v '" + program + "' >/dev/null 2>&1") == 0;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
}

double Rms(const std::vector<float>& samples, int channels, int channel) {
  double sum = 0;
  size_t count = 0;
  for (size_t i = channel; i < samples.size(); i += channels, ++count)
    sum += double(samples[i]) * samples[i];
  return count ? std::sqrt(sum / count) : 0.0;
}

double Peak(const std::vector<float>& samples, int channels, int channel) {
  double peak = 0;
  for (size_t i = channel; i < samples.size(); i += channels)
    peak = std::max(peak, std::fabs(double(samples[i])));
  return peak;
}

double ToneFrequency(const std::vector<float>& samples, int channels, int channel) {
  double first = -1, last = -1;
  int crossings = 0;
  for (size_t i = channel + channels; i < samples.size(); i += channels) {
    const double a = samples[i - channels], b = samples[i];
    if (a < 0 && b >= 0) {
      const double frame = (i / channels) - 1 + (-a / (b - a));
      if (first < 0) first = frame;
      last = frame;
      ++crossings;
    }
  }
  if (crossings < 2) return 0.0;
  return (crossings - 1) * 44100.0 / (last - first);
}

double LargestStep(const std::vector<float>& samples, int channels, int channel) {
  double step = 0;
  for (size_t i = channel + channels; i < samples.size(); i += channels)
    step = std::max(step, std::fabs(double(samples[i]) - samples[i - channels]));
  return step;
}

}  // namespace vantaro::test
