// The reversed 7-bit alpha of gd pixel words; the row cursor and the release
// of an editor: GetRow's addresses and warnings, the shared limit of nine
// warning lines, clear and its order.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "filters/filter_frame.h"
#include "picture/picture_editor.h"
#include "support/plugin_test.h"

namespace {

using PixelRulesTest = PluginTest;
using Rgba4 = std::tuple<uint32_t, uint32_t, uint32_t, uint32_t>;

// Channels of a word read by the layout of an editor's pictureType (8: gd).
Rgba4 Read(uint32_t pictureType, uint32_t word) {
  Channels c{};
  WithLayout(pictureType, [&](auto layout) { c = ReadPixel<decltype(layout)::value>(word); });
  return {c.r, c.g, c.b, c.a};
}

// Bit 31 of a gd word is no part of the alpha field; every field round trips.
TEST_F(PixelRulesTest, GdAlphaIsTheReversedSevenBitField) {
  const std::pair<uint32_t, Rgba4> gd[] = {{0x7F102030, {0x10, 0x20, 0x30, 255}},
                                           {0x00102030, {0x10, 0x20, 0x30, 0}},
                                           {0xFF102030, {0x10, 0x20, 0x30, 255}},
                                           {0x01000000, {0, 0, 0, 3}},
                                           {0x40000000, {0, 0, 0, 128}}};
  for (const auto& [word, channels] : gd) EXPECT_EQ(channels, Read(8, word)) << std::hex << word;
  EXPECT_EQ(0x00112233u, (AlphaPixel<PixelLayout::GD>(0x11, 0x22, 0x33, 1)));
  for (uint32_t field = 0; field < 128; ++field) {
    const uint32_t word = (field << 24) | 0x00A0B0C0;
    const Channels c = ReadPixel<PixelLayout::GD>(word);
    EXPECT_EQ(word, (AlphaPixel<PixelLayout::GD>(c.r, c.g, c.b, c.a))) << field;
  }
}

using qvlhost::OwnedPicture;

using RowTest = LayoutTest;

TEST_P(RowTest, RowsAddressTheHostPixelsAndOutsideRowsAreReported) {
  OwnedPicture pic(qvlhost::NewPicture(5, 4));
  PictureReader reader(pic);
  ASSERT_EQ(pic.get(), reader.picture);
  EXPECT_EQ(reader.Pixelbase, reader.base);
  for (int64_t row = 0; row < 4; ++row) {
    reader.GetRow(row)[4] = 0x00010203u + uint32_t(row);
    EXPECT_EQ(row, reader.y);
    EXPECT_EQ(0x00010203u + uint32_t(row), qvlhost::PixelWord(pic, 4, row));
  }
  EXPECT_EQ(0, reader.warningCount);
  EXPECT_EQ(reader.Pixelbase, reader.GetRow(4));
  EXPECT_EQ(1, reader.warningCount);
  uint32_t* above = reader.GetRow(-1);
  EXPECT_EQ(-1, reader.y);
  const bool gd = reader.pictureType == 8;  // gd has no row table entry above row 0
  EXPECT_EQ(gd ? 3 : 2, reader.warningCount);
  EXPECT_EQ(gd ? uintptr_t{0} : reinterpret_cast<uintptr_t>(reader.Pixelbase) - uintptr_t(reader.BytesPerRow),
            reinterpret_cast<uintptr_t>(above));
}

TEST_P(RowTest, WarningsShareALimitOfNineLines) {
  OwnedPicture pic(qvlhost::NewPicture(3, 2));
  PictureReader reader(pic);
  // Tracing, rows asked above and below the picture, the lines written for each.
  const std::tuple<bool, int, int, int64_t, int64_t> cases[] = {
      {true, 0, 10, 0, 9}, {true, 5, 5, 5, 4}, {true, 12, 1, 9, 0}, {false, 4, 6, 0, 0}};
  for (auto [debugging, tooSmall, tooBig, smallLines, bigLines] : cases) {
    if (reader.pictureType == 8 && tooSmall) continue;  // gd counts a row above also as a nil row
    reader.warningCount = 0;
    DebuggingEnabled = debugging;
    qvlhost::LogCapture log;
    for (int i = 0; i < tooSmall; ++i) reader.GetRow(-7);
    for (int i = 0; i < tooBig; ++i) reader.GetRow(2);
    EXPECT_EQ(smallLines, CountOf(log.Lines(), "QVL Debug: y is too small -7"));
    EXPECT_EQ(bigLines, CountOf(log.Lines(), "y too big: 2 of 2 in GetRow"));
    EXPECT_EQ(tooSmall + tooBig, reader.warningCount);
  }
  DebuggingEnabled = true;
  qvlhost::LogCapture log;
  reader.clear();  // resets the count, so lines appear again
  reader.GetRow(3);
  PictureEditor empty;
  EXPECT_EQ(nullptr, empty.GetRow(0));
  EXPECT_EQ(1, empty.warningCount);  // only "y too big" counts, not the nil pixelbase
  EXPECT_EQ(1, CountOf(log.Lines(), "y too big: 3 of 2 in GetRow"));
  EXPECT_EQ(1, CountOf(log.Lines(), "QVL Debug: Warning: Pixelbase is nil!"));
}

TEST_P(RowTest, ClearGivesBackLockThenCacheThenReferenceOnce) {
  OwnedPicture pic(qvlhost::NewPicture(3, 2));
  for (bool writing : {false, true}) {
    PictureEditor editor;
    ASSERT_TRUE(editor.GetPictureEditor(pic, !writing, writing));
    EXPECT_EQ(2, qvlhost::ReferenceCount(pic));
    EXPECT_EQ(1, qvlhost::DescriptionLockCount(pic));
    qvlhost::ClearJournal();
    editor.clear();
    std::vector<std::string> expected = {"unlockPictureDescription", "REALUnlockObject"};
    if (writing) expected.insert(expected.begin() + 1, "REALPictureClearCache");
    EXPECT_EQ(expected, qvlhost::JournalEntryNames());
    EXPECT_EQ(1, qvlhost::ReferenceCount(pic));
    qvlhost::ClearJournal();
    editor.clear();
    EXPECT_TRUE(qvlhost::JournalEntryNames().empty());
    EXPECT_EQ(nullptr, editor.picture);
    EXPECT_EQ(writing, editor.writing);  // clear keeps the flags
  }
}

QVL_INSTANTIATE_LAYOUTS(RowTest);

}  // namespace
