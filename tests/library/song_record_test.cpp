#include "library/song_record.h"

#include <gtest/gtest.h>

namespace vantaro {
namespace {

TEST(SongKey, NameAndExtensionWithoutFolderOrFolding) {
  EXPECT_EQ(MakeSongKey("/music/house/Track One.mp3"), "Track One.mp3");
  EXPECT_EQ(MakeSongKey("/media/usb/other/Track One.mp3"), MakeSongKey("/music/Track One.mp3"))
      << "two folders, one record";
  EXPECT_NE(MakeSongKey("/music/track one.mp3"), MakeSongKey("/music/Track One.mp3"))
      << "names differing in case are two records";
  EXPECT_EQ(MakeSongKey("/music/Loud.MP3"), "Loud.MP3") << "the extension keeps its case";
  EXPECT_EQ(MakeSongKey("/music/archive.tar.gz"), "archive.tar.gz");
  EXPECT_EQ(MakeSongKey("/music/README"), "README.");
  EXPECT_EQ(MakeSongKey("/music/.hidden"), ".hidden.");
  EXPECT_EQ(MakeSongKey("plain.wav"), "plain.wav");
  EXPECT_EQ(MakeSongKey("/dev/sr0/Track07.cda$"), "Track07.cda$");
  EXPECT_EQ(MakeSongKey("/music.d/noext"), "noext.") << "a dot in a folder is not an extension";
}

TEST(SongRecord, FramesBecomeRoundedMilliseconds) {
  EXPECT_EQ(FramesToMilliseconds(44100), 1000);
  EXPECT_EQ(FramesToMilliseconds(0), 0);
  EXPECT_EQ(FramesToMilliseconds(22), 0);  // 0.4989 ms
  EXPECT_EQ(FramesToMilliseconds(23), 1);  // 0.5215 ms
  EXPECT_EQ(FramesToMilliseconds(1LL << 50), 2147483647) << "clamped, not wrapped";
}

}  // namespace
}  // namespace vantaro
