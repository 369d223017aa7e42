// The 3-D lookup job: tetrahedral interpolation against the six rows of its
// tetrahedron table written out, at every vector level and in all seven
// layouts; the table's bounds, the rectangle rule, and the job's life.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "jobs/lut3d.h"
#include "support/job_test.h"
#include "support/painted_picture.h"

namespace {

using qvlhost::OwnedObject;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;

using Table = std::vector<double>;  // [r][g][b][x], 18 nodes an axis

double& At(Table& table, int r, int g, int b, int x) { return table[((r * 18 + g) * 18 + b) * 3 + x]; }

Table IdentityTable() {
  Table table(18 * 18 * 18 * 3, 0.0);
  for (int r = 0; r < 16; ++r)
    for (int g = 0; g < 16; ++g)
      for (int b = 0; b < 16; ++b)
        At(table, r, g, b, 0) = 17 * r, At(table, r, g, b, 1) = 17 * g, At(table, r, g, b, 2) = 17 * b;
  return table;
}

// Values past both ends of 0..255, so that the clamps are reached.
Table RandomTable(uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> value(-30.0, 290.0);
  Table table(18 * 18 * 18 * 3);
  for (double& entry : table) entry = value(random);
  return table;
}

void Fill(REALobjectStruct* job, Table& table) {
  for (uint32_t r = 0; r < 18; ++r)
    for (uint32_t g = 0; g < 18; ++g)
      for (uint32_t b = 0; b < 18; ++b)
        for (uint32_t x = 0; x < 3; ++x) SetPMX(job, r, g, b, x, At(table, r, g, b, x));
}

// The tetrahedron table row by row: corners named by a digit per axis, 0 for
// the lower node and 1 for the upper.
Rgba Tetrahedral(Table& table, Rgba in) {
  const int c[3] = {in.r, in.g, in.b};
  int lower[3], upper[3];
  double f[3];
  for (int axis = 0; axis < 3; ++axis) {
    lower[axis] = c[axis] / 17;
    upper[axis] = std::min(lower[axis], 14) + 1;
    f[axis] = static_cast<double>(c[axis] - 17 * lower[axis]) / 17.0;
  }
  const double fr = f[0], fg = f[1], fb = f[2];
  struct Tetrahedron {
    const char* corners[4];
    double weights[4];
  } t;
  if (fr > fg && fg > fb) {
    t = {{"000", "100", "110", "111"}, {1 - fr, fr - fg, fg - fb, fb}};
  } else if (fr > fg && fr > fb) {
    t = {{"000", "100", "101", "111"}, {1 - fr, fr - fb, fb - fg, fg}};
  } else if (fr > fg) {
    t = {{"000", "001", "101", "111"}, {1 - fb, fb - fr, fr - fg, fg}};
  } else if (fb > fg) {
    t = {{"000", "001", "011", "111"}, {1 - fb, fb - fg, fg - fr, fr}};
  } else if (fb > fr) {
    t = {{"000", "010", "011", "111"}, {1 - fg, fg - fb, fb - fr, fr}};
  } else {
    t = {{"000", "010", "110", "111"}, {1 - fg, fg - fr, fr - fb, fb}};
  }
  uint8_t out[3];
  for (int x = 0; x < 3; ++x) {
    double sum = 0;
    for (int k = 0; k < 4; ++k) {
      const char* digits = t.corners[k];
      const int r = digits[0] == '1' ? upper[0] : lower[0], g = digits[1] == '1' ? upper[1] : lower[1],
                b = digits[2] == '1' ? upper[2] : lower[2];
      const double product = t.weights[k] * At(table, r, g, b, x);
      sum = k == 0 ? product : sum + product;
    }
    out[x] = sum < 0.0 ? 0 : sum > 255.0 ? 255 : static_cast<uint8_t>(sum);
  }
  return {out[0], out[1], out[2], 255};
}

// Colours whose fractions fall in every row of the tetrahedron table, ties
// included, around lattice nodes from 0 to 15; then the nodes themselves and
// the ends of the channel.
std::vector<Rgba> CellColours() {
  std::vector<Rgba> colours;
  const int steps[] = {0, 4, 9, 16};
  const int nodes[][3] = {{0, 3, 7}, {15, 0, 2}, {6, 14, 11}};
  for (const auto& node : nodes)
    for (int kr : steps)
      for (int kg : steps)
        for (int kb : steps)
          colours.push_back({uint8_t(std::min(255, node[0] * 17 + kr)), uint8_t(std::min(255, node[1] * 17 + kg)),
                             uint8_t(std::min(255, node[2] * 17 + kb)), uint8_t(kr * 15)});
  for (int c : {0, 16, 17, 57, 254, 255}) colours.push_back({uint8_t(c), uint8_t(c), uint8_t(c), 255});
  return colours;
}

class Lut3DJob : public JobTest {
 protected:
  OwnedObject NewJob() { return OwnedObject(qvlhost::NewObject("PictureLut3DQVL")); }

  // Runs a job on the source with the table; the result, with a reference.
  REALpictureStruct* RunWith(Table& table, REALpictureStruct* source) {
    OwnedObject job = NewJob();
    Fill(job, table);
    SetPicture(job, "SourcePicture", source);
    EXPECT_TRUE(lut3d::Run(job));
    return Destination(job);
  }
};

REALpictureStruct* ColoursPicture(const std::vector<Rgba>& colours, int64_t width) {
  const auto count = static_cast<int64_t>(colours.size());
  return PaintedPicture(width, (count + width - 1) / width,
                        [&](int64_t x, int64_t y) { return colours[(y * width + x) % count]; });
}

TEST_P(Lut3DJob, EveryTetrahedronAndTieAtEveryVectorLevel) {
  Table table = RandomTable(14);
  OwnedPicture source(ColoursPicture(CellColours(), 37));
  for (VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    OwnedPicture result(RunWith(table, source));
    ExpectEveryPixel(source, result, [&](Rgba in) { return Tetrahedral(table, in); });
  }
}

TEST_P(Lut3DJob, IdentityTableKeepsNodesAndLosesOneWhereASumFallsShort) {
  Table table = IdentityTable();
  struct Example {
    Rgba in, out;
  } examples[] = {
      {{57, 57, 57, 255}, {56, 56, 56, 255}},     {{17, 34, 51, 255}, {17, 34, 51, 255}},
      {{255, 0, 255, 255}, {255, 0, 255, 255}},   {{0, 0, 0, 255}, {0, 0, 0, 255}},
      {{255, 255, 255, 9}, {255, 255, 255, 255}}, {{16, 16, 16, 255}, Tetrahedral(table, {16, 16, 16, 255})},
  };
  for (const Example& e : examples) {
    OwnedPicture source(SolidPicture(3, 2, e.in));
    OwnedPicture result(RunWith(table, source));
    ExpectEveryPixel(source, result, [&](Rgba) { return e.out; });
  }
}

TEST_P(Lut3DJob, TableIndicesBeyondTheirBoundsReadZeroAndStoreNothing) {
  OwnedObject job = NewJob();
  SetPMX(job, 17, 17, 17, 2, 3.5);
  SetPMX(job, 0, 0, 0, 3, 9.0);   // would be [0][0][1][0]
  SetPMX(job, 18, 0, 0, 0, 9.0);  // would be [1][0][0][0] of a larger table
  SetPMX(job, 0, 0, 0xFFFFFFFF, 0, 9.0);
  EXPECT_EQ(3.5, GetPMX(job, 17, 17, 17, 2));
  EXPECT_EQ(0.0, GetPMX(job, 0, 0, 1, 0));
  EXPECT_EQ(0.0, GetPMX(job, 0, 0, 0, 3));
  EXPECT_EQ(0.0, GetPMX(job, 18, 0, 0, 0));
  EXPECT_EQ(0.0, GetPMX(job, 0, 18, 0, 0));
  EXPECT_EQ(0.0, GetPMX(job, 0, 0, 0xFFFFFFFF, 0));
}

struct Rectangle {
  int64_t MinX, MinY, MaxX, MaxY;
  int64_t columns, rows;  // the walk from (0, 0)
};

// On a 30 x 6 picture; a negative start is held to the picture.
const Rectangle kRectangles[] = {
    {0, 0, 0, 0, 30, 6},   {10, 0, 20, 0, 10, 6},
    {10, 0, 30, 0, 20, 6}, {10, 0, 99, 0, 20, 6},
    {10, 0, 5, 0, 20, 6},  {30, 0, 0, 0, 0, 6},
    {45, 1, 0, 4, 0, 3},   {0, 2, 0, 6, 30, 4},
    {0, 6, 0, 0, 30, 0},   {-5, 0, 0, 0, 5, 6},
    {-5, 0, 30, 0, 30, 6}, {-5, 0, 3, 0, 8, 6},
    {0, -4, 0, 1, 30, 5},  {std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::min(), 0, 0, 30, 6},
};

TEST_P(Lut3DJob, TheRectangleOnlyShortensTheWalkFromTheTopLeft) {
  Table table = IdentityTable();
  OwnedPicture source(PaintedPicture(30, 6, [](int64_t x, int64_t y) {
    return Rgba{uint8_t(x * 17 % 256), uint8_t(y * 51), 34, 255};
  }));
  qvlhost::SetHasAlphaChannel(source, true);
  for (const Rectangle& r : kRectangles) {
    OwnedObject job = NewJob();
    Fill(job, table);
    SetPicture(job, "SourcePicture", source);
    SetInteger(job, "MinX", r.MinX), SetInteger(job, "MinY", r.MinY);
    SetInteger(job, "MaxX", r.MaxX), SetInteger(job, "MaxY", r.MaxY);
    EXPECT_TRUE(lut3d::Run(job));
    OwnedPicture result(Destination(job));
    SCOPED_TRACE(testing::Message() << "MinX " << r.MinX << " MinY " << r.MinY << " MaxX " << r.MaxX << " MaxY "
                                    << r.MaxY);
    ExpectWalked(
        source, result, r.columns, r.rows, [&](Rgba in) { return Tetrahedral(table, in); }, Rgba{0, 0, 0, 0});
  }
}

TEST_P(Lut3DJob, RunDropsThePreviousResultAndFailsWithoutASource) {
  OwnedObject job = NewJob();
  EXPECT_FALSE(lut3d::Run(job));
  OwnedPicture source(SolidPicture(4, 3, {200, 100, 50, 255}));
  SetPicture(job, "SourcePicture", source);
  ASSERT_TRUE(lut3d::Run(job));
  OwnedPicture first(Destination(job));
  // The new job's table is all zero: a black picture.
  ExpectEveryPixel(source, first, [](Rgba) { return Rgba{0, 0, 0, 255}; });
  ASSERT_TRUE(lut3d::Run(job));
  EXPECT_EQ(1, qvlhost::ReferenceCount(first.get())) << "the first result was given back";
  SetPicture(job, "SourcePicture", nullptr);
  EXPECT_FALSE(lut3d::Run(job));
  EXPECT_EQ(nullptr, Destination(job));
}

TEST_P(Lut3DJob, CloseGivesBackBothPicturesAndDestructionAfterItNothing) {
  OwnedPicture source(SolidPicture(4, 3, {1, 2, 3, 255}));
  OwnedObject job = NewJob();
  SetPicture(job, "SourcePicture", source);
  SetInteger(job, "MinX", 2);
  SetPMX(job, 0, 0, 0, 0, 7.0);
  ASSERT_TRUE(lut3d::Run(job));
  Lut3DClassDestructor(job);
  EXPECT_EQ(1, qvlhost::ReferenceCount(source.get()));
  EXPECT_EQ(nullptr, Destination(job));
  EXPECT_FALSE(lut3d::Run(job)) << "no source after Close";
  EXPECT_EQ(2, Get(job, "MinX").integer);
  EXPECT_EQ(7.0, GetPMX(job, 0, 0, 0, 0));
  // The host runs the destructor once more when the last reference goes.
}

QVL_INSTANTIATE_LAYOUTS(Lut3DJob);

}  // namespace
