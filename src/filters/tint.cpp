#include "filters/tint.h"

#include <vector>

#include "filters/filter_frame.h"

namespace {

struct ColourFractions {
  double red, green, blue;
};

// Each channel of a host colour divided by 255.0.
ColourFractions FractionsOf(uint32_t colour) {
  return {static_cast<double>((colour >> 16) & 0xFF) / 255.0, static_cast<double>((colour >> 8) & 0xFF) / 255.0,
          static_cast<double>(colour & 0xFF) / 255.0};
}

inline double Grey(const Channels& c, const ColourFractions& weight) {
  return static_cast<double>(c.r) * weight.red + static_cast<double>(c.g) * weight.green +
         static_cast<double>(c.b) * weight.blue;
}

// t * s is at most 765, so the conversion is always in range.
inline uint32_t TintChannel(double grey, double sepia) {
  const int32_t value = static_cast<int32_t>(grey * sepia);
  return value >= 255 ? 255u : static_cast<uint32_t>(value);
}

typedef double Doubles4 __attribute__((vector_size(32)));
typedef int32_t Ints4 __attribute__((vector_size(16)));

inline Ints4 AtMost255(Ints4 value) {
  const Ints4 limit = {255, 255, 255, 255};
  const Ints4 over = value >= limit;
  return (value & ~over) | (limit & over);
}

// Four pixels at a time through the double operations of Grey and
// TintChannel, made lane by lane in vectors; the rest one by one.
template <PixelLayout S, PixelLayout D>
inline void TintRow(const uint32_t* source, uint32_t* destination, int64_t width, const ColourFractions& weight,
                    const ColourFractions& tint) {
  if (D == PixelLayout::Unknown) return;
  int64_t column = 0;
  for (; column + 4 <= width; column += 4) {
    Ints4 red, green, blue;
    for (int lane = 0; lane < 4; ++lane) {
      const Channels in = ReadAt<S>(source, column + lane);
      red[lane] = static_cast<int32_t>(in.r);
      green[lane] = static_cast<int32_t>(in.g);
      blue[lane] = static_cast<int32_t>(in.b);
    }
    const Doubles4 grey = __builtin_convertvector(red, Doubles4) * weight.red +
                          __builtin_convertvector(green, Doubles4) * weight.green +
                          __builtin_convertvector(blue, Doubles4) * weight.blue;
    const Ints4 outRed = AtMost255(__builtin_convertvector(grey * tint.red, Ints4));
    const Ints4 outGreen = AtMost255(__builtin_convertvector(grey * tint.green, Ints4));
    const Ints4 outBlue = AtMost255(__builtin_convertvector(grey * tint.blue, Ints4));
    for (int lane = 0; lane < 4; ++lane) {
      destination[column + lane] =
          OpaquePixel<D>(static_cast<uint32_t>(outRed[lane]), static_cast<uint32_t>(outGreen[lane]),
                         static_cast<uint32_t>(outBlue[lane]));
    }
  }
  for (; column < width; ++column) {
    const double grey = Grey(ReadAt<S>(source, column), weight);
    destination[column] =
        OpaquePixel<D>(TintChannel(grey, tint.red), TintChannel(grey, tint.green), TintChannel(grey, tint.blue));
  }
}

// The result of every channel c under every grey y: y plus the difference
// c - y scaled by k / 255 with a division that truncates toward zero, the
// quotient kept to its low 32 bits and the sum made in 32 bits, then
// limited to 0..255. Made once per call.
class SaturationTable {
 public:
  explicit SaturationTable(int64_t Amount) : table_(256 * 256) {
    const uint64_t k = static_cast<uint64_t>(Amount) + 255u;
    uint32_t steps[511];
    for (int d = -255; d <= 255; ++d) {
      const int64_t scaled = static_cast<int64_t>(static_cast<uint64_t>(static_cast<int64_t>(d)) * k);
      steps[d + 255] = static_cast<uint32_t>(scaled / 255);
    }
    for (uint32_t y = 0; y < 256; ++y) {
      for (uint32_t c = 0; c < 256; ++c) {
        const int32_t value = static_cast<int32_t>(steps[c - y + 255] + y);
        table_[y * 256 + c] = static_cast<uint8_t>(value < 0 ? 0 : value >= 255 ? 255 : value);
      }
    }
  }

  // The results for the grey y, indexed by channel.
  const uint8_t* Row(uint32_t y) const { return table_.data() + y * 256; }

 private:
  std::vector<uint8_t> table_;
};

}  // namespace

REALpictureStruct* TintPicture(REALpictureStruct* source, uint32_t GreyBase, uint32_t SepiaBase) {
  const ColourFractions weight = FractionsOf(GreyBase);
  const ColourFractions tint = FractionsOf(SepiaBase);
  return RunFilterFrame(
      source, RegistrationCheckAt::AfterAcquire,
      [&weight, &tint](auto sourceLayout, auto destinationLayout, const uint32_t* from, uint32_t* to, int64_t width) {
        TintRow<decltype(sourceLayout)::value, decltype(destinationLayout)::value>(from, to, width, weight, tint);
      });
}

REALpictureStruct* SaturationPicture(REALpictureStruct* pic, int64_t Amount) {
  const SaturationTable table(Amount);
  return RunColourFilter(pic, RegistrationCheckAt::First, [&table](Channels in) {
    const uint8_t* row = table.Row((in.r + in.b + 2 * in.g) >> 2);
    return Channels{row[in.r], row[in.g], row[in.b], 0};
  });
}
