// Chain files and the plug-in list: the written form line by line, a round
// trip through the reader, unknown effect types and broken files.
#include "effects/effect_chain_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <sstream>

#include "base/xml_text.h"
#include "effects/effect_chain.h"
#include "effects/equalizer_iir.h"
#include "tests/effects/test_effects.h"
#include "tests/fuzz/hostile_files.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::GainEffect;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

TEST(EffectChainFile, RoundTripKeepsOrderValuesAndSwitches) {
  test::RegisterTestEffects();
  test::TempDir dir;
  const std::string path = dir.File("fx_deckA.vfx");
  {
    CEffectChain chain;
    auto* first = static_cast<GainEffect*>(chain.AddEffect(GainEffect::kType, 0.33333f));
    first->percent = 25;
    first->other = -7;
    auto* eq = static_cast<CEffectEqualizerIIR*>(chain.AddEffect(kEffectTypeEqualizerIIR, 1.0f));
    eq->SetParam(1, -12);
    eq->SetParam(3, -40);  // stored as -100
    chain.Entry(1)->enabled.store(false);
    ASSERT_TRUE(SaveEffectChainFile(path, chain));
  }
  CEffectChain loaded;
  ASSERT_TRUE(LoadEffectChainFile(path, loaded));
  ASSERT_EQ(loaded.Count(), 2);
  auto* first = dynamic_cast<GainEffect*>(loaded.Entry(0)->effect.get());
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->percent, 25);
  EXPECT_EQ(first->other, -7);
  EXPECT_FLOAT_EQ(first->GetDryWet(), 0.3333f) << "written with four decimals";
  EXPECT_TRUE(loaded.Entry(0)->enabled.load());
  auto* eq = dynamic_cast<CEffectEqualizerIIR*>(loaded.Entry(1)->effect.get());
  ASSERT_NE(eq, nullptr);
  EXPECT_EQ(eq->GetParam(1), -12);
  EXPECT_EQ(eq->GetParam(2), 0);
  EXPECT_EQ(eq->GetParam(3), -100);
  EXPECT_FALSE(loaded.Entry(1)->enabled.load());
  // Saving what was loaded gives the same file.
  EXPECT_EQ(FormatEffectChain(loaded), test::ReadFile(path));
}

// The text is the program's own form, byte for byte: reading it and writing
// it back must give it again, unknown entry and all.
TEST(EffectChainFile, UnknownTypeIsKeptSilentAndWrittenBack) {
  test::RegisterTestEffects();
  test::TempDir dir;
  const std::string path = dir.File("fx_master.vfx");
  const std::string text =
      std::string(kXmlDeclaration) + "\n" + std::string(kMakerComment) +
      "\n<effects version=\"100\">\n"
      "  <effect id=\"0\" enabled=\"yes\" drywetmix=\"0.7500\" "
      "editorvisible=\"yes\" x=\"40\" y=\"50\" type=\"4242\" "
      "componentid=\"ABCD\" name=\"Hosted verb\" filename=\"/opt/fx/verb.so\">\n"
      "    <param id=\"3\" val=\"512\" name=\"Size\" value=\"51 %\" unit=\"\" />\n"
      "  </effect>\n"
      "  <effect id=\"1\" enabled=\"yes\" drywetmix=\"1.0000\" "
      "editorvisible=\"no\" x=\"12\" y=\"-4\" type=\"900\" componentid=\"\" "
      "name=\"Test gain\" filename=\"\">\n"
      "    <param id=\"0\" val=\"70\" name=\"Gain\" value=\"70\" unit=\"%\" />\n"
      "    <param id=\"1\" val=\"0\" name=\"Other &lt;&amp;&gt;\" "
      "value=\"0\" unit=\"\" />\n"
      "  </effect>\n"
      "</effects>\n\n";
  test::WriteFile(path, text);
  CEffectChain chain;
  ASSERT_TRUE(LoadEffectChainFile(path, chain));
  ASSERT_EQ(chain.Count(), 2);
  EXPECT_EQ(chain.Entry(0)->effect, nullptr);
  EXPECT_EQ(chain.Entry(0)->filename, "/opt/fx/verb.so");
  ASSERT_NE(chain.Entry(1)->effect, nullptr);
  // The known effect plays, the unknown one is skipped.
  std::vector<float> block(64 * 2, 1.0f);
  chain.Process(block.data(), 64, 120.0f);
  for (float v : block) ASSERT_FLOAT_EQ(v, 0.7f);
  // Nothing is lost: the unknown entry goes back out as it came in.
  EXPECT_EQ(FormatEffectChain(chain), std::string(kUtf8Mark) + text);
}

TEST(EffectChainFile, BrokenOrForeignFileIsSkippedAndTheChainKept) {
  test::RegisterTestEffects();
  test::TempDir dir;
  CEffectChain chain;
  chain.AddEffect(GainEffect::kType, 1.0f);
  test::WriteFile(dir.File("torn.vfx"),
                  "<?xml version=\"1.0\"?>\n<effects version=\"100\">\n  <effect id=\"0\" ty");
  EXPECT_FALSE(LoadEffectChainFile(dir.File("torn.vfx"), chain));
  test::WriteFile(dir.File("other.vfx"), "<?xml version=\"1.0\"?>\n<songs version=\"100\"/>\n");
  EXPECT_FALSE(LoadEffectChainFile(dir.File("other.vfx"), chain));
  EXPECT_FALSE(LoadEffectChainFile(dir.File("missing.vfx"), chain));
  EXPECT_EQ(chain.Count(), 1);
  // Saving over the broken file with a backup keeps the user's original.
  ASSERT_TRUE(SaveEffectChainFile(dir.File("torn.vfx"), chain, true));
  EXPECT_NE(test::ReadFile(dir.File("torn.vfx.bak")).find("<effect id=\"0\" ty"),
            std::string::npos);
  CEffectChain again;
  EXPECT_TRUE(LoadEffectChainFile(dir.File("torn.vfx"), again));
  EXPECT_EQ(again.Count(), 1);
}

TEST(ScannedEffects, RoundTripAndForm) {
  test::TempDir dir;
  const std::string path = dir.File("fx_scanned.xml");
  std::vector<TScannedEffect> found = {{1, 2, "{A-B}", "/usr/lib/fx/one.so", "One & \"Two\""},
                                       {3, 0, "", "/x.so", "Plain"}};
  ASSERT_TRUE(SaveScannedEffects(path, found));
  const auto lines = Lines(test::ReadFile(path));
  ASSERT_EQ(lines.size(), 7u);
  EXPECT_EQ(lines[2], "<exteffects version=\"100\">");
  EXPECT_EQ(lines[3],
            "  <exteffect type=\"1\" subType=\"2\" componentId=\"{A-B}\" "
            "filename=\"/usr/lib/fx/one.so\" name=\"One &amp; &quot;Two&quot;\" />");
  std::vector<TScannedEffect> loaded;
  ASSERT_TRUE(LoadScannedEffects(path, loaded));
  ASSERT_EQ(loaded.size(), 2u);
  EXPECT_EQ(loaded[0].name, "One & \"Two\"");
  EXPECT_EQ(loaded[0].subType, 2);
  EXPECT_EQ(loaded[1].filename, "/x.so");
  test::WriteFile(path, "not xml at all");
  EXPECT_FALSE(LoadScannedEffects(path, loaded));
  EXPECT_EQ(loaded.size(), 2u);
}

}  // namespace
}  // namespace vantaro

namespace vantaro {
namespace {
TEST(EffectChainFile, AHostileFileIsRefusedQuicklyAndKeptAsTheBackup) {
  namespace fs = std::filesystem;
  test::RegisterTestEffects();
  test::TempDir dir;
  const std::string path = dir.File("fx_deckA.vfx");
  for (const auto& hostile : test::HostileFiles(
           "effects", "<effect id=\"0\" enabled=\"yes\" type=\"900\" name=\"&big;\" />")) {
    SCOPED_TRACE(hostile.what);
    ASSERT_TRUE(test::WriteHostileFile(path, hostile));
    const auto size = fs::file_size(path);
    CEffectChain chain;
    chain.AddEffect(GainEffect::kType, 1.0f);
    testing::internal::CaptureStderr();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(LoadEffectChainFile(path, chain));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find(path + " refused"), std::string::npos) << log;
    EXPECT_EQ(chain.Count(), 1);
    ASSERT_TRUE(SaveEffectChainFile(path, chain, /*keepBackup=*/true));
    EXPECT_EQ(fs::file_size(path + ".bak"), size);
  }
}
}  // namespace
}  // namespace vantaro
