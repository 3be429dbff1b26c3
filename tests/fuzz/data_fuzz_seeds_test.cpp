// Writes the seed corpora of the data-file fuzz targets and replays every
// seed through its target's entry, so the targets' checks run on every
// build. The seeds are the files the readers' tests use: files the
// program's writers make of awkward values, the same torn and damaged, and
// the hostile files. Folders: $VANTARO_FUZZ_SEEDS/<target>, else
// <build>/fuzz_seeds/<target>.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "app/settings.h"
#include "effects/effect.h"
#include "effects/effect_chain.h"
#include "effects/effect_chain_file.h"
#include "effects/effect_registry.h"
#include "library/song_database_file.h"
#include "tests/fuzz/data_fuzz_entries.h"
#include "tests/fuzz/hostile_files.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using Entry = int (*)(const std::uint8_t*, std::size_t);

// Writes `file` and the damaged forms of it as seeds of `target`, and
// replays each through `entry`.
void Seed(const std::string& target, Entry entry, const std::string& name,
          const std::string& file) {
  const char* chosen = std::getenv("VANTARO_FUZZ_SEEDS");
  const std::string folder =
      (chosen && *chosen ? std::string(chosen) : std::string(VANTARO_BINARY_DIR) + "/fuzz_seeds") +
      "/" + target;
  std::filesystem::create_directories(folder);
  const std::string forms[] = {
      file, file.substr(0, file.size() * 2 / 3),
      file.substr(0, file.size() / 2) + "=\"&x;<" + file.substr(file.size() / 2),
      file + "\x01garbage<<"};
  for (std::size_t i = 0; i < std::size(forms); ++i) {
    SCOPED_TRACE(target + "/" + name + std::to_string(i));
    test::WriteFile(folder + "/" + name + std::to_string(i), forms[i]);
    EXPECT_EQ(entry(reinterpret_cast<const std::uint8_t*>(forms[i].data()), forms[i].size()), 0);
  }
}

TEST(DataFuzzSeeds, EverySeedPassesItsTarget) {
  const std::string names[] = {"Caf\xE9.mp3", "torn \xC3\x28 \xF0\x9F\x8E", "tab\t bell\x07.wav",
                               "A & B \"C\" 'D' <E>.flac", "Bj\xC3\xB6rk \xF0\x9F\x8E\xB5.ogg"};
  std::vector<TZKSongRecord> songs;
  for (const std::string& name : names)
    songs.push_back(
        {name, 245000, 5, 128.5f, -3.25f, 1, 0.5f, 0, -1, 2, {44100}, 100, 200, {1000}, {2000}});
  Seed("songdb", fuzz::SongDatabaseEntry, "songs", FormatSongDatabaseFile(songs));
  Settings settings;
  settings.skinf1 = "/skins/" + names[0] + "/skin.xml";
  settings.midiInputs = {names[3], "", names[4]};
  Seed("settings", fuzz::SettingsEntry, "config", FormatSettingsFile(settings));
  CEffectChain chain;
  chain.AddEffect(kEffectTypeEqualizerIIR, 0.75f)->SetParam(1, -40);
  auto unknown = std::make_shared<TEffectChainEntry>();
  unknown->type = 4242;
  unknown->filename = "/fx/" + names[1];
  unknown->params.push_back({3, 512, names[3], "51 %", ""});
  chain.Add(unknown);
  Seed("chains", fuzz::EffectChainEntry, "chain", FormatEffectChain(chain));
  Seed("chains", fuzz::EffectChainEntry, "plugins",
       FormatScannedEffects({{1, 2, "{A-B}", "/fx/" + names[0], names[3]}}));
  const std::pair<const char*, Entry> targets[] = {{"songdb", fuzz::SongDatabaseEntry},
                                                   {"settings", fuzz::SettingsEntry},
                                                   {"chains", fuzz::EffectChainEntry}};
  for (const auto& [target, entry] : targets)
    for (const auto& hostile : test::HostileFiles("r", "<e a=\"&big;\" name=\"&big;\" />"))
      if (!hostile.text.empty()) Seed(target, entry, hostile.what, hostile.text);
}

}  // namespace
}  // namespace vantaro
