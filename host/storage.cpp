// The storage forms of host pictures and their names.
#include <cstdlib>

#include "host_internal.h"

namespace qvlhost {

Storage Storage::CG(uint32_t alphaInfo, uint32_t bitsPerPixel) {
  Storage storage;
  storage.kind = CoreGraphics;
  storage.alphaInfo = alphaInfo;
  storage.bitsPerPixel = bitsPerPixel;
  return storage;
}

Storage Storage::GD() {
  Storage storage;
  storage.kind = GDTrueColor;
  return storage;
}

Storage Storage::Palette() {
  Storage storage;
  storage.kind = GDPalette;
  return storage;
}

std::vector<Storage> Storage::SevenLayouts() {
  std::vector<Storage> layouts;
  for (uint32_t alphaInfo = 1; alphaInfo <= 6; ++alphaInfo) layouts.push_back(CG(alphaInfo));
  layouts.push_back(GD());
  return layouts;
}

std::string Storage::Name() const {
  if (kind == GDTrueColor) return "gd";
  if (kind == GDPalette) return "palette";
  std::string name = "cg" + std::to_string(alphaInfo);
  return bitsPerPixel == 32 ? name : name + "/" + std::to_string(bitsPerPixel);
}

bool Storage::Parse(const std::string& name, Storage* storage) {
  if (name == "gd") return *storage = GD(), true;
  if (name == "palette") return *storage = Palette(), true;
  if (name.size() < 3 || name.compare(0, 2, "cg") != 0 || name[2] < '0' || name[2] > '7') return false;
  uint32_t bitsPerPixel = 32;
  if (name.size() > 3) {
    if (name.substr(3) == "/24") {
      bitsPerPixel = 24;
    } else if (name.substr(3) != "/32") {
      return false;
    }
  }
  *storage = CG(static_cast<uint32_t>(name[2] - '0'), bitsPerPixel);
  return true;
}

bool Storage::premultiplied() const {
  return kind == CoreGraphics && bitsPerPixel == 32 &&
         (alphaInfo == kQVLAlphaPremultipliedLast || alphaInfo == kQVLAlphaPremultipliedFirst);
}

}  // namespace qvlhost
