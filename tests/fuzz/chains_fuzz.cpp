// libFuzzer target: an effect chain file and the plug-in list, from the same
// bytes. What reads must come back the same through the writer once its
// values are settled (an effect may clamp a parameter it is given).
#include <cstdlib>
#include <string_view>

#include "effects/effect_chain.h"
#include "effects/effect_chain_file.h"
#include "tests/fuzz/data_fuzz_entries.h"

namespace vantaro::fuzz {
namespace {

// The chain file text of `text` read as a chain; empty when it does not read.
std::string ChainAgain(std::string_view text) {
  CEffectChain chain;
  return LoadEffectChainText(text, "fuzz", chain) ? FormatEffectChain(chain) : std::string();
}

}  // namespace

int EffectChainEntry(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string written = ChainAgain(text);
  if (!written.empty()) {
    const std::string settled = ChainAgain(written);
    if (settled.empty() || ChainAgain(settled) != settled) std::abort();
  }
  std::vector<TScannedEffect> found, again;
  if (LoadScannedEffectsText(text, "fuzz", found)) {
    const std::string list = FormatScannedEffects(found);
    if (!LoadScannedEffectsText(list, "fuzz", again) || FormatScannedEffects(again) != list)
      std::abort();
  }
  return 0;
}

}  // namespace vantaro::fuzz

#ifdef VANTARO_FUZZ_MAIN
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return vantaro::fuzz::EffectChainEntry(data, size);
}
#endif
