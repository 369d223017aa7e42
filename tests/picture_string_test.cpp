// The binary picture string: the header byte for byte, round trips in every
// layout, the length check as the reader's only test, and a header that
// promises more than the string holds read without leaving the string.
#include "strings/picture_string.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <tuple>
#include <vector>

#include "registrationclient/registration_check.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::OwnedString;
using qvlhost::Rgba;

std::string BigEndian(uint32_t value) { return {char(value >> 24), char(value >> 16), char(value >> 8), char(value)}; }

struct Header {
  int64_t width, height;
  int64_t offset = 40;
  uint32_t depth = 32;
  std::string reserved = std::string(16, '\0');
};

// A string with this header, the pixel bytes after it and the length field
// set to the whole length plus lengthError.
std::string PictureString(const Header& h, const std::string& pixels, int64_t lengthError = 0) {
  const std::string fields = BigEndian(uint32_t(h.width)) + BigEndian(uint32_t(h.height)) + BigEndian(h.depth) +
                             BigEndian(uint32_t(h.offset)) + h.reserved;
  return "PPIC" + BigEndian(uint32_t(int64_t(8 + fields.size() + pixels.size()) + lengthError)) + fields + pixels;
}

// Decodes the bytes as a host string of unknown encoding.
REALpictureStruct* Decode(const std::string& bytes) {
  OwnedString text(qvlhost::NewString(bytes, 0xFFFF));
  return BinaryStringtoPicture(text);
}

std::string Encode(REALpictureStruct* picture) {
  OwnedString text(PicturetoBinaryString(picture));
  return text ? qvlhost::StringBytes(text) : "<nil>";
}

// Every pixel's channels as stored, row by row.
std::vector<Rgba> StoredChannels(REALpictureStruct* picture) {
  std::vector<Rgba> colours;
  for (int64_t y = 0; y < qvlhost::PictureHeight(picture); ++y)
    for (int64_t x = 0; x < qvlhost::PictureWidth(picture); ++x) colours.push_back(qvlhost::PixelRgba(picture, x, y));
  return colours;
}

// R, G, B byte triples as opaque channels.
std::vector<Rgba> Opaque(const std::string& rgb) {
  std::vector<Rgba> colours;
  for (size_t i = 0; i + 2 < rgb.size(); i += 3)
    colours.push_back({uint8_t(rgb[i]), uint8_t(rgb[i + 1]), uint8_t(rgb[i + 2]), 255});
  return colours;
}

using PictureStringTest = PluginTest;
using PictureStringLayoutTest = LayoutTest;

TEST_F(PictureStringTest, OnePixelIs43BytesWithTheBigEndianHeader) {
  OwnedPicture picture(qvlhost::NewPicture(1, 1));
  qvlhost::SetPixelRgba(picture, 0, 0, {0x80, 0x41, 0xC2, 255});
  OwnedString text(PicturetoBinaryString(picture));
  ASSERT_NE(nullptr, text.get());
  const std::string expected = std::string("PPIC\0\0\0\x2B\0\0\0\x01\0\0\0\x01\0\0\0\x20\0\0\0\x28", 24) +
                               std::string(16, '\0') + "\x80\x41\xC2";
  EXPECT_EQ(expected, qvlhost::StringBytes(text));
  EXPECT_EQ(0xFFFFu, qvlhost::StringEncoding(text));
  EXPECT_EQ("<nil>", Encode(nullptr));
}

// At every vector level a size with tails after the vector blocks and the
// blocks of four pixels, and once one below a block.
TEST_P(PictureStringLayoutTest, RoundTripKeepsTheStoredColoursAndGivesAnOpaquePictureWithoutMask) {
  const int64_t checks = RegistrationCheckCalls();
  std::vector<std::tuple<VectorLevel, int64_t, int64_t>> sizes = {{kEveryVectorLevel[0], 3, 2}};
  for (VectorLevel level : kEveryVectorLevel) sizes.push_back({level, 37, 3});
  for (const auto& [level, width, height] : sizes) {
    CapVectorLevel(level);
    SCOPED_TRACE(NameOf(level));
    OwnedPicture source(VariedAlphaPicture(width, height));
    OwnedPicture mask(qvlhost::NewPicture(width, height));
    qvlhost::SetPictureMask(source, mask);
    const std::string bytes = Encode(source);
    ASSERT_EQ(size_t(40 + width * height * 3), bytes.size());
    std::vector<Rgba> stored = StoredChannels(source);  // premultiplied where the layout is
    for (Rgba& colour : stored) colour.a = 255;
    EXPECT_EQ(stored, Opaque(bytes.substr(40)));
    OwnedPicture back(Decode(bytes));
    ASSERT_NE(nullptr, back.get());
    EXPECT_EQ(width, qvlhost::PictureWidth(back));
    EXPECT_EQ(nullptr, qvlhost::PictureMask(back));
    EXPECT_EQ(stored, StoredChannels(back));
  }
  EXPECT_EQ(checks, RegistrationCheckCalls());
}

// Only the magic and the length field are checked; sizes are turned away by
// the writer, which traces a width below 1. The header is trusted beyond the
// length field: what it points at outside the string reads as 0.
TEST_F(PictureStringTest, DecodingChecksTheMagicAndTheLengthAndReadsZeroOutsideTheString) {
  DebuggingEnabled = true;
  qvlhost::LogCapture log;
  const std::string two = "\x01\x02\x03\xF1\xF2\xF3", five = "\x11\x22\x33\x44\x55", black(3, '\0');
  const std::string nil = "nil";
  const struct {
    const char* what;
    std::string bytes;
    std::string rgb;  // R, G, B of every pixel, or nil
  } cases[] = {
      {"empty", "", nil},
      {"seven bytes", std::string("PPIC\0\0\0", 7), nil},
      {"wrong magic", "PPIc" + PictureString({2, 1}, two).substr(4), nil},
      {"length field one more", PictureString({2, 1}, two, 1), nil},
      {"width 0", PictureString({0, 1}, ""), nil},
      {"height 0", PictureString({2, 0}, two), nil},
      {"8 bytes, width read as 0", "PPIC" + BigEndian(8), nil},
      {"12 bytes, height read as 0", "PPIC" + BigEndian(12) + BigEndian(1), nil},
      {"15 bytes, height read as 0", ("PPIC" + BigEndian(15) + BigEndian(1) + BigEndian(1)).substr(0, 15), nil},
      {"negative width", PictureString({-2, 1}, two), nil},
      {"width 32768", PictureString({32768, 1}, two), nil},
      {"height 32768", PictureString({1, 32768}, two), nil},
      {"depth 7", PictureString({2, 1, 40, 7}, two), two},
      {"reserved bytes set", PictureString({2, 1, 40, 32, std::string(16, '\xAB')}, two), two},
      {"offset 48", PictureString({2, 1, 48}, std::string(8, '\xEE') + two), two},
      {"promises more than it holds", PictureString({3, 2}, five), five + std::string(13, '\0')},
      {"offset at the end", PictureString({2, 1, 45}, five), black + black},
      {"offset INT32_MAX", PictureString({2, 2, INT32_MAX}, five), std::string(12, '\0')},
      {"offset INT32_MIN", PictureString({2, 2, INT32_MIN}, five), std::string(12, '\0')},
      {"negative offset", PictureString({3, 1, -4}, five), std::string("\0\0\0\0PPIC\0", 9)},
      {"16 bytes, offset read as 0", "PPIC" + BigEndian(16) + BigEndian(1) + BigEndian(1), "PPI"},
      {"23 bytes, offset 256",
       "PPIC" + BigEndian(23) + BigEndian(1) + BigEndian(1) + BigEndian(32) + std::string("\0\0\x01", 3), black}};
  for (const auto& c : cases) {
    OwnedPicture picture(Decode(c.bytes));
    ASSERT_EQ(c.rgb != nil, picture.get() != nullptr) << c.what;
    if (!picture) continue;
    EXPECT_EQ(Opaque(c.rgb), StoredChannels(picture)) << c.what;
  }
  EXPECT_EQ(3, TraceCount(log.Lines(), "width < 1"));  // width 0, negative width, 8 bytes
}

// On either route both, first among the globals as the table tests show,
// carry the deprecation for PNG, which no other global carries.
TEST_F(PictureStringTest, BothAreDeprecatedForPNGOnEitherRoute) {
  for (const double version : {2024.03, 2012.0}) {
    config_.version = version;
    qvlhost::Reset(config_);
    REALPluginMain(qvlhost::Resolver());
    std::vector<const REALmethodDefinition*> rows;
    for (const REALmoduleDefinition* module : qvlhost::RegisteredModules())
      if (std::string(module->name) == "PictureGlobalsQVL")
        for (uint64_t i = 0; i < module->methodCount; ++i) rows.push_back(&module->methods[i]);
    for (const REALmethodDefinition* method : qvlhost::RegisteredGlobalMethods()) rows.push_back(method);
    ASSERT_LE(3u, rows.size()) << version;
    for (size_t i = 0; i < rows.size(); ++i) {
      std::string attributes;
      for (uint64_t j = 0; j < rows[i]->attributeCount; ++j)
        attributes += std::string(rows[i]->attributes[j].name) + "=" + rows[i]->attributes[j].value + ";";
      EXPECT_EQ(i < 2 ? "Deprecated=\"PNG format\";" : "", attributes) << rows[i]->declaration;
    }
  }
}

QVL_INSTANTIATE_LAYOUTS(PictureStringLayoutTest);

}  // namespace
