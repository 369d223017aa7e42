// Colour counting, the uniformity tests, colourness and the sub-picture
// search at every vector level, and in-place scrolling against the rules
// applied to a copy of the memory, in all seven layouts.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "analysis/counting.h"
#include "analysis/search.h"
#include "analysis/uniformity.h"
#include "registrationclient/registration_check.h"
#include "scroll/scroll.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedMemoryBlock;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;

class Analysis : public LayoutTest {};

uint32_t Counter(REALmemoryBlockStruct* block, int entry) {
  uint32_t value;
  std::memcpy(&value, qvlhost::MemoryBlockData(block) + entry * 4, 4);
  return value;
}

// CountColorQVL matches the colour alone. The histograms count red, green,
// blue in the blocks named red, blue, green, made when nil, else added to.
TEST_P(Analysis, CountsAndHistogramsInCrossedOrder) {
  OwnedPicture picture(PaintedPicture(4, 3, [](int64_t x, int64_t y) {
    if (x + y == 0) return Rgba{10, 20, 31, 255};
    if (x == 1 && y == 1) return Rgba{10, 20, 30, 0};  // alpha is not looked at
    return x == 3 && y == 2 ? Rgba{200, 100, 50, 255} : Rgba{10, 20, 30, 255};
  }));
  EXPECT_EQ(std::vector<int64_t>({CountColorQVL(picture, 0x0A141E), CountColorQVL(picture, 0xFF0A141E),
                                  CountColorQVL(picture, 0x0A141F), CountColorQVL(picture, 0xC86432),
                                  CountColorQVL(picture, 0x1E140A)}),
            std::vector<int64_t>({10, 10, 1, 1, 0}));
  REALmemoryBlockStruct *first = nullptr, *second = nullptr, *third = nullptr;
  int64_t count = 0;
  CountColorsQVL(picture, &first, &second, &third, &count);
  OwnedMemoryBlock a(first), b(second), c(third);
  ASSERT_TRUE(first && second && third);
  EXPECT_EQ(qvlhost::MemoryBlockSize(first), 1024);
  EXPECT_EQ(count, 12);
  EXPECT_EQ(std::vector<uint32_t>({Counter(first, 10), Counter(first, 200), Counter(second, 20), Counter(second, 100),
                                   Counter(third, 30), Counter(third, 50)}),
            std::vector<uint32_t>({11, 1, 11, 1, 10, 1}));
  const uint32_t wrapping = 0xFFFFFFFFu;  // unsigned counters wrap
  std::memcpy(qvlhost::MemoryBlockData(first) + 200 * 4, &wrapping, 4);
  CountColorsQVL(picture, &first, &second, &third, &count);
  EXPECT_EQ(Counter(first, 10), 22u);
  EXPECT_EQ(Counter(first, 200), 0u);
  EXPECT_EQ(Counter(third, 30), 20u);

  // Counters beyond a block shorter than 1024 bytes are dropped.
  OwnedPicture reds(PaintedPicture(3, 1, [](int64_t x, int64_t) { return Opaque(x ? 200 : 2, 3, 3); }));
  OwnedMemoryBlock shortBlock(qvlhost::NewMemoryBlock(14));
  REALmemoryBlockStruct* shortFirst = shortBlock;
  CountColorsQVL(reds, &shortFirst, &second, &third, &count);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(Counter(shortBlock, 2), 1u);
  EXPECT_EQ(Counter(second, 3), 3u);
}

// One colour filling a picture: what the uniformity tests answer (the grey
// tolerance without its sign), and its colourness at a threshold.
TEST_P(Analysis, AnswersOfOneColour) {
  const struct {
    Rgba colour;
    bool black, white, grey0, grey1, grey2;
    int64_t threshold;
    double colourness;
  } cases[] = {
      {{0, 0, 0, 255}, true, false, true, true, true, -5, 0.0},
      {{0, 0, 0, 0}, true, false, true, true, true, 10, 0.0},  // alpha is not looked at
      {{1, 0, 0, 255}, false, false, false, true, true, 0, 0.0},
      {{0, 0, 1, 0}, false, false, false, true, true, 0, 0.0},
      {{255, 255, 255, 255}, false, true, true, true, true, 0, 0.0},
      {{255, 254, 255, 255}, false, false, false, true, true, 0, 1.0},
      {{10, 10, 11, 255}, false, false, false, true, true, 0, 0.0},
      {{10, 12, 11, 255}, false, false, false, false, true, 0, 0.0},
      {{100, 100, 98, 255}, false, false, false, false, true, 1, 1.0},
      {{255, 0, 0, 255}, false, false, false, false, false, 10, 1.0},
      {{29, 0, 29, 255}, false, false, false, false, false, 10, 0.0},   // dark, whatever its hue
      {{29, 29, 30, 255}, false, false, false, true, true, 0, 1.0},     // not dark: blue reaches 30
      {{30, 40, 30, 255}, false, false, false, false, false, 10, 0.0},  // exactly 10 apart is not above
      {{30, 41, 30, 255}, false, false, false, false, false, 10, 1.0},
      {{30, 20, 30, 255}, false, false, false, false, false, 10, 0.0},
      {{30, 19, 30, 255}, false, false, false, false, false, 10, 1.0},
      {{40, 30, 50, 0}, false, false, false, false, false, 10, 1.0},
      {{200, 100, 0, 255}, false, false, false, false, false, 100, 0.0},  // red and blue are not compared
      {{50, 50, 50, 255}, false, false, true, true, true, -5, 1.0},       // a negative threshold: all that is not dark
      {{30, 40, 30, 255}, false, false, false, false, false, (int64_t(1) << 32) + 10, 0.0},  // its low 32 bits
      {{50, 50, 50, 255}, false, false, true, true, true, INT32_MIN, 1.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.colour));
    OwnedPicture picture(SolidPicture(3, 2, c.colour));
    EXPECT_EQ(std::vector<bool>({isBlack2(picture), isWhite2(picture), isGray2(picture, 0), isGray2(picture, 1),
                                 isGray2(picture, -1), isGray2(picture, 2), isGray2(picture, INT64_MIN)}),
              std::vector<bool>({c.black, c.white, c.grey0, c.grey1, c.grey1, c.grey2, true}));
    EXPECT_EQ(ColornessQVL(picture, c.threshold), c.colourness) << c.threshold;
  }
  OwnedPicture picture(PaintedPicture(5, 3, [](int64_t x, int64_t y) {
    return x == 4 || y == 1 ? Rgba{0, 200, 0, 255} : Rgba{90, 90, 90, 255};
  }));
  EXPECT_DOUBLE_EQ(ColornessQVL(picture, 10), 7.0 / 15.0);
}

TEST_P(Analysis, RectangleRules) {
  OwnedPicture picture(PaintedPicture(6, 5, [](int64_t x, int64_t y) {  // white, one black pixel at (2, 2)
    return x == 2 && y == 2 ? Rgba{0, 0, 0, 255} : Rgba{255, 255, 255, 255};
  }));
  const struct {
    int64_t left, top, width, height;
    bool white;
  } cases[] = {
      {0, 0, -1, -1, false},      {0, 0, 3, 3, false},          {2, 2, 1, 1, false},
      {-1, -1, 3, 3, true},  // right = 3 + (-1) = 2: columns 0 and 1 only
      {-1, -1, 4, 4, false},      {3, 0, -1, -1, true},         {2, 0, -1, 2, true},
      {0, 3, -1, -1, true},       {0, 0, 2, -1, true},          {0, 0, 0, 0, true},
      {6, 0, 2, 2, true},         {0, 5, 2, 2, true},           {-5, 0, 3, 5, true},
      {0, INT64_MAX, 3, 3, true}, {INT64_MAX, 0, 10, 10, true}, {-10, -10, 100, 100, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(isWhite(picture, c.left, c.top, c.width, c.height), c.white)
        << c.left << "," << c.top << "," << c.width << "," << c.height;
  }
  EXPECT_TRUE(isBlack(picture, 2, 2, 1, 1));  // the other tests share the frame
  EXPECT_FALSE(isBlack(picture, 1, 2, 2, 1));
}

// The answers of every read-only operation that has vector rows, as numbers.
std::vector<double> Answers(REALpictureStruct* noisy, const std::vector<OwnedPicture>& nearlySolid) {
  const int64_t width = qvlhost::PictureWidth(noisy), height = qvlhost::PictureHeight(noisy);
  std::vector<double> answers;
  for (int64_t x : {0, 17, 150, 299}) {  // colours found in the picture, and black
    const Rgba c = qvlhost::PixelRgba(noisy, x, x % height);
    answers.push_back(double(CountColorQVL(noisy, x ? c.r << 16 | c.g << 8 | c.b : 0)));
  }
  for (int64_t threshold : std::vector<int64_t>{INT32_MIN, -1, 0, 1, 10, 100, 254, 255, 256})
    answers.push_back(ColornessQVL(noisy, threshold));
  for (REALpictureStruct* picture : nearlySolid) {
    answers.insert(answers.end(),
                   {double(isBlack2(picture)), double(isWhite2(picture)), double(isGray2(picture, 0)),
                    double(isGray2(picture, -2)), double(isGray2(picture, 3)), double(isGray2(picture, 4)),
                    double(isWhite(picture, 1, 0, 140, 2)), double(isWhite(picture, 1, 0, 290, 2))});
  }
  // The needle: one or two pixels from the picture's last row.
  for (int64_t needleWidth : {1, 2}) {
    OwnedPicture needle(PaintedPicture(
        needleWidth, 1, [&](int64_t x, int64_t) { return qvlhost::PixelRgba(noisy, width - 3 + x, height - 1); }));
    for (int64_t tolerance : {1, 2, 3, 40}) {
      int64_t x = 0, y = 0;
      answers.insert(answers.end(),
                     {double(FindPicture(noisy, needle, &x, &y, 3, 0, tolerance)), double(x), double(y)});
    }
  }
  return answers;
}

// Rows of several of the widest vectors and a tail: noise whose channels lie
// about the rules' boundaries, and solid rows with an odd pixel anywhere.
TEST_P(Analysis, EveryLevelAnswersAsTheRule) {
  const uint8_t near[] = {0, 1, 28, 29, 30, 31, 40, 41, 99, 100, 101, 109, 110, 111, 128, 131, 200, 254, 255};
  std::mt19937 random(GetParam().alphaInfo + 1);
  const auto channel = [&] { return random() % 4 ? near[random() % sizeof near] : Byte(random()); };
  const auto pixel = [&](int64_t, int64_t) { return Rgba{channel(), channel(), channel(), Byte(random())}; };
  OwnedPicture noisy(PaintedPicture(300, 3, pixel));
  std::vector<OwnedPicture> nearlySolid;
  const Rgba solids[] = {{0, 0, 0, 255}, {255, 255, 255, 9}, {90, 90, 90, 255}};
  const Rgba odd[] = {{0, 0, 1, 255}, {0, 1, 0, 255}, {255, 254, 255, 9}, {90, 93, 90, 255}, {90, 96, 90, 255}};
  for (const Rgba& solid : solids) {
    for (const Rgba& other : odd) {
      for (int64_t at : {-1, 0, 15, 16, 31, 63, 64, 100, 127, 128, 149, 255, 256, 257, 299}) {
        nearlySolid.emplace_back(
            PaintedPicture(300, 2, [&](int64_t x, int64_t y) { return x == at && y == 1 ? other : solid; }));
      }
    }
  }
  CapVectorLevel(VectorLevel::Portable);
  const std::vector<double> rule = Answers(noisy, nearlySolid);
  for (VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    EXPECT_EQ(Answers(noisy, nearlySolid), rule) << NameOf(level);
  }
}

using Position = std::pair<int64_t, int64_t>;
const Position kNotFound{-1, -1};
constexpr int64_t kWidth = 10, kHeight = 8;  // the haystack; a 2 x 2 needle has maxX 8, maxY 6

// The needle's four pixels, none of them near a background pixel.
const Rgba kNeedle[2][2] = {{{200, 10, 10, 255}, {10, 200, 10, 255}}, {{10, 10, 200, 255}, {200, 200, 10, 255}}};

// The needle's first rows planted with their top left corner at (x, y).
struct Plant {
  int64_t x, y, rows = 2;
};

REALpictureStruct* Haystack(const std::vector<Plant>& plants) {
  return PaintedPicture(kWidth, kHeight, [&](int64_t x, int64_t y) {
    for (const Plant& p : plants) {
      if (x >= p.x && x < p.x + 2 && y >= p.y && y < p.y + p.rows) return kNeedle[y - p.y][x - p.x];
    }
    return Opaque(x * 5, y * 5, 100);
  });
}

// The needle in the next Core Graphics layout (RGBA against ARGB), or in gd.
REALpictureStruct* Needle(int64_t width = 2, int64_t height = 2) {
  qvlhost::Storage own = qvlhost::CurrentConfig().storage;
  if (own.kind == qvlhost::Storage::CoreGraphics)
    qvlhost::CurrentConfig().storage = qvlhost::Storage::CG(own.alphaInfo % 6 + 1);
  REALpictureStruct* needle = PaintedPicture(width, height, [](int64_t x, int64_t y) { return kNeedle[y % 2][x % 2]; });
  qvlhost::CurrentConfig().storage = own;
  return needle;
}

// The found position, or kNotFound; x and y must be 0 after a failure.
Position Find(REALpictureStruct* haystack, REALpictureStruct* needle, int64_t startX = 0, int64_t startY = 0,
              int64_t tolerance = 3) {
  int64_t x = -7, y = -7;
  if (FindPicture(haystack, needle, &x, &y, startX, startY, tolerance)) return {x, y};
  EXPECT_EQ(Position(x, y), Position(0, 0));
  return kNotFound;
}

// The start rules and raster order; then the strict tolerance, with the
// pixel under the needle's last one (past the first-pixel test) off.
TEST_P(Analysis, SearchRules) {
  const struct {
    std::vector<Plant> plants;
    int64_t startX, startY;
    Position found;
    int64_t tolerance = 3;
    Rgba last = kNeedle[1][1];
  } cases[] = {
      {{{4, 1}, {1, 3}}, 0, 0, {4, 1}},     // the higher row wins over one further left
      {{{6, 2}, {2, 2}}, 0, 0, {2, 2}},     // the left one of a row
      {{{6, 2}, {2, 2}}, 3, 2, {6, 2}},     // the next one from x + 1
      {{{5, 4}, {1, 1, 1}}, 0, 0, {5, 4}},  // a first row alone is passed by
      {{{0, 0}}, -5, -5, {0, 0}},
      {{{0, 0}}, 1, 0, kNotFound},
      {{{0, 0}}, kWidth, 0, kNotFound},  // begins at (0, 1)
      {{{0, 1}}, kWidth, 0, {0, 1}},
      {{{0, 1}}, 9, 0, {0, 1}},  // beyond maxX inside the picture: the first row is passed over
      {{{8, 6}}, 8, 6, {8, 6}},  // the last position
      {{{8, 6}}, 9, 6, kNotFound},
      {{{0, 0}}, 0, kHeight, kNotFound},
      {{{0, 0}}, kWidth, kHeight - 1, kNotFound},
      {{{0, 7}}, 0, 0, kNotFound},  // cut by the bottom edge
      {{{0, 0}}, INT64_MAX, INT64_MAX, kNotFound},
      {{{5, 3}}, 0, 0, {5, 3}, 1},
      {{{5, 3}}, 0, 0, kNotFound, 1, {201, 200, 10, 255}},
      {{{5, 3}}, 0, 0, {5, 3}, 2, {200, 199, 10, 255}},
      {{{5, 3}}, 0, 0, {5, 3}, 3, {200, 200, 12, 255}},
      {{{5, 3}}, 0, 0, kNotFound, 3, {200, 200, 7, 255}},
      {{{5, 3}}, 0, 0, {5, 3}, 56, {200, 255, 10, 255}},
      {{{5, 3}}, 0, 0, kNotFound, 0},
      {{{5, 3}}, 0, 0, kNotFound, -4},
      {{{5, 3}}, 0, 0, kNotFound, int64_t(1) << 32},  // only the low 32 bits count: 0
  };
  OwnedPicture needle(Needle()), onePixel(Needle(1, 1)), wide(Needle(kWidth + 1, 2)), tall(Needle(2, kHeight + 1));
  for (const auto& c : cases) {
    OwnedPicture haystack(Haystack(c.plants));
    qvlhost::SetPixelRgba(haystack, c.plants[0].x + 1, c.plants[0].y + 1, c.last);
    EXPECT_EQ(Find(haystack, needle, c.startX, c.startY, c.tolerance), c.found)
        << "start " << c.startX << "," << c.startY << ", tolerance " << c.tolerance;
  }
  // A one-pixel needle, needles too large, nil pictures.
  OwnedPicture haystack(Haystack({{1, 1, 1}}));
  EXPECT_EQ(Find(haystack, onePixel), Position(1, 1));
  EXPECT_EQ(Find(haystack, wide), kNotFound);
  EXPECT_EQ(Find(haystack, tall), kNotFound);
  EXPECT_EQ(Find(haystack, nullptr), kNotFound);
  EXPECT_EQ(Find(nullptr, haystack), kNotFound);
  // A start below the haystack ends the search before the needle is acquired.
  qvlhost::ClearJournal();
  EXPECT_EQ(Find(haystack, haystack, 0, kHeight), kNotFound);
  EXPECT_EQ(JournalCount("REALLockPictureDescription"), 1);
}

QVL_INSTANTIATE_LAYOUTS(Analysis);

using AnalysisGuards = PluginTest;

// A reader of no known layout: black and grey pass, white fails, an empty
// rectangle passes, colourness counts nothing; without pixels it is 0 / 0.
TEST_F(AnalysisGuards, UnknownLayoutAndNoPixels) {
  OwnedPicture red(SolidPicture(5, 4, Rgba{200, 0, 0, 255}));
  const std::pair<Uniformity, int64_t> tests[] = {
      {Uniformity::Black, 0}, {Uniformity::White, 0}, {Uniformity::Grey, 0}, {Uniformity::Grey, -3}};
  for (uint32_t type : {0u, 7u, 9u, 255u}) {
    for (const auto& [uniformity, tolerance] : tests) {
      SCOPED_TRACE(testing::Message() << "type " << type << " test " << static_cast<int>(uniformity));
      PictureReader known(red), unknown(red), unread(red);  // a failing test clears its reader
      unknown.pictureType = unread.pictureType = type;
      EXPECT_FALSE(TestAcquired(known, uniformity, tolerance, 1, 1, 2, 2));
      EXPECT_EQ(TestAcquired(unknown, uniformity, tolerance, 1, 1, 2, 2), uniformity != Uniformity::White);
      EXPECT_TRUE(TestAcquired(unread, uniformity, tolerance, 1, 1, 0, 2));
    }
    PictureReader reader(red);
    EXPECT_EQ(ColournessOfAcquired(reader, 10), 1.0);
    reader.pictureType = type;
    EXPECT_EQ(ColournessOfAcquired(reader, 10), 0.0) << type;
  }
  PictureReader empty(red);
  empty.Width = empty.Height = 0;
  EXPECT_TRUE(std::isnan(ColournessOfAcquired(empty, 10)));
}

// A nil picture, and a host that can't make a block: -1 before the picture
// is touched, the exception dropped, a given block kept.
TEST_F(AnalysisGuards, NilPictureOrNoBlocks) {
  EXPECT_FALSE(ScrollVerticalQVL(nullptr, 1, true, false));
  EXPECT_TRUE(ScrollHorizontalQVL(nullptr, 1, true, true));
  EXPECT_FALSE(ScrollQVL(nullptr, 1, 1, false, false));
  const int64_t checks = RegistrationCheckCalls();
  EXPECT_FALSE(isBlack2(nullptr));
  EXPECT_FALSE(isWhite(nullptr, 0, 0, 0, 0));
  EXPECT_FALSE(isGray2(nullptr, 0));
  EXPECT_EQ(ColornessQVL(nullptr, 10), 0.0);
  EXPECT_EQ(CountColorQVL(nullptr, 0), 0);
  EXPECT_EQ(RegistrationCheckCalls(), checks + 4);
  REALmemoryBlockStruct *first = nullptr, *second = nullptr, *third = nullptr;
  int64_t count = 0;
  CountColorsQVL(nullptr, &first, &second, &third, &count);
  OwnedMemoryBlock a(first), b(second), c(third);
  EXPECT_EQ(count, -1);
  EXPECT_TRUE(first && second && third);

  qvlhost::CurrentConfig().maxMemoryBlockBytes = 512;
  OwnedPicture picture(qvlhost::NewPicture(2, 2));
  first = third = nullptr;
  qvlhost::ClearJournal();
  CountColorsQVL(picture, &first, &second, &third, &count);
  EXPECT_EQ(count, -1);
  EXPECT_TRUE(!first && !third);
  EXPECT_EQ(second, b.get());
  EXPECT_EQ(Counter(second, 0), 0u);
  EXPECT_EQ(JournalCount("REALLockPictureDescription"), 0);
}

// A picture's memory as the scroll rules see it: its rows, padding included.
struct Memory {
  int64_t width = 0, rowBytes = 0;
  std::vector<uint8_t> bytes;
  bool operator==(const Memory& other) const { return bytes == other.bytes; }
};

Memory Snapshot(REALpictureStruct* picture) {
  Memory memory;
  memory.width = qvlhost::PictureWidth(picture);
  for (int64_t y = 0; y < qvlhost::PictureHeight(picture); ++y) {
    for (int64_t i = 0; i < memory.width * 4; ++i)  // each word's bytes, low first
      memory.bytes.push_back(uint8_t(qvlhost::PixelWord(picture, i / 4, y) >> (i % 4 * 8)));
    const std::vector<uint8_t> padding = qvlhost::RowPadding(picture, y);
    memory.bytes.insert(memory.bytes.end(), padding.begin(), padding.end());
  }
  memory.rowBytes = static_cast<int64_t>(memory.bytes.size()) / qvlhost::PictureHeight(picture);
  return memory;
}

// Pixel (x, y) holds a colour that names it and the picture.
REALpictureStruct* NumberedPicture(int64_t width, int64_t height, uint8_t tag = 0xA5) {
  return PaintedPicture(width, height, [tag](int64_t x, int64_t y) { return Opaque(x + 1, y + 1, tag); });
}

// The rules: row y takes row y - delta, and pixel x pixel x - delta, round
// the picture when wrapping, else 0xFF; the positive horizontal shift moves
// units of two pixels, on into the next row.
int64_t Modulo(int64_t delta, int64_t size) { return (delta % size + size) % size; }

Memory Vertically(const Memory& m, int64_t delta, bool wrap) {
  const int64_t height = static_cast<int64_t>(m.bytes.size()) / m.rowBytes;
  const bool beyond = !wrap && (delta >= height || delta <= -height);
  Memory moved = m;
  for (int64_t y = 0; y < height; ++y) {
    const int64_t from = beyond ? -1 : wrap ? Modulo(y - Modulo(delta, height), height) : y - delta;
    for (int64_t i = 0; i < m.rowBytes; ++i)
      moved.bytes[y * m.rowBytes + i] = from >= 0 && from < height ? m.bytes[from * m.rowBytes + i] : 0xFF;
  }
  return moved;
}

Memory Horizontally(Memory m, int64_t delta, bool wrap) {
  const int64_t size = static_cast<int64_t>(m.bytes.size()), w = m.width;
  m.bytes.resize(size + 8 * w);  // room for the last row's push, dropped below
  for (int64_t row = 0; row < size; row += m.rowBytes) {
    const auto start = m.bytes.begin() + row;
    if (wrap) {
      std::rotate(start, start + (w - Modulo(delta, w)) * 4, start + w * 4);
    } else if (delta >= w || delta <= -w) {
      std::fill(start, start + m.rowBytes, 0xFF);
    } else if (delta < 0) {
      std::copy(start - delta * 4, start + w * 4, start);
      std::fill(start + (w + delta) * 4, start + w * 4, 0xFF);
    } else {
      for (int64_t k = w - delta - 1; k >= 0; --k) std::copy(start + k * 8, start + k * 8 + 8, start + (k + delta) * 8);
      std::fill(start, start + delta * 4, 0xFF);
    }
  }
  m.bytes.resize(size);
  return m;
}

class Scroll : public LayoutTest {};

// Every distance up to beyond the size, and the extremes; also on a row wide
// enough for the one-pass move of the positive horizontal scroll.
TEST_P(Scroll, EveryDistanceFollowsTheRules) {
  const struct {
    bool vertical;
    int64_t width, height, size;
  } shapes[] = {{true, 3, 5, 5}, {false, 5, 3, 5}, {false, 23, 4, 23}};
  for (bool wrap : {false, true}) {
    for (const auto& shape : shapes) {
      std::vector<int64_t> distances = {INT64_MIN, INT64_MAX, 3 * shape.size + 1};
      for (int64_t d = -shape.size - 1; d <= shape.size + 1; ++d) distances.push_back(d);
      for (int64_t delta : distances) {
        SCOPED_TRACE(testing::Message() << (shape.vertical ? "vertical " : "horizontal ") << shape.width << " wide by "
                                        << delta << (wrap ? " wrapping" : ""));
        OwnedPicture picture(NumberedPicture(shape.width, shape.height));
        const Memory before = Snapshot(picture);
        EXPECT_TRUE(shape.vertical ? ScrollVerticalQVL(picture, delta, wrap, false)
                                   : ScrollHorizontalQVL(picture, delta, wrap, false));
        EXPECT_EQ(Snapshot(picture),
                  shape.vertical ? Vertically(before, delta, wrap) : Horizontally(before, delta, wrap));
      }
    }
  }
}

// The mask moves along when asked (distance 0 only asks for it); one that
// can't be locked for writing fails the vertical scroll untouched, and the
// horizontal one goes on.
TEST_P(Scroll, MaskMovesAlongOrStopsTheVerticalScroll) {
  OwnedPicture owned(NumberedPicture(4, 3)), ownedMask(NumberedPicture(4, 3, 0x5A));
  qvlhost::SetPictureMask(owned, ownedMask);
  qvlhost::ClearJournal();
  EXPECT_TRUE(ScrollVerticalQVL(owned, 0, true, false));
  EXPECT_TRUE(qvlhost::Journal().empty());
  EXPECT_TRUE(ScrollQVL(owned, 0, 0, true, true));
  EXPECT_EQ(JournalCount("Mask(create As Boolean = True) As Picture"), 2);
  EXPECT_EQ(JournalCount("REALLockPictureDescription"), 0);
  const Memory picture = Snapshot(owned), mask = Snapshot(ownedMask);
  const Memory movedMask = Vertically(Horizontally(mask, 1, true), 1, true);
  EXPECT_TRUE(ScrollQVL(owned, 1, 1, true, true));
  EXPECT_EQ(Snapshot(owned), Vertically(Horizontally(picture, 1, true), 1, true));
  EXPECT_EQ(Snapshot(ownedMask), movedMask);
  EXPECT_TRUE(ScrollQVL(owned, -1, -2, false, false));
  EXPECT_EQ(Snapshot(ownedMask), movedMask);

  qvlhost::SetPictureKind(ownedMask, 0);
  const Memory before = Snapshot(owned);
  EXPECT_FALSE(ScrollVerticalQVL(owned, 1, false, true));
  EXPECT_EQ(Snapshot(owned), before);
  EXPECT_TRUE(ScrollHorizontalQVL(owned, -1, false, true));
  EXPECT_EQ(Snapshot(owned), Horizontally(before, -1, false));
  EXPECT_EQ(Snapshot(ownedMask), movedMask);
  EXPECT_FALSE(ScrollQVL(owned, 0, 1, true, true));
}

QVL_INSTANTIATE_LAYOUTS(Scroll);

}  // namespace
