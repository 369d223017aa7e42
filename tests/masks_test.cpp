// The premultiplied-alpha tables and the mask and size helpers.
#include "picture/masks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;

using MultiplyTables = PluginTest;

// Multiply is a * c / 255 rounded with halves up; unmultiply is the largest
// straight value that premultiplies to v, and v itself where none does. A
// second init changes nothing.
TEST_F(MultiplyTables, EveryEntryMadeOnce) {
  InitMultiplyTable();
  ASSERT_EQ(InitedMultiplyTable, 2u);
  int wrong = 0;
  for (int a = 0; a < 256; ++a) {
    int largest[256];
    std::fill(largest, largest + 256, -1);
    for (int j = 0; j < 256; ++j) {
      const int closed = (2 * a * j + 255) / 510;
      wrong += MultiplyTable[a * 256 + j] != closed;
      largest[closed] = j;
    }
    for (int v = 0; v < 256; ++v) wrong += UnmultiplyTable[a * 256 + v] != (largest[v] < 0 ? v : largest[v]);
  }
  EXPECT_EQ(wrong, 0);
  const uint8_t* multiply = MultiplyTable;
  MultiplyTable[1] = 77;
  InitMultiplyTable();
  EXPECT_EQ(MultiplyTable, multiply);
  EXPECT_EQ(MultiplyTable[1], 77);
  MultiplyTable[1] = 0;
}

using PictureMasks = PluginTest;

// Above 2020.0 the Mask method answers; at 2020.0, and when the method is
// missing (which is traced), REALGetPictureMask does.
TEST_F(PictureMasks, MaskAskedByHostVersion) {
  // version, the Mask method hidden, asked through it
  const std::tuple<double, bool, bool> cases[] = {
      {2020.01, false, true}, {2020.0, false, false}, {2024.03, true, false}};
  for (auto [version, methodHidden, viaMethod] : cases) {
    SCOPED_TRACE(version);
    rbversion_rbversion = version;
    qvlhost::CurrentConfig().hiddenMethods.clear();
    if (methodHidden) qvlhost::CurrentConfig().hiddenMethods.insert("Mask(create As Boolean = True) As Picture");
    OwnedPicture picture(qvlhost::NewPicture(3, 2)), mask(qvlhost::NewPicture(3, 2)), got;
    qvlhost::SetPictureMask(picture, mask);
    qvlhost::ClearJournal();
    const std::vector<std::string> lines =
        TracedLines([&] { got = OwnedPicture(MyREALGetPictureMask(picture, true)); });
    EXPECT_EQ(got.get(), mask.get());
    EXPECT_EQ(JournalCount("Mask(create As Boolean = True) As Picture"), viaMethod);
    EXPECT_EQ(JournalCount("REALGetPictureMask"), !viaMethod);
    EXPECT_EQ(CountOf(lines, "QVL Debug: No Mask function!?"), methodHidden);
  }
}

// PictureHasMask never creates a mask; a size that can't be read is 0.
TEST_F(PictureMasks, HasMaskAndSize) {
  OwnedPicture plain(qvlhost::NewPicture(3, 2)), masked(qvlhost::NewPicture(3, 2)), mask(qvlhost::NewPicture(3, 2));
  qvlhost::SetPictureMask(masked, mask);
  for (double version : {2019.0, 2024.03}) {
    rbversion_rbversion = version;
    EXPECT_FALSE(PictureHasMask(nullptr));
    EXPECT_FALSE(PictureHasMask(plain));
    EXPECT_EQ(qvlhost::PictureMask(plain), nullptr);
    EXPECT_TRUE(PictureHasMask(masked));
  }
  EXPECT_EQ(GetPictureWidth(plain), 3);
  EXPECT_EQ(GetPictureHeight(plain), 2);
  qvlhost::CurrentConfig().failingProperties = {"Width", "Height"};
  EXPECT_EQ(GetPictureWidth(plain), 0);
  EXPECT_EQ(GetPictureHeight(plain), 0);
}

}  // namespace
