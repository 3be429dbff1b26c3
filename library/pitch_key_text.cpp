#include "library/pitch_key_text.h"

#include <cctype>

namespace vantaro {
namespace {

// Wheel number of each minor key by its root, pitch classes from C.
constexpr int kMinorWheel[12] = {5, 12, 7, 2, 9, 4, 11, 6, 1, 8, 3, 10};

int PitchClassOfLetter(char letter) {
  switch (std::toupper(static_cast<unsigned char>(letter))) {
    case 'C':
      return 0;
    case 'D':
      return 2;
    case 'E':
      return 4;
    case 'F':
      return 5;
    case 'G':
      return 7;
    case 'A':
      return 9;
    case 'B':
      return 11;
    default:
      return -1;
  }
}

int ParseWheelText(std::string_view text) {
  int number = 0;
  std::size_t i = 0;
  while (i < text.size() && i < 2 && std::isdigit(static_cast<unsigned char>(text[i])))
    number = number * 10 + (text[i++] - '0');
  if (i == 0 || i + 1 != text.size() || number < 1 || number > 12) return 0;
  const char letter = static_cast<char>(std::toupper(static_cast<unsigned char>(text[i])));
  if (letter == 'A') return number;
  if (letter == 'B') return number + 12;
  return 0;
}

}  // namespace

std::string PitchKeyText(int code) {
  if (code < 1 || code > 24) return {};
  return std::to_string(code > 12 ? code - 12 : code) + (code > 12 ? "B" : "A");
}

int ParsePitchKey(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  if (text.empty()) return 0;
  if (std::isdigit(static_cast<unsigned char>(text.front()))) return ParseWheelText(text);
  int root = PitchClassOfLetter(text.front());
  if (root < 0) return 0;
  std::string_view rest = text.substr(1);
  if (!rest.empty() && (rest.front() == '#' || rest.front() == 'b')) {
    root = (root + (rest.front() == '#' ? 1 : 11)) % 12;
    rest.remove_prefix(1);
  }
  std::string mode;
  for (char c : rest) mode += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  const bool minor = mode == "m" || mode == "min" || mode == "minor";
  if (!minor && !mode.empty() && mode != "maj" && mode != "major") return 0;
  // A major key sits with its relative minor, three semitones below.
  return minor ? kMinorWheel[root] : kMinorWheel[(root + 9) % 12] + 12;
}

}  // namespace vantaro
