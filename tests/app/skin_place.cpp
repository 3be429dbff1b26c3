#include "tests/app/skin_place.h"

#include "base/xml_reader.h"

namespace vantaro::test {

SkinPlace FindSkinPlace(const std::string& skinXml, const std::string& action, int deck) {
  std::string text;
  if (ReadXmlFile(skinXml, XmlFileKind::kSkin, text) != XmlFileStatus::kRead) return {};
  XmlReader reader(text, skinXml);
  const auto number = [&reader](const char* name, int fallback) {
    const std::string* value = reader.Attribute(name);
    return value ? std::stoi(*value) : fallback;
  };
  while (reader.Next()) {
    const std::string* name = reader.Attribute("action");
    if (!name || *name != action || number("deck", -1) != deck) continue;
    return {number("posx", -1), number("posy", -1), number("width", 0), number("height", 0)};
  }
  return {};
}

std::string DefaultSkin1280() {
  return VANTARO_BINARY_DIR "/skins/vantaro-1280x800.xml";
}

}  // namespace vantaro::test
