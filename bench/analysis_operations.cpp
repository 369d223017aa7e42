// The read-only operations and the scrolls, called directly as the host
// would call them. The read-only ones are held to the read floor; the
// uniformity tests work on pictures that pass them, so that they read every
// pixel; the scrolls work on a copy of the source and are held to the
// memmove floor.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "analysis/counting.h"
#include "analysis/search.h"
#include "analysis/uniformity.h"
#include "analysis_measures.h"
#include "harness.h"
#include "scroll/scroll.h"

namespace {

// A new picture of the source's size whose pixels are all the word that
// SetPixelRgba stores for the colour.
REALpictureStruct* FilledPicture(qvlhost::Rgba colour) {
  REALpictureStruct* picture = qvlhost::NewPicture(kBenchSize, kBenchSize);
  if (!picture) return nullptr;
  qvlhost::SetPixelRgba(picture, 0, 0, colour);
  const uint32_t word = qvlhost::PixelWord(picture, 0, 0);
  LockedRows rows(picture);
  for (int64_t y = 0; y < rows.height(); ++y) {
    auto* row = reinterpret_cast<uint32_t*>(rows.Row(y));
    for (int64_t x = 0; x < rows.width(); ++x) row[x] = word;
  }
  return picture;
}

// A new picture holding the source's pixels from (left, top) on.
REALpictureStruct* CutFromSource(int64_t left, int64_t top, int64_t width, int64_t height) {
  REALpictureStruct* picture = qvlhost::NewPicture(width, height);
  if (!picture) return nullptr;
  LockedRows from(SourcePicture(SourceKind::Opaque));
  LockedRows to(picture);
  for (int64_t y = 0; y < height; ++y) std::memcpy(to.Row(y), from.Row(top + y) + left * 4, size_t(width) * 4);
  return picture;
}

template <class Call>
void AddReadOnly(const std::string& name, const char* reference, Call call, double bound = kReadOnlyBound) {
  AddMeasure({name,
              MeasureKind::Operation,
              SourceKind::Opaque,
              reference ? reference : "",
              [call](REALpictureStruct* source) { return call(source); },
              kReadFloor,
              {},
              bound});
}

// A uniformity test on a picture of one colour, which it must pass.
template <class Test>
void AddUniformity(const std::string& name, qvlhost::Rgba colour, Test test) {
  const std::string picture = "filled " + std::to_string(colour.r) + "," + std::to_string(colour.g);
  AddReadOnly(name, nullptr, [picture, colour, test](REALpictureStruct*) {
    REALpictureStruct* filled = LayoutPicture(picture, [colour] { return FilledPicture(colour); });
    return filled && test(filled);
  });
}

void AddCounting() {
  AddReadOnly("CountColorQVL", kReferenceCountColour, [](REALpictureStruct* source) {
    benchmark::DoNotOptimize(CountColorQVL(source, 0x406080));
    return true;
  });
  AddReadOnly(
      "CountColorsQVL", kReferenceCalcHist,
      [](REALpictureStruct* source) {
        REALmemoryBlockStruct *red = nullptr, *blue = nullptr, *green = nullptr;
        int64_t count = 0;
        CountColorsQVL(source, &red, &blue, &green, &count);
        for (REALmemoryBlockStruct* block : {red, blue, green}) {
          if (block) qvlhost::Release(reinterpret_cast<REALobjectStruct*>(block));
        }
        return count == kBenchSize * kBenchSize;
      },
      kNoFloorBound);
}

void AddUniformityTests() {
  const qvlhost::Rgba black{0, 0, 0, 255}, white{255, 255, 255, 255}, grey{128, 128, 128, 255};
  AddUniformity("isBlackQVL", black, [](REALpictureStruct* pic) { return isBlack2(pic); });
  AddUniformity("isWhiteQVL", white, [](REALpictureStruct* pic) { return isWhite2(pic); });
  AddUniformity("isGrayQVL(0)", grey, [](REALpictureStruct* pic) { return isGray2(pic, 0); });
  AddUniformity("isGrayQVL(5)", grey, [](REALpictureStruct* pic) { return isGray2(pic, 5); });
  AddReadOnly("ColornessQVL", nullptr, [](REALpictureStruct* source) {
    benchmark::DoNotOptimize(ColornessQVL(source, 10));
    return true;
  });
}

void AddSearch() {
  AddReadOnly("FindPicture", kReferenceMatchTemplate, [](REALpictureStruct* source) {
    REALpictureStruct* needle = NeedlePicture();
    int64_t x = 0, y = 0;
    return needle && FindPicture(source, needle, &x, &y, 0, 0, 3) && x == kBenchSize - kNeedleSize &&
           y == kBenchSize - kNeedleSize;
  });
}

// Scrolls by 16 rows or columns, each way, with and without wrap.
template <class Call>
void AddScroll(const std::string& name, Call call) {
  AddMeasure({name,
              MeasureKind::Operation,
              SourceKind::Opaque,
              "",
              [call](REALpictureStruct*) {
                REALpictureStruct* picture = ScrolledPicture();
                return picture && call(picture);
              },
              kMemmoveFloor,
              {},
              kScrollBound});
}

void AddScrolls() {
  for (const bool wrap : {false, true}) {
    const std::string wrapped = wrap ? ", wrap" : "";
    for (const int64_t delta : {16, -16}) {
      const std::string by = "(" + std::to_string(delta) + wrapped + ")";
      AddScroll("ScrollVerticalQVL" + by,
                [delta, wrap](REALpictureStruct* pic) { return ScrollVerticalQVL(pic, delta, wrap, false); });
      AddScroll("ScrollHorizontalQVL" + by,
                [delta, wrap](REALpictureStruct* pic) { return ScrollHorizontalQVL(pic, delta, wrap, false); });
    }
  }
}

}  // namespace

REALpictureStruct* ScrolledPicture() {
  return LayoutPicture("scrolled", [] { return CutFromSource(0, 0, kBenchSize, kBenchSize); });
}

REALpictureStruct* NeedlePicture() {
  const int64_t corner = kBenchSize - kNeedleSize;
  return LayoutPicture("needle", [corner] { return CutFromSource(corner, corner, kNeedleSize, kNeedleSize); });
}

void AddAnalysisOperations() {
  AddAnalysisReferences();
  AddCounting();
  AddUniformityTests();
  AddSearch();
  AddScrolls();
}
