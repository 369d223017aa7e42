// How the plug-in reaches host pictures: acquiring them (kinds, storage forms,
// the application probe, rows and their warnings, clear), the fallbacks that
// read what the storage forms refuse, result pictures from the writer, masks,
// sizes and the premultiplied-alpha tables.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "filters/invert.h"
#include "filters/threshold.h"
#include "picture/fallbacks.h"
#include "picture/masks.h"
#include "picture/picture_editor.h"
#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::AppKind;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;
using qvlhost::Storage;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Ne;

using AcquisitionTest = PluginTest;

TEST_F(AcquisitionTest, PictureKindsDecideWhatCanBeWritten) {
  const char *hiDpi = "HiDPI Image, return false", *vector = "Vector image, return false", *ok = "Mutable Image, ok";
  // Below 2016 a vector representation is read through a duplicate, locked
  // after its own refused lock; the read fallback tests follow the rest.
  const std::tuple<int64_t, bool, bool, const char*, int64_t> cases[] = {
      // kind, writing, acquired, word, locks
      {0, true, false, hiDpi, 0}, {1, true, false, vector, 0}, {3, true, false, vector, 0},
      {2, true, true, ok, 1},     {7, true, true, nullptr, 1}, {-1, true, true, nullptr, 1},
      {2, false, true, ok, 1},    {3, false, true, nullptr, 2}};
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

// Alpha info 0 and 7, 24 bits and gd palettes are refused, every lock and
// reference given back; only the 24-bit layout is named before.
TEST_F(AcquisitionTest, StorageFormsRefuseWhatTheyCannotWalk) {
  for (const Storage& storage : {Storage::CG(0), Storage::CG(7), Storage::CG(1, 24), Storage::Palette()}) {
    SCOPED_TRACE(storage.Name());
    qvlhost::CurrentConfig() = HostWith(config_.version, storage);
    const bool named = storage.bitsPerPixel == 24;
    OwnedPicture pic(qvlhost::NewPicture(2, 2));
    PictureEditor editor;
    const Lines lines = TracedLines([&] { EXPECT_FALSE(editor.GetPictureEditor(pic, false, true)); });
    EXPECT_THAT(lines, Contains("QVL Debug: GetPictureEditor failed"));
    EXPECT_EQ(named, TraceCount(lines, "BitsPerPixel is not 32.") == 1);
    EXPECT_EQ(named, ::testing::Value(lines, Contains(HasSubstr("kCGImageAlpha"))));
    EXPECT_EQ(named ? 1u : 0u, editor.pictureType);
  }
}

// The first acquisition asks the host three times what it runs, the next one
// not at all; the flags it sets stick, and where the host did not say, the
// other storage form is not tried later.
TEST_F(AcquisitionTest, ApplicationProbeSetsOneFlagOnce) {
  const std::tuple<AppKind, Storage, bool> cases[] = {{AppKind::Desktop, Storage::CG(2), true},
                                                      {AppKind::Console, Storage::GD(), false},
                                                      {AppKind::Web, Storage::GD(), false},
                                                      {AppKind::None, Storage::CG(2), true},
                                                      {AppKind::None, Storage::GD(), false}};
  for (auto [app, storage, desktop] : cases) {
    IsConsole = IsDesktop = CheckedApplication = false;
    qvlhost::CurrentConfig().app = app;
    qvlhost::CurrentConfig().storage = storage;
    OwnedPicture first(qvlhost::NewPicture(2, 2)), second(qvlhost::NewPicture(2, 2));
    qvlhost::ClearJournal();
    PictureEditor editor;
    EXPECT_TRUE(editor.GetPictureEditor(first, true, false));
    EXPECT_TRUE(editor.GetPictureEditor(second, true, false));
    EXPECT_EQ(3, JournalCount("pluginObjectType"));
    EXPECT_EQ(desktop, IsDesktop);
    EXPECT_EQ(!desktop, IsConsole);
    if (app != AppKind::None) continue;
    qvlhost::CurrentConfig().storage = desktop ? Storage::GD() : Storage::CG(2);
    OwnedPicture later(qvlhost::NewPicture(2, 2));
    qvlhost::ClearJournal();
    EXPECT_FALSE(editor.GetPictureEditor(later, false, true));
    EXPECT_EQ(1, JournalCount("REALLockPictureDescription"));
  }
}

// Properties that can't be read count as false and 0, the first one traced.
TEST_F(AcquisitionTest, UnreadablePropertiesReadAsFalseAndZero) {
  OwnedPicture pic(qvlhost::NewAlphaPicture(7, 3));
  qvlhost::SetResolution(pic, 144, 72);
  qvlhost::CurrentConfig().failingProperties = {"HasAlphaChannel", "VerticalResolution"};
  const Lines lines = TracedLines([&] {
    PictureReader unreadable(pic);
    ASSERT_EQ(pic.get(), unreadable.picture);
    EXPECT_FALSE(unreadable.HasAlphaChannel);
    EXPECT_EQ(0, unreadable.VerticalResolution);
    EXPECT_EQ(144, unreadable.HorizontalResolution);
  });
  EXPECT_EQ(1, TraceCount(lines, "HasAlphaChannel property not found."));
}

using AcquiredLayoutTest = LayoutTest;

// Rows below the picture give the first row, row -1 the address above it,
// which gd's row table has not, so gd counts a second warning. Warnings share
// a limit of nine lines.
TEST_P(AcquiredLayoutTest, RowsOutsideThePictureAreWarnings) {
  OwnedPicture pic(qvlhost::NewPicture(3, 2));
  PictureReader reader(pic);
  ASSERT_EQ(pic.get(), reader.picture);
  const bool gd = GetParam().kind == Storage::GDTrueColor;
  EXPECT_EQ(reader.Pixelbase, reader.GetRow(2));
  uint32_t* above = reader.GetRow(-1);
  EXPECT_EQ(-1, reader.y);
  EXPECT_EQ(gd ? 3 : 2, reader.warningCount);
  EXPECT_EQ(gd ? uintptr_t{0} : reinterpret_cast<uintptr_t>(reader.Pixelbase) - uintptr_t(reader.BytesPerRow),
            reinterpret_cast<uintptr_t>(above));
  // Tracing, rows asked above and below the picture, the lines written for each.
  const std::tuple<bool, int, int, int64_t, int64_t> cases[] = {
      {true, 0, 10, 0, 9}, {true, 5, 5, 5, 4}, {true, 12, 1, 9, 0}, {false, 4, 6, 0, 0}};
  for (auto [debugging, tooSmall, tooBig, smallLines, bigLines] : cases) {
    if (gd && tooSmall) continue;
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
    qvlhost::ClearJournal();
    editor.clear();
    EXPECT_TRUE(qvlhost::JournalEntryNames().empty());
    EXPECT_EQ(nullptr, editor.picture);
    ASSERT_TRUE(editor.GetPictureEditor(pic, !writing, writing));
    EXPECT_FALSE(editor.GetPictureEditor(nullptr, writing, !writing));
    EXPECT_EQ(nullptr, editor.picture);
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
    EXPECT_TRUE(!c.word || TraceCount(log.Lines(), c.word) == 1) << c.word;
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
  const std::tuple<double, bool, int64_t, int64_t, int64_t, bool> cases[] = {
      {2024.03, true, 40000, 144, 72, true}, {2024.03, false, 40000, 144, 72, false},
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
  EXPECT_EQ(nullptr, NewPictureWithAlphaChannel(4, 4));
  EXPECT_EQ(1, TraceCount(log.Lines(), "Failed to get picture constructor."));
  // The new instance is not given back on this path: find it and release it here.
  const qvlhost::JournalEntry& load = qvlhost::Journal().back();
  ASSERT_EQ("REALLoadObjectMethod", load.entry);
  EXPECT_EQ(1, qvlhost::ReferenceCount(load.handle));
  qvlhost::Release(static_cast<REALobjectStruct*>(const_cast<void*>(load.handle)));
  EXPECT_EQ(nullptr, NewPictureWithAlphaChannel(0, 4));
}

// The writer's reference passes to the caller and its lock is given back (a
// lost or an extra one of either would fail the balance check). A writer renders once: then it is empty, and
// rendering an empty editor gives nil, still traces its clear and calls the
// host no more.
TEST_F(WriterTest, ReferencesPassFromCreatorToWriterToCaller) {
  PictureWriter writer;
  ASSERT_TRUE(writer.NewPictureWriter(4, 4));
  REALpictureStruct* pic = writer.picture;
  OwnedPicture result(writer.RenderPictureWriter());
  ASSERT_EQ(pic, result.get());
  EXPECT_EQ(2, qvlhost::CacheClearCount(pic));  // at the rendering and in clear
  qvlhost::ClearJournal();
  const Lines lines = TracedLines([&] { EXPECT_EQ(nullptr, writer.RenderPictureWriter()); });
  EXPECT_THAT(lines, Contains(::testing::StartsWith("QVL Debug: RenderPictureWriter done ")));
  EXPECT_THAT(lines, Contains("QVL Debug: ClosePictureReader done"));
  EXPECT_TRUE(qvlhost::Journal().empty());
}

// On a host that cannot lock objects the writer hands the creator's reference
// to the caller and readers give back none they did not take (a reference
// too many or too few would fail the balance check).
TEST_F(WriterTest, FilterResultsWithoutLockStayAliveWithOneReference) {
  for (bool alpha : {false, true}) {
    SCOPED_TRACE(alpha);
    qvlhost::CurrentConfig().hiddenEntries = {"REALLockObject"};
    OwnedPicture source(alpha ? VariedAlphaPicture(3, 2) : SolidPicture(3, 2, {200, 150, 100, 255}));
    OwnedPicture result(InvertPicture2(source));
    ASSERT_NE(nullptr, result.get());
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
    std::vector<int> largest(256, -1);
    for (int j = 0; j < 256; ++j) {
      const int closed = (2 * a * j + 255) / 510;
      wrong += MultiplyTable[a * 256 + j] != closed;
      largest[closed] = j;
    }
    for (int v = 0; v < 256; ++v) wrong += UnmultiplyTable[a * 256 + v] != (largest[v] < 0 ? v : largest[v]);
  }
  EXPECT_EQ(wrong, 0);
  MultiplyTable[1] = 77;
  InitMultiplyTable();
  EXPECT_EQ(MultiplyTable[1], 77);
  MultiplyTable[1] = 0;
}

// PictureHasMask never creates a mask; a size that can't be read is 0 (the
// read fallbacks read sizes that can). The mask is asked by host version (the
// read fallbacks show which way); where the Mask method is missing, that is
// traced and REALGetPictureMask asked.
TEST_F(PictureMasks, HasMaskSizeAndTheMaskEntry) {
  OwnedPicture plain(qvlhost::NewPicture(3, 2)), masked(qvlhost::NewPicture(3, 2)), mask(qvlhost::NewPicture(3, 2));
  qvlhost::SetPictureMask(masked, mask);
  EXPECT_FALSE(PictureHasMask(nullptr));
  EXPECT_FALSE(PictureHasMask(plain));
  EXPECT_EQ(qvlhost::PictureMask(plain), nullptr);
  EXPECT_TRUE(PictureHasMask(masked));
  qvlhost::CurrentConfig().hiddenMethods = {"Mask(create As Boolean = True) As Picture"};
  qvlhost::ClearJournal();
  OwnedPicture got;
  const Lines lines = TracedLines([&] { got = OwnedPicture(MyREALGetPictureMask(masked, true)); });
  EXPECT_EQ(got.get(), mask.get());
  EXPECT_EQ(1, JournalCount("REALGetPictureMask"));
  EXPECT_EQ(1, CountOf(lines, "QVL Debug: No Mask function!?"));
  qvlhost::CurrentConfig().failingProperties = {"Width", "Height"};
  EXPECT_EQ(GetPictureWidth(plain), 0);
  EXPECT_EQ(GetPictureHeight(plain), 0);
}

constexpr const char* kDrawDouble =
    "DrawPicture(Image as Picture, x as Double, y as Double, w as Double, h as Double, sx as Double = 0, sy as "
    "Double = 0, sw as Double = -10000, sh as Double = -10000)";
constexpr const char* kDrawInteger =
    "DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, sx as Integer = 0, sy as "
    "Integer = 0, sw as Integer = -10000, sh as Integer = -10000)";
constexpr const char* kBest = "BestRepresentation(width As Integer, height As Integer, scale As Double) As Picture";
constexpr const char* kMaskGetter = "Mask(create As Boolean = True) As Picture";
constexpr const char* kMaskSetter = "Mask(assigns newMask As Picture)";

constexpr int64_t kMutable = 2, kVector = 1;

// A picture of this kind whose columns' green and blue climb by 60 a column,
// so that a threshold of 100 turns the first two black and the rest white.
REALpictureStruct* Ramp(int64_t width, int64_t height, int64_t kind = kMutable, uint8_t alpha = 255) {
  REALpictureStruct* pic = alpha == 255 ? qvlhost::NewPicture(width, height) : qvlhost::NewAlphaPicture(width, height);
  for (int64_t y = 0; y < height; ++y)
    for (int64_t x = 0; x < width; ++x)
      qvlhost::SetPixelColour(pic, x, y, Rgba{uint8_t(200 - y), uint8_t(x * 60), uint8_t(x * 60), alpha});
  qvlhost::SetPictureKind(pic, kind);
  return pic;
}

// Whether `wanted` appears in `names` in this order, other names between.
bool InOrder(const Lines& names, const Lines& wanted) {
  size_t next = 0;
  for (const std::string& name : names) next += next < wanted.size() && name == wanted[next];
  return next == wanted.size();
}

Lines CallDetails(const std::string& entry) {
  Lines details;
  for (const qvlhost::JournalEntry& call : qvlhost::Journal())
    if (call.entry == entry) details.push_back(call.detail);
  return details;
}

int64_t LoadObjectMethodCount(const std::string& declaration) {
  return CountOf(CallDetails("REALLoadObjectMethod"), "\"" + declaration + "\"");
}

using ReadFallbackTest = PluginTest;

// From 2016.0 a HiDPI picture is read through the representation the host
// picks for four times its size, here the larger bitmap; directly below, its
// own pixels at its size are read. A vector representation is drawn at four
// times the size.
TEST_F(ReadFallbackTest, HiDPIAndVectorRepresentationsReadThroughBestRepresentation) {
  // Version, picture kind, BestRepresentation hidden, the width read, BestRepresentation asked.
  const std::tuple<double, int64_t, bool, int64_t, bool> cases[] = {{2016.0, 0, false, 8, true},
                                                                    {2015.99, 0, false, 4, false},
                                                                    {2016.0, 0, true, 4, false},
                                                                    {2016.0, 3, false, 16, true}};
  for (auto [version, kind, bestHidden, width, asked] : cases) {
    SCOPED_TRACE(version);
    SetHostVersion(version);
    qvlhost::CurrentConfig().hiddenMethods.clear();
    if (bestHidden) qvlhost::CurrentConfig().hiddenMethods.insert(kBest);
    OwnedPicture small(Ramp(4, 2)), large(Ramp(8, 4));
    OwnedPicture pic(kind == 0 ? qvlhost::NewHiDPIPicture(4, 2, {small, large}) : Ramp(4, 2, kVector));
    qvlhost::SetPictureKind(pic, kind);
    qvlhost::ClearJournal();
    OwnedPicture result;
    const Lines lines = TracedLines([&] { result = OwnedPicture(ThresholdQVL(pic, 100)); });
    EXPECT_EQ(asked ? Lines{"4, 2, 4"} : Lines{}, CallDetails(kBest));
    EXPECT_EQ(bestHidden, TraceCount(lines, "BestRepresentation missing") == 1);
    ASSERT_NE(nullptr, result.get());
    EXPECT_EQ(width, qvlhost::PictureWidth(result));
    if (kind == 0) ExpectSamePicture(result, OwnedPicture(ThresholdQVL(width == 8 ? large : small, 100)));
  }
}

// A vector picture, or one of alpha info 0, which is refused even at 32 bits,
// is drawn into a plain 32-bit duplicate, which is read instead; the Double
// DrawPicture from 2018.02, the Integer one below, and without a method the
// own copy, which a Core Graphics source refuses.
TEST_F(ReadFallbackTest, VectorAndAlphaInfoZeroPicturesAreReadThroughADrawnDuplicate) {
  // The version, the DrawPicture it draws with (none where that one is hidden), alpha info 0.
  const std::tuple<double, const char*, bool> cases[] = {{2018.02, kDrawDouble, false},
                                                         {2018.01, kDrawInteger, false},
                                                         {2018.02, nullptr, false},
                                                         {2017.0, nullptr, false},
                                                         {2024.03, kDrawDouble, true}};
  for (auto [version, drawnWith, alphaInfoZero] : cases) {
    SCOPED_TRACE(version);
    SetHostVersion(version);
    const bool doubleDeclaration = version >= 2018.02;  // one declaration by the host's version, never the other
    qvlhost::CurrentConfig().hiddenMethods.clear();
    if (!drawnWith) qvlhost::CurrentConfig().hiddenMethods.insert(doubleDeclaration ? kDrawDouble : kDrawInteger);
    if (alphaInfoZero) qvlhost::CurrentConfig().storage = Storage::CG(0);
    OwnedPicture pic(Ramp(5, 2, alphaInfoZero ? kMutable : kVector));
    qvlhost::CurrentConfig().storage = Storage::CG(2);
    qvlhost::ClearJournal();
    OwnedPicture result;
    const Lines lines = TracedLines([&] { result = OwnedPicture(ThresholdQVL(pic, 100)); });
    EXPECT_TRUE(InOrder(lines, {"QVL Debug: Trying clone....", "QVL Debug: MyREALNewPicture 5, 2, 32",
                                "QVL Debug: set resoluton to 72, 72"}));
    EXPECT_EQ(drawnWith == nullptr, TraceCount(lines, "drawpicture failes?") == 1);
    EXPECT_EQ(1, LoadObjectMethodCount(doubleDeclaration ? kDrawDouble : kDrawInteger));
    EXPECT_EQ(0, LoadObjectMethodCount(doubleDeclaration ? kDrawInteger : kDrawDouble));
    if (drawnWith) {
      EXPECT_EQ(1, JournalCount(drawnWith));
      ExpectSamePicture(result, OwnedPicture(ThresholdQVL(OwnedPicture(Ramp(5, 2)), 100)));
    } else {
      EXPECT_THAT(lines, Contains("QVL Debug: REALLockPictureDescription failed for source picture."));
      EXPECT_EQ(0xFFFFFFFFu, qvlhost::PixelWord(result, 0, 0));  // the duplicate stayed white
    }
  }
}

// A source with alpha gets a duplicate with alpha, made by the Picture
// constructor, and its mask is left on; one without alpha loses its mask for
// the copy only, through the getter of the host's version. The source's
// resolutions go to the duplicate when both read as 1 or more; otherwise it
// keeps the host's default.
TEST_F(ReadFallbackTest, DuplicateKeepsAlphaAndResolutionsAndDrawsWithoutTheMask) {
  // Version, alpha, the mask getter used, the source's resolutions, reading the horizontal one fails.
  const std::tuple<double, uint8_t, const char*, int64_t, int64_t, bool> cases[] = {
      {2020.0, 255, "REALGetPictureMask", 144, 96, false},
      {2020.01, 255, kMaskGetter, 0, 96, false},
      {2024.0, 128, nullptr, 144, 0, false},
      {2024.0, 128, nullptr, 144, 96, true}};
  qvlhost::CurrentConfig().newPictureResolution = 300;
  for (auto [version, alpha, maskGetter, horizontal, vertical, failing] : cases) {
    SCOPED_TRACE(testing::Message() << version << " " << horizontal << " " << vertical);
    SetHostVersion(version);
    OwnedPicture pic(Ramp(3, 2, kVector, alpha)), mask(qvlhost::NewPicture(3, 2));
    qvlhost::SetPictureMask(pic, mask);
    qvlhost::SetResolution(pic, horizontal, vertical);
    qvlhost::CurrentConfig().failingProperties.clear();
    if (failing) qvlhost::CurrentConfig().failingProperties.insert("HorizontalResolution");
    qvlhost::ClearJournal();
    {
      PictureReader reader(pic);
      ASSERT_NE(nullptr, reader.picture);
      EXPECT_EQ(alpha != 255, reader.HasAlphaChannel);
      EXPECT_EQ(nullptr, qvlhost::PictureMask(reader.picture));
      EXPECT_EQ(alpha, qvlhost::PixelColour(reader.picture, 1, 1).a);
      const bool carried = horizontal > 0 && vertical > 0 && !failing;
      EXPECT_EQ(carried ? horizontal : 300, qvlhost::HorizontalResolution(reader.picture));
      EXPECT_EQ(carried ? vertical : 300, qvlhost::VerticalResolution(reader.picture));
    }
    EXPECT_EQ(mask.get(), qvlhost::PictureMask(pic));
    if (!maskGetter) {
      EXPECT_EQ(0, JournalCount(kMaskSetter));
      EXPECT_EQ(1, JournalCount("PluginNewInstance"));
      continue;
    }
    EXPECT_TRUE(InOrder(qvlhost::JournalEntryNames(), {maskGetter, kMaskSetter, "newPicture", kDrawDouble, kMaskSetter,
                                                       "REALUnlockObject", "REALGetPropValueInteger"}));
    EXPECT_THAT(CallDetails(kMaskSetter), ElementsAre("nil", Ne("nil")));
  }
}

// Without a DrawPicture method a gd image is copied row by row when the
// sizes agree; otherwise, or when a description can't be locked, the
// destination stays as it was and every lock is given back.
TEST_F(ReadFallbackTest, OwnCopyOfGDImagesWithoutDrawPicture) {
  qvlhost::CurrentConfig().storage = Storage::GD();
  qvlhost::CurrentConfig().hiddenMethods = {kDrawDouble};
  // The destination's width and kind, whether it is copied into, a word traced.
  const std::tuple<int64_t, int64_t, bool, const char*> cases[] = {
      {4, 2, true, "copied"},
      {5, 2, false, nullptr},
      {4, 1, false, "REALLockPictureDescription failed for destinatiom picture."}};
  for (auto [destWidth, destKind, copied, word] : cases) {
    SCOPED_TRACE(destWidth);
    OwnedPicture source(Ramp(4, 3)), dest(qvlhost::NewPicture(destWidth, 3));
    qvlhost::SetPictureKind(dest, destKind);
    qvlhost::ClearJournal();
    const Lines lines = TracedLines([&, w = destWidth] { GraphicsDrawPicture(dest, source, 0, 0, w, 3, 0, 0, 4, 3); });
    EXPECT_TRUE(
        InOrder(lines, {"QVL Debug: Failed to get DrawPicture function.", "QVL Debug: drawpicture failes?",
                        "QVL Debug: OwnCopy", "QVL Debug: dw " + std::to_string(destWidth), "QVL Debug: sw 4"}));
    EXPECT_TRUE(!word || TraceCount(lines, word) == 1);
    EXPECT_EQ(destWidth == 4 ? 1 : 0, qvlhost::CacheClearCount(dest));
    EXPECT_EQ(destWidth == 4 ? 2 : 0, JournalCount("REALLockPictureDescription"));
    EXPECT_EQ(copied, qvlhost::PixelWord(dest, 3, 2) == qvlhost::PixelWord(source, 3, 2));
  }
}

TEST_F(ReadFallbackTest, PictureWithoutGraphicsIsLeftAsItIs) {
  OwnedPicture source(Ramp(2, 2));
  qvlhost::OwnedObject empty(qvlhost::NewObject("Picture"));
  EXPECT_THAT(TracedLines([&] {
                GraphicsDrawPicture(static_cast<REALpictureStruct*>(empty.get()), source, 0, 0, 2, 2, 0, 0, 2, 2);
              }),
              Contains("QVL Debug: Failed to get graphics."));
  EXPECT_EQ(0, JournalCount("REALLoadObjectMethod"));
}

}  // namespace
