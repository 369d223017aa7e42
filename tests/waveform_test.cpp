// Waveforms from memory blocks, with both outlines and the refusals; the
// antialiased line's walk, weights and clipping.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "plugin_loader.h"
#include "support/every_pixel.h"
#include "support/plugin_test.h"
#include "support/surface_access.h"
#include "waveform/lines.h"
#include "waveform/render_samples.h"

namespace {

using qvlhost::OwnedMemoryBlock;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;

constexpr uint32_t kBack = 0x88B5C4, kFore = 0x274C5A, kOutline = 0x203F4E;
constexpr const char* kDrawLineDouble = "DrawLine( x1 as Double, y1 as Double, x2 as Double, y2 as Double )";
constexpr const char* kDrawLineInteger = "DrawLine( x1 as Integer, y1 as Integer, x2 as Integer, y2 as Integer )";

Rgba Colour(uint32_t c) { return {uint8_t(c >> 16), uint8_t(c >> 8), uint8_t(c), 255}; }

template <class T>
REALmemoryBlockStruct* BlockOf(const std::vector<T>& elements, size_t bytes = SIZE_MAX) {
  bytes = std::min(bytes, elements.size() * sizeof(T));
  REALmemoryBlockStruct* block = qvlhost::NewMemoryBlock(int64_t(bytes));
  if (bytes) std::memcpy(qvlhost::MemoryBlockData(block), elements.data(), bytes);
  return block;
}

// Signed 8-bit columns of four samples each, all of one value.
std::vector<int8_t> ColumnsOf(const std::vector<int8_t>& values) {
  std::vector<int8_t> samples;
  for (int8_t v : values) samples.insert(samples.end(), 4, v);
  return samples;
}

// The arguments in the order RenderSamples takes them, colours last.
struct Call {
  int64_t count = 0, smooth = 1, width = 0, height = 200, outline = 0, bits = 7;
  bool autoScale = false;
  uint32_t outlineColor = kOutline;
};

REALpictureStruct* Render(REALmemoryBlockStruct* block, const Call& c) {
  return RenderSamples(block, c.count, c.smooth, c.width, c.height, c.outline, kBack, kFore, c.outlineColor, c.bits,
                       c.autoScale);
}

using Span = std::pair<int64_t, int64_t>;

// Each column's rows in the fore colour, one span ({-1, -1} for none); every
// other pixel must be background, and the row padding as made.
std::vector<Span> BodyOf(REALpictureStruct* picture) {
  const int64_t width = qvlhost::PictureWidth(picture), height = qvlhost::PictureHeight(picture);
  const auto padding = qvlhost::FreshRowPadding(qvlhost::CurrentConfig().extraBytesPerRow);
  for (int64_t y = 0; qvlhost::PictureStorage(picture).kind == qvlhost::Storage::CoreGraphics && y < height; ++y)
    EXPECT_EQ(qvlhost::RowPadding(picture, y), padding) << "row " << y;
  std::vector<Span> spans;
  for (int64_t x = 0; x < width; ++x) {
    Span span{-1, -1};
    for (int64_t y = 0; y < height; ++y) {
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

class RenderLayouts : public LayoutTest {};

// Each format's half-waves (+0.252 and -0.378 of full scale) give rows 12 to
// 75, a 10 31.5 rows; not-a-number spans row 0 to the middle. Width 0 is a
// column a sample, Height 0 is 500 rows. At every vector level.
TEST_P(RenderLayouts, BodiesByFormatSizeSmoothingAndAutoScale) {
  const std::vector<int8_t> rising = ColumnsOf({0, 10, 10, 10}), four(4, 10), loud = ColumnsOf({3, 10, -10});
  const std::vector<Span> halves = {{12, 75}, {50, 50}}, none = {{100, 100}, {100, 131}, {100, 131}, {100, 131}};
  std::vector<Span> alternate;
  for (int i = 0; i < 4; ++i) alternate.insert(alternate.end(), {{0, 100}, {100, 131}});
  std::vector<int8_t> mixed;  // 37 columns of 0, 10 and -10
  std::vector<Span> mixedSpans;
  for (int x = 0; x < 37; ++x) {
    mixed.insert(mixed.end(), 4, int8_t(x % 3 == 0 ? 0 : x % 3 == 1 ? 10 : -10));
    mixedSpans.push_back(x % 3 == 0 ? Span{100, 100} : x % 3 == 1 ? Span{100, 131} : Span{68, 100});
  }
  const struct {
    REALmemoryBlockStruct* samples;
    Call call;
    std::vector<Span> spans;
  } cases[] = {
      {BlockOf(std::vector<uint8_t>{160, 80, 160, 80, 128, 128, 128, 128}), {8, 1, 2, 100, 0, 8}, halves},
      {BlockOf(std::vector<int8_t>{32, -48, 32, -48, 0, 0, 0, 0}), {8, 1, 2, 100, 0, 7}, halves},
      {BlockOf(std::vector<uint16_t>{41024, 20384, 41024, 20384, 32768, 32768, 32768, 32768}),
       {8, 1, 2, 100, 0, 16},
       halves},
      {BlockOf(std::vector<int16_t>{8256, -12384, 8256, -12384, 0, 0, 0, 0}), {8, 1, 2, 100, 0, 15}, halves},
      {BlockOf(std::vector<float>{0.252f, -0.378f, 0.252f, -0.378f, 0, 0, 0, 0}), {8, 1, 2, 100, 0, -32}, halves},
      {BlockOf(std::vector<double>{0.252, -0.378, 0.252, -0.378, 0, 0, 0, 0}), {8, 1, 2, 100, 0, -64}, halves},
      {BlockOf(rising), {0, 1, 4}, none},
      {BlockOf(rising), {0, 1, 1}, {{100, 123}}},  // twice the mean of 12 tens in 16 samples
      {BlockOf(rising), {0, -2, 4}, none},
      {BlockOf(rising), {0, INT64_MAX, 4}, none},
      {BlockOf(rising), {0, 0, 4}, {{100, 100}, {100, 162}, {100, 100}, {100, 162}}},
      {BlockOf(rising), {0, 3, 4}, {{100, 100}, {100, 115}, {100, 123}, {100, 127}}},
      {BlockOf(rising), {0, -1, 4}, std::vector<Span>(4, {0, 100})},
      {BlockOf(four), {4, -2, 8}, alternate},
      {BlockOf(four), {4, 1, 8}, std::vector<Span>(8, {0, 100})},
      {BlockOf(loud), {0, 1, 3, 200, 0, 7, true}, {{100, 130}, {100, 199}, {0, 100}}},
      {BlockOf(std::vector<int8_t>(3, 0)), {0, 1, 3, 200, 0, 7, true}, std::vector<Span>(3, {0, 100})},
      {BlockOf(std::vector<int8_t>(6, -128)), {0, 1, 0, 0, 0, 8}, std::vector<Span>(6, {250, 250})},
      {BlockOf(std::vector<int8_t>(6, -128)), {0, 1, 0, 1, 0, 8}, std::vector<Span>(6, {0, 0})},
      {BlockOf(mixed), {0, 1, 37}, mixedSpans},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "bits " << c.call.bits << ", smooth " << c.call.smooth << ", width "
                                    << c.call.width);
    OwnedMemoryBlock block(c.samples);
    for (VectorLevel level : kEveryVectorLevel) {
      CapVectorLevel(level);
      OwnedPicture picture(Render(block, c.call));
      EXPECT_EQ(BodyOf(picture), c.spans) << NameOf(level);
    }
  }
}

// An outline of 1 pixel passes through each column's ends (its green and blue
// are equal, so blending keeps it); with ends far off the picture (Smooth -1)
// neither outline draws beyond the rows.
TEST_P(RenderLayouts, OutlinePassesThroughEachEndAndStaysInTheRows) {
  OwnedMemoryBlock block(BlockOf(ColumnsOf({0, 10, 20, 10, 0, 0, 0})));
  OwnedPicture picture(Render(block, {0, 1, 7, 200, 1, 7, false, 0x204040}));
  const int64_t highRows[] = {100, 131, 162, 131, 100, 100, 100};
  for (int64_t x = 0; x < 7; ++x) {
    EXPECT_EQ(qvlhost::PixelColour(picture, x, 100), Colour(0x204040)) << x;
    EXPECT_EQ(qvlhost::PixelColour(picture, x, highRows[x]), Colour(0x204040)) << x;
    EXPECT_EQ(qvlhost::PixelColour(picture, x, 0), Colour(kBack)) << x;
  }
  EXPECT_EQ(qvlhost::PixelColour(picture, 6, 99), Colour(kBack));
  EXPECT_EQ(qvlhost::PixelColour(picture, 6, 101), Colour(kBack));
  for (int64_t outline : {1, 3}) {
    OwnedPicture farOff(Render(block, {0, -1, 7, 200, outline}));
    EXPECT_EQ(qvlhost::PixelColour(farOff, 2, 199), Colour(kBack));
    for (int64_t y = 0; GetParam().kind == qvlhost::Storage::CoreGraphics && y < 200; ++y)
      EXPECT_EQ(qvlhost::RowPadding(farOff, y), qvlhost::FreshRowPadding(kRowPadding)) << "row " << y;
  }
}

// Beyond the block, also in the middle of an element, samples read as zero.
TEST_P(RenderLayouts, ReadsBeyondTheBlockGiveZero) {
  for (auto [bits, size] : {std::pair{8, 1}, {7, 3}, {16, 4}, {15, 1}, {15, 5}, {-32, 6}, {-64, 0}, {-64, 11}}) {
    std::vector<uint8_t> completed(32);  // the block's bytes, then zeroes
    for (int i = 0; i < size; ++i) completed[size_t(i)] = uint8_t(0x35 + 37 * i);
    SCOPED_TRACE(testing::Message() << "bits " << bits << ", bytes " << size);
    OwnedMemoryBlock shortBlock(BlockOf(completed, size_t(size))), fullBlock(BlockOf(completed));
    const Call call{4, 1, 3, 60, 0, bits, true};  // scaled, so that a partial element shows
    OwnedPicture fromShort(Render(shortBlock, call)), fromFull(Render(fullBlock, call));
    ExpectSamePicture(fromShort, fromFull);
  }
  OwnedMemoryBlock tiny(BlockOf(std::vector<uint8_t>{0x35, 0x5A}));
  OwnedPicture picture(Render(tiny, {int64_t(1) << 50, 1, 4, 200, 0, 16}));
  EXPECT_EQ(BodyOf(picture), std::vector<Span>(4, {0, 100}));
}

QVL_INSTANTIATE_LAYOUTS(RenderLayouts);

using RenderTest = PluginTest;

// Each refusal as "class: message", the outline colour set once the block is
// there; without a graphics object a wide outline raises, the picture stays.
TEST_F(RenderTest, Refusals) {
  expectException_ = true;
  const std::vector<uint8_t> four(4, 128);
  const std::string memory = "OutOfMemoryException: Failed to allocate memory.",
                    picture = "OutOfMemoryException: Failed to allocate picture.";
  const struct {
    const char* name;
    REALmemoryBlockStruct* samples;
    int64_t count, width, height, bits;
    std::string raised;
    bool picture;
  } cases[] = {
      {"nil block", nullptr, 0, 0, 0, 8, "NilObjectException: memoryblock is nil", false},
      {"over no memory", qvlhost::MemoryBlockOverPointer(nullptr), 4, 0, 0, 8,
       "UnsupportedOperationException: Failed to get data for memoryblock.", false},
      {"no columns", BlockOf(std::vector<uint8_t>()), 0, 0, 0, 8, picture, false},
      // Floats counted from the size: 3, 6 and 9 bytes at -3 bytes a sample.
      {"-1 column", BlockOf(std::vector<uint8_t>(3)), 0, 0, 0, -32, picture, false},
      {"-2 columns", BlockOf(std::vector<uint8_t>(6)), 0, 0, 0, -32, picture, false},
      {"-3 columns", BlockOf(std::vector<uint8_t>(9)), 0, 0, 0, -32, memory, false},
      {"too wide", BlockOf(four), 0, 32768, 10, 8, picture, false},
      {"too high", BlockOf(four), 0, 0, 32768, 8, picture, false},
      {"widest and highest", BlockOf(four), 0, 32767, 2, 8, "", true},
      {"unknown format", BlockOf(four), 4, 4, 10, 12, "", false},
      {"no bytes a sample", BlockOf(four), 0, 0, 10, -10, "", false},
      {"no bytes a sample, width given", BlockOf(four), 0, 5, 10, 0, "", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    OwnedMemoryBlock block(c.samples);
    OwnedPicture result(Render(block, {c.count, 1, c.width, c.height, 0, c.bits, false, 0x123456}));
    EXPECT_EQ(result.get() != nullptr, c.picture);
    EXPECT_EQ(TakePendingException(), c.raised);
    EXPECT_TRUE(!c.samples || gOutLineColorR * 65536 + gOutLineColorG * 256 + gOutLineColorB == 0x123456);
  }
  OwnedMemoryBlock block(BlockOf(ColumnsOf({4, -9, 7})));
  OwnedPicture plain(Render(block, Call()));
  qvlhost::CurrentConfig().hiddenEntries.insert("pluginPictureGraphicsGetter");
  OwnedPicture unframed(Render(block, {0, 1, 0, 200, 2}));
  ExpectSamePicture(unframed, plain);
  EXPECT_EQ(TakePendingException(), "OutOfMemoryException: Failed to get graphics object.");
  expectException_ = false;
}

// Silence at a pen of 3, shifted up and left by 1: the host's walk hangs the
// pen below and right of the line, gd centres it. The pen and DrawLine as the
// host version and what the host takes allow.
TEST_F(RenderTest, OutlineDrawnByTheHost) {
  const qvlhost::Storage cg = qvlhost::Storage::CG(2), gd = qvlhost::Storage::GD();
  const std::string integerPen = R"(Integer "PenHeight", 3; Integer "PenWidth", 3)",
                    doublePen = R"(Double "PenSize", 3; Double "PenSize", 3)",
                    sidesPen =
                        R"(Double "PenSize", 3; Double "PenHeight", 3; Double "PenSize", 3; Double "PenWidth", 3)",
                    noPen = R"(Double "PenSize", 3; Double "PenHeight", 3; Integer "PenHeight", 3; )"
                            R"(Double "PenSize", 3; Double "PenWidth", 3; Integer "PenWidth", 3)";
  const std::set<std::string> noLines = {kDrawLineDouble, kDrawLineInteger},
                              allPens = {"PenSize", "PenWidth", "PenHeight"};
  const struct {
    double version;
    qvlhost::Storage storage;
    std::set<std::string> hiddenMethods, failingProperties, hiddenEntries;
    std::string penCalls;
    int64_t doubleLines, integerLines;
    std::vector<int64_t> outlineRows;  // rows that the outline covers
    int64_t outlineColumns;            // in the columns from 0 up to this
  } cases[] = {
      {2018.01, cg, {}, {}, {}, integerPen, 0, 14, {9, 10, 11}, 7},
      {2018.02, cg, {}, {}, {}, doublePen, 14, 0, {9, 10, 11}, 7},
      {2024.03, gd, {}, {}, {}, doublePen, 14, 0, {8, 9, 10}, 6},
      {2024.03, cg, {kDrawLineDouble}, {}, {}, doublePen, 0, 14, {9, 10, 11}, 7},
      {2024.03, cg, noLines, {}, {}, doublePen, 0, 0, {}, 0},
      {2020.0, cg, {}, {"PenSize"}, {}, sidesPen, 14, 0, {9, 10, 11}, 7},
      {2020.0, cg, {}, {}, {"REALSetPropValueDouble"}, integerPen, 14, 0, {9, 10, 11}, 7},
      {2020.0, cg, {}, allPens, {}, noPen, 14, 0, {9}, 6},  // a pen of 1
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.version << " " << c.storage.Name() << " " << c.penCalls);
    qvlhost::Config host = HostWith(c.version, c.storage);
    host.hiddenMethods = c.hiddenMethods;
    host.failingProperties = c.failingProperties;
    host.hiddenEntries = c.hiddenEntries;
    Rehost(host);
    OwnedMemoryBlock block(BlockOf(std::vector<uint8_t>(7, 128)));
    OwnedPicture picture(Render(block, {0, 1, 0, 20, 3, 8}));
    ASSERT_NE(picture.get(), nullptr);
    EXPECT_EQ(JournalCount(kDrawLineDouble), c.doubleLines);
    EXPECT_EQ(JournalCount(kDrawLineInteger), c.integerLines);
    std::string calls;  // the properties set on the graphics object
    for (const qvlhost::JournalEntry& entry : qvlhost::Journal()) {
      const std::string setter = "REALSetPropValue";
      if (entry.entry.rfind(setter, 0) == 0 && entry.detail.find("Resolution") == std::string::npos)
        calls += (calls.empty() ? "" : "; ") + entry.entry.substr(setter.size()) + " " + entry.detail;
    }
    EXPECT_EQ(calls, R"(Color "ForeColor", 2113358; )" + c.penCalls);
    for (int64_t y = 0; y < 20; ++y) {
      const bool outline = std::count(c.outlineRows.begin(), c.outlineRows.end(), y) > 0;
      for (int64_t x = 0; x < 7; ++x) {
        const Rgba want = outline && x < c.outlineColumns ? Colour(kOutline) : Colour(y == 10 ? kFore : kBack);
        EXPECT_EQ(qvlhost::PixelColour(picture, x, y), want) << "at (" << x << ", " << y << ")";
      }
    }
  }
}

// The built library's row, called by its declaration, fills in the defaults.
TEST_F(RenderTest, RegisteredRowFillsInTheDefaults) {
  using qvlhost::Value;
  std::string error;
  ASSERT_TRUE(qvlhost::LoadPlugin(QVL_PLUGIN_PATH, &error)) << error;
  OwnedMemoryBlock block(BlockOf(ColumnsOf({20, -40, 90, -3, 60})));
  const auto integer = Value::Integer;
  const Value samples = Value::Handle(qvlhost::TypeKind::MemoryBlock, block.get());
  const Value result = CallSurfaceMethod("RenderSamplesQVL", false,
                                         {samples, integer(0), integer(2), integer(0), integer(64), integer(1)});
  OwnedPicture byDeclaration(static_cast<REALpictureStruct*>(result.handle));
  OwnedPicture direct(RenderSamples(block, 0, 2, 0, 64, 1, kBack, kFore, kOutline, 8, false));
  ExpectSamePicture(byDeclaration, direct);
}

using Weights = std::map<std::pair<int64_t, int64_t>, int>;  // left at each pixel a line touched

// A writer on a white picture with a black outline colour: a pixel drawn once
// at weight w reads w in every channel. Nothing is written beyond the rows.
class LineTest : public LayoutTest {
 protected:
  void SetUp() override {
    LayoutTest::SetUp();
    ASSERT_TRUE(writer_.NewPictureWriter(kSide, kSide));
    gOutLineColorR = gOutLineColorG = gOutLineColorB = 0;
  }

  void TearDown() override {
    for (int64_t y = 0; GetParam().kind == qvlhost::Storage::CoreGraphics && y < kSide; ++y)
      EXPECT_EQ(qvlhost::RowPadding(writer_.picture, y), qvlhost::FreshRowPadding(kRowPadding)) << "row " << y;
    writer_.clear();
    LayoutTest::TearDown();
  }

  void Fill(Rgba colour) {
    for (int64_t i = 0; i < kSide * kSide; ++i) qvlhost::SetPixelRgba(writer_.picture, i % kSide, i / kSide, colour);
  }

  // Every pixel against the expected weights, 255 elsewhere.
  void ExpectWeights(const Weights& expected) {
    for (int64_t i = 0; i < kSide * kSide; ++i) {
      const auto found = expected.find({i % kSide, i / kSide});
      const auto want = uint8_t(found == expected.end() ? 255 : found->second);
      EXPECT_EQ(qvlhost::PixelRgba(writer_.picture, i % kSide, i / kSide), (Rgba{want, want, want, 255})) << i;
    }
  }

  static constexpr int64_t kSide = 12;
  PictureWriter writer_;
};

TEST_P(LineTest, EachCaseWalksItsPixels) {
  const struct {
    const char* name;
    int64_t x0, y0, x1, y1;
    Weights weights;
  } cases[] = {
      // clang-format off
      {"a point is one pixel", 3, 3, 3, 3, {{{3, 3}, 0}}},
      {"horizontal, leftward", 5, 2, 2, 2, {{{5, 2}, 0}, {{4, 2}, 0}, {{3, 2}, 0}, {{2, 2}, 0}}},
      {"vertical, given downward", 1, 4, 1, 1, {{{1, 1}, 0}, {{1, 2}, 0}, {{1, 3}, 0}, {{1, 4}, 0}}},
      {"exact diagonal, no pairs", 2, 2, 3, 3, {{{2, 2}, 0}, {{3, 3}, 0}}},
      {"y-major, one pass: 128 and 127", 2, 1, 3, 3, {{{2, 1}, 0}, {{2, 2}, 128}, {{3, 2}, 127}, {{3, 3}, 0}}},
      {"y-major leftward: the pair lies left", 6, 1, 5, 3, {{{6, 1}, 0}, {{6, 2}, 128}, {{5, 2}, 127}, {{5, 3}, 0}}},
      // adjust 43690: the second pass turns the accumulator over to 21844,
      // so y moves and the main pixel gets 85 and its pair 170.
      {"x-major with a turn-over", 1, 1, 4, 3,
       {{{1, 1}, 0}, {{2, 1}, 170}, {{2, 2}, 85}, {{3, 2}, 85}, {{3, 3}, 170}, {{4, 3}, 0}}},
      {"x-major leftward: the pair still lies below", 4, 1, 1, 3,
       {{{4, 1}, 0}, {{3, 1}, 170}, {{3, 2}, 85}, {{2, 2}, 85}, {{2, 3}, 170}, {{1, 3}, 0}}},
      // dy of 40000 reads -25536 in 16 bits: the signed test makes it
      // x-major, and with one column it goes straight to the far end.
      {"a steep line whose dy wraps", 0, 0, 1, 40000, {{{0, 0}, 0}}},
      // Only the far end of a line given downward is narrowed to 16 bits:
      // there the last pixel lands in the picture, while the same line given
      // upward ends 65536 columns away. The walk is the same, as dx wraps alike.
      {"given downward, the far end narrowed", 65540, 4, 2, 1,
       {{{2, 1}, 0}, {{2, 2}, 170}, {{3, 2}, 85}, {{3, 3}, 85}, {{4, 3}, 170}, {{4, 4}, 0}}},
      {"given upward, the far end kept", 2, 1, 65540, 4,
       {{{2, 1}, 0}, {{2, 2}, 170}, {{3, 2}, 85}, {{3, 3}, 85}, {{4, 3}, 170}}},
      {"partly off the picture", -3, 2, 4, 2, {{{0, 2}, 0}, {{1, 2}, 0}, {{2, 2}, 0}, {{3, 2}, 0}, {{4, 2}, 0}}},
      {"wholly off, right and below", 20, -5, 30, 40, {}},
      {"wholly off, left", -40, 3, -1, 8, {}},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Fill({255, 255, 255, 255});
    DrawWuLine(writer_, c.x0, c.y0, c.x1, c.y1);
    ExpectWeights(c.weights);
  }
}

// Ends far off the picture, in 16 bits and beyond, end the walk.
TEST_P(LineTest, LinesFarOffTheRowsEndAndTouchNothingOutside) {
  const int64_t extremes[] = {INT64_MIN, INT64_MIN + 1, -70000, -1, kSide, 70000, INT64_MAX};
  for (int64_t a : extremes) {
    for (int64_t b : extremes) {
      DrawWuLine(writer_, a, 5, b, 6);
      DrawWuLine(writer_, 5, a, 6, b);
      DrawWuLine(writer_, a, b, b, a);
    }
  }
  for (auto [x, y] : {std::pair<int64_t, int64_t>{-1, 0}, {0, kSide}, {kSide, 0}}) DrawPixel(writer_, x, y, 0);
}

// The new green comes from the old blue and the new blue from the old green;
// at weight 128, red is (10 * 128 + 100 * 127) / 255, and so on.
TEST_P(LineTest, DrawPixelCrossesGreenAndBlue) {
  Fill({10, 200, 50, 255});
  gOutLineColorR = 100;
  gOutLineColorG = 30;
  gOutLineColorB = 60;
  for (auto [x, weight, want] :
       {std::tuple{0, 255, Rgba{10, 50, 200, 255}}, {1, 0, Rgba{100, 30, 60, 255}}, {2, 128, Rgba{54, 40, 130, 255}}}) {
    DrawPixel(writer_, x, 0, weight);
    EXPECT_EQ(qvlhost::PixelRgba(writer_.picture, x, 0), want) << "weight " << weight;
  }
  EXPECT_EQ(qvlhost::PixelRgba(writer_.picture, 3, 0), (Rgba{10, 200, 50, 255}));
  // Every weight on channels at the ends of their range, where the three
  // products, worked in one word, come nearest to each other's bits.
  for (uint32_t weight = 0; weight < 256; ++weight) {
    for (uint8_t v : {0, 1, 128, 254, 255}) {
      const auto blend = [&](uint32_t old, uint32_t outline) {
        return uint8_t((old * weight + outline * (255 - weight)) / 255);
      };
      qvlhost::SetPixelRgba(writer_.picture, 4, 0, Rgba{v, uint8_t(255 - v), v, 255});
      DrawPixel(writer_, 4, 0, weight);
      ASSERT_EQ(qvlhost::PixelRgba(writer_.picture, 4, 0), (Rgba{blend(v, 100), blend(v, 30), blend(255 - v, 60), 255}))
          << "weight " << weight << ", value " << int(v);
    }
  }
}

QVL_INSTANTIATE_LAYOUTS(LineTest);

}  // namespace
