// Waveforms from memory blocks: each sample format, the sizes, the columns
// without samples, every kind of smoothing, AutoScale, the outline of one
// pixel and the host's wider one by host version, each refusal with its
// exception, reads beyond the block, and the registered row by declaration.
#include "waveform/render_samples.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "plugin_loader.h"
#include "support/plugin_test.h"
#include "surface.h"
#include "waveform/lines.h"

namespace {

using qvlhost::OwnedMemoryBlock;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;

constexpr uint32_t kBack = 0x88B5C4, kFore = 0x274C5A, kOutline = 0x203F4E;
constexpr const char* kDrawLineDouble = "DrawLine( x1 as Double, y1 as Double, x2 as Double, y2 as Double )";
constexpr const char* kDrawLineInteger = "DrawLine( x1 as Integer, y1 as Integer, x2 as Integer, y2 as Integer )";

Rgba Colour(uint32_t c) { return {uint8_t(c >> 16), uint8_t(c >> 8), uint8_t(c), 255}; }

REALmemoryBlockStruct* BlockOf(const void* bytes, size_t size) {
  REALmemoryBlockStruct* block = qvlhost::NewMemoryBlock(int64_t(size));
  if (size) std::memcpy(qvlhost::MemoryBlockData(block), bytes, size);
  return block;
}

template <class T>
REALmemoryBlockStruct* BlockOf(const std::vector<T>& elements) {
  return BlockOf(elements.data(), elements.size() * sizeof(T));
}

// Signed 8-bit columns of four samples each, all of one value.
REALmemoryBlockStruct* ColumnsOf(const std::vector<int8_t>& values) {
  std::vector<int8_t> samples;
  for (int8_t v : values) samples.insert(samples.end(), 4, v);
  return BlockOf(samples);
}

struct Call {
  int64_t count = 0, smooth = 1, width = 0, height = 200, outline = 0;
  int64_t bits = 8;
  bool autoScale = false;
  uint32_t outlineColor = kOutline;
};

REALpictureStruct* Render(REALmemoryBlockStruct* block, const Call& c) {
  return RenderSamples(block, c.count, c.smooth, c.width, c.height, c.outline, kBack, kFore, c.outlineColor, c.bits,
                       c.autoScale);
}

using Span = std::pair<int64_t, int64_t>;

// The rows of each column in the fore colour, as one span from top to bottom;
// every other pixel must be background. {-1, -1} for a column without body.
std::vector<Span> BodyOf(REALpictureStruct* picture) {
  std::vector<Span> spans;
  for (int64_t x = 0; x < qvlhost::PictureWidth(picture); ++x) {
    Span span{-1, -1};
    for (int64_t y = 0; y < qvlhost::PictureHeight(picture); ++y) {
      const Rgba pixel = qvlhost::PixelColour(picture, x, y);
      if (pixel == Colour(kFore)) {
        if (span.first < 0) span.first = y;
        EXPECT_TRUE(span.second < 0 || span.second == y - 1) << "a gap in column " << x;
        span.second = y;
      } else {
        EXPECT_EQ(pixel, Colour(kBack)) << "at (" << x << ", " << y << ")";
      }
    }
    spans.push_back(span);
  }
  return spans;
}

bool SamePixels(REALpictureStruct* a, REALpictureStruct* b) {
  const int64_t width = qvlhost::PictureWidth(a), height = qvlhost::PictureHeight(a);
  if (width != qvlhost::PictureWidth(b) || height != qvlhost::PictureHeight(b)) return false;
  for (int64_t i = 0; i < width * height; ++i) {
    if (qvlhost::PixelWord(a, i % width, i / width) != qvlhost::PixelWord(b, i % width, i / width)) return false;
  }
  return true;
}

class RenderLayouts : public LayoutTest {};

// The same half-waves in each format: column 0 holds +0.252 and -0.378 of
// full scale twice, column 1 silence. Rows 12 to 75 and the middle row 50.
TEST_P(RenderLayouts, EachFormatGivesTheSameBody) {
  const std::vector<uint8_t> unsigned8 = {160, 80, 160, 80, 128, 128, 128, 128};
  const std::vector<int8_t> signed8 = {32, -48, 32, -48, 0, 0, 0, 0};
  const std::vector<uint16_t> unsigned16 = {41024, 20384, 41024, 20384, 32768, 32768, 32768, 32768};
  const std::vector<int16_t> signed16 = {8256, -12384, 8256, -12384, 0, 0, 0, 0};
  const std::vector<float> float32 = {0.252f, -0.378f, 0.252f, -0.378f, 0, 0, 0, 0};
  const std::vector<double> float64 = {0.252, -0.378, 0.252, -0.378, 0, 0, 0, 0};
  const std::pair<int64_t, REALmemoryBlockStruct*> formats[] = {
      {8, BlockOf(unsigned8)}, {7, BlockOf(signed8)},   {16, BlockOf(unsigned16)},
      {15, BlockOf(signed16)}, {-32, BlockOf(float32)}, {-64, BlockOf(float64)},
  };
  for (auto [bits, samples] : formats) {
    SCOPED_TRACE("bits " + std::to_string(bits));
    OwnedMemoryBlock block(samples);
    Call call;
    call.count = 8, call.width = 2, call.height = 100, call.bits = bits;
    OwnedPicture picture(Render(block, call));
    ASSERT_NE(picture.get(), nullptr);
    EXPECT_EQ(BodyOf(picture), (std::vector<Span>{{12, 75}, {50, 50}}));
  }
}

// Silence of unsigned 8-bit samples: one row of the fore colour at the
// middle; one row of outline instead with an outline of 1; with Height 1 the
// body is the whole picture.
TEST_P(RenderLayouts, SilenceIsTheMiddleRow) {
  OwnedMemoryBlock block(BlockOf(std::vector<uint8_t>(6, 128)));
  Call call;
  call.height = 0;
  OwnedPicture picture(Render(block, call));
  ASSERT_EQ(qvlhost::PictureWidth(picture), 6);
  EXPECT_EQ(BodyOf(picture), std::vector<Span>(6, {250, 250}));
  call.outline = 1;
  picture.reset(Render(block, call));
  for (int64_t x = 0; x < 6; ++x) {
    EXPECT_EQ(qvlhost::PixelColour(picture, x, 250), Colour(kOutline));
    EXPECT_EQ(qvlhost::PixelColour(picture, x, 249), Colour(kBack));
  }
  call.outline = 0, call.height = 1;
  picture.reset(Render(block, call));
  EXPECT_EQ(BodyOf(picture), std::vector<Span>(6, {0, 0}));
}

// Not-a-number rows and ends far outside the picture: every column's span
// runs from row 0 to the middle, the outline draws nothing beyond the rows,
// and both outlines end.
TEST_P(RenderLayouts, NotANumberRowsDrawNothingOutside) {
  OwnedMemoryBlock block(ColumnsOf({5, -5, 9, 0, 3}));
  for (int64_t outline : {1, 3}) {
    Call call;
    call.smooth = -1, call.width = 5, call.height = 40, call.bits = 7, call.outline = outline;
    OwnedPicture picture(Render(block, call));
    ASSERT_NE(picture.get(), nullptr);
    EXPECT_EQ(qvlhost::PixelColour(picture, 2, 39), Colour(kBack));
    if (GetParam().kind != qvlhost::Storage::CoreGraphics) continue;
    for (int64_t y = 0; y < 40; ++y) EXPECT_EQ(qvlhost::RowPadding(picture, y), qvlhost::FreshRowPadding(kRowPadding));
  }
}

// A count beyond the block reads 0 for what lies beyond, also in the middle
// of an element: the picture is that of the block completed with zeroes.
TEST_P(RenderLayouts, ReadsBeyondTheBlockGiveZero) {
  std::vector<uint8_t> bytes(32);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(0x35 + 37 * i);
  for (auto [bits, size] : {std::pair{8, 1}, {7, 3}, {16, 1}, {16, 4}, {15, 5}, {-32, 6}, {-64, 0}, {-64, 11}}) {
    SCOPED_TRACE("bits " + std::to_string(bits) + ", bytes " + std::to_string(size));
    std::vector<uint8_t> completed(bytes.begin(), bytes.begin() + size);
    completed.resize(32);
    OwnedMemoryBlock shortBlock(BlockOf(completed.data(), size_t(size)));
    OwnedMemoryBlock fullBlock(BlockOf(completed));
    Call call;
    call.count = 4, call.width = 3, call.height = 60, call.bits = bits;
    OwnedPicture fromShort(Render(shortBlock, call));
    OwnedPicture fromFull(Render(fullBlock, call));
    ASSERT_TRUE(fromShort && fromFull);
    EXPECT_TRUE(SamePixels(fromShort, fromFull));
  }
  OwnedMemoryBlock tiny(BlockOf(bytes.data(), 2));
  Call huge;
  huge.count = int64_t(1) << 50, huge.width = 4, huge.bits = 16;
  OwnedPicture picture(Render(tiny, huge));
  EXPECT_EQ(BodyOf(picture), std::vector<Span>(4, {0, 100}));
}

QVL_INSTANTIATE_LAYOUTS(RenderLayouts);

class RenderTest : public PluginTest {};

// Columns of 0, 10, 10, 10 (each 20 after the column pass, 31.5 rows):
// Smooth 1 and any value of -2 or less leave them; 0 rings; 3 rises toward
// them; -1 makes everything not-a-number, which spans row 0 to the middle.
TEST_F(RenderTest, SmoothingOfEachLength) {
  OwnedMemoryBlock block(ColumnsOf({0, 10, 10, 10}));
  const std::vector<Span> none = {{100, 100}, {100, 131}, {100, 131}, {100, 131}};
  const std::pair<int64_t, std::vector<Span>> cases[] = {
      {1, none},
      {-2, none},
      {std::numeric_limits<int64_t>::max(), none},
      {0, {{100, 100}, {100, 162}, {100, 100}, {100, 162}}},
      {3, {{100, 100}, {100, 115}, {100, 123}, {100, 127}}},
      {-1, std::vector<Span>(4, {0, 100})},
  };
  for (const auto& [smooth, spans] : cases) {
    SCOPED_TRACE("smooth " + std::to_string(smooth));
    Call call;
    call.smooth = smooth, call.width = 4, call.bits = 7;
    OwnedPicture picture(Render(block, call));
    EXPECT_EQ(BodyOf(picture), spans);
  }
}

// Eight columns for four samples: every other column has none and holds
// not-a-number; smoothing, even of length 1, carries the first one into
// every later column.
TEST_F(RenderTest, ColumnsWithoutSamples) {
  OwnedMemoryBlock block(BlockOf(std::vector<int8_t>(4, 10)));
  Call call;
  call.count = 4, call.width = 8, call.bits = 7, call.smooth = -2;
  OwnedPicture picture(Render(block, call));
  std::vector<Span> alternate;
  for (int i = 0; i < 4; ++i) alternate.insert(alternate.end(), {{0, 100}, {100, 131}});
  EXPECT_EQ(BodyOf(picture), alternate);
  call.smooth = 1;
  picture.reset(Render(block, call));
  EXPECT_EQ(BodyOf(picture), std::vector<Span>(8, {0, 100}));
}

// The loudest column, up or down, reaches the edge; silence makes the full
// scale 0 and every entry not-a-number.
TEST_F(RenderTest, AutoScale) {
  OwnedMemoryBlock signal(ColumnsOf({3, 10, -10}));
  Call call;
  call.width = 3, call.bits = 7, call.autoScale = true;
  OwnedPicture picture(Render(signal, call));
  EXPECT_EQ(BodyOf(picture), (std::vector<Span>{{100, 130}, {100, 199}, {0, 100}}));
  OwnedMemoryBlock silence(BlockOf(std::vector<uint8_t>(3, 128)));
  call.bits = 8;
  picture.reset(Render(silence, call));
  EXPECT_EQ(BodyOf(picture), std::vector<Span>(3, {0, 100}));
}

// With an outline of 1 pixel both edges pass through each column's ends in
// the outline colour, whose green and blue are equal so that blending over
// an end keeps it.
TEST_F(RenderTest, OutlineOfOnePixelPassesThroughEachEnd) {
  OwnedMemoryBlock block(ColumnsOf({0, 10, 20, 10, 0}));
  Call call;
  call.width = 5, call.bits = 7, call.outline = 1, call.outlineColor = 0x204040;
  OwnedPicture picture(Render(block, call));
  const int64_t highRows[] = {100, 131, 162, 131, 100};
  for (int64_t x = 0; x < 5; ++x) {
    EXPECT_EQ(qvlhost::PixelColour(picture, x, 100), Colour(0x204040)) << x;
    EXPECT_EQ(qvlhost::PixelColour(picture, x, highRows[x]), Colour(0x204040)) << x;
    EXPECT_EQ(qvlhost::PixelColour(picture, x, 0), Colour(kBack)) << x;
  }
  EXPECT_EQ(gOutLineColorG, 0x40);
}

struct HostOutline {
  const char* name;
  double version;
  std::vector<std::string> hiddenMethods;
  qvlhost::Storage storage;
  int64_t doubleLines, integerLines;
  std::vector<int64_t> outlineRows;  // rows that the outline covers
  int64_t outlineColumns;            // in the columns from 0 up to this
};

class RenderHostOutline : public PluginTest, public testing::WithParamInterface<HostOutline> {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config = PluginTest::HostConfig();
    config.version = GetParam().version;
    config.hiddenMethods.insert(GetParam().hiddenMethods.begin(), GetParam().hiddenMethods.end());
    config.storage = GetParam().storage;
    if (config.storage.kind != qvlhost::Storage::CoreGraphics) config.app = qvlhost::AppKind::Console;
    return config;
  }
};

// Silence at a pen of 3, shifted up and left by 1: the host's own walk hangs
// the pen below and right of the line, so it covers every column; libgd
// centres it, so the last column stays bare. Two lines a column, by the
// declaration the host version picks; without DrawLine nothing is drawn.
TEST_P(RenderHostOutline, DrawnByTheHost) {
  OwnedMemoryBlock block(BlockOf(std::vector<uint8_t>(7, 128)));
  Call call;
  call.height = 20, call.outline = 3;
  qvlhost::ClearJournal();
  OwnedPicture picture(Render(block, call));
  ASSERT_NE(picture.get(), nullptr);
  EXPECT_EQ(JournalCount(kDrawLineDouble), GetParam().doubleLines);
  EXPECT_EQ(JournalCount(kDrawLineInteger), GetParam().integerLines);
  EXPECT_EQ(JournalCount("REALSetPropValueColor"), 1);
  for (int64_t y = 0; y < 20; ++y) {
    const bool outline = std::count(GetParam().outlineRows.begin(), GetParam().outlineRows.end(), y) > 0;
    for (int64_t x = 0; x < 7; ++x) {
      const Rgba want = outline && x < GetParam().outlineColumns ? Colour(kOutline) : Colour(y == 10 ? kFore : kBack);
      EXPECT_EQ(qvlhost::PixelColour(picture, x, y), want) << "at (" << x << ", " << y << ")";
    }
  }
}

const qvlhost::Storage kCG = qvlhost::Storage::CG(2);
INSTANTIATE_TEST_SUITE_P(
    Hosts, RenderHostOutline,
    testing::Values(HostOutline{"Before2018r2", 2018.01, {}, kCG, 0, 14, {9, 10, 11}, 7},
                    HostOutline{"Double", 2018.02, {}, kCG, 14, 0, {9, 10, 11}, 7},
                    HostOutline{"DoubleOnGD", 2024.03, {}, qvlhost::Storage::GD(), 14, 0, {8, 9, 10}, 6},
                    HostOutline{"NoDouble", 2024.03, {kDrawLineDouble}, kCG, 0, 14, {9, 10, 11}, 7},
                    HostOutline{"NoDrawLine", 2024.03, {kDrawLineDouble, kDrawLineInteger}, kCG, 0, 0, {}, 0}),
    [](const testing::TestParamInfo<HostOutline>& info) { return std::string(info.param.name); });

struct Refusal {
  const char* name;
  std::vector<uint8_t> bytes;
  int64_t count, width, height, bits;
  const char* exceptionClass;  // null: nothing raised
  const char* message;
  bool picture;
};

class RenderRefusals : public PluginTest, public testing::WithParamInterface<Refusal> {};

// Each refusal with its class and message; an unknown format is nil without
// a word, also when its bytes per sample come to 0. The outline colour is set
// whatever follows.
TEST_P(RenderRefusals, RaiseAndResult) {
  const Refusal& c = GetParam();
  expectException_ = c.exceptionClass != nullptr;
  OwnedMemoryBlock block(c.name == std::string("NilBlock") ? nullptr : BlockOf(c.bytes));
  Call call;
  call.count = c.count, call.width = c.width, call.height = c.height, call.bits = c.bits, call.outlineColor = 0x123456;
  OwnedPicture picture(Render(block, call));
  EXPECT_EQ(picture.get() != nullptr, c.picture);
  REALobjectStruct* pending = qvlhost::PendingException();
  if (!c.exceptionClass) {
    EXPECT_EQ(pending, nullptr);
    return;
  }
  ASSERT_NE(pending, nullptr);
  EXPECT_EQ(qvlhost::ClassName(pending), c.exceptionClass);
  EXPECT_EQ(qvlhost::ExceptionMessage(pending), c.message);
  if (block) {
    EXPECT_EQ(gOutLineColorR * 65536 + gOutLineColorG * 256 + gOutLineColorB, 0x123456);
  }
}

const std::vector<uint8_t> kFourBytes(4, 128);
constexpr const char* kMemory = "Failed to allocate memory.";
constexpr const char* kPicture = "Failed to allocate picture.";
INSTANTIATE_TEST_SUITE_P(
    Cases, RenderRefusals,
    testing::Values(Refusal{"NilBlock", {}, 0, 0, 0, 8, "NilObjectException", "memoryblock is nil", false},
                    Refusal{"NoColumns", {}, 0, 0, 0, 8, "OutOfMemoryException", kPicture, false},
                    // Floats counted from the size: 3 and 9 bytes at -3 bytes a sample.
                    Refusal{"MinusOneColumn", {1, 2, 3}, 0, 0, 0, -32, "OutOfMemoryException", kPicture, false},
                    Refusal{"MinusThreeColumns", std::vector<uint8_t>(9), 0, 0, 0, -32, "OutOfMemoryException", kMemory,
                            false},
                    Refusal{"TooWide", kFourBytes, 0, 32768, 10, 8, "OutOfMemoryException", kPicture, false},
                    Refusal{"TooHigh", kFourBytes, 0, 0, 32768, 8, "OutOfMemoryException", kPicture, false},
                    Refusal{"WidestAndHighest", kFourBytes, 0, 32767, 2, 8, nullptr, nullptr, true},
                    Refusal{"UnknownFormat", kFourBytes, 4, 4, 10, 12, nullptr, nullptr, false},
                    Refusal{"NoBytesPerSample", kFourBytes, 0, 0, 10, -10, nullptr, nullptr, false},
                    Refusal{"NoBytesPerSampleGivenWidth", kFourBytes, 0, 5, 10, 0, nullptr, nullptr, false}),
    [](const testing::TestParamInfo<Refusal>& info) { return std::string(info.param.name); });

// A block over no memory gives no data; a wide outline without a graphics
// object raises and still returns the picture, without its outline.
TEST_F(RenderTest, NoDataAndNoGraphics) {
  expectException_ = true;
  OwnedMemoryBlock pointer(qvlhost::MemoryBlockOverPointer(nullptr));
  Call call;
  call.count = 4;
  EXPECT_EQ(Render(pointer, call), nullptr);
  EXPECT_EQ(qvlhost::ExceptionMessage(qvlhost::PendingException()), "Failed to get data for memoryblock.");
  EXPECT_EQ(qvlhost::ClassName(qvlhost::PendingException()), "UnsupportedOperationException");
  qvlhost::ClearPendingException();

  OwnedMemoryBlock block(ColumnsOf({4, -9, 7}));
  call = Call();
  call.bits = 7;
  OwnedPicture plain(Render(block, call));
  qvlhost::CurrentConfig().hiddenEntries.insert("pluginPictureGraphicsGetter");
  call.outline = 2;
  OwnedPicture unframed(Render(block, call));
  ASSERT_TRUE(plain && unframed);
  EXPECT_TRUE(SamePixels(plain, unframed));
  EXPECT_EQ(qvlhost::ClassName(qvlhost::PendingException()), "OutOfMemoryException");
  EXPECT_EQ(qvlhost::ExceptionMessage(qvlhost::PendingException()), "Failed to get graphics object.");
}

class RegisteredRow : public PluginTest {
 protected:
  void SetUp() override {
    PluginTest::SetUp();
    std::string error;
    ASSERT_TRUE(qvlhost::LoadPlugin(QVL_PLUGIN_PATH, &error)) << error;
  }
};

// The row registered in the built library, called by its declaration with
// and without the defaults, gives what a direct call gives.
TEST_F(RegisteredRow, CalledByDeclarationGivesTheDirectCallsPicture) {
  using qvlhost::TypeKind;
  using qvlhost::Value;
  const std::vector<qvlhost::SurfaceMethod> found = qvlhost::FindMethods("RenderSamplesQVL");
  ASSERT_EQ(found.size(), 1u);
  OwnedMemoryBlock block(ColumnsOf({20, -40, 90, -3, 60}));
  std::vector<Value> arguments = {Value::Handle(TypeKind::MemoryBlock, block.get()),
                                  Value::Integer(0),
                                  Value::Integer(2),
                                  Value::Integer(0),
                                  Value::Integer(64),
                                  Value::Integer(1)};
  Value result;
  std::string error;
  ASSERT_TRUE(qvlhost::CallMethod(found[0], arguments, &result, &error)) << error;
  OwnedPicture byDeclaration(static_cast<REALpictureStruct*>(result.handle));
  OwnedPicture direct(RenderSamples(block, 0, 2, 0, 64, 1, kBack, kFore, kOutline, 8, false));
  EXPECT_TRUE(byDeclaration && direct && SamePixels(byDeclaration, direct));

  arguments.resize(6);  // the call filled in the defaults
  arguments.insert(arguments.end(), {Value::Color(0x102030), Value::Color(0xF0E0D0), Value::Color(0x00FF00),
                                     Value::Integer(7), Value::Boolean(true)});
  ASSERT_TRUE(qvlhost::CallMethod(found[0], arguments, &result, &error)) << error;
  byDeclaration.reset(static_cast<REALpictureStruct*>(result.handle));
  direct.reset(RenderSamples(block, 0, 2, 0, 64, 1, 0x102030, 0xF0E0D0, 0x00FF00, 7, true));
  EXPECT_TRUE(byDeclaration && direct && SamePixels(byDeclaration, direct));
}

}  // namespace
