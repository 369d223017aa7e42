// The sepia and lookup jobs, set through the host, against their rules at
// every vector level in all seven layouts.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "jobs/lut3d.h"
#include "jobs/sepia.h"
#include "qvlhost.h"
#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"
#include "support/surface_access.h"

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
  auto weight = [](double factor) { return int64_t(int32_t(factor * 1024.0)); };
  const auto sum = int32_t(in.b * weight(s.factorBlue) + in.g * weight(s.factorGreen) + in.r * weight(s.factorRed));
  auto channel = [grey = int64_t(sum / 1024)](int64_t offset) {
    return Byte(std::clamp<int64_t>(int32_t(grey + int32_t(offset)), 0, 255));
  };
  return {channel(s.sepiaRed), channel(s.sepiaGreen), channel(s.sepiaBlue), 255};
}

using Table = std::vector<double>;  // [r][g][b][x], 18 nodes an axis

// The node along `axis` (0 red, 1 green, 2 blue) of table entry i.
uint32_t NodeOf(size_t i, int axis) { return uint32_t(i / (axis == 0 ? 972 : axis == 1 ? 54 : 3) % 18); }

Table IdentityTable() {
  Table table(18 * 18 * 18 * 3);
  for (size_t i = 0; i < table.size(); ++i) table[i] = 17.0 * NodeOf(i, int(i % 3));
  return table;
}

// The axes in falling order of their fractions (a tie's corner weighs 0), the
// corners one axis after another from the lower node, summed from the left.
Rgba Tetrahedral(const Table& table, Rgba in) {
  const int c[3] = {in.r, in.g, in.b};
  int lower[3];
  double f[3];
  for (int axis = 0; axis < 3; ++axis) {
    lower[axis] = c[axis] / 17;
    f[axis] = static_cast<double>(c[axis] - 17 * lower[axis]) / 17.0;
  }
  std::array<int, 3> o = {0, 1, 2};
  std::stable_sort(o.begin(), o.end(), [&f](int a, int b) { return f[a] > f[b]; });
  const double weights[4] = {1 - f[o[0]], f[o[0]] - f[o[1]], f[o[1]] - f[o[2]], f[o[2]]};
  uint8_t out[3];
  for (int x = 0; x < 3; ++x) {
    int corner[3] = {lower[0], lower[1], lower[2]};
    double sum = 0;
    for (int k = 0; k < 4; ++k) {
      if (k > 0) corner[o[k - 1]] = std::min(lower[o[k - 1]], 14) + 1;  // the last node is 15
      sum = sum + weights[k] * table[((corner[0] * 18 + corner[1]) * 18 + corner[2]) * 3 + x];
    }
    out[x] = sum < 0.0 ? 0 : sum > 255.0 ? 255 : static_cast<uint8_t>(sum);
  }
  return {out[0], out[1], out[2], 255};
}

class Jobs : public LayoutTest {
 protected:
  void SetUp() override {
    LayoutTest::SetUp();
    REALPluginMain(qvlhost::Resolver());
  }

  static void Set(REALobjectStruct* job, const std::string& name, const Value& value) {
    EXPECT_TRUE(SetSurfaceProperty(qvlhost::ClassName(job), name, job, value)) << name;
  }
  static void SetIntegers(REALobjectStruct* job, const std::vector<std::pair<const char*, int64_t>>& values) {
    for (const auto& [name, value] : values) Set(job, name, Value::Integer(value));
  }
  static void SetSource(REALobjectStruct* job, REALpictureStruct* picture) {
    Set(job, "SourcePicture", Value::Handle(qvlhost::TypeKind::Picture, picture));
  }
  static Value Get(REALobjectStruct* job, const std::string& name) {
    return GetSurfaceProperty(qvlhost::ClassName(job), name, job);
  }
  static REALpictureStruct* Destination(REALobjectStruct* job) {
    return static_cast<REALpictureStruct*>(Get(job, "DestinationPicture").handle);
  }

  // A new job of the class on the source, its other properties as made.
  static OwnedObject NewJob(const char* className, REALpictureStruct* source) {
    OwnedObject job(qvlhost::NewObject(className));
    SetSource(job, source);
    return job;
  }
  // The rows are crossed: FactorBlue sets the green weight, FactorGreen the blue.
  static OwnedObject SepiaJob(const Settings& s, REALpictureStruct* source) {
    OwnedObject job = NewJob("PictureSepiaQVL", source);
    Set(job, "FactorRed", Value::Double(s.factorRed));
    Set(job, "FactorBlue", Value::Double(s.factorGreen));
    Set(job, "FactorGreen", Value::Double(s.factorBlue));
    SetIntegers(job, {{"SepiaRed", s.sepiaRed}, {"SepiaGreen", s.sepiaGreen}, {"SepiaBlue", s.sepiaBlue}});
    return job;
  }
  static OwnedObject LookupJob(const Table& table, REALpictureStruct* source) {
    OwnedObject job = NewJob("PictureLut3DQVL", source);
    for (size_t i = 0; i < table.size(); ++i) SetPMX(job, NodeOf(i, 0), NodeOf(i, 1), NodeOf(i, 2), i % 3, table[i]);
    return job;
  }
  // Runs the job; its result, with a reference.
  static REALpictureStruct* Result(REALobjectStruct* job, bool (*run)(REALobjectStruct*)) {
    EXPECT_TRUE(run(job));
    return Destination(job);
  }
};

// Worked examples check the rules; then each job at every level on them, every
// tetrahedron and tie around three nodes, and random pixels, in rows longer
// than the vector rows' chunks of 64 pixels.
TEST_P(Jobs, EachJobFollowsItsRuleAtEveryVectorLevel) {
  const struct {
    Settings settings;
    Rgba in, out;
  } examples[] = {
      {{}, {200, 100, 50, 7}, {124, 124, 124, 255}},
      {{}, {255, 255, 255, 255}, {254, 254, 254, 255}},
      {{0.299, 0.587, 0.114, 40, 20, -10}, {0, 0, 0, 255}, {40, 20, 0, 255}},
      {{0.0, 0.0, 1.0}, {10, 20, 130, 255}, {130, 130, 130, 255}},
      {{0.0009, 0.0, 0.0}, {255, 0, 0, 255}, {0, 0, 0, 255}},  // a weight truncated to 0
      {{0.299, 0.587, 0.114, 300, -300, int64_t{1} << 32}, {100, 100, 100, 255}, {255, 0, 99, 255}},
      {{-0.7, 0.4, -1.9, 200, -3, 90}, {100, 100, 100, 255}, {0, 0, 0, 255}},
      {{1048575.9, -1048000.5, 999999.0, -(int64_t{1} << 40) + 17, 0, 0}, {3, 0, 0, 255}, {0, 0, 0, 255}},
  };
  Table identity = IdentityTable();
  std::vector<Rgba> colours = {{57, 57, 57, 255}, {17, 34, 51, 255}, {255, 0, 255, 9}};
  EXPECT_EQ(Tetrahedral(identity, colours[0]), (Rgba{56, 56, 56, 255}));
  EXPECT_EQ(Tetrahedral(identity, colours[1]), colours[1]);
  EXPECT_EQ(Tetrahedral(identity, colours[2]), (Rgba{255, 0, 255, 255}));
  for (const auto& e : examples) {
    EXPECT_EQ(Sepia(e.settings, e.in), e.out);
    colours.push_back(e.in);
  }
  const int steps[] = {0, 4, 9, 16}, nodes[][3] = {{0, 3, 7}, {15, 0, 2}, {6, 14, 11}};
  for (int k = 0; k < 3 * 64; ++k) {
    const int step[3] = {steps[k / 16 % 4], steps[k / 4 % 4], steps[k % 4]};
    const auto at = [&](int axis) { return Byte(std::min(255, nodes[k / 64][axis] * 17 + step[axis])); };
    colours.push_back({at(0), at(1), at(2), Byte(step[0] * 15)});
  }
  for (int c : {0, 16, 17, 254, 255}) colours.push_back({uint8_t(c), uint8_t(c), uint8_t(c), 255});
  std::mt19937 random(14);
  while (colours.size() < 111 * 3) colours.push_back({Byte(random()), Byte(random()), Byte(random()), Byte(random())});
  std::uniform_real_distribution<double> value(-30.0, 290.0);
  Table table(18 * 18 * 18 * 3);
  for (double& entry : table) entry = value(random);
  OwnedPicture source(PaintedPicture(111, 3, [&](int64_t x, int64_t y) { return colours[size_t(y * 111 + x)]; }));
  for (VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (const auto& e : examples) {
      OwnedPicture result(Result(SepiaJob(e.settings, source), sepia::Run));
      ExpectEveryPixel(source, result, [&](Rgba in) { return Sepia(e.settings, in); });
    }
    for (const Table* t : {&identity, &table}) {
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

// A negative start is held to the picture. Sepia, with a new job's factors,
// starts white without alpha; the lookup keeps it and starts transparent.
TEST_P(Jobs, TheRectangleOnlyShortensTheWalkFromTheTopLeft) {
  // clang-format off
  const struct { int64_t MinX, MinY, MaxX, MaxY, columns, rows; } rectangles[] = {
      {0, 0, 0, 0, 30, 6},  {10, 0, 20, 0, 10, 6}, {10, 0, 99, 0, 20, 6}, {10, 0, 5, 0, 20, 6},
      {30, 0, 0, 0, 0, 6},  {45, 1, 0, 4, 0, 3},   {0, 2, 0, 6, 30, 4},    {0, 6, 0, 0, 30, 0},
      {-7, -2, 0, 0, 7, 2}, {-5, 0, 30, 0, 30, 6}, {-5, 0, 3, 0, 8, 6},    {0, -4, 0, 1, 30, 5},
      {INT64_MIN, INT64_MIN, 0, 0, 30, 6}};
  // clang-format on
  const Table identity = IdentityTable();
  const auto colour = [](int64_t x, int64_t y) { return Rgba{Byte(x * 17), Byte(y * 51), Byte(x + y), Byte(x * 8)}; };
  OwnedPicture source(PaintedPicture(30, 6, colour, true));
  for (const auto& r : rectangles) {
    SCOPED_TRACE(testing::Message() << "Min " << r.MinX << ", " << r.MinY << " Max " << r.MaxX << ", " << r.MaxY);
    for (bool isSepia : {true, false}) {
      OwnedObject job = isSepia ? NewJob("PictureSepiaQVL", source) : LookupJob(identity, source);
      SetIntegers(job, {{"MinX", r.MinX}, {"MinY", r.MinY}, {"MaxX", r.MaxX}, {"MaxY", r.MaxY}});
      OwnedPicture result(Result(job, isSepia ? sepia::Run : lut3d::Run));
      const auto rule = [&](Rgba in) { return isSepia ? Sepia(Settings(), in) : Tetrahedral(identity, in); };
      const auto walked = [&](int64_t x, int64_t y) {
        if (x < r.columns && y < r.rows) return rule(qvlhost::PixelRgba(source, x, y));
        return isSepia ? Rgba{255, 255, 255, 255} : Rgba{0, 0, 0, 0};
      };
      OwnedPicture expected(PaintedPicture(30, 6, walked, !isSepia));
      ExpectSamePicture(result, expected);
      for (int64_t y = 0; y < 6; ++y) EXPECT_EQ(qvlhost::RowPadding(result, y), qvlhost::RowPadding(expected, y));
    }
  }
}

// Sepia keeps a replaced result held and a failed run keeps the result; the
// lookup gives them back. Close gives back both pictures, keeps the numbers.
TEST_P(Jobs, RunsAndCloseHoldOrGiveBackThePictures) {
  OwnedPicture source(SolidPicture(4, 3, {200, 100, 50, 255}));
  for (bool isSepia : {true, false}) {
    SCOPED_TRACE(isSepia ? "sepia" : "lookup");
    const auto run = isSepia ? sepia::Run : lut3d::Run;
    const auto close = isSepia ? PictureSepiaClassDestructor : Lut3DClassDestructor;
    OwnedObject job = NewJob(isSepia ? "PictureSepiaQVL" : "PictureLut3DQVL", source);
    OwnedPicture first(Result(job, run)), second(Result(job, run));
    EXPECT_EQ(qvlhost::ReferenceCount(first.get()), isSepia ? 2 : 1) << "the first result held or given back";
    if (isSepia) qvlhost::ExpectAbandonedReference(first.get());
    SetSource(job, nullptr);
    EXPECT_FALSE(run(job));
    OwnedPicture kept(Destination(job));
    EXPECT_EQ(kept.get(), isSepia ? second.get() : nullptr);
    SetSource(job, source);
    SetIntegers(job, {{"MinX", 2}});
    ASSERT_TRUE(isSepia || run(job)) << "a lookup result for Close to give back";
    close(job);
    EXPECT_EQ(1, qvlhost::ReferenceCount(source.get()));
    EXPECT_EQ(nullptr, Destination(job));
    EXPECT_FALSE(run(job)) << "no source after Close";
    EXPECT_EQ(2, Get(job, "MinX").integer);
    if (isSepia) {
      EXPECT_EQ(0.587, Get(job, "FactorBlue").real);
      EXPECT_EQ(0.114, Get(job, "FactorGreen").real);
    }
  }
}

QVL_INSTANTIATE_LAYOUTS(Jobs);

}  // namespace
