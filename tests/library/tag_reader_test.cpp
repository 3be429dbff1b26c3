// Tags of real files: ffmpeg makes and tags them (-metadata), TagLib writes
// the families ffmpeg cannot (ID3v1 or APE alone, foreign comments, the
// WAV's ID3 chunk), and the reader must find each one.

#include "library/tag_reader.h"

#include <gtest/gtest.h>
#include <taglib/apetag.h>
#include <taglib/commentsframe.h>
#include <taglib/flacfile.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/tpropertymap.h>
#include <taglib/wavfile.h>

#include <map>
#include <string>

#include "tests/support/test_support.h"

namespace vantaro {
namespace {

using test::TempDir;

// One second of tone in the file `path`, tagged with `metadata`
// ("-metadata k=v ..."); false when ffmpeg failed.
bool MakeAudio(const std::string& path, const std::string& metadata,
               const std::string& options = "") {
  return test::RunCommand("ffmpeg -nostdin -loglevel error -y -f lavfi -i sine=f=440:d=1 " +
                          options + " " + metadata + " '" + path + "'") == 0;
}

std::map<int, std::string> Fields(const std::string& path) {
  CZKTagReader reader;
  std::map<int, std::string> fields;
  if (!reader.Open(path, true)) return fields;
  for (int field :
       {kTagTitle, kTagArtist, kTagGenre, kTagKey, kTagComment, kTagAlbum, kTagTrack, kTagYear}) {
    std::string text;
    EXPECT_TRUE(reader.GetField(field, text));
    if (!text.empty()) fields[field] = text;
  }
  return fields;
}

const std::string kFullTags =
    "-metadata title='Zürich Nächte' -metadata artist='Δέλτα Ёж' -metadata album=Album "
    "-metadata genre=Techno -metadata track=7 -metadata date=2019 -metadata comment=Warm";

class TagReaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!test::HaveProgram("ffmpeg")) GTEST_SKIP() << "ffmpeg missing";
  }
  TempDir dir;
};

// Every container family ffmpeg tags: all fields, non-ASCII text intact.
TEST_F(TagReaderTest, EachFormatGivesEveryField) {
  const struct {
    const char* name;
    const char* options;
  } cases[] = {
      {"a.mp3", ""},                 // ID3v2
      {"a.flac", ""},                // Vorbis comments in FLAC
      {"a.ogg", "-c:a libvorbis"},   // Vorbis comments in Ogg
      {"b.ogg", "-c:a libopus"},     // Opus in Ogg, named .ogg
      {"a.m4a", "-c:a aac"},         // MP4 atoms
      {"a.aiff", "-write_id3v2 1"},  // ID3 chunk in AIFF
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string path = dir.File(c.name);
    ASSERT_TRUE(MakeAudio(path, kFullTags, c.options));
    auto fields = Fields(path);
    EXPECT_EQ(fields[kTagTitle], "Zürich Nächte");
    EXPECT_EQ(fields[kTagArtist], "Δέλτα Ёж");
    EXPECT_EQ(fields[kTagAlbum], "Album");
    EXPECT_EQ(fields[kTagGenre], "Techno");
    EXPECT_EQ(fields[kTagTrack], "7");
    EXPECT_EQ(fields[kTagYear], "2019");
    EXPECT_EQ(fields[kTagComment], "Warm");
  }
}

// WAV: RIFF INFO (ffmpeg), then an ID3 chunk (TagLib) that takes precedence.
TEST_F(TagReaderTest, WavReadsInfoAndId3Chunks) {
  const std::string path = dir.File("a.wav");
  ASSERT_TRUE(MakeAudio(path, "-metadata title=InfoTitle -metadata artist=InfoArtist"));
  EXPECT_EQ(Fields(path)[kTagTitle], "InfoTitle");
  {
    TagLib::RIFF::WAV::File file(path.c_str());
    file.ID3v2Tag()->setTitle("Id3Title");
    ASSERT_TRUE(file.save());
  }
  auto fields = Fields(path);
  EXPECT_EQ(fields[kTagTitle], "Id3Title");
  EXPECT_EQ(fields[kTagArtist], "InfoArtist");
}

// MP3s carrying only one of the older families; the key from TKEY and from
// a Vorbis INITIALKEY.
TEST_F(TagReaderTest, Id3v1OnlyApeOnlyAndKeys) {
  const std::string v1 = dir.File("v1.mp3"), ape = dir.File("ape.mp3"), flac = dir.File("k.flac");
  ASSERT_TRUE(MakeAudio(v1, "", "-write_id3v2 0 -write_xing 0"));
  ASSERT_TRUE(MakeAudio(ape, "", "-write_id3v2 0 -write_xing 0"));
  ASSERT_TRUE(MakeAudio(flac, ""));
  {
    TagLib::MPEG::File file(v1.c_str());
    file.ID3v1Tag(true)->setTitle("V1 Title");
    file.ID3v1Tag(true)->setArtist("V1 Artist");
    ASSERT_TRUE(file.save(TagLib::MPEG::File::ID3v1));
    TagLib::MPEG::File apeFile(ape.c_str());
    apeFile.APETag(true)->setTitle("Ape Title");
    apeFile.APETag(true)->setComment("Ape note");
    ASSERT_TRUE(apeFile.save(TagLib::MPEG::File::APE));
    TagLib::FLAC::File flacFile(flac.c_str());
    TagLib::PropertyMap properties;
    properties["INITIALKEY"] = TagLib::String("8A");
    flacFile.setProperties(properties);
    ASSERT_TRUE(flacFile.save());
  }
  EXPECT_EQ(Fields(v1)[kTagTitle], "V1 Title");
  EXPECT_EQ(Fields(v1)[kTagArtist], "V1 Artist");
  EXPECT_EQ(Fields(ape)[kTagTitle], "Ape Title");
  EXPECT_EQ(Fields(ape)[kTagComment], "Ape note");
  EXPECT_EQ(Fields(flac)[kTagKey], "8A");

  const std::string keyed = dir.File("key.mp3");
  ASSERT_TRUE(MakeAudio(keyed, "-metadata TKEY=F#m -metadata title=T"));
  EXPECT_EQ(Fields(keyed)[kTagKey], "F#m");
}

// Comments other programs own are skipped wherever they stand; the marks a
// ripper leaves are cut with the 14 bytes from their start.
TEST_F(TagReaderTest, ForeignCommentsAndMarks) {
  const struct {
    const char* first;  // description, text of the first COMM frame
    const char* firstText;
    const char* second;
    const char* secondText;
    const char* shown;
  } cases[] = {
      {"iTunNORM", " 00000A 00000B", "", "Real note", "Real note"},
      {"CDDB disc", "12345", "", "Second", "Second"},
      {"", "Deep, AG# 89ABCDEF cut", "", "x", "Deep cut"},
      {"", "A CRC : 01234567B", "", "x", "A B"},
      {"iTunSMPB", "data", nullptr, nullptr, ""},
  };
  int n = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.shown);
    const std::string path = dir.File("c" + std::to_string(n++) + ".mp3");
    ASSERT_TRUE(MakeAudio(path, "-metadata title=T"));
    {
      TagLib::MPEG::File file(path.c_str());
      TagLib::ID3v2::Tag* tag = file.ID3v2Tag(true);
      for (const char* text : {c.firstText, c.secondText}) {
        if (!text) continue;
        auto* frame = new TagLib::ID3v2::CommentsFrame(TagLib::String::UTF8);
        frame->setDescription(
            TagLib::String(text == c.firstText ? c.first : c.second, TagLib::String::UTF8));
        frame->setText(TagLib::String(text, TagLib::String::UTF8));
        tag->addFrame(frame);
      }
      ASSERT_TRUE(file.save(TagLib::MPEG::File::ID3v2));
    }
    EXPECT_EQ(Fields(path)[kTagComment], c.shown);
  }
}

// Files without readable tags: the name supplies title and artist, and
// nothing a file holds crashes the reader.
TEST_F(TagReaderTest, NamesAndBadFiles) {
  const std::string named = dir.File("The Artist - The Title.wav");
  ASSERT_TRUE(MakeAudio(named, "", "-fflags +bitexact -map_metadata -1"));
  auto fields = Fields(named);
  EXPECT_EQ(fields[kTagArtist], "The Artist");
  EXPECT_EQ(fields[kTagTitle], "The Title");

  // A karaoke graphics file shows its sound file's tags.
  ASSERT_TRUE(MakeAudio(dir.File("song.mp3"), "-metadata title=Sung -metadata artist=Singer"));
  test::WriteFile(dir.File("song.cdg"), std::string(300, '\0'));
  EXPECT_EQ(Fields(dir.File("song.cdg"))[kTagTitle], "Sung");

  // A truncated MP3, random bytes named .flac: the name stands in.
  ASSERT_TRUE(MakeAudio(dir.File("plain.mp3"), "", "-write_id3v2 0 -write_xing 0"));
  const std::string whole = test::ReadFile(dir.File("plain.mp3"));
  test::WriteFile(dir.File("cut.mp3"), whole.substr(0, whole.size() / 3));
  test::WriteFile(dir.File("noise.flac"), std::string("fLaC\x00\x00\x00\x22garbage-garbage", 23));
  EXPECT_EQ(Fields(dir.File("cut.mp3"))[kTagTitle], "cut");
  EXPECT_EQ(Fields(dir.File("noise.flac"))[kTagTitle], "noise");

  // A Latin-1 file name (not UTF-8) still opens and names itself.
  const std::string latin1 = dir.File("Caf\xE9 - Cr\xE8me.wav");
  ASSERT_TRUE(test::RunCommand("cp '" + named + "' '" + latin1 + "'") == 0);
  EXPECT_EQ(Fields(latin1)[kTagTitle], "Cr\xE8me");

  CZKTagReader reader;
  test::WriteFile(dir.File("notes.txt"), "text");
  EXPECT_FALSE(reader.Open(dir.File("notes.txt"), true));  // not a type we play
  EXPECT_FALSE(reader.Open(dir.File("absent.mp3"), true));
  EXPECT_TRUE(reader.Open(dir.File("song.mp3"), true));
  EXPECT_FALSE(reader.Open(dir.File("song.mp3"), true));  // already open
  std::string text;
  EXPECT_FALSE(reader.GetField(3, text));
  reader.Close();
  EXPECT_FALSE(reader.GetField(kTagTitle, text));
}

TEST(TagMediaTypeTest, ExtensionsAndCdTracks) {
  const struct {
    const char* path;
    int type;
  } cases[] = {{"/a/b.MP3", kMediaMpeg}, {"x.Ogg", kMediaMpeg},  {"x.cda$", kMediaCdTrack},
               {"x.txt", kMediaUnknown}, {"mp3", kMediaUnknown}, {"/dir.mp3/file", kMediaUnknown}};
  for (const auto& c : cases) EXPECT_EQ(MediaTypeOfPath(c.path), c.type) << c.path;

  // CD tracks have no file: no tags wanted marks them; a CD name loses its
  // eight-character mark.
  CZKTagReader reader;
  ASSERT_TRUE(reader.Open("/cd/Track01.cda$", false));
  EXPECT_EQ(reader.MediaType(), kMediaNoFile);
  reader.Close();
  ASSERT_TRUE(reader.Open("/cd/DISC0001Intro.cda$", true));
  std::string title;
  reader.GetField(kTagTitle, title);
  EXPECT_EQ(title, "Intro");
}

}  // namespace
}  // namespace vantaro
