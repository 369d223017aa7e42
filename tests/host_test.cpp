// The embedded host as the other tests rely on it: its resolver, journal and
// string conversions; its pictures, files and thick lines; instances of the
// registered classes on both routes; the balance check ending each test; and
// its entry points when memory runs out.
#include <gd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "filters/invert.h"
#include "host_internal.h"
#include "qvl/encodings.h"
#include "qvl/entry_points.h"
#include "qvl/host_methods.h"
#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"
#include "support/surface_access.h"

namespace {

using qvlhost::OwnedObject;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;
using qvlhost::TypeKind;
using qvlhost::Value;

using HostTest = PluginTest;

// The resolver answers every entry but hidden and unknown ones; with the
// journal switched off no call is recorded.
TEST_F(HostTest, ResolverAnswersEveryEntryButHiddenAndUnknownOnes) {
  qvlhost::CurrentConfig().hiddenEntries = {"REALLockObject"};
  const std::vector<std::string> entries = {
#define QVL_ENTRY_NAME(wrapper, entry, Ret, params, args, fail) entry,
      QVL_ENTRY_POINTS(QVL_ENTRY_NAME)
#undef QVL_ENTRY_NAME
          QVL_ENTRY_GET_RB_VERSION,
      QVL_ENTRY_REGISTER_PLUGIN_VERSION, QVL_ENTRY_STRING_GET_CSTRING};
  for (const std::string& entry : entries) {
    EXPECT_EQ(entry == "REALLockObject", gResolver(entry.c_str()) == nullptr) << entry;
  }
  EXPECT_EQ(nullptr, gResolver("reallockpicturedescription"));
  qvlhost::ClearJournal();
  qvlhost::CurrentConfig().journal = false;
  OwnedPicture picture(HostEntry<REALNewPictureFn>("newPicture")(3, 2, 32));
  EXPECT_TRUE(qvlhost::Journal().empty());
}

// What cannot be read becomes U+FFFD, what cannot be written "?", and the
// default UTF-16 order follows a byte-order mark.
TEST_F(HostTest, StringConversionsSubstituteWhatDoesNotConvert) {
  const struct {
    std::string bytes;
    uint32_t from, to;
    std::string converted;
  } cases[] = {{"caf\xC3\xA9", kREALTextEncodingUTF8, kREALTextEncodingASCII, "caf?"},
               {"a\xFFz", kREALTextEncodingUTF8, kREALTextEncodingUTF16LE, std::string("a\0\xFD\xFFz\0", 6)},
               {std::string("\xFE\xFF\0h", 4), kREALTextEncodingUnicodeDefault, kREALTextEncodingUTF8, "h"},
               {std::string("\xFF\xFEh\0", 4), kREALTextEncodingUnicodeDefault, kREALTextEncodingUTF8, "h"},
               {"\xE9", kREALTextEncodingUnknown, kREALTextEncodingUTF8, "\xE9"}};
  auto convert = HostEntry<REALConvertStringFn>("REALConvertString");
  for (const auto& c : cases) {
    qvlhost::OwnedString source(qvlhost::NewString(c.bytes, c.from));
    qvlhost::OwnedString converted(convert(source, c.to));
    ASSERT_NE(nullptr, converted.get()) << c.converted;
    EXPECT_EQ(c.converted, qvlhost::StringBytes(converted));
    EXPECT_EQ(c.to, qvlhost::StringEncoding(converted));
  }
  EXPECT_EQ(nullptr, convert(qvlhost::OwnedString(qvlhost::NewString("a")), 0x7777));
}

std::string TempPath(const std::string& name) { return ::testing::TempDir() + "/qvl_host_" + name; }

REALpictureStruct* RoundTrip(REALpictureStruct* picture, const std::string& name) {
  std::string path = TempPath(name);
  EXPECT_TRUE(qvlhost::WritePictureFile(picture, path)) << name;
  REALpictureStruct* read = qvlhost::ReadPictureFile(path);
  std::remove(path.c_str());
  return read;
}

void ExpectNear(Rgba expected, Rgba actual, int colourTolerance, int alphaTolerance) {
  EXPECT_LE(
      std::max({std::abs(expected.r - actual.r), std::abs(expected.g - actual.g), std::abs(expected.b - actual.b)}),
      colourTolerance);
  EXPECT_LE(std::abs(expected.a - actual.a), alphaTolerance);
}

using HostPictureTest = LayoutTest;

// Opaque colours come back exactly; alpha goes through gd's 7 bits, so partly
// transparent pixels may move by a step or two.
TEST_P(HostPictureTest, RoundTripsKeepColoursAndAlpha) {
  const Rgba colours[] = {{255, 0, 0, 255}, {12, 200, 77, 255}, {0, 0, 0, 0}, {90, 180, 240, 128}, {1, 2, 3, 254}};
  OwnedPicture alpha(qvlhost::NewAlphaPicture(5, 1));
  for (int x = 0; x < 5; ++x) qvlhost::SetPixelColour(alpha, x, 0, colours[x]);
  OwnedPicture png(RoundTrip(alpha, GetParam().Name() + ".png"));
  ASSERT_TRUE(png);
  EXPECT_TRUE(qvlhost::HasAlphaChannel(png));
  EXPECT_EQ(GetParam().Name(), qvlhost::PictureStorage(png).Name());
  for (int x = 0; x < 5; ++x) {
    Rgba before = qvlhost::PixelColour(alpha, x, 0);
    ExpectNear(before, qvlhost::PixelColour(png, x, 0), before.a == 255 ? 0 : before.a >= 128 ? 3 : 255, 2);
  }

  OwnedPicture opaque(SolidPicture(4, 3, {200, 100, 50, 255}));
  for (const std::string extension : {".png", ".gif", ".jpg"}) {
    SCOPED_TRACE(extension);
    OwnedPicture read(RoundTrip(opaque, GetParam().Name() + extension));
    ASSERT_TRUE(read);
    EXPECT_FALSE(qvlhost::HasAlphaChannel(read));
    ExpectNear(Rgba{200, 100, 50, 255}, qvlhost::PixelColour(read, 2, 1), extension == ".jpg" ? 12 : 0, 0);
  }
}

QVL_INSTANTIATE_LAYOUTS(HostPictureTest);

// True-colour files are covered by the round trips; a palette file has alpha
// exactly when it names a transparent index. A missing or broken file reads
// as nil, and no file is written with an unknown extension.
TEST_F(HostTest, FilesReadWithAlphaExactlyWhenTheyHaveItOrNotAtAll) {
  for (const std::string extension : {".png", ".gif"}) {
    for (bool transparent : {false, true}) {
      SCOPED_TRACE(extension + (transparent ? " transparent" : " opaque"));
      gdImagePtr image = gdImageCreate(2, 2);
      const int colour = gdImageColorAllocate(image, 1, 2, 3);
      if (transparent) gdImageColorTransparent(image, colour);
      const std::string path = TempPath("palette" + extension);
      FILE* file = std::fopen(path.c_str(), "wb");
      ASSERT_NE(file, nullptr);
      extension == ".gif" ? gdImageGif(image, file) : gdImagePng(image, file);
      std::fclose(file);
      gdImageDestroy(image);
      OwnedPicture picture(qvlhost::ReadPictureFile(path));
      std::remove(path.c_str());
      ASSERT_TRUE(picture);
      EXPECT_EQ(transparent, qvlhost::HasAlphaChannel(picture));
    }
  }
  const std::string broken = TempPath("broken.png");
  std::ofstream(broken) << "\x89PNG\r\n\x1a\nnot really";
  EXPECT_EQ(nullptr, qvlhost::ReadPictureFile(broken));
  std::remove(broken.c_str());
  EXPECT_EQ(nullptr, qvlhost::ReadPictureFile(broken));
  OwnedPicture picture(qvlhost::NewPicture(1, 1));
  EXPECT_FALSE(qvlhost::WritePictureFile(picture, TempPath("picture.bmp")));
}

// The plug-in reads 32-bit pixels as words, so the host starts every such row
// on a whole word whatever padding is asked; the padding changes no result.
TEST_F(HostTest, PaddingOf32BitRowsIsRoundedToWholeWords) {
  OwnedPicture plain(VariedAlphaPicture(5, 3));
  OwnedPicture inverted(InvertPicture2(plain));
  for (int64_t padding : {1, 2, 3}) {
    SCOPED_TRACE(padding);
    qvlhost::CurrentConfig().extraBytesPerRow = padding;
    OwnedPicture padded(VariedAlphaPicture(5, 3));
    EXPECT_EQ(4u, qvlhost::RowPadding(padded, 0).size());  // 20 bytes of pixels and the padding make 24
    ExpectSamePicture(OwnedPicture(InvertPicture2(padded)), inverted);
  }
}

using DrawLineFn = void (*)(REALgraphicsStruct*, double, double, double, double);

// Which pixels a line of the given pen changed on a white 11 x 9 picture.
std::vector<bool> Drawn(uint32_t foreColor, double penWidth, double penHeight, const double (&line)[4]) {
  OwnedPicture picture(qvlhost::NewPicture(11, 9));
  qvlhost::OwnedGraphics graphics(qvlhost::PictureGraphics(picture));
  auto* pen = qvlhost::Live<qvlhost::Graphics>(graphics.get(), "test");
  pen->foreColor = foreColor, pen->penWidth = penWidth, pen->penHeight = penHeight;
  auto draw = reinterpret_cast<DrawLineFn>(qvlhost::GraphicsMethod(QVL_GRAPHICS_DRAW_LINE_DOUBLE));
  draw(graphics, line[0], line[1], line[2], line[3]);
  std::vector<bool> drawn;
  for (int64_t y = 0; y < 9; ++y) {
    for (int64_t x = 0; x < 11; ++x) drawn.push_back(qvlhost::PixelRgba(picture, x, y).r != 255);
  }
  return drawn;
}

// On Core Graphics pictures (gd ones are drawn by libgd) an opaque pen,
// covered run by run, leaves exactly the pixels a translucent pen composes
// point by point.
TEST_F(HostTest, OpaquePenCoversWhatTheTranslucentPenTouches) {
  qvlhost::CurrentConfig().extraBytesPerRow = 8;
  std::mt19937 random(7);
  std::uniform_int_distribution<int> coordinate(-4, 14), side(1, 4);
  for (int i = 0; i < 300; ++i) {
    const double line[4] = {double(coordinate(random)), double(coordinate(random)), double(coordinate(random)),
                            double(coordinate(random))};
    const double penWidth = side(random), penHeight = side(random);
    SCOPED_TRACE(std::to_string(line[0]) + "," + std::to_string(line[1]) + " to " + std::to_string(line[2]) + "," +
                 std::to_string(line[3]) + " pen " + std::to_string(penWidth) + " x " + std::to_string(penHeight));
    // Black, opaque; and black with a transparency of 1.
    EXPECT_EQ(Drawn(0x000000, penWidth, penHeight, line), Drawn(0x01000000, penWidth, penHeight, line));
  }
}

TEST_F(HostTest, GraphicsMethodsFoundByDeclarationIgnoringCaseAndWhiteSpace) {
  const void* drawLine = qvlhost::GraphicsMethod(QVL_GRAPHICS_DRAW_LINE_DOUBLE);
  ASSERT_NE(nullptr, drawLine);
  const struct {
    const char* declaration;
    bool found;
  } cases[] = {{"drawline(x1 as double,y1 as double,x2 as double,y2 as double)", true},
               {" DRAWLINE (\tx1 AS Double,\ny1 as Double, x2 as Double, y2 as Double )\r", true},
               {"DrawLine( x1 as Double, y1 as Double, x2 as Double )", false},
               {"DrawLine( x1 as Double, y1 as Double, x2 as Double, y2 as Doubles )", false},
               {"Draw_Line( x1 as Double, y1 as Double, x2 as Double, y2 as Double )", false},
               {"", false}};
  for (const auto& c : cases)
    EXPECT_EQ(c.found ? drawLine : nullptr, qvlhost::GraphicsMethod(c.declaration)) << c.declaration;
}

// Instances of the job classes as the host makes, uses and ends them.
class HostInstances : public PluginTest, public ::testing::WithParamInterface<double> {
 protected:
  qvlhost::Config HostConfig() override { return HostWith(GetParam(), qvlhost::Storage::CG(2)); }

  void SetUp() override {
    PluginTest::SetUp();
    REALPluginMain(qvlhost::Resolver());
  }
};

TEST_P(HostInstances, TheDestructorRunsWhenTheLastReferenceGoes) {
  OwnedPicture source(SolidPicture(3, 3, {1, 2, 3, 255}));
  REALobjectStruct* job = qvlhost::NewObject("PictureSepiaQVL");
  ASSERT_TRUE(SetSurfaceProperty("PictureSepiaQVL", "SourcePicture", job, Value::Handle(TypeKind::Picture, source)));
  EXPECT_EQ(2, qvlhost::ReferenceCount(source.get()));
  HostEntry<void (*)(REALobjectStruct*)>("REALLockObject")(job);
  qvlhost::Release(job);
  EXPECT_EQ(2, qvlhost::ReferenceCount(source.get())) << "one reference to the job is still held";
  qvlhost::Release(job);
  EXPECT_EQ(1, qvlhost::ReferenceCount(source.get()));
}

// A replaced picture that was not given back would fail the balance check.
TEST_P(HostInstances, PropertiesGoThroughTheFieldOrTheRegisteredAccessors) {
  OwnedObject job(qvlhost::NewObject("PictureSepiaQVL")), other(qvlhost::NewObject("PictureLut3DQVL"));
  OwnedPicture first(SolidPicture(2, 2, {0, 0, 0, 255})), second(SolidPicture(2, 2, {0, 0, 0, 255}));
  ASSERT_TRUE(SetSurfaceProperty("PictureSepiaQVL", "SourcePicture", job, Value::Handle(TypeKind::Picture, first)));
  ASSERT_TRUE(SetSurfaceProperty("PictureSepiaQVL", "SourcePicture", job, Value::Handle(TypeKind::Picture, second)));
  EXPECT_FALSE(SetSurfaceProperty("PictureSepiaQVL", "SourcePicture", other, Value::Handle(TypeKind::Picture, first)))
      << "a field of one class on an instance of another";
  ASSERT_TRUE(SetSurfaceProperty("PictureSepiaQVL", "MaxY", job, Value::Integer(-77)));
  ASSERT_TRUE(SetSurfaceProperty("PictureSepiaQVL", "FactorGreen", job, Value::Double(2.5)));
  EXPECT_EQ(-77, GetSurfaceProperty("PictureSepiaQVL", "MaxY", job).integer);
  EXPECT_EQ(2.5, GetSurfaceProperty("PictureSepiaQVL", "FactorGreen", job).real);

  // Table(3, 17, 0, 2) assigned, with the value last, then read.
  std::vector<Value> index = {Value::Handle(TypeKind::Object, other), Value::UInt32(3), Value::UInt32(17),
                              Value::UInt32(0), Value::UInt32(2)},
                     assigned = index;
  assigned.push_back(Value::Double(-4.25));
  CallSurfaceMethod("PictureLut3DQVL.Table", true, assigned);
  EXPECT_EQ(-4.25, CallSurfaceMethod("PictureLut3DQVL.Table", false, index).real);
}

INSTANTIATE_TEST_SUITE_P(Routes, HostInstances, ::testing::Values(2024.03, 2012.0),
                         [](const auto& info) { return info.param > 2013 ? "module2024" : "extension2012"; });

// The balance check finds what a test would otherwise miss. Each case
// unbalances a host of its own; the test's host is made afresh at the end.
TEST_F(HostTest, BalanceCheckReportsEachKindOfImbalance) {
  REALpictureDescription description{};
  auto lockDescription = HostEntry<REALLockPictureDescriptionFn>("REALLockPictureDescription");
  const struct {
    const char* problem;
    std::function<void()> unbalance;
  } cases[] = {
      {"Picture #1 leaked: 1 reference(s) not given back\n", [] { static_cast<void>(qvlhost::NewPicture(2, 2)); }},
      {"REALUnlockObject: Picture #1 released twice\n",
       [] {
         REALpictureStruct* picture = qvlhost::NewPicture(2, 2);
         HostEntry<REALUnlockObjectFn>("REALUnlockObject")(picture);
         HostEntry<REALUnlockObjectFn>("REALUnlockObject")(picture);
       }},
      {"REALGetPropValueInteger got Picture #1 after its last release\n",
       [] {
         REALpictureStruct* picture = qvlhost::NewPicture(2, 2);
         qvlhost::Release(picture);
         int64_t width = -1;
         EXPECT_FALSE(HostEntry<REALGetPropValueIntegerFn>("REALGetPropValueInteger")(picture, "Width", &width));
       }},
      {"Picture #1 still has 1 description lock(s)\n",
       [&] { EXPECT_TRUE(lockDescription(qvlhost::NewPicture(2, 2), &description, 8)); }},
      {"NilObjectException #1 is pending\n",
       [] {
         OwnedObject exception(qvlhost::NewObject("NilObjectException"));
         HostEntry<REALRaiseExceptionFn>("RuntimeRaiseException")(exception);
       }},
      {"1 string data record(s) not disposed of\n", [] {
         qvlhost::OwnedString text(qvlhost::NewString("abc"));
         REALstringData data{};
         EXPECT_TRUE(HostEntry<REALGetStringDataFn>("PluginGetStringData")(text, 0x08000100, &data));
       }}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.problem);
    qvlhost::Reset();
    c.unbalance();
    EXPECT_THAT(qvlhost::BalanceProblems(), ::testing::HasSubstr(c.problem));
    // An exception the test expects is no problem; everything else still is.
    const bool pending = std::string(c.problem).find("pending") != std::string::npos;
    EXPECT_EQ(!pending, qvlhost::BalanceProblems(true).find(c.problem) != std::string::npos);
  }
  qvlhost::Reset(config_);
}

// Allocations through operator new that succeed before one fails; negative
// while none is to fail.
int64_t allocationsBeforeFailure = -1;
bool failureReached = false;
void Disarm() { allocationsBeforeFailure = -1; }

}  // namespace

void* operator new(size_t size) {
  if (allocationsBeforeFailure == 0) {
    allocationsBeforeFailure = -1;
    failureReached = true;
    throw std::bad_alloc();
  }
  if (allocationsBeforeFailure > 0) --allocationsBeforeFailure;
  if (void* memory = std::malloc(size ? size : 1)) return memory;
  throw std::bad_alloc();
}

// Not inlined: the compiler would take the free() for one of a pointer from
// a different allocator.
__attribute__((noinline)) void operator delete(void* memory) noexcept { std::free(memory); }
__attribute__((noinline)) void operator delete(void* memory, size_t) noexcept { std::free(memory); }
// The nothrow forms (the standard library's temporary buffers) share them.
void* operator new(size_t size, const std::nothrow_t&) noexcept { return std::malloc(size ? size : 1); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace {

// Each allocation a call makes fails in turn, and the call gives its failure
// result or succeeds, but lets no C++ exception out to the plug-in.
TEST_F(HostTest, EntriesGiveTheirFailureResultWhenMemoryRunsOut) {
  OwnedPicture picture(qvlhost::NewPicture(4, 4));
  REALpictureDescription description{};
  const std::string text(2000, 'q');
  // Gives back what a call made; true when it made nothing.
  auto madeNothing = [](auto* made) {
    Disarm();
    if (made) qvlhost::Release(made);
    return made == nullptr;
  };
  // Looked up before any allocation fails: a look-up that fails finds nothing.
  auto version = HostEntry<QVLGetRBVersionFn>("REALGetRBVersion");
  auto newPicture = HostEntry<REALNewPictureFn>("newPicture");
  auto newInstance = HostEntry<REALnewInstanceFn>("PluginNewInstance");
  auto buildString = HostEntry<originalREALBuildStringFn>("REALBuildString");
  auto classRef = HostEntry<REALGetClassRefFn>("pluginObjectType");
  auto lockDescription = HostEntry<REALLockPictureDescriptionFn>("REALLockPictureDescription");
  auto unlockDescription = HostEntry<REALUnlockPictureDescriptionFn>("unlockPictureDescription");
  // A vector picture's best representation is a bitmap drawn for the call.
  OwnedPicture vector(qvlhost::NewPicture(4, 4));
  qvlhost::SetPictureKind(vector, 1);
  using BestRepresentationFn = REALpictureStruct* (*)(REALobjectStruct*, int64_t, int64_t, double);
  auto bestRepresentation = reinterpret_cast<BestRepresentationFn>(
      HostEntry<REALLoadObjectMethodFn>("REALLoadObjectMethod")(vector, QVL_PICTURE_BEST_REPRESENTATION));
  const struct {
    const char* entry;
    std::function<bool()> call;  // true when the entry gave its failure result
  } cases[] = {{"REALGetRBVersion", [&] { return version() == 0.0; }},
               {"newPicture", [&] { return madeNothing(newPicture(8, 8, 32)); }},
               {"PluginNewInstance", [&] { return madeNothing(newInstance("Picture")); }},
               {"REALBuildString", [&] { return madeNothing(buildString(text.data(), int32_t(text.size()))); }},
               {"pluginObjectType", [&] { return classRef("Graphics") == nullptr; }},
               {"REALLockPictureDescription",
                [&] {
                  const bool locked = lockDescription(picture, &description, pictureCGBitmapContext);
                  Disarm();
                  if (locked) unlockDescription(picture);
                  return !locked;
                }},
               {"Picture.BestRepresentation", [&] { return madeNothing(bestRepresentation(vector, 8, 8, 1.0)); }}};
  for (const auto& c : cases) {
    int failures = 0;
    for (int64_t allowed = 0;; ++allowed) {
      failureReached = false;
      allocationsBeforeFailure = allowed;
      bool failed = false;
      EXPECT_NO_THROW(failed = c.call()) << c.entry << " with allocation " << allowed << " failing";
      Disarm();
      if (!failureReached) break;
      failures += failed;
    }
    EXPECT_GT(failures, 0) << c.entry;  // the first failing allocation at least ends the call
  }
}

}  // namespace
