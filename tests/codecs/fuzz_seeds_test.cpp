// Writes the seed corpus of the codec fuzz target (tests/fuzz) and checks
// that every seed is what it claims: the valid files open through a native
// reader with sox's frame count, the crafted ones are refused natively.
// Folder: $VANTARO_FUZZ_SEEDS, else <build>/fuzz_seeds/codecs.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "codecs/codec_set.h"
#include "codecs/decoder_aif.h"
#include "codecs/decoder_au.h"
#include "codecs/decoder_wav.h"
#include "tests/codecs/codec_test_files.h"
#include "tests/fuzz/codec_fuzz_input.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

std::string SeedFolder() {
  const char* chosen = std::getenv("VANTARO_FUZZ_SEEDS");
  const std::string folder =
      chosen && *chosen ? chosen : std::string(VANTARO_BINARY_DIR) + "/fuzz_seeds/codecs";
  std::filesystem::create_directories(folder);
  return folder;
}

// Source frames a native reader opens from `path`, -1 when all three refuse.
int NativeFrames(const std::string& path) {
  CDecoderWAV wav(30);
  CDecoderAIF aif(30);
  CDecoderAu au(30);
  for (CBaseCodec* codec : std::initializer_list<CBaseCodec*>{&wav, &aif, &au}) {
    TCodecFormat format{};
    if (codec->Open(path, format, kCodecRead)) return format.frames;
  }
  return -1;
}

void WriteSeed(const std::string& folder, const std::string& name, uint8_t selector,
               const std::string& bytes) {
  test::WriteFile(folder + "/" + name, std::string(1, static_cast<char>(selector)) + bytes);
}

TEST(FuzzSeeds, ValidSoxFilesOpenWithSoxLengths) {
  const std::string folder = SeedFolder();
  test::TempDir dir;
  const struct {
    const char* ending;
    int rate;
    int channels;
    const char* soxFormat;
    bool plainWav;
    uint8_t targetBits;  // selector bits 2-6: target rate, channels, 16-bit reads
  } seeds[] = {
      {".wav", 44100, 2, "-b 16", false, 0x00},
      {".wav", 22050, 1, "-b 8", false, 0x04},
      {".wav", 48000, 2, "-b 24", true, 0x10},
      {".wav", 44100, 5, "-b 16", true, 0x20},
      {".wav", 11025, 2, "-e floating-point -b 32", true, 0x40},
      {".aiff", 44100, 2, "-b 16", false, 0x40},
      {".aiff", 11025, 1, "-b 24", false, 0x0C},
      {".aif", 96000, 2, "-b 32", false, 0x08},
      {".au", 44100, 2, "-b 8 -e signed-integer", false, 0x00},
      {".au", 22050, 2, "-b 16", false, 0x44},
      {".au", 48000, 1, "-b 24", false, 0x30},
      {".au", 44100, 2, "-e floating-point -b 32", false, 0x10},
  };
  int index = 0;
  for (const auto& s : seeds) {
    SCOPED_TRACE(std::string(s.ending) + " " + s.soxFormat);
    const std::string made = dir.File("seed" + std::to_string(index) + s.ending);
    ASSERT_TRUE(test::MakeSoxTone(made, s.rate, s.channels, s.soxFormat, 0.01));
    std::string path = made;
    if (s.plainWav) {
      path = dir.File("plain" + std::to_string(index) + ".wav");
      const bool isFloat = std::string(s.soxFormat).find("floating") != std::string::npos;
      ASSERT_TRUE(test::RewriteAsPlainWav(made, path, isFloat ? 3 : 1));
    }
    EXPECT_EQ(std::to_string(NativeFrames(path)), test::Soxi("-s", made));
    const uint8_t selector = fuzz::SelectorFor(s.ending) | s.targetBits;
    WriteSeed(folder, "valid-" + std::to_string(index++) + s.ending, selector,
              test::ReadFile(path));
  }
}

TEST(FuzzSeeds, CraftedHeadersAreRefusedOrCut) {
  const std::string folder = SeedFolder();
  test::TempDir dir;
  const std::string data(64, '\x11');
  std::string listWav = test::WavFile(1, 2, 44100, 16, 64, data).substr(0, 36) + "LIST";
  test::AppendLE32(listWav, 4);
  listWav += "INFOdata";
  test::AppendLE32(listWav, 64);
  listWav += data;
  std::string extensible = test::WavFile(1, 2, 44100, 16, 64, data);
  extensible[16] = 18;  // an 18-byte format chunk
  const struct {
    const char* name;
    std::string bytes;
    int nativeFrames;  // -1: refused natively
  } seeds[] = {
      {"list.wav", listWav, 16},
      {"huge.wav", test::WavFile(1, 2, 44100, 16, 0xFFFFFFFFu, data), 16},
      {"ext.wav", extensible, -1},
      {"aifc.aiff", test::AiffFile(2, 16, 16, 44100, 72, data, 22), -1},
      {"8k.aiff", test::AiffFile(2, 16, 16, 8000, 72, data), -1},
      {"huge.aiff", test::AiffFile(2, 16, 16, 44100, 0xFFFFFFFFu, data), 16},
      {"mulaw.au", test::AuFile(24, 64, 1, 8000, 1, data), -1},
      {"huge.au", test::AuFile(24, 0xFFFFFFFFu, 3, 44100, 2, data), 16},
      {"double.au", test::AuFile(0, 64, 7, 44100, 1, data), 8},
      {"widech.au", test::AuFile(24, 64, 7, 44100, 0x736e6400u, data), -1},
      {"nan.wav", test::WavFile(3, 1, 44100, 32, 64, std::string(64, '\xff')), 16},
  };
  for (const auto& s : seeds) {
    SCOPED_TRACE(s.name);
    const std::string path = dir.File(s.name);
    test::WriteFile(path, s.bytes);
    EXPECT_EQ(NativeFrames(path), s.nativeFrames);
    const std::string name = s.name;
    WriteSeed(folder, std::string("crafted-") + s.name,
              fuzz::SelectorFor(name.substr(name.find('.'))), s.bytes);
  }
}

}  // namespace
}  // namespace vantaro
