// Acquiring host pictures: picture kinds, the two storage forms and what they
// refuse, the application probe and the flags that stick; what the editor then
// holds: gd alpha, rows, their warnings, and clear.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "filters/filter_frame.h"
#include "picture/picture_editor.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::AppKind;
using qvlhost::OwnedPicture;
using qvlhost::Storage;
using ::testing::Contains;
using Lines = std::vector<std::string>;

using AcquisitionTest = PluginTest;

void Configure(AppKind app, Storage storage) {
  qvlhost::CurrentConfig().app = app;
  qvlhost::CurrentConfig().storage = storage;
}

TEST_F(AcquisitionTest, NilPictureReleasesWhatWasHeldAndStoresNothing) {
  OwnedPicture pic(qvlhost::NewPicture(2, 2));
  PictureEditor editor;
  ASSERT_TRUE(editor.GetPictureEditor(pic, true, false));
  EXPECT_FALSE(editor.GetPictureEditor(nullptr, false, true));
  EXPECT_EQ(nullptr, editor.picture);
  EXPECT_EQ(1, qvlhost::ReferenceCount(pic));
  EXPECT_EQ(0, qvlhost::DescriptionLockCount(pic));
  EXPECT_TRUE(editor.reading);
  EXPECT_FALSE(editor.writing);
}

TEST_F(AcquisitionTest, PictureKindsDecideWhatCanBeWritten) {
  const char *hiDpi = "HiDPI Image, return false", *vector = "Vector image, return false", *ok = "Mutable Image, ok";
  // A vector picture is read through a duplicate: its own storage is asked
  // for and refused, then the duplicate's is locked.
  const std::tuple<int64_t, bool, bool, const char*, int64_t> cases[] = {
      // kind, writing, acquired, word, locks
      {0, true, false, hiDpi, 0},   {1, true, false, vector, 0},  {3, true, false, vector, 0},
      {2, true, true, ok, 1},       {7, true, true, nullptr, 1},  {-1, true, true, nullptr, 1},
      {0, false, true, nullptr, 1}, {1, false, true, nullptr, 2}, {3, false, true, nullptr, 2},
      {2, false, true, ok, 1}};
  SetHostVersion(2015.04);  // below the hosts with a best representation
  for (auto [kind, writing, acquired, word, locks] : cases) {
    SCOPED_TRACE(kind);
    OwnedPicture pic(qvlhost::NewPicture(2, 2));
    qvlhost::SetPictureKind(pic, kind);
    qvlhost::ClearJournal();
    PictureEditor editor;
    bool got = false;
    const Lines lines = TracedLines([&, w = writing] { got = editor.GetPictureEditor(pic, !w, w); });
    EXPECT_EQ(acquired, got);
    EXPECT_EQ(locks, JournalCount("REALLockPictureDescription"));
    EXPECT_TRUE(!word || TraceCount(lines, word));
  }
  qvlhost::CurrentConfig().hiddenEntries.insert("PluginPictureGetType");  // then every kind counts as mutable
  ForgetEntryPoints();
  OwnedPicture kindless(qvlhost::NewPicture(2, 2));
  qvlhost::SetPictureKind(kindless, 0);
  EXPECT_TRUE(PictureEditor().GetPictureEditor(kindless, false, true));
}

TEST_F(AcquisitionTest, StorageFormsRefuseWhatTheyCannotWalk) {
  const std::tuple<AppKind, Storage, uint32_t, const char*> cases[] = {
      // and the picture type after, a word
      {AppKind::Desktop, Storage::CG(0), 0, nullptr},
      {AppKind::Desktop, Storage::CG(7), 0, nullptr},
      {AppKind::Desktop, Storage::CG(1, 24), 1, "BitsPerPixel is not 32."},
      {AppKind::Console, Storage::Palette(), 0, nullptr}};
  for (auto [app, storage, pictureTypeAfter, word] : cases) {
    SCOPED_TRACE(storage.Name());
    Configure(app, storage);
    OwnedPicture pic(qvlhost::NewPicture(2, 2));
    PictureEditor editor;
    const Lines lines = TracedLines([&] { EXPECT_FALSE(editor.GetPictureEditor(pic, false, true)); });
    EXPECT_THAT(lines, Contains("QVL Debug: GetPictureEditor failed"));
    EXPECT_TRUE(!word || TraceCount(lines, word));
    EXPECT_EQ(pictureTypeAfter != 0, std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
                return line.find("kCGImageAlpha") != line.npos;
              }));
    EXPECT_EQ(pictureTypeAfter, editor.pictureType);
    EXPECT_EQ(0, qvlhost::DescriptionLockCount(pic));
    EXPECT_EQ(1, qvlhost::ReferenceCount(pic));
  }
}

using AcquiredLayoutTest = LayoutTest;

// Rows outside the picture give the first row, or for row -1 the address
// above it, which gd's row table has not; each counts as a warning.
TEST_P(AcquiredLayoutTest, AcquisitionRecordsTheLayoutAndRowsAddressTheHostPixels) {
  OwnedPicture pic(qvlhost::NewAlphaPicture(7, 3));
  qvlhost::SetResolution(pic, 144, 72);
  PictureReader reader(pic);
  ASSERT_EQ(pic.get(), reader.picture);
  const bool gd = GetParam().kind == Storage::GDTrueColor;
  EXPECT_EQ(gd ? 8u : GetParam().alphaInfo, reader.pictureType);
  EXPECT_EQ(gd ? 6 : int64_t(GetParam().alphaInfo), reader.lMacAlphaInfo);
  EXPECT_EQ(7, reader.Width);
  EXPECT_EQ(3, reader.Height);
  EXPECT_EQ(gd ? 28 : 28 + kRowPadding, reader.BytesPerRow);
  EXPECT_EQ(gd, reader.tpixels != nullptr);
  EXPECT_TRUE(reader.HasAlphaChannel);
  EXPECT_EQ(!gd, reader.contextHasAlpha);
  EXPECT_EQ(144, reader.HorizontalResolution);
  EXPECT_EQ(72, reader.VerticalResolution);
  EXPECT_EQ(reader.Pixelbase, reader.base);
  for (int64_t row = 0; row < 3; ++row) {
    reader.GetRow(row)[6] = 0x00010203u + uint32_t(row);
    EXPECT_EQ(row, reader.y);
    EXPECT_EQ(0x00010203u + uint32_t(row), qvlhost::PixelWord(pic, 6, row));
  }
  EXPECT_EQ(0, reader.warningCount);
  EXPECT_EQ(reader.Pixelbase, reader.GetRow(3));
  EXPECT_EQ(1, reader.warningCount);
  uint32_t* above = reader.GetRow(-1);
  EXPECT_EQ(-1, reader.y);
  EXPECT_EQ(gd ? 3 : 2, reader.warningCount);
  EXPECT_EQ(gd ? uintptr_t{0} : reinterpret_cast<uintptr_t>(reader.Pixelbase) - uintptr_t(reader.BytesPerRow),
            reinterpret_cast<uintptr_t>(above));
  qvlhost::CurrentConfig().failingProperties = {"HasAlphaChannel", "VerticalResolution"};  // read as false and 0
  const Lines lines = TracedLines([&] {
    PictureReader unreadable(pic);
    ASSERT_EQ(pic.get(), unreadable.picture);
    EXPECT_FALSE(unreadable.HasAlphaChannel);
    EXPECT_EQ(0, unreadable.VerticalResolution);
    EXPECT_EQ(144, unreadable.HorizontalResolution);
  });
  EXPECT_EQ(1, TraceCount(lines, "HasAlphaChannel property not found."));
}

// The first acquisition asks the host three times what it runs; the flags it
// sets stick, and where the host did not say, the other storage form is not tried later.
TEST_F(AcquisitionTest, ApplicationProbeSetsOneFlagOnce) {
  const std::tuple<AppKind, Storage, bool> cases[] = {{AppKind::Desktop, Storage::CG(2), true},
                                                      {AppKind::Console, Storage::GD(), false},
                                                      {AppKind::Web, Storage::GD(), false},
                                                      {AppKind::None, Storage::CG(2), true},
                                                      {AppKind::None, Storage::GD(), false}};
  for (auto [app, storage, desktop] : cases) {
    IsConsole = IsDesktop = CheckedApplication = false;
    Configure(app, storage);
    OwnedPicture first(qvlhost::NewPicture(2, 2)), second(qvlhost::NewPicture(2, 2));
    qvlhost::ClearJournal();
    PictureEditor editor;
    EXPECT_TRUE(editor.GetPictureEditor(first, true, false));
    EXPECT_EQ(3, JournalCount("pluginObjectType"));
    EXPECT_TRUE(CheckedApplication);
    EXPECT_EQ(desktop, IsDesktop);
    EXPECT_EQ(!desktop, IsConsole);
    qvlhost::ClearJournal();
    EXPECT_TRUE(editor.GetPictureEditor(second, true, false));
    EXPECT_EQ(0, JournalCount("pluginObjectType"));
    if (app != AppKind::None) continue;
    qvlhost::CurrentConfig().storage = desktop ? Storage::GD() : Storage::CG(2);
    OwnedPicture later(qvlhost::NewPicture(2, 2));
    qvlhost::ClearJournal();
    EXPECT_FALSE(editor.GetPictureEditor(later, false, true));
    EXPECT_EQ(1, JournalCount("REALLockPictureDescription"));
  }
}

using Rgba4 = std::tuple<uint32_t, uint32_t, uint32_t, uint32_t>;

// Channels of a word read by the layout of an editor's pictureType (8: gd).
Rgba4 Read(uint32_t pictureType, uint32_t word) {
  Channels c{};
  WithLayout(pictureType, [&](auto layout) { c = ReadPixel<decltype(layout)::value>(word); });
  return {c.r, c.g, c.b, c.a};
}

// Bit 31 of a gd word is no part of the alpha field; every field round trips.
TEST_F(AcquisitionTest, GdAlphaIsTheReversedSevenBitField) {
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

TEST_P(AcquiredLayoutTest, WarningsShareALimitOfNineLines) {
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

TEST_P(AcquiredLayoutTest, ClearGivesBackLockThenCacheThenReferenceOnce) {
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

QVL_INSTANTIATE_LAYOUTS(AcquiredLayoutTest);

}  // namespace
