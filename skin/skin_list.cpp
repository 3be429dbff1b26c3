#include "skin/skin_list.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "base/xml_reader.h"
#include "skin/skin_file.h"

namespace vantaro {
namespace {

namespace fs = std::filesystem;

// The root of the skin at `path`, if it is a listed skin.
bool ReadListEntry(const std::string& path, SkinListEntry* entry) {
  std::string text;
  if (ReadXmlFile(path, XmlFileKind::kSkin, text) != XmlFileStatus::kRead) return false;
  XmlReader reader(text, path);
  if (!reader.Next() || !reader.IsRoot() || reader.Name() != "skin") return false;
  const std::string* name = reader.Attribute("skinname");
  if (!name) return false;
  const auto number = [&](const char* attribute, int fallback) {
    const std::string* value = reader.Attribute(attribute);
    const int v = value ? std::atoi(value->c_str()) : 0;
    return v < 10 ? fallback : v;
  };
  entry->path = path;
  entry->skinname = *name;
  entry->screenwidth = number("screenwidth", 800);
  entry->screenheight = number("screenheight", 600);
  entry->displayName = *name + " (" + std::to_string(entry->screenwidth) + "x" +
                       std::to_string(entry->screenheight) + ")";
  return true;
}

long long Area(const SkinListEntry* entry) {
  return static_cast<long long>(entry->screenwidth) * entry->screenheight;
}

}  // namespace

void ScanSkins(const std::string& folder, std::vector<SkinListEntry>* list) {
  std::string base = folder;
  while (base.size() > 1 && (base.back() == '/' || base.back() == '\\')) base.pop_back();
  std::error_code error;
  std::vector<std::string> files;
  for (fs::directory_iterator it(base, error), end; !error && it != end; it.increment(error)) {
    const fs::path& path = it->path();
    if (path.extension() == ".xml" && it->is_regular_file(error)) files.push_back(path.string());
  }
  std::sort(files.begin(), files.end());
  for (const std::string& file : files) {
    if (list->size() >= static_cast<std::size_t>(kMaxListedSkins)) return;
    SkinListEntry entry;
    if (!SkinPicturePath(file).empty() && ReadListEntry(file, &entry))
      list->push_back(std::move(entry));
  }
}

std::vector<const SkinListEntry*> DefaultSkinsForScreen(const std::vector<SkinListEntry>& list,
                                                        int screenWidth, int screenHeight) {
  std::vector<const SkinListEntry*> fitting, tooLarge;
  for (const SkinListEntry& entry : list) {
    if (entry.skinname != kDefaultSkinName) continue;
    const bool fits = entry.screenwidth <= screenWidth && entry.screenheight <= screenHeight;
    (fits ? fitting : tooLarge).push_back(&entry);
  }
  const auto larger = [](const SkinListEntry* a, const SkinListEntry* b) {
    return Area(a) > Area(b);
  };
  std::stable_sort(fitting.begin(), fitting.end(), larger);
  std::stable_sort(tooLarge.begin(), tooLarge.end(),
                   [&](const SkinListEntry* a, const SkinListEntry* b) { return larger(b, a); });
  fitting.insert(fitting.end(), tooLarge.begin(), tooLarge.end());
  return fitting;
}

std::vector<std::string> StartupSkinOrder(const std::vector<SkinListEntry>& list,
                                          const std::string& skinf1, int screenWidth,
                                          int screenHeight) {
  std::vector<std::string> order;
  const auto add = [&order](const std::string& path) {
    if (std::find(order.begin(), order.end(), path) == order.end()) order.push_back(path);
  };
  std::error_code error;
  if (!skinf1.empty() && fs::is_regular_file(skinf1, error)) add(skinf1);
  for (const SkinListEntry* entry : DefaultSkinsForScreen(list, screenWidth, screenHeight))
    add(entry->path);
  for (const SkinListEntry& entry : list) add(entry.path);
  return order;
}

}  // namespace vantaro
