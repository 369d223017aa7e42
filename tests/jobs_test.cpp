// The job classes, made and set through the host as Xojo does: the sepia
// grey and the tetrahedral lookup against their rules at every vector level
// in all seven layouts, the rectangle rule they share, and each job's life.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "jobs/lut3d.h"
#include "jobs/sepia.h"
#include "qvlhost.h"
#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"
#include "surface.h"

extern "C" void REALPluginMain(QVLResolver resolver);

namespace {

using qvlhost::OwnedObject;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;
using qvlhost::Value;

struct Settings {
  double factorRed = 0.299, factorGreen = 0.587, factorBlue = 0.114;  // the weights of red, green, blue
  int64_t sepiaRed = 0, sepiaGreen = 0, sepiaBlue = 0;
};

// The sepia rule in 64 bits, brought to 32 as the job's integers wrap.
Rgba Sepia(const Settings& s, Rgba in) {
  auto weight = [](double factor) { return static_cast<int64_t>(static_cast<int32_t>(factor * 1024.0)); };
  const auto sum =
      static_cast<int32_t>(in.b * weight(s.factorBlue) + in.g * weight(s.factorGreen) + in.r * weight(s.factorRed));
  const int64_t grey = sum / 1024;
  auto channel = [grey](int64_t offset) {
    return static_cast<uint8_t>(std::clamp<int64_t>(static_cast<int32_t>(grey + static_cast<int32_t>(offset)), 0, 255));
  };
  return {channel(s.sepiaRed), channel(s.sepiaGreen), channel(s.sepiaBlue), 255};
}

using Table = std::vector<double>;  // [r][g][b][x], 18 nodes an axis

double At(const Table& table, int r, int g, int b, int x) { return table[((r * 18 + g) * 18 + b) * 3 + x]; }

Table IdentityTable() {
  Table table(18 * 18 * 18 * 3, 0.0);
  for (int n = 0; n < 16 * 16 * 16; ++n) {
    const int node[3] = {n >> 8, (n >> 4) & 15, n & 15};
    for (int x = 0; x < 3; ++x) table[((node[0] * 18 + node[1]) * 18 + node[2]) * 3 + x] = 17 * node[x];
  }
  return table;
}

// The tetrahedron table: the axes in falling order of their fractions, ties
// settled by the order of its rows; the corners step up one axis after
// another from the lower node, and the products are summed from the left.
Rgba Tetrahedral(const Table& table, Rgba in) {
  const int c[3] = {in.r, in.g, in.b};
  int lower[3], upper[3];
  double f[3];
  for (int axis = 0; axis < 3; ++axis) {
    lower[axis] = c[axis] / 17;
    upper[axis] = std::min(lower[axis], 14) + 1;
    f[axis] = static_cast<double>(c[axis] - 17 * lower[axis]) / 17.0;
  }
  using Order = std::array<int, 3>;
  const double fr = f[0], fg = f[1], fb = f[2];
  const Order o = fr > fg && fg > fb   ? Order{0, 1, 2}
                  : fr > fg && fr > fb ? Order{0, 2, 1}
                  : fr > fg            ? Order{2, 0, 1}
                  : fb > fg            ? Order{2, 1, 0}
                  : fb > fr            ? Order{1, 2, 0}
                                       : Order{1, 0, 2};
  const double weights[4] = {1 - f[o[0]], f[o[0]] - f[o[1]], f[o[1]] - f[o[2]], f[o[2]]};
  uint8_t out[3];
  for (int x = 0; x < 3; ++x) {
    int corner[3] = {lower[0], lower[1], lower[2]};
    double sum = weights[0] * At(table, corner[0], corner[1], corner[2], x);
    for (int k = 1; k < 4; ++k) {
      corner[o[k - 1]] = upper[o[k - 1]];
      sum = sum + weights[k] * At(table, corner[0], corner[1], corner[2], x);
    }
    out[x] = sum < 0.0 ? 0 : sum > 255.0 ? 255 : static_cast<uint8_t>(sum);
  }
  return {out[0], out[1], out[2], 255};
}

// Every pixel of the result inside the walked area (columns and rows from 0)
// against the rule, every other one as `untouched`; padding as the host made it.
template <class Rule>
void ExpectWalked(REALpictureStruct* source, REALpictureStruct* result, int64_t columns, int64_t rows, Rule rule,
                  Rgba untouched) {
  ASSERT_NE(result, nullptr);
  int64_t misses = 0;
  const auto padding = qvlhost::FreshRowPadding(qvlhost::CurrentConfig().extraBytesPerRow);
  for (int64_t y = 0; y < qvlhost::PictureHeight(result); ++y) {
    if (qvlhost::PictureStorage(result).kind == qvlhost::Storage::CoreGraphics) {
      EXPECT_EQ(padding, qvlhost::RowPadding(result, y)) << "row " << y;
    }
    for (int64_t x = 0; x < qvlhost::PictureWidth(result); ++x) {
      const Rgba want = x < columns && y < rows ? rule(qvlhost::PixelRgba(source, x, y)) : untouched;
      const Rgba got = qvlhost::PixelRgba(result, x, y);
      if (!(got == want) && misses++ == 0)
        ADD_FAILURE() << "at (" << x << ", " << y << ") got " << testing::PrintToString(got) << ", want "
                      << testing::PrintToString(want);
    }
  }
  EXPECT_EQ(misses, 0);
}

class Jobs : public LayoutTest {
 protected:
  void SetUp() override {
    LayoutTest::SetUp();
    REALPluginMain(qvlhost::Resolver());
  }

  static qvlhost::SurfaceProperty PropertyOf(REALobjectStruct* job, const std::string& name) {
    qvlhost::SurfaceProperty property;
    EXPECT_TRUE(qvlhost::FindProperty(qvlhost::ClassName(job), name, &property)) << name;
    return property;
  }
  static void Set(REALobjectStruct* job, const std::string& name, const Value& value) {
    std::string error;
    EXPECT_TRUE(qvlhost::SetProperty(PropertyOf(job, name), job, value, &error)) << name << ": " << error;
  }
  static void SetInteger(REALobjectStruct* job, const std::string& name, int64_t value) {
    Set(job, name, Value::Integer(value));
  }
  static void SetSource(REALobjectStruct* job, REALpictureStruct* picture) {
    Set(job, "SourcePicture", Value::Handle(qvlhost::TypeKind::Picture, picture));
  }
  // The value of a property; a picture comes with a reference for the caller.
  static Value Get(REALobjectStruct* job, const std::string& name) {
    Value value;
    std::string error;
    EXPECT_TRUE(qvlhost::GetProperty(PropertyOf(job, name), job, &value, &error)) << name << ": " << error;
    return value;
  }
  static REALpictureStruct* Destination(REALobjectStruct* job) {
    return static_cast<REALpictureStruct*>(Get(job, "DestinationPicture").handle);
  }

  // Through the class's rows, which are crossed: FactorBlue sets the green
  // weight and FactorGreen the blue one.
  static OwnedObject SepiaJob(const Settings& s, REALpictureStruct* source) {
    OwnedObject job(qvlhost::NewObject("PictureSepiaQVL"));
    Set(job, "FactorRed", Value::Double(s.factorRed));
    Set(job, "FactorBlue", Value::Double(s.factorGreen));
    Set(job, "FactorGreen", Value::Double(s.factorBlue));
    SetInteger(job, "SepiaRed", s.sepiaRed), SetInteger(job, "SepiaGreen", s.sepiaGreen);
    SetInteger(job, "SepiaBlue", s.sepiaBlue);
    SetSource(job, source);
    return job;
  }
  static OwnedObject LookupJob(const Table& table, REALpictureStruct* source) {
    OwnedObject job(qvlhost::NewObject("PictureLut3DQVL"));
    for (uint32_t i = 0; i < table.size(); ++i) SetPMX(job, i / 972, i / 54 % 18, i / 3 % 18, i % 3, table[i]);
    SetSource(job, source);
    return job;
  }
  // Runs the job; its result, with a reference.
  static REALpictureStruct* Result(REALobjectStruct* job, bool (*run)(REALobjectStruct*)) {
    EXPECT_TRUE(run(job));
    return Destination(job);
  }
};

TEST_P(Jobs, ANewSepiaJobWeighsRedGreenAndBlueByDefaultAndReportsTheRowsCrossed) {
  OwnedObject job(qvlhost::NewObject("PictureSepiaQVL"));
  EXPECT_EQ(0.299, Get(job, "FactorRed").real);
  EXPECT_EQ(0.587, Get(job, "FactorBlue").real);
  EXPECT_EQ(0.114, Get(job, "FactorGreen").real);
  EXPECT_EQ(0.587, GetFactorG(job, 0));
  EXPECT_EQ(0.114, GetFactorB(job, 0));
  OwnedPicture white(SolidPicture(5, 2, {255, 255, 255, 255}));
  SetSource(job, white);
  OwnedPicture result(Result(job, sepia::Run));
  ExpectEveryPixel(white, result, [](Rgba) { return Rgba{254, 254, 254, 255}; });
}

// Worked examples check the rule; the job follows it at every vector level
// on the example's pixel spread among random ones. Weights of about 2^30
// make the sums wrap in 32 bits.
TEST_P(Jobs, SepiaFollowsTheRuleAtEveryVectorLevel) {
  const struct {
    Settings settings;
    Rgba in, out;
  } examples[] = {
      {{}, {200, 100, 50, 7}, {124, 124, 124, 255}},
      {{0.299, 0.587, 0.114, 40, 20, -10}, {0, 0, 0, 255}, {40, 20, 0, 255}},
      {{0.0, 0.0, 1.0}, {10, 20, 130, 255}, {130, 130, 130, 255}},
      {{0.0009, 0.0, 0.0}, {255, 0, 0, 255}, {0, 0, 0, 255}},  // a weight truncated to 0
      {{0.299, 0.587, 0.114, 300, -300, int64_t{1} << 32}, {100, 100, 100, 255}, {255, 0, 99, 255}},
      {{-0.7, 0.4, -1.9, 200, -3, 90}, {100, 100, 100, 255}, {0, 0, 0, 255}},
      {{1048575.9, -1048000.5, 999999.0, -(int64_t{1} << 40) + 17, 0, 0}, {3, 0, 0, 255}, {0, 0, 0, 255}},
  };
  std::mt19937 random(72);
  std::uniform_int_distribution<int> byte(0, 255);
  for (const auto& e : examples) {
    EXPECT_EQ(Sepia(e.settings, e.in), e.out);
    OwnedPicture source(PaintedPicture(45, 7, [&](int64_t x, int64_t y) {
      return (x + y) % 9 == 0
                 ? e.in
                 : Rgba{uint8_t(byte(random)), uint8_t(byte(random)), uint8_t(byte(random)), uint8_t(byte(random))};
    }));
    for (VectorLevel level : kEveryVectorLevel) {
      CapVectorLevel(level);
      OwnedPicture result(Result(SepiaJob(e.settings, source), sepia::Run));
      ExpectEveryPixel(source, result, [&](Rgba in) { return Sepia(e.settings, in); });
    }
  }
}

// Colours whose fractions fall in every row of the tetrahedron table, ties
// included, around three lattice nodes, then the ends of the channel, against
// a table with values past both ends of 0..255 and the identity, which keeps
// nodes and loses one where a sum falls short.
TEST_P(Jobs, LookupOfEveryTetrahedronAndTieAtEveryVectorLevel) {
  const Table identity = IdentityTable();
  const struct {
    Rgba in, out;
  } examples[] = {{{57, 57, 57, 255}, {56, 56, 56, 255}},
                  {{17, 34, 51, 255}, {17, 34, 51, 255}},
                  {{255, 0, 255, 9}, {255, 0, 255, 255}}};
  std::vector<Rgba> colours;
  for (const auto& e : examples) {
    EXPECT_EQ(Tetrahedral(identity, e.in), e.out);
    colours.push_back(e.in);
  }
  const int steps[] = {0, 4, 9, 16}, nodes[][3] = {{0, 3, 7}, {15, 0, 2}, {6, 14, 11}};
  for (const auto& node : nodes)
    for (int kr : steps)
      for (int kg : steps)
        for (int kb : steps)
          colours.push_back({uint8_t(std::min(255, node[0] * 17 + kr)), uint8_t(std::min(255, node[1] * 17 + kg)),
                             uint8_t(std::min(255, node[2] * 17 + kb)), uint8_t(kr * 15)});
  for (int c : {0, 16, 17, 254, 255}) colours.push_back({uint8_t(c), uint8_t(c), uint8_t(c), 255});
  std::mt19937 random(14);
  std::uniform_real_distribution<double> value(-30.0, 290.0);
  Table table(18 * 18 * 18 * 3);
  for (double& entry : table) entry = value(random);
  const auto count = static_cast<int64_t>(colours.size());
  OwnedPicture source(
      PaintedPicture(37, (count + 36) / 37, [&](int64_t x, int64_t y) { return colours[(y * 37 + x) % count]; }));
  for (const Table* t : {static_cast<const Table*>(&table), &identity}) {
    for (VectorLevel level : kEveryVectorLevel) {
      CapVectorLevel(level);
      OwnedPicture result(Result(LookupJob(*t, source), lut3d::Run));
      ExpectEveryPixel(source, result, [&](Rgba in) { return Tetrahedral(*t, in); });
    }
  }
}

TEST_P(Jobs, TableIndicesBeyondTheirBoundsReadZeroAndStoreNothing) {
  OwnedObject job(qvlhost::NewObject("PictureLut3DQVL"));
  SetPMX(job, 17, 17, 17, 2, 3.5);
  // x = 3 would store into [0][0][1][0].
  const uint32_t beyond[][4] = {{0, 0, 0, 3}, {18, 0, 0, 0}, {0, 18, 0, 0}, {0, 0, 0xFFFFFFFF, 0}};
  for (const auto& i : beyond) SetPMX(job, i[0], i[1], i[2], i[3], 9.0);
  for (const auto& i : beyond) EXPECT_EQ(0.0, GetPMX(job, i[0], i[1], i[2], i[3]));
  EXPECT_EQ(0.0, GetPMX(job, 0, 0, 1, 0));
  EXPECT_EQ(3.5, GetPMX(job, 17, 17, 17, 2));
}

// On a 30 x 6 picture with an alpha channel; a negative start is held to the
// picture. Sepia's result has no alpha channel and starts white, the
// lookup's keeps the source's and starts transparent.
TEST_P(Jobs, TheRectangleOnlyShortensTheWalkFromTheTopLeft) {
  constexpr int64_t kLowest = std::numeric_limits<int64_t>::min();
  // clang-format off
  const struct { int64_t MinX, MinY, MaxX, MaxY, columns, rows; } rectangles[] = {
      {0, 0, 0, 0, 30, 6},  {10, 0, 20, 0, 10, 6}, {10, 0, 99, 0, 20, 6}, {10, 0, 5, 0, 20, 6},
      {30, 0, 0, 0, 0, 6},  {45, 1, 0, 4, 0, 3},   {0, 2, 0, 6, 30, 4},    {0, 6, 0, 0, 30, 0},
      {-7, -2, 0, 0, 7, 2}, {-5, 0, 30, 0, 30, 6}, {-5, 0, 3, 0, 8, 6},    {0, -4, 0, 1, 30, 5},
      {kLowest, kLowest, 0, 0, 30, 6}};
  // clang-format on
  const Table identity = IdentityTable();
  OwnedPicture source(PaintedPicture(30, 6, [](int64_t x, int64_t y) {
    return Rgba{uint8_t(x * 17 % 256), uint8_t(y * 51), uint8_t(x + y), uint8_t(x * 8)};
  }));
  qvlhost::SetHasAlphaChannel(source, true);
  for (const auto& r : rectangles) {
    SCOPED_TRACE(testing::Message() << "Min " << r.MinX << ", " << r.MinY << " Max " << r.MaxX << ", " << r.MaxY);
    for (bool isSepia : {true, false}) {
      OwnedObject job = isSepia ? SepiaJob(Settings(), source) : LookupJob(identity, source);
      SetInteger(job, "MinX", r.MinX), SetInteger(job, "MinY", r.MinY);
      SetInteger(job, "MaxX", r.MaxX), SetInteger(job, "MaxY", r.MaxY);
      OwnedPicture result(Result(job, isSepia ? sepia::Run : lut3d::Run));
      EXPECT_EQ(qvlhost::HasAlphaChannel(result), !isSepia);
      const auto rule = [&](Rgba in) { return isSepia ? Sepia(Settings(), in) : Tetrahedral(identity, in); };
      ExpectWalked(source, result, r.columns, r.rows, rule, isSepia ? Rgba{255, 255, 255, 255} : Rgba{0, 0, 0, 0});
    }
  }
}

// A second sepia run overwrites the first result without giving it back, a
// failed one keeps the last; Close gives back both pictures, twice over.
TEST_P(Jobs, SepiaLeavesTheFirstResultHeldAndCloseKeepsTheNumbers) {
  OwnedPicture source(SolidPicture(4, 3, {10, 20, 30, 255}));
  OwnedObject job = SepiaJob({0.299, 0.587, 0.114, 0, 12, 0}, source);
  REALpictureStruct* first = Result(job, sepia::Run);
  qvlhost::Release(reinterpret_cast<REALobjectStruct*>(first));
  OwnedPicture second(Result(job, sepia::Run));
  qvlhost::ExpectAbandonedReference(first);
  EXPECT_NE(first, second.get());
  SetSource(job, nullptr);
  EXPECT_FALSE(sepia::Run(job));
  OwnedPicture kept(Destination(job));
  EXPECT_EQ(second.get(), kept.get());
  SetSource(job, source);
  PictureSepiaClassDestructor(job);
  PictureSepiaClassDestructor(job);
  EXPECT_EQ(1, qvlhost::ReferenceCount(source.get()));
  EXPECT_EQ(nullptr, Destination(job));
  EXPECT_EQ(12, Get(job, "SepiaGreen").integer);
  EXPECT_EQ(0.587, Get(job, "FactorBlue").real);
  EXPECT_FALSE(sepia::Run(job));
}

// A lookup run gives back the previous result, and one without a source
// leaves none; the new job's table is all zero. The host runs the destructor
// once more after Close when the last reference goes.
TEST_P(Jobs, LookupDropsThePreviousResultAndCloseKeepsTheNumbers) {
  OwnedObject job(qvlhost::NewObject("PictureLut3DQVL"));
  EXPECT_FALSE(lut3d::Run(job));
  OwnedPicture source(SolidPicture(4, 3, {200, 100, 50, 255}));
  SetSource(job, source);
  OwnedPicture first(Result(job, lut3d::Run));
  ExpectEveryPixel(source, first, [](Rgba) { return Rgba{0, 0, 0, 255}; });
  ASSERT_TRUE(lut3d::Run(job));
  EXPECT_EQ(1, qvlhost::ReferenceCount(first.get())) << "the first result was given back";
  SetSource(job, nullptr);
  EXPECT_FALSE(lut3d::Run(job));
  EXPECT_EQ(nullptr, Destination(job));
  SetSource(job, source);
  SetInteger(job, "MinX", 2);
  SetPMX(job, 0, 0, 0, 0, 7.0);
  ASSERT_TRUE(lut3d::Run(job));
  Lut3DClassDestructor(job);
  EXPECT_EQ(1, qvlhost::ReferenceCount(source.get()));
  EXPECT_EQ(nullptr, Destination(job));
  EXPECT_FALSE(lut3d::Run(job)) << "no source after Close";
  EXPECT_EQ(2, Get(job, "MinX").integer);
  EXPECT_EQ(7.0, GetPMX(job, 0, 0, 0, 0));
}

QVL_INSTANTIATE_LAYOUTS(Jobs);

}  // namespace
