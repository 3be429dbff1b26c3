#include "control/text_ids.h"

#include <cstring>
#include <string_view>
#include <unordered_map>

namespace vantaro {
namespace {

const char* const kTextIdNames[kTextIdEnd] = {
    "_txt_none",
#define VANTARO_TEXT_NAME(name) #name,
    VANTARO_LISTED_TEXT_IDS(VANTARO_TEXT_NAME) VANTARO_OWN_TEXT_IDS(VANTARO_TEXT_NAME)
#undef VANTARO_TEXT_NAME
};

}  // namespace

const char* TextIdName(int id) {
  return id >= 0 && id < kTextIdEnd ? kTextIdNames[id] : nullptr;
}

int FindTextId(const char* name) {
  static const std::unordered_map<std::string_view, int> byName = [] {
    std::unordered_map<std::string_view, int> map;
    for (int id = 0; id < kTextIdEnd; ++id) map.emplace(kTextIdNames[id], id);
    return map;
  }();
  if (!name) return -1;
  const auto found = byName.find(name);
  return found == byName.end() ? -1 : found->second;
}

}  // namespace vantaro
