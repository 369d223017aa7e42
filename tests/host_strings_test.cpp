// The host's conversions: what cannot be read becomes U+FFFD, what cannot be
// written "?", and the default UTF-16 order follows a byte-order mark.
#include "qvl/encodings.h"
#include "qvl/entry_points.h"
#include "support/plugin_test.h"

namespace {

class HostStringTest : public PluginTest {};

TEST_F(HostStringTest, ConversionsSubstituteWhatDoesNotConvert) {
  const struct {
    std::string bytes;
    uint32_t from, to;
    std::string converted;
  } cases[] = {
      {"caf\xC3\xA9", kREALTextEncodingUTF8, kREALTextEncodingASCII, "caf?"},
      {"a\xFF"
       "b",
       kREALTextEncodingUTF8, kREALTextEncodingUTF16LE,
       std::string("a\0\xFD\xFF"
                   "b\0",
                   6)},
      {std::string("\xFE\xFF\0h", 4), kREALTextEncodingUnicodeDefault, kREALTextEncodingUTF8, "h"},
      {std::string("\xFF\xFEh\0", 4), kREALTextEncodingUnicodeDefault, kREALTextEncodingUTF8, "h"},
      {"\xE9", kREALTextEncodingUnknown, kREALTextEncodingUTF8, "\xE9"},
  };
  auto convert = HostEntry<REALConvertStringFn>("REALConvertString");
  for (const auto& c : cases) {
    qvlhost::OwnedString source(qvlhost::NewString(c.bytes, c.from));
    qvlhost::OwnedString converted(convert(source, c.to));
    ASSERT_NE(nullptr, converted.get()) << c.converted;
    EXPECT_EQ(c.converted, qvlhost::StringBytes(converted));
    EXPECT_EQ(c.to, qvlhost::StringEncoding(converted));
  }
  qvlhost::OwnedString unknownTarget(qvlhost::NewString("a", kREALTextEncodingUTF8));
  EXPECT_EQ(nullptr, convert(unknownTarget, 0x7777));
}

}  // namespace
