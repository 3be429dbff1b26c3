#include "library/song_record.h"

#include <cmath>
#include <limits>

namespace vantaro {

void InitSongRecord(TZKSongRecord& record) {
  record = TZKSongRecord{};
}

std::string MakeSongKey(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  const std::string_view file = slash == std::string_view::npos ? path : path.substr(slash + 1);
  const std::size_t dot = file.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return std::string(file) + ".";
  return std::string(file);
}

std::int32_t FramesToMilliseconds(std::int64_t frames) {
  const double milliseconds = std::round(static_cast<double>(frames) / 44.1);
  if (milliseconds >= std::numeric_limits<std::int32_t>::max())
    return std::numeric_limits<std::int32_t>::max();
  if (milliseconds <= std::numeric_limits<std::int32_t>::min())
    return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(milliseconds);
}

}  // namespace vantaro
