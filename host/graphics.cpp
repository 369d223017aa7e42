// Graphics objects: drawing into a picture. gd pictures are drawn with libgd
// itself; Core Graphics pictures with the same nearest-pixel rules here.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "host_internal.h"
#include "qvl/host_methods.h"

namespace qvlhost {

namespace {

constexpr int64_t kWholeSource = -10000;

struct Rect {
  int64_t x, y, w, h;
};

bool SameCoreGraphicsLayout(const Picture& a, const Picture& b) {
  return a.cgPixels && b.cgPixels && a.storage.alphaInfo == b.storage.alphaInfo &&
         a.storage.bitsPerPixel == b.storage.bitsPerPixel;
}

// Source over destination, in straight colours. An opaque source, or a
// transparent destination, is copied exactly.
void Compose(Picture* target, int64_t x, int64_t y, Rgba source, const Picture* from, int64_t fx, int64_t fy) {
  if (source.a == 0) return;
  const Rgba below = source.a == 255 ? Rgba{} : StraightRgba(target, x, y);
  if (source.a == 255 || below.a == 0) {
    if (from && SameCoreGraphicsLayout(*from, *target)) {
      return WriteWord(target, x, y, ReadWord(from, fx, fy));
    }
    return StoreStraightRgba(target, x, y, source);
  }
  uint32_t rest = below.a * (255 - source.a) / 255;
  uint32_t alpha = source.a + rest;
  auto mix = [&](uint32_t s, uint32_t d) { return static_cast<uint8_t>((s * source.a + d * rest) / alpha); };
  StoreStraightRgba(
      target, x, y,
      Rgba{mix(source.r, below.r), mix(source.g, below.g), mix(source.b, below.b), static_cast<uint8_t>(alpha)});
}

void DrawScaled(Picture* target, const Picture* source, Rect to, Rect from) {
  if (target->gd && source->gd && target->gd->trueColor && source->gd->trueColor) {
    gdImageCopyResized(target->gd, source->gd, int(to.x), int(to.y), int(from.x), int(from.y), int(to.w), int(to.h),
                       int(from.w), int(from.h));
    return;
  }
  for (int64_t dy = std::max<int64_t>(0, -to.y); dy < to.h && to.y + dy < target->height; ++dy) {
    int64_t sy = from.y + dy * from.h / to.h;
    for (int64_t dx = std::max<int64_t>(0, -to.x); dx < to.w && to.x + dx < target->width; ++dx) {
      int64_t sx = from.x + dx * from.w / to.w;
      if (sx < 0 || sy < 0 || sx >= source->width || sy >= source->height) continue;
      Compose(target, to.x + dx, to.y + dy, StraightRgba(source, sx, sy), source, sx, sy);
    }
  }
}

void DrawPicture(REALgraphicsStruct* self, REALpictureStruct* image, Rect to, Rect from) {
  auto* graphics = Live<Graphics>(self, "Graphics.DrawPicture");
  Picture* source = Live<Picture>(image, "Graphics.DrawPicture");
  if (!graphics || !graphics->picture || !source || !source->HasPixels()) return;
  if (from.w == kWholeSource) from.w = source->width - from.x;
  if (from.h == kWholeSource) from.h = source->height - from.y;
  if (to.w <= 0 || to.h <= 0 || from.w <= 0 || from.h <= 0) return;
  DrawScaled(graphics->picture, source, to, from);
}

void DrawPictureDouble(REALgraphicsStruct* self, REALpictureStruct* image, double x, double y, double w, double h,
                       double sx, double sy, double sw, double sh) {
  CallRecorder{QVL_GRAPHICS_DRAW_PICTURE_DOUBLE}(self, image, x, y, w, h, sx, sy, sw, sh);
  auto whole = [](double v) { return static_cast<int64_t>(std::floor(v)); };
  DrawPicture(self, image, Rect{whole(x), whole(y), whole(w), whole(h)},
              Rect{whole(sx), whole(sy), whole(sw), whole(sh)});
}

void DrawPictureInteger(REALgraphicsStruct* self, REALpictureStruct* image, int64_t x, int64_t y, int64_t w, int64_t h,
                        int64_t sx, int64_t sy, int64_t sw, int64_t sh) {
  CallRecorder{QVL_GRAPHICS_DRAW_PICTURE_INTEGER}(self, image, x, y, w, h, sx, sy, sw, sh);
  DrawPicture(self, image, Rect{x, y, w, h}, Rect{sx, sy, sw, sh});
}

// The fore colour: &cRRGGBB, with Xojo's transparency (0 opaque) in the top byte.
Rgba PenColour(const Graphics& graphics) {
  uint32_t c = graphics.foreColor;
  return Rgba{uint8_t(c >> 16), uint8_t(c >> 8), uint8_t(c), uint8_t(255 - (c >> 24))};
}

// A pen side in whole pixels, at least 1; a pen wider than any picture the
// host can make covers as much as one that size.
int64_t PenExtent(double side) {
  constexpr double kWidest = double(int64_t(1) << 31);
  if (!(side >= 1)) return 1;
  return static_cast<int64_t>(std::min(side, kWidest));
}

struct Line {
  double x1, y1, x2, y2;
};

// The part of a line that can touch the picture once the pen is put down on
// it (Liang and Barsky's clip against the picture widened by the pen). False
// when nothing of it can, also for coordinates or extents that are not finite. The ends
// of a line inside the picture stay exactly where they are.
bool ClipToPicture(const Graphics& graphics, Line* line) {
  const double dx = line->x2 - line->x1, dy = line->y2 - line->y1;
  if (!std::isfinite(line->x1) || !std::isfinite(line->y1) || !std::isfinite(dx) || !std::isfinite(dy)) return false;
  const Picture& target = *graphics.picture;
  // libgd centres a thick line on its path, the walk here hangs the pen
  // below and right of it: a margin of the pen on every side serves both.
  const double marginX = double(PenExtent(graphics.penWidth)), marginY = double(PenExtent(graphics.penHeight));
  double enter = 0, leave = 1;
  // Keeps the part of the line where p * t <= q.
  auto keep = [&](double p, double q) {
    if (p == 0) return q >= 0;
    const double t = q / p;
    if (p < 0) {
      if (t > leave) return false;
      enter = std::max(enter, t);
    } else {
      if (t < enter) return false;
      leave = std::min(leave, t);
    }
    return true;
  };
  if (!keep(-dx, line->x1 + marginX) || !keep(dx, double(target.width) + marginX - line->x1) ||
      !keep(-dy, line->y1 + marginY) || !keep(dy, double(target.height) + marginY - line->y1)) {
    return false;
  }
  const Line whole = *line;
  if (enter > 0) line->x1 = whole.x1 + enter * dx, line->y1 = whole.y1 + enter * dy;
  if (leave < 1) line->x2 = whole.x1 + leave * dx, line->y2 = whole.y1 + leave * dy;
  return true;
}

void DrawLineGD(const Graphics& graphics, int x1, int y1, int x2, int y2) {
  gdImagePtr image = graphics.picture->gd;
  Rgba pen = PenColour(graphics);
  int field = OpacityToGDAlpha(pen.a);
  int colour = image->trueColor ? gdTrueColorAlpha(pen.r, pen.g, pen.b, field)
                                : gdImageColorResolveAlpha(image, pen.r, pen.g, pen.b, field);
  gdImageSetThickness(image, static_cast<int>(PenExtent(graphics.penWidth)));
  gdImageLine(image, x1, y1, x2, y2, colour);
  gdImageSetThickness(image, 1);
}

// The pixels of one pen put down at each point of a run of points along
// a row or a column, from (x1, y1) to (x2, y2).
struct PenRun {
  int64_t x1, y1, x2, y2;

  bool Takes(int64_t x, int64_t y) const { return (x1 == x2 && x == x1) || (y1 == y2 && y == y1); }
  void Add(int64_t x, int64_t y) {
    x1 = std::min(x1, x), x2 = std::max(x2, x), y1 = std::min(y1, y), y2 = std::max(y2, y);
  }
};

void CoverWithPen(Picture* target, const PenRun& run, int64_t penWidth, int64_t penHeight, Rgba pen) {
  FillOpaqueRect(target, run.x1, run.y1, run.x2 + penWidth, run.y2 + penHeight, pen);
}

void ComposePen(Picture* target, int64_t x, int64_t y, int64_t penWidth, int64_t penHeight, Rgba pen) {
  for (int64_t row = std::max<int64_t>(y, 0); row < std::min(y + penHeight, target->height); ++row) {
    for (int64_t column = std::max<int64_t>(x, 0); column < std::min(x + penWidth, target->width); ++column) {
      Compose(target, column, row, pen, nullptr, 0, 0);
    }
  }
}

// Bresenham's walk; the pen covers PenWidth x PenHeight pixels right of and
// below each point, as far as they lie in the picture. A translucent pen is
// composed at every point; an opaque one leaves the same pixels however
// often it passes, so its points are gathered into runs along a row or a
// column and each run is covered once.
void DrawLineHere(const Graphics& graphics, int64_t x1, int64_t y1, int64_t x2, int64_t y2) {
  Picture* target = graphics.picture;
  const Rgba pen = PenColour(graphics);
  const bool opaque = pen.a == 255;
  const int64_t penWidth = PenExtent(graphics.penWidth), penHeight = PenExtent(graphics.penHeight);
  int64_t dx = std::llabs(x2 - x1), dy = -std::llabs(y2 - y1);
  int64_t stepX = x1 < x2 ? 1 : -1, stepY = y1 < y2 ? 1 : -1;
  int64_t error = dx + dy;
  PenRun run{x1, y1, x1, y1};
  while (true) {
    if (!opaque) {
      ComposePen(target, x1, y1, penWidth, penHeight, pen);
    } else if (run.Takes(x1, y1)) {
      run.Add(x1, y1);
    } else {
      CoverWithPen(target, run, penWidth, penHeight, pen);
      run = PenRun{x1, y1, x1, y1};
    }
    if (x1 == x2 && y1 == y2) break;
    int64_t twice = 2 * error;
    if (twice >= dy) error += dy, x1 += stepX;
    if (twice <= dx) error += dx, y1 += stepY;
  }
  if (opaque) CoverWithPen(target, run, penWidth, penHeight, pen);
}

// Coordinates name the top left corner of pixels: fractions are dropped
// toward the top left.
void DrawLine(REALgraphicsStruct* self, Line line) {
  auto* graphics = Live<Graphics>(self, "Graphics.DrawLine");
  if (!graphics || !graphics->picture || !graphics->picture->HasPixels()) return;
  if (!ClipToPicture(*graphics, &line)) return;
  auto whole = [](double v) { return static_cast<int64_t>(std::floor(v)); };
  const int64_t x1 = whole(line.x1), y1 = whole(line.y1), x2 = whole(line.x2), y2 = whole(line.y2);
  if (graphics->picture->gd) return DrawLineGD(*graphics, int(x1), int(y1), int(x2), int(y2));
  DrawLineHere(*graphics, x1, y1, x2, y2);
}

void DrawLineDouble(REALgraphicsStruct* self, double x1, double y1, double x2, double y2) {
  CallRecorder{QVL_GRAPHICS_DRAW_LINE_DOUBLE}(self, x1, y1, x2, y2);
  DrawLine(self, Line{x1, y1, x2, y2});
}

void DrawLineInteger(REALgraphicsStruct* self, int64_t x1, int64_t y1, int64_t x2, int64_t y2) {
  CallRecorder{QVL_GRAPHICS_DRAW_LINE_INTEGER}(self, x1, y1, x2, y2);
  DrawLine(self, Line{double(x1), double(y1), double(x2), double(y2)});
}

}  // namespace

void Graphics::ReleaseContents() {
  Picture* held = picture;
  picture = nullptr;
  if (held) DropReference(held);
}

void Graphics::ListHeld(std::vector<const void*>* held) const {
  if (picture) held->push_back(picture);
}

void* GraphicsMethod(std::string_view declaration) {
  if (SameDeclaration(declaration, QVL_GRAPHICS_DRAW_PICTURE_DOUBLE)) return HandedOut<&DrawPictureDouble>();
  if (SameDeclaration(declaration, QVL_GRAPHICS_DRAW_PICTURE_INTEGER)) return HandedOut<&DrawPictureInteger>();
  if (SameDeclaration(declaration, QVL_GRAPHICS_DRAW_LINE_DOUBLE)) return HandedOut<&DrawLineDouble>();
  if (SameDeclaration(declaration, QVL_GRAPHICS_DRAW_LINE_INTEGER)) return HandedOut<&DrawLineInteger>();
  return nullptr;
}

REALgraphicsStruct* PictureGraphics(REALpictureStruct* picture) { return entries::REALGetPictureGraphics(picture); }

namespace entries {

// A graphics object that draws into the picture; it holds the picture while it lives.
REALgraphicsStruct* REALGetPictureGraphics(REALpictureStruct* handle) {
  Picture* picture = Live<Picture>(handle, "pluginPictureGraphicsGetter");
  if (!picture || !picture->HasPixels()) return nullptr;
  AddReference(picture);
  return HandleOf<REALgraphicsStruct>(Adopt(std::make_unique<Graphics>(picture)));
}

}  // namespace entries

}  // namespace qvlhost
