// The resolver answers the entry points the plug-in uses and hides what the
// configuration hides; the journal can be switched off; the host's string
// conversions substitute what does not convert.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qvl/encodings.h"
#include "qvl/entry_points.h"
#include "support/plugin_test.h"

namespace {

class ResolverTest : public PluginTest {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config;
    config.hiddenEntries = {"REALLockObject"};
    return config;
  }
};

TEST_F(ResolverTest, AnswersEveryEntryButHiddenAndUnknownOnes) {
  const std::vector<std::string> entries = {
#define QVL_ENTRY_NAME(wrapper, entry, Ret, params, args, fail) entry,
      QVL_ENTRY_POINTS(QVL_ENTRY_NAME)
#undef QVL_ENTRY_NAME
          QVL_ENTRY_GET_RB_VERSION,
      QVL_ENTRY_REGISTER_PLUGIN_VERSION, QVL_ENTRY_STRING_GET_CSTRING};
  for (const std::string& entry : entries) {
    EXPECT_EQ(entry == "REALLockObject", gResolver(entry.c_str()) == nullptr) << entry;
  }
  EXPECT_EQ(nullptr, gResolver("reallockpicturedescription"));
}

TEST(HostJournal, SwitchedOffRecordsNothing) {
  for (bool journal : {true, false}) {
    qvlhost::Config config;
    config.journal = journal;
    qvlhost::Reset(config);
    qvlhost::OwnedPicture picture(HostEntry<REALNewPictureFn>("newPicture")(3, 2, 32));
    EXPECT_EQ(3, qvlhost::PictureWidth(picture));
    EXPECT_EQ(journal ? 1u : 0u, qvlhost::Journal().size());
  }
  qvlhost::Reset();
}

// What cannot be read becomes U+FFFD, what cannot be written "?", and the
// default UTF-16 order follows a byte-order mark.
TEST_F(ResolverTest, StringConversionsSubstituteWhatDoesNotConvert) {
  const struct {
    std::string bytes;
    uint32_t from, to;
    std::string converted;
  } cases[] = {{"caf\xC3\xA9", kREALTextEncodingUTF8, kREALTextEncodingASCII, "caf?"},
               {"a\xFF"
                "b",
                kREALTextEncodingUTF8, kREALTextEncodingUTF16LE,
                std::string("a\0\xFD\xFF"
                            "b\0",
                            6)},
               {std::string("\xFE\xFF\0h", 4), kREALTextEncodingUnicodeDefault, kREALTextEncodingUTF8, "h"},
               {std::string("\xFF\xFEh\0", 4), kREALTextEncodingUnicodeDefault, kREALTextEncodingUTF8, "h"},
               {"\xE9", kREALTextEncodingUnknown, kREALTextEncodingUTF8, "\xE9"}};
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
