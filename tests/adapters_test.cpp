// Host strings built by encoding, byte and text views of strings and memory
// blocks, memory blocks made under the exception handler, scope guards.
#include "binding/adapters.h"

#include <cstring>
#include <stdexcept>

#include "binding/host_strings.h"
#include "binding/memory_blocks.h"
#include "binding/scope_guards.h"
#include "qvl/encodings.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedMemoryBlock;
using qvlhost::OwnedPicture;
using qvlhost::OwnedString;

class AdapterTest : public PluginTest {};

// Hosts from 2012.0 build with the encoding, older ones label the built string.
TEST_F(AdapterTest, BuildUnicodeStringNormalisesEncodings) {
  const std::string utf16("h\0\xE9\0", 4);
  const struct {
    std::string bytes;
    uint32_t encoding;
    double version;
    std::string built;
    uint32_t builtEncoding;
  } cases[] = {
      {"abc", kREALTextEncodingMacRoman, 2024.03, "abc", kREALTextEncodingASCII},
      {"ab\x80", kREALTextEncodingMacRoman, 2024.03, "ab\x80", kREALTextEncodingMacRoman},
      {"abc", kREALTextEncodingWindowsLatin1, 2011.04, "abc", kREALTextEncodingASCII},
      {"\xFF", kREALTextEncodingUnknown, 2011.04, "\xFF", kREALTextEncodingUnknown},
      {"\xC3\xA9", kREALTextEncodingUTF8, 2024.03, "\xC3\xA9", kREALTextEncodingUTF8},
      {"a", kREALTextEncodingUTF32, 2024.03, "a", kREALTextEncodingUTF32},
      {utf16, kREALTextEncodingUnicodeDefault, 2024.03, "h\xC3\xA9", kREALTextEncodingUTF8},
      {utf16, kREALTextEncodingUnicodeDefault, 2011.04, "h\xC3\xA9", kREALTextEncodingUTF8},
  };
  DebuggingEnabled = true;
  for (const auto& c : cases) {
    rbversion_rbversion = c.version;
    qvlhost::ClearJournal();
    qvlhost::LogCapture log;
    OwnedString built(REALBuildUnicodeString(c.bytes.data(), int64_t(c.bytes.size()), c.encoding));
    EXPECT_EQ(c.built, qvlhost::StringBytes(built));
    EXPECT_EQ(c.builtEncoding, qvlhost::StringEncoding(built)) << c.built;
    EXPECT_EQ(1, JournalCount(c.version >= 2012 ? "REALBuildStringWithEncoding" : "REALBuildString")) << c.built;
    bool unknown = c.encoding == kREALTextEncodingUTF32;
    EXPECT_EQ(unknown, CountOf(log.Lines(), "QVL Debug: Unknown encoding in REALBuildUnicodeString 201326848") == 1);
  }
}

TEST_F(AdapterTest, BuildUnicodeStringRefusesOrRaisesAtTheLimits) {
  const char bytes[] = "abc";
  DebuggingEnabled = true;
  qvlhost::LogCapture log;
  EXPECT_EQ(nullptr, REALBuildUnicodeString(nullptr, 3, kREALTextEncodingUTF8));
  EXPECT_EQ(nullptr, REALBuildUnicodeString(bytes, 0, kREALTextEncodingUTF8));
  EXPECT_EQ(nullptr, REALBuildUnicodeString(bytes, 2147483648, kREALTextEncodingUTF8));
  EXPECT_EQ(1, CountOf(log.Lines(), "QVL Debug: Count too big for REALBuildUnicodeString."));
  EXPECT_EQ(0, JournalCount("REALBuildStringWithEncoding"));
  // The largest count reaches the host, whose allocator gives up: the
  // host's failure result comes back as nil, with nothing pending.
  EXPECT_EQ(nullptr, REALBuildUnicodeString(bytes, 2147483647, kREALTextEncodingUTF8));
  ASSERT_FALSE(qvlhost::Journal().empty());
  EXPECT_EQ("REALBuildStringWithEncoding", qvlhost::Journal().front().entry);
  EXPECT_NE(std::string::npos, qvlhost::Journal().front().detail.find("2147483647"));
  EXPECT_EQ(nullptr, qvlhost::PendingException());
}

TEST_F(AdapterTest, DataViewsStringsAndBlocks) {
  OwnedString empty(qvlhost::NewString("")), text(qvlhost::NewString("abc"));
  OwnedMemoryBlock block(qvlhost::NewMemoryBlock(16)), none(qvlhost::NewMemoryBlock(0));
  uint8_t outside[8] = {};
  OwnedMemoryBlock fromPointer(qvlhost::MemoryBlockOverPointer(outside));
  {
    rbData nilString(static_cast<REALstringStruct*>(nullptr)), emptyView(empty.get()), textView(text.get());
    rbData nilBlock(nullptr, 0, 0), blockView(block.get(), 3, 4), noneView(none.get(), 0, 0);
    rbData unknownSize(fromPointer.get(), 0, 0);
    EXPECT_TRUE(nilString.data == nullptr && nilString.size == 0);
    EXPECT_EQ(0, emptyView.size);
    EXPECT_EQ("abc", std::string(static_cast<char*>(textView.data), textView.size));
    EXPECT_EQ(2, qvlhost::ReferenceCount(text));
    EXPECT_TRUE(nilBlock.data == nullptr && nilBlock.size == 0);
    EXPECT_EQ(qvlhost::MemoryBlockData(block), blockView.data);
    EXPECT_EQ(16, blockView.size);
    EXPECT_EQ(0, noneView.size);
    EXPECT_EQ(outside, unknownSize.data);
    EXPECT_EQ(0, unknownSize.size);
    EXPECT_EQ(2, qvlhost::ReferenceCount(block));
  }
  EXPECT_EQ(1, qvlhost::ReferenceCount(text));
  EXPECT_EQ(1, qvlhost::ReferenceCount(block));
}

TEST_F(AdapterTest, DataOfAStringWithoutBytesHasNoSize) {
  qvlhost::CurrentConfig().hiddenEntries.insert("StringGetCString");
  OwnedString text(qvlhost::NewString("abc"));
  DebuggingEnabled = true;
  qvlhost::LogCapture log;
  rbData view(text.get());
  EXPECT_TRUE(view.data == nullptr && view.size == 0);
  EXPECT_EQ(1, CountOf(log.Lines(), "QVL Debug: data is NULL, so size fixed to zero."));
}

struct TextCase {
  std::string bytes;
  uint32_t encoding;
  std::string utf8;
  bool ownBytes;     // GetUTF8 gives the string's own bytes
  bool failed;       // the failed flag afterwards
  const char* word;  // a trace line it writes, or null
};

class TextTest : public PluginTest, public ::testing::WithParamInterface<bool> {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config = PluginTest::HostConfig();
    config.stringDataTerminated = GetParam();
    return config;
  }
};

TEST_P(TextTest, GetUTF8ByEncoding) {
  const char* unterminated = GetParam() ? nullptr : "String is not zero terminated. Fixed.";
  const TextCase cases[] = {
      {"abc", kREALTextEncodingASCII, "abc", true, false, nullptr},
      {"\xC3\xA9", kREALTextEncodingUTF8, "\xC3\xA9", true, false, nullptr},
      {"abc", kREALTextEncodingMacRoman, "abc", true, false, nullptr},
      {"caf\xE9", kREALTextEncodingISOLatin1, "caf\xC3\xA9", false, false, unterminated},
      {std::string("h\0\xE9\0", 4), kREALTextEncodingUTF16LE, "h\xC3\xA9", false, false, unterminated},
      {"abc", kREALTextEncodingUnknown, "abc", true, false, nullptr},
      {"\x8E", kREALTextEncodingUnknown, "\xC3\xA9", false, true, "REALBuildUnicodeString failed"},
      {"abc", 0x7777, "", false, true, "REALGetStringData failed."},
  };
  DebuggingEnabled = true;
  for (const TextCase& c : cases) {
    OwnedString text(qvlhost::NewString(c.bytes, c.encoding));
    qvlhost::ClearJournal();
    qvlhost::LogCapture log;
    {
      rbText view(text.get());
      const char* utf8 = view.GetUTF8();
      EXPECT_EQ(c.utf8, utf8) << c.utf8;
      EXPECT_EQ(utf8, view.GetUTF8());
      EXPECT_EQ(c.ownBytes, utf8 == HostEntry<QVLStringGetCStringFn>("StringGetCString")(text)) << c.utf8;
      EXPECT_EQ(c.ownBytes, JournalCount("PluginGetStringData") == 0) << c.utf8;
      EXPECT_EQ(c.failed, view.failed) << c.utf8;
      EXPECT_EQ(c.word ? 1 : 0, CountOf(log.Lines(), std::string("QVL Debug: ") + (c.word ? c.word : ""))) << c.utf8;
    }
    EXPECT_EQ(1, qvlhost::ReferenceCount(text)) << c.utf8;
  }
}

INSTANTIATE_TEST_SUITE_P(StringData, TextTest, ::testing::Values(true, false),
                         [](const auto& info) { return info.param ? "Terminated" : "Unterminated"; });

TEST_F(AdapterTest, NilTextIsEmptyAndCheckWordsReportOverwrites) {
  DebuggingEnabled = true;
  qvlhost::LogCapture log;
  {
    rbText nil(nullptr);
    EXPECT_EQ(EmptyBuffer, nil.GetUTF8());
    EXPECT_EQ(rbText::kPureASCII, nil.state);
    nil.check1 = 5;
  }
  {
    rbText nil(nullptr);
    nil.check2 = 6;
  }
  DebuggingEnabled = false;
  {
    rbText nil(nullptr);
    nil.check1 = 7;
  }
  EXPECT_EQ(
      (std::vector<std::string>{"QVL Debug: Check1 in rbText invalid 5", "QVL Debug: Check2 in rbText invalid 6"}),
      log.Lines());
  EXPECT_TRUE(qvlhost::Journal().empty());
}

struct MemoryBlockCase {
  int64_t size;
  bool handler;
  const char* hiddenMethod;
  const char* hiddenClass;
  int64_t madeSize;         // -1: no block
  const char* leftPending;  // the exception left pending, or null
};

TEST_F(AdapterTest, NewMemoryBlockUnderTheExceptionHandler) {
  const MemoryBlockCase cases[] = {
      {16, true, nullptr, nullptr, 16, nullptr},
      {65, true, nullptr, nullptr, -1, nullptr},
      {-1, true, nullptr, nullptr, 0, nullptr},
      {16, false, nullptr, nullptr, 16, nullptr},
      {65, false, nullptr, nullptr, -1, "OutOfMemoryException"},
      {16, true, "Constructor(bytes as Integer)", nullptr, -1, nullptr},
      {16, true, nullptr, "MemoryBlock", -1, nullptr},
  };
  for (const MemoryBlockCase& c : cases) {
    qvlhost::Config config = config_;
    config.maxMemoryBlockBytes = 64;
    if (!c.handler) config.hiddenEntries.insert("PluginCallFunctionWithExceptionHandler");
    if (c.hiddenMethod) config.hiddenMethods.insert(c.hiddenMethod);
    if (c.hiddenClass) config.hiddenClasses.insert(c.hiddenClass);
    qvlhost::Reset(config);
    OwnedMemoryBlock block(REALNewMemoryBlock(c.size));
    EXPECT_EQ(c.madeSize, block ? qvlhost::MemoryBlockSize(block) : -1) << c.size;
    EXPECT_EQ(c.handler ? 1 : 0, JournalCount("PluginCallFunctionWithExceptionHandler")) << c.size;
    REALobjectStruct* pending = qvlhost::PendingException();
    EXPECT_EQ(c.leftPending ? c.leftPending : "", pending ? qvlhost::ClassName(pending) : "") << c.size;
    qvlhost::ClearPendingException();
    block.reset();
    EXPECT_EQ("", qvlhost::BalanceProblems()) << c.size;
  }
}

// Without a size from the host, only a requested size of 0 or less passes.
TEST_F(AdapterTest, NewMemoryBlockWithoutItsSizeIsTooSmall) {
  qvlhost::CurrentConfig().hiddenEntries.insert("memoryBlockGetSize");
  EXPECT_EQ(nullptr, REALNewMemoryBlock(1));
  OwnedMemoryBlock empty(REALNewMemoryBlock(0));
  EXPECT_NE(nullptr, empty.get());
}

TEST_F(AdapterTest, GuardsGiveBackOnEveryPathOut) {
  for (bool throws : {false, true}) {
    OwnedPicture pic(qvlhost::NewPicture(2, 2));
    OwnedString kept(qvlhost::NewString("kept"));
    REALobjectStruct* object = qvlhost::NewObject("MemoryBlock");
    REALstringStruct* text = qvlhost::NewString("a");
    REALstringStruct* onlyString = qvlhost::NewString("b");
    REALstringStruct* handedOn = kept.get();
    REALpictureDescription description{};
    qvlhost::ClearJournal();
    try {
      rbFreeLater both(&object, &text);
      rbFreeLater stringOnly(nullptr, &onlyString);
      rbFreeLater nothing(nullptr, &handedOn);
      ASSERT_TRUE(HostEntry<REALLockPictureDescriptionFn>("REALLockPictureDescription")(pic, &description, 8));
      rbUnlockPictureDescriptionLater unlock(pic);
      rbUnlockPictureDescriptionLater nilPicture(nullptr);
      handedOn = nullptr;
      if (throws) throw std::runtime_error("leaving");
    } catch (const std::runtime_error&) {
    }
    EXPECT_TRUE(object == nullptr && text == nullptr && onlyString == nullptr) << throws;
    EXPECT_EQ(0, qvlhost::DescriptionLockCount(pic)) << throws;
    EXPECT_EQ(1, qvlhost::ReferenceCount(kept)) << throws;
    EXPECT_EQ((std::vector<std::string>{"REALLockPictureDescription", "unlockPictureDescription", "REALUnlockString",
                                        "REALUnlockObject", "REALUnlockString"}),
              qvlhost::JournalEntryNames())
        << throws;
  }
}

}  // namespace
