// Chain files and the plug-in list: the written form byte for byte through
// the reader, unknown effect types, and files that cannot be used.
#include "effects/effect_chain_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "base/xml_text.h"
#include "effects/effect.h"
#include "effects/effect_chain.h"
#include "effects/effect_registry.h"
#include "tests/effects/test_effects.h"
#include "tests/fuzz/hostile_files.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;
using test::GainEffect;

// The program's own form: reading it and writing it back gives it again,
// byte for byte, the unknown entry and its plug-in path of Latin-1 bytes too.
TEST(EffectChainFile, ReadingAndWritingBackGivesTheSameFile) {
  test::RegisterTestEffects();
  test::TempDir dir;
  const std::string text =
      std::string(kXmlDeclaration) + "\n" + std::string(kMakerComment) +
      "\n<effects version=\"100\">\n"
      "  <effect id=\"0\" enabled=\"no\" drywetmix=\"0.7500\" editorvisible=\"yes\" x=\"40\" "
      "y=\"50\" type=\"4242\" componentid=\"ABCD\" name=\"Hosted verb\" "
      "filename=\"/fx/caf\xEF\xBF\xBD.so\" filename_bytes=\"2f66782f636166e92e736f\">\n"
      "    <param id=\"3\" val=\"512\" name=\"Size\" value=\"51 %\" unit=\"\" />\n"
      "  </effect>\n"
      "  <effect id=\"1\" enabled=\"yes\" drywetmix=\"1.0000\" editorvisible=\"no\" x=\"12\" "
      "y=\"-4\" type=\"900\" componentid=\"\" name=\"Test gain\" filename=\"\">\n"
      "    <param id=\"0\" val=\"70\" name=\"Gain\" value=\"70\" unit=\"%\" />\n"
      "    <param id=\"1\" val=\"-7\" name=\"Other &lt;&amp;&gt;\" value=\"-7\" unit=\"\" />\n"
      "  </effect>\n"
      "</effects>\n\n";
  test::WriteFile(dir.File("fx_master.vfx"), text);
  CEffectChain chain;
  ASSERT_TRUE(LoadEffectChainFile(dir.File("fx_master.vfx"), chain));
  ASSERT_EQ(chain.Count(), 2);
  // The known effect plays with its values (after the 10 ms that fade it
  // in), the unknown one is skipped.
  std::vector<float> block(441 * 2, 1.0f);
  chain.Process(block.data(), 441, 120.0f);
  block.assign(64 * 2, 1.0f);
  chain.Process(block.data(), 64, 120.0f);
  for (float v : block) ASSERT_FLOAT_EQ(v, 0.7f);
  EXPECT_EQ(FormatEffectChain(chain), std::string(kUtf8Mark) + text);
}

// A chain file that is broken, foreign or hostile: the chain stays as it
// was, the log says why, and the save that follows keeps the file as .bak.
TEST(EffectChainFile, AFileThatCannotBeUsedIsSkippedAndKeptAsTheBackup) {
  test::RegisterTestEffects();
  test::TempDir dir;
  const std::string path = dir.File("fx_deckA.vfx");
  std::vector<std::pair<test::HostileFile, std::string>> cases = {
      {{"torn", "<effects version=\"100\">\n  <effect id=\"0\" ty"}, "not well-formed"},
      {{"foreign", "<songs version=\"100\"/>"}, "root element is not <effects>"}};
  for (auto& hostile : test::HostileFiles("effects", "<effect type=\"900\" name=\"&big;\" />"))
    cases.emplace_back(hostile, path + " refused");
  for (const auto& [file, logged] : cases) {
    SCOPED_TRACE(file.what);
    ASSERT_TRUE(test::WriteHostileFile(path, file));
    const auto size = fs::file_size(path);
    CEffectChain chain;
    chain.AddEffect(GainEffect::kType, 1.0f);
    testing::internal::CaptureStderr();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(LoadEffectChainFile(path, chain));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find(logged), std::string::npos) << log;
    EXPECT_EQ(chain.Count(), 1);
    ASSERT_TRUE(SaveEffectChainFile(path, chain, /*keepBackup=*/true));
    EXPECT_EQ(fs::file_size(path + ".bak"), size);
  }
}

// Every built-in type with values off its defaults goes through a file and
// back, and the loaded chain renders what the chain built in code renders,
// to the bit. A preset or parameter id the type does not have is logged
// once and skipped; the rest of the chain loads.
TEST(EffectChainFile, EveryBuiltInTypeRoundTripsAndRendersBitIdentically) {
  test::TempDir dir;
  int count;
  const int* types = BuiltInEffectTypes(&count);
  CEffectChain built;
  for (int t = 0; t < count; ++t) {
    CEffect* effect = built.AddEffect(types[t], (t % 16 + 1) / 16.0f);  // 4 decimals exactly
    ASSERT_NE(effect, nullptr) << types[t];
    for (int i = 0; i < effect->GetParamCount(); ++i) {
      const int id = effect->GetParamId(i);
      int low = -20, high = 0;
      effect->GetParamRange(id, &low, &high);
      if (id != 0 || types[t] == kEffectTypeEqualizerIIR)
        effect->SetParam(id, (low + high * 2) / 3);
    }
  }
  ASSERT_TRUE(SaveEffectChainFile(dir.File("fx_deckA.vfx"), built));
  std::string text = test::ReadFile(dir.File("fx_deckA.vfx"));
  const std::string saved = text;
  // The tremolo's entry, written again with a preset it lacks and an id it
  // does not know, on top of its own.
  const std::string tremolo = "type=\"20\" componentid=\"\" name=\"Tremolo\" filename=\"\">\n";
  const size_t at = text.find(tremolo);
  ASSERT_NE(at, std::string::npos);
  text.insert(at + tremolo.size(),
              "    <param id=\"0\" val=\"7\" name=\"\" value=\"\" unit=\"\" />\n"
              "    <param id=\"42\" val=\"1\" name=\"\" value=\"\" unit=\"\" />\n");
  test::WriteFile(dir.File("fx_deckB.vfx"), text);
  CEffectChain loaded;
  testing::internal::CaptureStderr();
  ASSERT_TRUE(LoadEffectChainFile(dir.File("fx_deckB.vfx"), loaded));
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("2 unknown parameter(s) or preset(s) skipped, first effect \"Tremolo\" "
                     "parameter 0 value 7"),
            std::string::npos)
      << log;
  EXPECT_EQ(FormatEffectChain(loaded), saved);
  std::vector<float> a(44100 * 2), b;
  for (size_t i = 0; i < a.size(); ++i) a[i] = static_cast<float>(std::sin(i * 0.01) * 0.5);
  b = a;
  for (int done = 0; done < 44100; done += 256) {
    built.Process(a.data() + done * 2, std::min(256, 44100 - done), 128.0f);
    loaded.Process(b.data() + done * 2, std::min(256, 44100 - done), 128.0f);
  }
  EXPECT_EQ(std::memcmp(a.data(), b.data(), a.size() * sizeof(float)), 0);
}

TEST(ScannedEffects, RoundTripAndABrokenListIsKeptAside) {
  test::TempDir dir;
  const std::string path = dir.File("fx_scanned.xml");
  const std::vector<TScannedEffect> found = {{1, 2, "{A-B}", "/fx/one\xE9.so", "One & \"Two\""},
                                             {3, 0, "", "/x.so", "Plain"}};
  ASSERT_TRUE(SaveScannedEffects(path, found));
  EXPECT_NE(
      test::ReadFile(path).find(
          "\n<exteffects version=\"100\">\n  <exteffect type=\"1\" subType=\"2\" "
          "componentId=\"{A-B}\" filename=\"/fx/one\xEF\xBF\xBD.so\" "
          "filename_bytes=\"2f66782f6f6e65e92e736f\" name=\"One &amp; &quot;Two&quot;\" />\n"),
      std::string::npos);
  std::vector<TScannedEffect> loaded;
  ASSERT_TRUE(LoadScannedEffects(path, loaded));
  ASSERT_EQ(loaded.size(), 2u);
  EXPECT_EQ(loaded[0].filename + loaded[0].name + loaded[1].filename,
            "/fx/one\xE9.soOne & \"Two\"/x.so");
  EXPECT_EQ(loaded[0].subType + loaded[1].type, 5);
  test::WriteFile(path, "not xml at all");
  EXPECT_FALSE(LoadScannedEffects(path, loaded));
  EXPECT_EQ(loaded.size(), 2u) << "the list is kept";
  EXPECT_FALSE(fs::exists(path)) << "moved aside before the close writes the list again";
}

}  // namespace
}  // namespace vantaro
