// The premultiplied-alpha tables and the mask and size helpers.
#include "picture/masks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

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

TEST_F(MultiplyTables, TellingEntries) {
  struct Entry {
    bool multiply;
    int a, c, value;
  };
  const Entry entries[] = {{true, 0, 255, 0},      {true, 1, 127, 0},      {true, 1, 128, 1},     {true, 128, 128, 64},
                           {true, 128, 255, 128},  {true, 255, 100, 100},  {false, 0, 0, 255},    {false, 0, 1, 1},
                           {false, 1, 0, 127},     {false, 1, 1, 255},     {false, 1, 2, 2},      {false, 2, 1, 191},
                           {false, 128, 128, 255}, {false, 128, 129, 129}, {false, 255, 100, 100}};
  for (const Entry& e : entries) {
    EXPECT_EQ(e.multiply ? Multiplied(e.a, e.c) : Unmultiplied(e.a, e.c), e.value)
        << (e.multiply ? "multiply " : "unmultiply ") << e.a << "," << e.c;
  }
}

// Rounded a * c / 255 with halves up, both as the closed integer formula and
// as the float arithmetic the table stands for.
TEST_F(MultiplyTables, MultiplyIsRoundedProductEverywhere) {
  int wrong = 0;
  for (int a = 0; a < 256; ++a) {
    const float f = static_cast<float>(a) / 255.0f;
    for (int c = 0; c < 256; ++c) {
      const int viaFloat = static_cast<int>(static_cast<float>(c) * f + 0.5f);
      wrong += Multiplied(a, c) != (2 * a * c + 255) / 510 || Multiplied(a, c) != viaFloat;
    }
  }
  EXPECT_EQ(wrong, 0);
}

// Unmultiply gives the largest straight value with that premultiplied value,
// and the value itself where there is none.
TEST_F(MultiplyTables, UnmultiplyIsLargestPreimage) {
  int wrong = 0;
  for (int a = 0; a < 256; ++a) {
    int largest[256];
    std::fill(largest, largest + 256, -1);
    for (int j = 0; j < 256; ++j) largest[(2 * a * j + 255) / 510] = j;
    for (int v = 0; v < 256; ++v) wrong += Unmultiplied(a, v) != (largest[v] < 0 ? v : largest[v]);
  }
  EXPECT_EQ(wrong, 0);
}

TEST_F(MultiplyTables, SecondInitChangesNothing) {
  const uint8_t* multiply = MultiplyTable;
  const uint8_t* unmultiply = UnmultiplyTable;
  MultiplyTable[1] = 77;
  InitMultiplyTable();
  EXPECT_EQ(MultiplyTable, multiply);
  EXPECT_EQ(UnmultiplyTable, unmultiply);
  EXPECT_EQ(MultiplyTable[1], 77);
  EXPECT_EQ(InitedMultiplyTable, 2u);
  MultiplyTable[1] = 0;
}

class PictureMasks : public PluginTest {
 protected:
  // A picture, with a mask when asked.
  REALpictureStruct* Picture(bool withMask) {
    REALpictureStruct* picture = qvlhost::NewPicture(3, 2);
    if (withMask) {
      OwnedPicture mask(qvlhost::NewPicture(3, 2));
      qvlhost::SetPictureMask(picture, mask);
    }
    return picture;
  }

  bool Asked(const std::string& entry) {
    for (const std::string& name : qvlhost::JournalEntryNames()) {
      if (name.find(entry) != std::string::npos) return true;
    }
    return false;
  }
};

// Above 2020.0 the Mask method answers; at 2020.0 and with the method hidden,
// REALGetPictureMask does, and the missing method is traced.
TEST_F(PictureMasks, WayOfAskingFollowsHostVersion) {
  struct Case {
    double version;
    bool methodHidden;
    bool viaMethod;
    bool traced;
  } cases[] = {{2020.01, false, true, false}, {2020.0, false, false, false}, {2024.03, true, false, true}};
  DebuggingEnabled = true;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.version);
    rbversion_rbversion = c.version;
    qvlhost::CurrentConfig().hiddenMethods.clear();
    if (c.methodHidden) qvlhost::CurrentConfig().hiddenMethods.insert("Mask(create As Boolean = True) As Picture");
    OwnedPicture picture(Picture(true));
    qvlhost::ClearJournal();
    qvlhost::LogCapture log;
    OwnedPicture mask(MyREALGetPictureMask(picture, true));
    EXPECT_EQ(mask.get(), qvlhost::PictureMask(picture));
    EXPECT_EQ(Asked("Mask(create As Boolean"), c.viaMethod);
    EXPECT_EQ(Asked("REALGetPictureMask"), !c.viaMethod);
    const std::vector<std::string> lines = log.Lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "QVL Debug: No Mask function!?"), c.traced ? 1 : 0);
  }
  DebuggingEnabled = false;
}

TEST_F(PictureMasks, HasMaskNeverCreatesOne) {
  OwnedPicture plain(Picture(false));
  OwnedPicture masked(Picture(true));
  for (double version : {2019.0, 2024.03}) {
    rbversion_rbversion = version;
    EXPECT_FALSE(PictureHasMask(nullptr));
    EXPECT_FALSE(PictureHasMask(plain));
    EXPECT_EQ(qvlhost::PictureMask(plain), nullptr);
    EXPECT_TRUE(PictureHasMask(masked));
  }
}

TEST_F(PictureMasks, SizeProperties) {
  OwnedPicture picture(Picture(false));
  EXPECT_EQ(GetPictureWidth(picture), 3);
  EXPECT_EQ(GetPictureHeight(picture), 2);
  qvlhost::CurrentConfig().failingProperties = {"Width", "Height"};
  EXPECT_EQ(GetPictureWidth(picture), 0);
  EXPECT_EQ(GetPictureHeight(picture), 0);
}

}  // namespace
