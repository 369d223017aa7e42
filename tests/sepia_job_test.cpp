// The sepia job: its defaults and crossed factor rows, the fixed-point grey
// and the clamps against the rule written out, at every vector level and in
// all seven layouts; the rectangle, the kept result of an earlier run and
// the job's life.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "jobs/sepia.h"
#include "support/job_test.h"
#include "support/painted_picture.h"

namespace {

using qvlhost::OwnedObject;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;
using qvlhost::Value;

struct Settings {
  double factorRed = 0.299, factorGreen = 0.587, factorBlue = 0.114;  // the weights of red, green, blue
  int64_t SepiaRed = 0, SepiaGreen = 0, SepiaBlue = 0;
};

// The rule in 64 bits, brought to 32 as the job's integers wrap.
Rgba Sepia(const Settings& s, Rgba in) {
  auto weight = [](double factor) { return static_cast<int64_t>(static_cast<int32_t>(factor * 1024.0)); };
  const auto sum =
      static_cast<int32_t>(in.b * weight(s.factorBlue) + in.g * weight(s.factorGreen) + in.r * weight(s.factorRed));
  const int64_t grey = sum / 1024;
  auto channel = [grey](int64_t offset) {
    return static_cast<uint8_t>(std::clamp<int64_t>(static_cast<int32_t>(grey + static_cast<int32_t>(offset)), 0, 255));
  };
  return {channel(s.SepiaRed), channel(s.SepiaGreen), channel(s.SepiaBlue), 255};
}

class SepiaJob : public JobTest {
 protected:
  // A job with the settings, through the class's rows: FactorBlue sets the
  // green weight and FactorGreen the blue one.
  OwnedObject NewJob(const Settings& s, REALpictureStruct* source) {
    OwnedObject job(qvlhost::NewObject("PictureSepiaQVL"));
    Set(job, "FactorRed", Value::Double(s.factorRed));
    Set(job, "FactorBlue", Value::Double(s.factorGreen));
    Set(job, "FactorGreen", Value::Double(s.factorBlue));
    SetInteger(job, "SepiaRed", s.SepiaRed), SetInteger(job, "SepiaGreen", s.SepiaGreen);
    SetInteger(job, "SepiaBlue", s.SepiaBlue);
    SetPicture(job, "SourcePicture", source);
    return job;
  }

  REALpictureStruct* RunWith(const Settings& s, REALpictureStruct* source) {
    OwnedObject job = NewJob(s, source);
    EXPECT_TRUE(sepia::Run(job));
    return Destination(job);
  }
};

TEST_P(SepiaJob, ANewJobWeighsRedGreenAndBlueByDefaultAndReportsTheRowsCrossed) {
  OwnedObject job(qvlhost::NewObject("PictureSepiaQVL"));
  EXPECT_EQ(0.299, Get(job, "FactorRed").real);
  EXPECT_EQ(0.587, Get(job, "FactorBlue").real);
  EXPECT_EQ(0.114, Get(job, "FactorGreen").real);
  EXPECT_EQ(0.587, GetFactorG(job, 0));
  EXPECT_EQ(0.114, GetFactorB(job, 0));
  OwnedPicture white(SolidPicture(5, 2, {255, 255, 255, 255}));
  SetPicture(job, "SourcePicture", white);
  ASSERT_TRUE(sepia::Run(job));
  OwnedPicture result(Destination(job));
  ExpectEveryPixel(white, result, [](Rgba) { return Rgba{254, 254, 254, 255}; });
}

TEST_P(SepiaJob, Examples) {
  Settings tinted;
  tinted.SepiaRed = 40, tinted.SepiaGreen = 20, tinted.SepiaBlue = -10;
  Settings blueOnly;
  blueOnly.factorRed = 0.0, blueOnly.factorGreen = 0.0, blueOnly.factorBlue = 1.0;
  Settings truncatedToZero;
  truncatedToZero.factorRed = 0.0009, truncatedToZero.factorGreen = 0.0, truncatedToZero.factorBlue = 0.0;
  Settings past255;
  past255.SepiaRed = 300, past255.SepiaGreen = -300, past255.SepiaBlue = int64_t{1} << 32;
  struct Example {
    Settings settings;
    Rgba in, out;
  } examples[] = {
      {tinted, {0, 0, 0, 255}, {40, 20, 0, 255}},
      {blueOnly, {10, 20, 130, 255}, {130, 130, 130, 255}},
      {truncatedToZero, {255, 0, 0, 255}, {0, 0, 0, 255}},
      {past255, {100, 100, 100, 255}, {255, 0, 99, 255}},
      {Settings(), {200, 100, 50, 7}, {124, 124, 124, 255}},
  };
  for (const Example& e : examples) {
    OwnedPicture source(SolidPicture(3, 2, e.in));
    OwnedPicture result(RunWith(e.settings, source));
    ExpectEveryPixel(source, result, [&](Rgba) { return e.out; });
  }
}

TEST_P(SepiaJob, EveryPixelAtEveryVectorLevelWithWrappingWeightsAndOffsets) {
  std::mt19937 random(72);
  std::uniform_int_distribution<int> byte(0, 255);
  OwnedPicture source(PaintedPicture(45, 7, [&](int64_t, int64_t) {
    return Rgba{uint8_t(byte(random)), uint8_t(byte(random)), uint8_t(byte(random)), uint8_t(byte(random))};
  }));
  Settings negative;
  negative.factorRed = -0.7, negative.factorGreen = 0.4, negative.factorBlue = -1.9;
  negative.SepiaRed = 200, negative.SepiaGreen = -3, negative.SepiaBlue = 90;
  Settings huge;  // weights of about 2^30: the sums wrap in 32 bits
  huge.factorRed = 1048575.9, huge.factorGreen = -1048000.5, huge.factorBlue = 999999.0;
  huge.SepiaRed = -(int64_t{1} << 40) + 17;
  for (const Settings& s : {Settings(), negative, huge}) {
    for (VectorLevel level : kEveryVectorLevel) {
      CapVectorLevel(level);
      OwnedPicture result(RunWith(s, source));
      ExpectEveryPixel(source, result, [&](Rgba in) { return Sepia(s, in); });
    }
  }
}

TEST_P(SepiaJob, AResultHasNoAlphaChannelAndOnlyTheWalkedAreaIsWritten) {
  OwnedPicture source(PaintedPicture(30, 6, [](int64_t x, int64_t y) {
    return Rgba{uint8_t(x * 8), uint8_t(y * 40), uint8_t(x + y), uint8_t(x * 8)};
  }));
  qvlhost::SetHasAlphaChannel(source, true);
  const struct {
    int64_t MinX, MinY, MaxX, MaxY, columns, rows;
  } rectangles[] = {{0, 0, 0, 0, 30, 6}, {10, 0, 20, 0, 10, 6}, {30, 0, 0, 0, 0, 6}, {-7, -2, 0, 0, 7, 2}};
  for (const auto& r : rectangles) {
    OwnedObject job = NewJob(Settings(), source);
    SetInteger(job, "MinX", r.MinX), SetInteger(job, "MinY", r.MinY);
    SetInteger(job, "MaxX", r.MaxX), SetInteger(job, "MaxY", r.MaxY);
    EXPECT_TRUE(sepia::Run(job));
    OwnedPicture result(Destination(job));
    EXPECT_FALSE(qvlhost::HasAlphaChannel(result));
    ExpectWalked(
        source, result, r.columns, r.rows, [](Rgba in) { return Sepia(Settings(), in); }, Rgba{255, 255, 255, 255});
  }
}

TEST_P(SepiaJob, ASecondRunLeavesTheFirstResultHeldAndAFailedRunKeepsIt) {
  OwnedPicture source(SolidPicture(4, 3, {10, 20, 30, 255}));
  OwnedObject job = NewJob(Settings(), source);
  ASSERT_TRUE(sepia::Run(job));
  REALpictureStruct* first = Destination(job);
  qvlhost::Release(reinterpret_cast<REALobjectStruct*>(first));
  ASSERT_TRUE(sepia::Run(job));
  qvlhost::ExpectAbandonedReference(first);
  OwnedPicture second(Destination(job));
  EXPECT_NE(first, second.get());
  SetPicture(job, "SourcePicture", nullptr);
  EXPECT_FALSE(sepia::Run(job));
  OwnedPicture kept(Destination(job));
  EXPECT_EQ(second.get(), kept.get());
}

TEST_P(SepiaJob, CloseGivesBackBothPicturesAndKeepsTheNumbers) {
  OwnedPicture source(SolidPicture(4, 3, {10, 20, 30, 255}));
  Settings s;
  s.SepiaGreen = 12;
  OwnedObject job = NewJob(s, source);
  ASSERT_TRUE(sepia::Run(job));
  PictureSepiaClassDestructor(job);
  PictureSepiaClassDestructor(job);
  EXPECT_EQ(1, qvlhost::ReferenceCount(source.get()));
  EXPECT_EQ(nullptr, Destination(job));
  EXPECT_EQ(12, Get(job, "SepiaGreen").integer);
  EXPECT_EQ(0.587, Get(job, "FactorBlue").real);
  EXPECT_FALSE(sepia::Run(job));
}

QVL_INSTANTIATE_LAYOUTS(SepiaJob);

}  // namespace
