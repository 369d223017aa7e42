// Every pixel of a filter's result against a rule applied to the source's
// pixel at the same place; the first miss is shown with its position.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "qvlhost.h"
#include "registrationclient/registration_check.h"

// read(picture, x, y) gives a pixel's channels; by default as the host reads them.
template <class Rule, class Read>
void ExpectEveryPixel(REALpictureStruct* source, REALpictureStruct* result, Rule rule, Read read) {
  ASSERT_NE(result, nullptr);
  int64_t misses = 0;
  for (int64_t y = 0; y < qvlhost::PictureHeight(source); ++y) {
    for (int64_t x = 0; x < qvlhost::PictureWidth(source); ++x) {
      const qvlhost::Rgba in = read(source, x, y), want = rule(in), got = read(result, x, y);
      if (!(got == want) && misses++ == 0) {
        ADD_FAILURE() << "at (" << x << ", " << y << ") from " << testing::PrintToString(in) << " got "
                      << testing::PrintToString(got) << ", want " << testing::PrintToString(want);
      }
    }
  }
  EXPECT_EQ(misses, 0);
}

template <class Rule>
void ExpectEveryPixel(REALpictureStruct* source, REALpictureStruct* result, Rule rule) {
  ExpectEveryPixel(source, result, rule,
                   [](REALpictureStruct* picture, int64_t x, int64_t y) { return qvlhost::PixelRgba(picture, x, y); });
}

// Two pictures alike in size, alpha channel, storage and every pixel word;
// the first different word is shown with its position.
inline void ExpectSamePicture(REALpictureStruct* actual, REALpictureStruct* expected) {
  ASSERT_TRUE(actual && expected);
  ASSERT_EQ(qvlhost::PictureWidth(expected), qvlhost::PictureWidth(actual));
  ASSERT_EQ(qvlhost::PictureHeight(expected), qvlhost::PictureHeight(actual));
  EXPECT_EQ(qvlhost::HasAlphaChannel(expected), qvlhost::HasAlphaChannel(actual));
  EXPECT_EQ(qvlhost::PictureStorage(expected).Name(), qvlhost::PictureStorage(actual).Name());
  ExpectEveryPixel(
      expected, actual, [](qvlhost::Rgba bytes) { return bytes; },
      [](REALpictureStruct* picture, int64_t x, int64_t y) {  // the word's bytes, low first
        const uint32_t word = qvlhost::PixelWord(picture, x, y);
        return qvlhost::Rgba{uint8_t(word), uint8_t(word >> 8), uint8_t(word >> 16), uint8_t(word >> 24)};
      });
}

// How many registration checks run() makes.
template <class Run>
int64_t ChecksDuring(Run run) {
  const int64_t before = RegistrationCheckCalls();
  run();
  return RegistrationCheckCalls() - before;
}

// call() gives nil after this many registration checks.
template <class Call>
void ExpectNilAfterChecks(int64_t checks, Call call) {
  EXPECT_EQ(ChecksDuring([&] { EXPECT_EQ(call(), nullptr); }), checks);
}
