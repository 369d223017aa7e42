// The premultiplied-alpha tables and the mask and size helpers.
#include "picture/masks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;

int Multiplied(int a, int c) { return MultiplyTable[a * 256 + c]; }
int Unmultiplied(int a, int v) { return UnmultiplyTable[a * 256 + v]; }

class MultiplyTables : public PluginTest {
 protected:
  void SetUp() override {
    PluginTest::SetUp();
    InitMultiplyTable();
    ASSERT_EQ(InitedMultiplyTable, 2u);
  }
};

// Multiply is a * c / 255 rounded with halves up, as the closed formula and
// as the float arithmetic it stands for; unmultiply is the largest straight
// value that premultiplies to v, and v itself where none does.
TEST_F(MultiplyTables, EveryEntry) {
  int wrong = 0;
  for (int a = 0; a < 256; ++a) {
    const float f = static_cast<float>(a) / 255.0f;
    int largest[256];
    std::fill(largest, largest + 256, -1);
    for (int j = 0; j < 256; ++j) {
      const int closed = (2 * a * j + 255) / 510;
      wrong += Multiplied(a, j) != closed || closed != static_cast<int>(static_cast<float>(j) * f + 0.5f);
      largest[closed] = j;
    }
    for (int v = 0; v < 256; ++v) wrong += Unmultiplied(a, v) != (largest[v] < 0 ? v : largest[v]);
  }
  EXPECT_EQ(wrong, 0);
}

TEST_F(MultiplyTables, SecondInitChangesNothing) {
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

TEST_F(PictureMasks, HasMaskNeverCreatesOne) {
  OwnedPicture plain(qvlhost::NewPicture(3, 2)), masked(qvlhost::NewPicture(3, 2)), mask(qvlhost::NewPicture(3, 2));
  qvlhost::SetPictureMask(masked, mask);
  for (double version : {2019.0, 2024.03}) {
    rbversion_rbversion = version;
    EXPECT_FALSE(PictureHasMask(nullptr));
    EXPECT_FALSE(PictureHasMask(plain));
    EXPECT_EQ(qvlhost::PictureMask(plain), nullptr);
    EXPECT_TRUE(PictureHasMask(masked));
  }
}

TEST_F(PictureMasks, SizeProperties) {
  OwnedPicture picture(qvlhost::NewPicture(3, 2));
  EXPECT_EQ(GetPictureWidth(picture), 3);
  EXPECT_EQ(GetPictureHeight(picture), 2);
  qvlhost::CurrentConfig().failingProperties = {"Width", "Height"};
  EXPECT_EQ(GetPictureWidth(picture), 0);
  EXPECT_EQ(GetPictureHeight(picture), 0);
}

}  // namespace
