// libFuzzer target: config.xml. A file that reads must come back the same
// through the writer, text of any bytes included.
#include <cstdlib>
#include <string_view>

#include "app/settings.h"
#include "tests/fuzz/data_fuzz_entries.h"

namespace vantaro::fuzz {

int SettingsEntry(const std::uint8_t* data, std::size_t size) {
  Settings settings;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (ReadSettingsText(text, "fuzz", settings) != SettingsFileStatus::kLoaded) return 0;
  const std::string written = FormatSettingsFile(settings);
  Settings again;
  if (ReadSettingsText(written, "fuzz", again) != SettingsFileStatus::kLoaded) std::abort();
  if (FormatSettingsFile(again) != written) std::abort();
  return 0;
}

}  // namespace vantaro::fuzz

#ifdef VANTARO_FUZZ_MAIN
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return vantaro::fuzz::SettingsEntry(data, size);
}
#endif
