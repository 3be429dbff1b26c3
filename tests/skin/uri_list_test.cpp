// The file names of a text/uri-list drop: what file managers send, what
// they may send wrongly, and what must never become a file name.
#include "skin/uri_list.h"

#include <gtest/gtest.h>

namespace vantaro {
namespace {

TEST(UriList, OneUriGivesItsLocalPathOrNothing) {
  const struct {
    const char* uri;
    const char* path;  // "" for none
  } cases[] = {
      {"file:///music/a.mp3", "/music/a.mp3"},
      {"file:///music/My%20Song.mp3", "/music/My Song.mp3"},
      {"file:///m/%C3%9Cber%20%E2%99%AB.flac",
       "/m/\xC3\x9C"
       "ber \xE2\x99\xAB.flac"},
      {"file:///m/100%2520.wav", "/m/100%20.wav"},         // an escaped '%' stays one
      {"file:///m/%e2%99%ab.wav", "/m/\xE2\x99\xAB.wav"},  // lower-case hex
      {"FILE:///m/a.wav", "/m/a.wav"},
      {"file://localhost/m/a.wav", "/m/a.wav"},
      {"file:/m/a.wav", "/m/a.wav"},  // the short form some programs write
      {"file:///m/a.wav#frag", "/m/a.wav"},
      {"file://otherhost/m/a.wav", ""},
      {"file://localhostx/m/a.wav", ""},
      {"http://example.org/a.mp3", ""},
      {"file:///m/bad%2.wav", ""},  // broken escape
      {"file:///m/bad%zz.wav", ""},
      {"file:///m/cut%", ""},
      {"file:///m/nul%00.wav", ""},  // would cut the name short
      {"file://", ""},
      {"file:relative.wav", ""},
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(LocalPathOfUri(c.uri), c.path) << c.uri;
}

TEST(UriList, AListKeepsOrderAndSkipsCommentsBlanksAndForeignLines) {
  const std::string list =
      "# dragged from the file manager\r\n"
      "file:///a/one.wav\r\n"
      "\r\n"
      "http://example.org/two.mp3\r\n"
      "file:///a/three%20.wav\n"  // bare LF
      "  file:///a/four.wav  \r\n"
      "file:///a/five.wav";  // no line end, and a NUL some sources add
  const std::vector<std::string> expected = {"/a/one.wav", "/a/three .wav", "/a/four.wav",
                                             "/a/five.wav"};
  EXPECT_EQ(LocalFilesOfUriList(list), expected);
  EXPECT_EQ(LocalFilesOfUriList(std::string("file:///a/x.wav\r\n\0", 18)),
            std::vector<std::string>{"/a/x.wav"});
  EXPECT_TRUE(LocalFilesOfUriList("").empty());
  EXPECT_TRUE(LocalFilesOfUriList("# only a comment\r\n").empty());
}

}  // namespace
}  // namespace vantaro
