#include "library/tag_reader.h"

#include <sys/stat.h>
#include <taglib/aifffile.h>
#include <taglib/apetag.h>
#include <taglib/commentsframe.h>
#include <taglib/fileref.h>
#include <taglib/id3v1genres.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/tpropertymap.h>
#include <taglib/wavfile.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <utility>
#include <vector>

namespace vantaro {
namespace {

struct ExtensionType {
  const char* extension;
  int type;
};

constexpr ExtensionType kExtensionTypes[] = {
    {"mp3", kMediaMpeg},     {"cdg", kMediaMpeg},      {"ogg", kMediaMpeg},
    {"wma", kMediaWma},      {"aif", kMediaAiff},      {"aiff", kMediaAiff},
    {"wav", kMediaWav},      {"au", kMediaAu},         {"m4a", kMediaMp4},
    {"m4p", kMediaMp4},      {"mp4", kMediaMp4},       {"flac", kMediaFlac},
    {"avi", kMediaVideo},    {"wmv", kMediaVideo},     {"mov", kMediaVideo},
    {"asf", kMediaVideo},    {"mkv", kMediaVideo},     {"mpg", kMediaVideo},
    {"mpeg", kMediaVideo},   {"zip", kMediaVideo},     {"mpe", kMediaVideo},
    {"m3e", kMediaVideo},    {"cda", kMediaCdTrack},   {"cda$", kMediaCdTrack},
    {"aif$", kMediaCdTrack}, {"aiff$", kMediaCdTrack},
};

// Formats whose tags TagLib reads (Opus and the rest of Ogg come in by
// content under "ogg").
bool HasTags(int type) {
  return type == kMediaMpeg || type == kMediaWma || type == kMediaAiff || type == kMediaWav ||
         type == kMediaMp4 || type == kMediaFlac || type == kMediaVideo;
}

bool EndsWithDollar(std::string_view path) {
  return !path.empty() && path.back() == '$';
}

bool FileExists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

std::string Utf8(const TagLib::String& text) {
  return text.to8Bit(true);
}

std::string LowerAscii(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Comments that other programs keep for themselves (loudness, disc ids).
bool IsForeignComment(const std::string& description) {
  const std::string lower = LowerAscii(description);
  return lower.find("itun") != std::string::npos || lower.find("cddb") != std::string::npos;
}

// The first COMM frame whose description is not another program's.
bool CommentFromId3v2(const TagLib::ID3v2::Tag* tag, std::string& comment) {
  if (!tag) return false;
  for (const TagLib::ID3v2::Frame* frame : tag->frameList("COMM")) {
    const auto* comm = dynamic_cast<const TagLib::ID3v2::CommentsFrame*>(frame);
    if (!comm || IsForeignComment(Utf8(comm->description()))) continue;
    comment = Utf8(comm->text());
    return true;
  }
  return false;
}

// The same rule over the unified properties ("COMMENT" or "COMMENT:<desc>").
bool CommentFromProperties(const TagLib::PropertyMap& properties, std::string& comment) {
  for (const auto& [key, values] : properties) {
    const std::string name = Utf8(key);
    if (name != "COMMENT" && name.rfind("COMMENT:", 0) != 0) continue;
    if (values.isEmpty() || IsForeignComment(name.substr(std::min<size_t>(name.size(), 8))))
      continue;
    comment = Utf8(values.front());
    return true;
  }
  return false;
}

// Tags of one file, in the order a field is looked for.
std::vector<TagLib::Tag*> TagsOf(TagLib::File* file) {
  if (auto* wav = dynamic_cast<TagLib::RIFF::WAV::File*>(file)) {
    std::vector<TagLib::Tag*> tags;
    if (wav->hasID3v2Tag()) tags.push_back(wav->ID3v2Tag());
    if (wav->hasInfoTag()) tags.push_back(wav->InfoTag());
    return tags;
  }
  if (auto* mpeg = dynamic_cast<TagLib::MPEG::File*>(file)) {
    std::vector<TagLib::Tag*> tags;
    if (mpeg->hasID3v2Tag()) tags.push_back(mpeg->ID3v2Tag());
    if (mpeg->hasAPETag()) tags.push_back(mpeg->APETag());
    if (mpeg->hasID3v1Tag()) tags.push_back(mpeg->ID3v1Tag());
    return tags;
  }
  if (file->tag()) return {file->tag()};
  return {};
}

TagLib::ID3v2::Tag* Id3v2Of(TagLib::File* file) {
  if (auto* mpeg = dynamic_cast<TagLib::MPEG::File*>(file))
    return mpeg->hasID3v2Tag() ? mpeg->ID3v2Tag() : nullptr;
  if (auto* wav = dynamic_cast<TagLib::RIFF::WAV::File*>(file))
    return wav->hasID3v2Tag() ? wav->ID3v2Tag() : nullptr;
  if (auto* aiff = dynamic_cast<TagLib::RIFF::AIFF::File*>(file))
    return aiff->hasID3v2Tag() ? aiff->tag() : nullptr;
  return nullptr;
}

template <typename Get>
std::string FirstText(const std::vector<TagLib::Tag*>& tags, Get get) {
  for (TagLib::Tag* tag : tags) {
    std::string text = Utf8(get(tag));
    if (!text.empty()) return text;
  }
  return {};
}

template <typename Get>
unsigned FirstNumber(const std::vector<TagLib::Tag*>& tags, Get get) {
  for (TagLib::Tag* tag : tags)
    if (const unsigned value = get(tag)) return value;
  return 0;
}

std::string FolderlessStem(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const std::size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return name;
}

}  // namespace

std::string LowerExtension(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  const std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return {};
  return LowerAscii(std::string(name.substr(dot + 1)));
}

int MediaTypeOfPath(std::string_view path) {
  const std::string extension = LowerExtension(path);
  for (const ExtensionType& entry : kExtensionTypes)
    if (extension == entry.extension) return entry.type;
  return kMediaUnknown;
}

std::string CutCommentMarks(std::string text) {
  for (const char* mark : {", AG# ", "CRC : "}) {
    std::size_t at;
    while ((at = text.find(mark)) != std::string::npos) text.erase(at, 14);
  }
  return text;
}

int GenreCodeOfText(std::string_view genre) {
  if (genre.empty()) return -1;
  const std::string wanted = LowerAscii(std::string(genre));
  for (const TagLib::String& name : TagLib::ID3v1::genreList())
    if (LowerAscii(Utf8(name)) == wanted) return TagLib::ID3v1::genreIndex(name);
  return -1;
}

bool CZKTagReader::Open(const std::string& path, bool wantTags) {
  if (ready_) return false;
  if (!EndsWithDollar(path) && !FileExists(path)) return false;
  mediaType_ = MediaTypeOfPath(path);
  if (mediaType_ == kMediaUnknown) return false;
  path_ = path;
  title_.clear(), artist_.clear(), genre_.clear(), key_.clear(), comment_.clear(), album_.clear();
  track_ = year_ = 0;
  durationMs_ = 0;
  nameParsed_ = false;
  if (!wantTags) {
    if (EndsWithDollar(path)) mediaType_ = kMediaNoFile;
    ready_ = true;
    return true;
  }
  if (HasTags(mediaType_) && !EndsWithDollar(path)) {
    std::string tagPath = path;
    // A karaoke graphics file shows the tags of its sound file.
    if (LowerExtension(path) == "cdg") tagPath.replace(tagPath.size() - 3, 3, "mp3");
    ReadTags(tagPath);
  }
  nameParsed_ = title_.empty() && artist_.empty();
  if (nameParsed_) TitleFromName();
  ready_ = true;
  return true;
}

void CZKTagReader::ReadTags(const std::string& tagPath) {
  // The file type comes from the extension, then from the content, so a
  // file whose name lies is still read (or refused) by what it holds.
  TagLib::FileRef ref(tagPath.c_str(), true, TagLib::AudioProperties::Fast);
  TagLib::File* file = ref.file();
  if (!file || !file->isValid()) return;
  const std::vector<TagLib::Tag*> tags = TagsOf(file);
  title_ = FirstText(tags, [](TagLib::Tag* t) { return t->title(); });
  artist_ = FirstText(tags, [](TagLib::Tag* t) { return t->artist(); });
  genre_ = FirstText(tags, [](TagLib::Tag* t) { return t->genre(); });
  album_ = FirstText(tags, [](TagLib::Tag* t) { return t->album(); });
  track_ = FirstNumber(tags, [](TagLib::Tag* t) { return t->track(); });
  year_ = FirstNumber(tags, [](TagLib::Tag* t) { return t->year(); });
  const TagLib::PropertyMap properties = file->properties();
  // ID3v2's TKEY and every other format's INITIALKEY meet here.
  const auto key = properties.find("INITIALKEY");
  if (key != properties.end() && !key->second.isEmpty()) key_ = Utf8(key->second.front());
  TagLib::ID3v2::Tag* id3v2 = Id3v2Of(file);
  if (!CommentFromId3v2(id3v2, comment_) && !CommentFromProperties(properties, comment_)) {
    // The generic comment of the other tags: the ID3v2 one would be the
    // skipped frame again.
    std::vector<TagLib::Tag*> others;
    for (TagLib::Tag* tag : tags)
      if (tag != id3v2) others.push_back(tag);
    comment_ = FirstText(others, [](TagLib::Tag* t) { return t->comment(); });
  }
  comment_ = CutCommentMarks(comment_);
  if (const TagLib::AudioProperties* audio = file->audioProperties())
    durationMs_ = audio->lengthInMilliseconds();
}

void SplitFileName(const std::string& path, std::string& artist, std::string& title) {
  const std::string name = FolderlessStem(path);
  const std::size_t dash = name.find(" - ");
  artist = dash == std::string::npos ? std::string() : name.substr(0, dash);
  title = dash == std::string::npos ? name : name.substr(dash + 3);
}

void CZKTagReader::TitleFromName() {
  SplitFileName(path_, artist_, title_);
  // CD track names begin with a fixed eight-character mark.
  if (artist_.empty() && mediaType_ == kMediaCdTrack)
    title_ = title_.size() > 8 ? title_.substr(8) : std::string();
}

bool CZKTagReader::GetField(int field, std::string& text) const {
  if (!ready_) return false;
  switch (field) {
    case kTagTitle:
      text = title_;
      return true;
    case kTagArtist:
      text = artist_;
      return true;
    case kTagGenre:
      text = genre_;
      return true;
    case kTagKey:
      text = key_;
      return true;
    case kTagComment:
      text = comment_;
      return true;
    case kTagAlbum:
      text = album_;
      return true;
    case kTagTrack:
      text = track_ > 0 ? std::to_string(track_) : std::string();
      return true;
    case kTagYear:
      text = year_ > 0 ? std::to_string(year_) : std::string();
      return true;
    default:
      return false;
  }
}

void CZKTagReader::Close() {
  ready_ = false;
}

}  // namespace vantaro
