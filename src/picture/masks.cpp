#include "picture/masks.h"

#include "binding/diagnostics.h"
#include "binding/wrappers.h"

uint8_t* MultiplyTable = nullptr;
uint8_t* UnmultiplyTable = nullptr;
uint32_t InitedMultiplyTable = 0;

namespace {

constexpr int kTableSize = 256 * 256;

// Static storage, so that making the tables cannot fail.
uint8_t MultiplyStorage[kTableSize];
uint8_t UnmultiplyStorage[kTableSize];

// The host's Picture.Mask method as REALLoadObjectMethod hands it out.
using MaskMethod = REALpictureStruct* (*)(REALobjectStruct* self, bool create);

// a * j / 255 rounded to nearest, halves up: the same bytes as
// (float)j * ((float)a / 255.0f) + 0.5f cut toward zero, for every a and j.
inline uint8_t Premultiply(uint32_t a, uint32_t j) { return static_cast<uint8_t>((2 * a * j + 255) / 510); }

void FillTables() {
  for (int i = 0; i < kTableSize; ++i) UnmultiplyTable[i] = static_cast<uint8_t>(i & 0xFF);
  // j rises, so the last j that lands on v, the largest, is the one kept.
  for (uint32_t a = 0; a < 256; ++a) {
    for (uint32_t j = 0; j < 256; ++j) {
      uint8_t v = Premultiply(a, j);
      MultiplyTable[a * 256 + j] = v;
      UnmultiplyTable[a * 256 + v] = static_cast<uint8_t>(j);
    }
  }
}

// Like a destructor, the release lets no exception out: one ends the process.
void GiveBack(REALpictureStruct* mask) noexcept { REALUnlockObject(mask); }

int64_t IntegerProperty(REALpictureStruct* pic, const char* name) {
  int64_t value = 0;
  if (!REALGetPropValueInteger(pic, name, &value)) return 0;
  return value;
}

}  // namespace

void InitMultiplyTable() {
  if (InitedMultiplyTable != 0) return;
  InitedMultiplyTable = 1;
  UnmultiplyTable = UnmultiplyStorage;
  MultiplyTable = MultiplyStorage;
  InitedMultiplyTable = 2;
  FillTables();
}

REALpictureStruct* MyREALGetPictureMask(REALpictureStruct* pic, bool /*create*/) {
  TracePointer("MyREALGetPictureMask", pic);
  if (rbversion_rbversion > 2020.0) {
    auto mask = reinterpret_cast<MaskMethod>(REALLoadObjectMethod(pic, "Mask(create As Boolean = True) As Picture"));
    if (mask != nullptr) return mask(pic, false);
    TraceWord("No Mask function!?");
  }
  return REALGetPictureMask(pic, false);
}

bool PictureHasMask(REALpictureStruct* pic) {
  if (pic == nullptr) return false;
  REALpictureStruct* mask = MyREALGetPictureMask(pic, false);
  if (mask == nullptr) return false;
  GiveBack(mask);
  return true;
}

int64_t GetPictureWidth(REALpictureStruct* pic) { return IntegerProperty(pic, "Width"); }

int64_t GetPictureHeight(REALpictureStruct* pic) { return IntegerProperty(pic, "Height"); }
