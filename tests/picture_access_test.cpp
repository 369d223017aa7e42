// How the plug-in reaches host pictures. Acquiring them: picture kinds, the
// two storage forms and what they refuse, the application probe and the flags
// that stick; what the editor then holds: layout, rows, their warnings, and
// clear. Result pictures: the writer's size limits, the alpha-channel path,
// the resolutions it carries and the references it hands over. Masks, sizes
// and the premultiplied-alpha tables.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "filters/invert.h"
#include "picture/masks.h"
#include "picture/picture_editor.h"
#include "support/every_pixel.h"
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

TEST_F(AcquisitionTest, WarningsShareALimitOfNineLines) {
  OwnedPicture pic(qvlhost::NewPicture(3, 2));
  PictureReader reader(pic);
  // Tracing, rows asked above and below the picture, the lines written for each.
  const std::tuple<bool, int, int, int64_t, int64_t> cases[] = {
      {true, 0, 10, 0, 9}, {true, 5, 5, 5, 4}, {true, 12, 1, 9, 0}, {false, 4, 6, 0, 0}};
  for (auto [debugging, tooSmall, tooBig, smallLines, bigLines] : cases) {
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

// clear, and acquiring nil, which clears first and stores nothing, give back
// the lock, then the cache of a written picture, then the reference, once.
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
    ASSERT_TRUE(editor.GetPictureEditor(pic, !writing, writing));
    EXPECT_FALSE(editor.GetPictureEditor(nullptr, writing, !writing));
    EXPECT_EQ(nullptr, editor.picture);
    EXPECT_EQ(1, qvlhost::ReferenceCount(pic));
    EXPECT_EQ(0, qvlhost::DescriptionLockCount(pic));
    EXPECT_EQ(writing, editor.writing);  // kept by clear, not replaced by the nil call
  }
}

QVL_INSTANTIATE_LAYOUTS(AcquiredLayoutTest);

using WriterTest = PluginTest;

TEST_F(WriterTest, SizeLimitsNameTheFirstSideThatFails) {
  const struct {
    int64_t width, height;
    const char* word;  // nil: the writer is made
  } cases[] = {{0, 5, "width < 1"},         {32768, 0, "height < 1"},     {5, -1, "height < 1"},
               {32768, 1, "width > 32767"}, {1, 32768, "height > 32767"}, {32768, 32768, "width > 32767"},
               {32767, 1, nullptr},         {1, 32767, nullptr}};
  DebuggingEnabled = true;
  for (const auto& c : cases) {
    qvlhost::LogCapture log;
    PictureWriter writer;
    EXPECT_EQ(c.word == nullptr, writer.NewPictureWriter(c.width, c.height)) << c.width << "x" << c.height;
    if (c.word) {
      EXPECT_EQ(1, TraceCount(log.Lines(), c.word));
    } else {
      EXPECT_EQ(c.width, writer.Width);
      EXPECT_EQ(1, qvlhost::ReferenceCount(writer.picture));
    }
  }
  EXPECT_EQ(0, qvlhost::LiveObjectCount());         // unrendered writers took their pictures along
  qvlhost::CurrentConfig().maxPictureBytes = 1000;  // a picture the host cannot make
  PictureWriter writer;
  EXPECT_FALSE(writer.NewPictureWriter(100, 100));
  EXPECT_EQ(nullptr, writer.picture);
}

// From 2011.04 a reader with alpha takes the constructor path, which has no
// size limit. The reader's resolutions go to the writer on every path, also
// when it fails, and to the result when both are positive.
TEST_F(WriterTest, AlphaReaderTakesTheConstructorPathAndResolutionsCarryOver) {
  qvlhost::CurrentConfig().newPictureResolution = 96;
  // Version, alpha, width, resolutions of the source, made.
  using Case = std::tuple<double, bool, int64_t, int64_t, int64_t, bool>;
  const Case cases[] = {{2024.03, true, 40000, 144, 72, true}, {2024.03, false, 40000, 144, 72, false},
                        {2024.03, false, 10, 144, 72, true},   {2011.04, true, 10, 144, 0, true},
                        {2011.03, true, 10, 0, 300, false},    {2011.03, false, 10, 0, 300, true}};
  for (auto [version, alpha, width, horizontal, vertical, made] : cases) {
    SCOPED_TRACE(testing::Message() << version << " " << alpha << " " << width);
    SetHostVersion(version);
    OwnedPicture source(alpha ? qvlhost::NewAlphaPicture(width, 1) : qvlhost::NewPicture(width, 1));
    qvlhost::SetResolution(source, horizontal, vertical);
    PictureReader reader(source);
    ASSERT_EQ(source.get(), reader.picture);
    PictureWriter writer;
    EXPECT_EQ(made, writer.NewPictureWriter(reader));
    EXPECT_EQ(made && alpha, writer.HasAlphaChannel);
    EXPECT_EQ(horizontal, writer.HorizontalResolution);
    EXPECT_EQ(vertical, writer.VerticalResolution);
    if (!made) continue;
    OwnedPicture result(writer.RenderPictureWriter());
    const bool carried = horizontal > 0 && vertical > 0;
    EXPECT_EQ(carried ? horizontal : 96, qvlhost::HorizontalResolution(result));
    EXPECT_EQ(carried ? vertical : 96, qvlhost::VerticalResolution(result));
  }
}

TEST_F(WriterTest, ConstructorPathFailuresGiveNil) {
  DebuggingEnabled = true;
  qvlhost::LogCapture log;
  qvlhost::CurrentConfig().hiddenClasses = {"Picture"};
  EXPECT_EQ(nullptr, NewPictureWithAlphaChannel(4, 4));
  EXPECT_EQ(1, TraceCount(log.Lines(), "Failed to allocate picture."));
  qvlhost::CurrentConfig().hiddenClasses.clear();
  qvlhost::CurrentConfig().hiddenMethods = {"Constructor(width as integer, height as integer)"};
  qvlhost::ClearJournal();
  EXPECT_EQ(nullptr, NewPictureWithAlphaChannel(4, 4));
  EXPECT_EQ(1, TraceCount(log.Lines(), "Failed to get picture constructor."));
  // The new instance is not given back on this path: find it and release it here.
  const qvlhost::JournalEntry& load = qvlhost::Journal().back();
  ASSERT_EQ("REALLoadObjectMethod", load.entry);
  EXPECT_EQ(1, qvlhost::ReferenceCount(load.handle));
  qvlhost::Release(static_cast<REALobjectStruct*>(const_cast<void*>(load.handle)));
  EXPECT_EQ(nullptr, NewPictureWithAlphaChannel(0, 4));
}

// A writer renders once: then it is empty, and rendering an empty editor
// gives nil, still traces its clear and calls the host no more.
TEST_F(WriterTest, ReferencesPassFromCreatorToWriterToCaller) {
  PictureWriter writer;
  ASSERT_TRUE(writer.NewPictureWriter(4, 4));
  REALpictureStruct* pic = writer.picture;
  EXPECT_EQ(1, qvlhost::ReferenceCount(pic));  // the writer's
  OwnedPicture result(writer.RenderPictureWriter());
  ASSERT_EQ(pic, result.get());
  EXPECT_EQ(0, qvlhost::DescriptionLockCount(pic));
  EXPECT_EQ(2, qvlhost::CacheClearCount(pic));  // at the rendering and in clear
  int64_t count = 1;                            // made with 1, then +1 -1 +1 -1, ending with the caller's
  std::vector<int64_t> counts;
  for (const qvlhost::JournalEntry& entry : qvlhost::Journal()) {
    if (entry.handle != pic || (entry.entry != "REALLockObject" && entry.entry != "REALUnlockObject")) continue;
    count += entry.entry == "REALLockObject" ? 1 : -1;
    counts.push_back(count);
  }
  EXPECT_EQ((std::vector<int64_t>{2, 1, 2, 1}), counts);
  qvlhost::ClearJournal();
  const Lines lines = TracedLines([&] { EXPECT_EQ(nullptr, writer.RenderPictureWriter()); });
  EXPECT_THAT(lines, Contains(::testing::StartsWith("QVL Debug: RenderPictureWriter done ")));
  EXPECT_THAT(lines, Contains("QVL Debug: ClosePictureReader done"));
  EXPECT_TRUE(qvlhost::Journal().empty());
}

// On a host that cannot lock objects the writer hands the creator's reference
// to the caller and readers give back none they did not take.
TEST_F(WriterTest, FilterResultsWithoutLockStayAliveWithOneReference) {
  for (bool alpha : {false, true}) {
    SCOPED_TRACE(alpha);
    qvlhost::CurrentConfig().hiddenEntries = {"REALLockObject"};
    OwnedPicture source(alpha ? qvlhost::NewAlphaPicture(3, 2) : qvlhost::NewPicture(3, 2));
    for (int64_t x = 0; x < 3; ++x) qvlhost::SetPixelColour(source, x, 1, {200, 150, 100, 255});
    OwnedPicture result(InvertPicture2(source));
    ASSERT_NE(nullptr, result.get());
    EXPECT_EQ(1, qvlhost::ReferenceCount(result));
    EXPECT_EQ(1, qvlhost::ReferenceCount(source));
    qvlhost::CurrentConfig().hiddenEntries.clear();
    ExpectSamePicture(result, OwnedPicture(InvertPicture2(source)));
  }
}

using PictureMasks = PluginTest;

// Multiply is a * c / 255 rounded with halves up; unmultiply is the largest
// straight value that premultiplies to v, and v itself where none does. A
// second init changes nothing.
TEST_F(PictureMasks, MultiplyTablesEveryEntryMadeOnce) {
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

// The mask is asked by host version (the read fallbacks show which way);
// where the Mask method is missing, that is traced and REALGetPictureMask asked.
TEST_F(PictureMasks, MissingMaskMethodFallsBackToTheEntry) {
  qvlhost::CurrentConfig().hiddenMethods = {"Mask(create As Boolean = True) As Picture"};
  OwnedPicture picture(qvlhost::NewPicture(3, 2)), mask(qvlhost::NewPicture(3, 2)), got;
  qvlhost::SetPictureMask(picture, mask);
  const Lines lines = TracedLines([&] { got = OwnedPicture(MyREALGetPictureMask(picture, true)); });
  EXPECT_EQ(got.get(), mask.get());
  EXPECT_EQ(1, JournalCount("REALGetPictureMask"));
  EXPECT_EQ(1, CountOf(lines, "QVL Debug: No Mask function!?"));
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
