#include "skin/attribute_list.h"

#include <strings.h>

#include <charconv>
#include <cstdlib>

namespace vantaro {

int ZKAttributeList::Find(const std::string& name) const {
  for (int i = 0; i < count_; ++i)
    if (entries_[i].first == name) return i;
  return -1;
}

void ZKAttributeList::SetText(const std::string& name, const std::string& value) {
  const int at = Find(name);
  if (at >= 0) {
    entries_[at].second = value;
  } else if (count_ < kMaxAttributes) {
    entries_[count_++] = {name, value};
  }
}

void ZKAttributeList::SetInt(const std::string& name, int value) {
  SetText(name, std::to_string(value));
}

void ZKAttributeList::SetBool(const std::string& name, bool value) {
  SetText(name, value ? "yes" : "no");
}

void ZKAttributeList::SetFloat(const std::string& name, float value) {
  char text[64];
  const auto end = std::to_chars(text, text + sizeof text - 1, value, std::chars_format::fixed, 5);
  *end.ptr = '\0';
  SetText(name, text);
}

std::string ZKAttributeList::GetText(const std::string& name) const {
  const int at = Find(name);
  return at >= 0 ? entries_[at].second : std::string();
}

int ZKAttributeList::GetInt(const std::string& name) const {
  const int at = Find(name);
  return at >= 0 ? std::atoi(entries_[at].second.c_str()) : -1;
}

float ZKAttributeList::GetFloat(const std::string& name) const {
  const int at = Find(name);
  if (at < 0) return -1.0f;
  // Not atof: the toolkit may have set a locale whose decimal mark is a comma.
  const std::string& text = entries_[at].second;
  const char* begin = text.c_str();
  while (*begin == ' ') ++begin;
  if (*begin == '+') ++begin;
  float value = 0.0f;
  std::from_chars(begin, text.c_str() + text.size(), value);
  return value;
}

bool ZKAttributeList::GetBool(const std::string& name) const {
  const int at = Find(name);
  if (at < 0) return false;
  const char* value = entries_[at].second.c_str();
  return strcasecmp(value, "YES") == 0 || strcasecmp(value, "TRUE") == 0;
}

}  // namespace vantaro
