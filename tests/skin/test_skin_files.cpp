#include "tests/skin/test_skin_files.h"

#include <cstdint>
#include <fstream>
#include <vector>

namespace vantaro::test {
namespace {

void PutLittle(std::vector<unsigned char>& out, std::size_t at, std::uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out[at + i] = static_cast<unsigned char>(value >> (8 * i));
}

}  // namespace

void WriteBmp(const std::string& path, int width, int height, unsigned colour) {
  const std::size_t row = (static_cast<std::size_t>(width) * 3 + 3) & ~std::size_t{3};
  std::vector<unsigned char> file(54 + row * height);
  file[0] = 'B';
  file[1] = 'M';
  PutLittle(file, 2, static_cast<std::uint32_t>(file.size()), 4);
  PutLittle(file, 10, 54, 4);
  PutLittle(file, 14, 40, 4);
  PutLittle(file, 18, static_cast<std::uint32_t>(width), 4);
  PutLittle(file, 22, static_cast<std::uint32_t>(height), 4);
  PutLittle(file, 26, 1, 2);
  PutLittle(file, 28, 24, 2);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const unsigned pixel = ((x / 8 + y / 8) % 2) ? colour : 0xFFFFFF;
      unsigned char* at = &file[54 + y * row + x * 3];
      at[0] = pixel & 0xFF;
      at[1] = (pixel >> 8) & 0xFF;
      at[2] = (pixel >> 16) & 0xFF;
    }
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
}

std::string WriteSkin(const std::string& folder, const std::string& name, const std::string& xml,
                      int width, int height, bool withPicture) {
  const std::string path = folder + "/" + name + ".xml";
  std::ofstream(path) << xml;
  if (withPicture) WriteBmp(folder + "/" + name + ".bmp", width, height, 0x203040);
  return path;
}

std::string SkinXml(const std::string& controls, int targetversion, const std::string& skinname,
                    int screenwidth, int screenheight) {
  std::string root = "<skin skinname=\"" + skinname + "\" screenwidth=\"" +
                     std::to_string(screenwidth) + "\" screenheight=\"" +
                     std::to_string(screenheight) + "\"";
  if (targetversion >= 0) root += " targetversion=\"" + std::to_string(targetversion) + "\"";
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + root +
         ">\n<window action=\"main\" width=\"600\" height=\"400\" upx=\"0\" upy=\"0\" posx=\"0\" "
         "posy=\"0\">\n" +
         controls + "</window>\n</skin>\n";
}

}  // namespace vantaro::test
