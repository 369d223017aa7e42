// The binding's adapters: host strings built by encoding, byte and text views
// of strings and memory blocks, memory blocks made under the exception
// handler, scope guards, and C++ exceptions raised into the host.
#include "binding/adapters.h"

#include <cstring>
#include <functional>
#include <new>
#include <set>
#include <stdexcept>

#include "binding/exceptions.h"
#include "binding/host_strings.h"
#include "binding/memory_blocks.h"
#include "binding/scope_guards.h"
#include "qvl/encodings.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedMemoryBlock;
using qvlhost::OwnedPicture;
using qvlhost::OwnedString;

using AdapterTest = PluginTest;

// Hosts from 2012.0 build with the encoding, older ones label the built string.
TEST_F(AdapterTest, BuildUnicodeStringNormalisesEncodings) {
  const std::string utf16("h\0\xE9\0", 4);
  const std::tuple<std::string, uint32_t, double, std::string, uint32_t> cases[] = {
      // bytes, their encoding, the host's version, the string built and its encoding
      {"abc", kREALTextEncodingMacRoman, 2024.03, "abc", kREALTextEncodingASCII},
      {"ab\x80", kREALTextEncodingMacRoman, 2024.03, "ab\x80", kREALTextEncodingMacRoman},
      {"abc", kREALTextEncodingWindowsLatin1, 2011.04, "abc", kREALTextEncodingASCII},
      {"\xFF", kREALTextEncodingUnknown, 2011.04, "\xFF", kREALTextEncodingUnknown},
      {"\xC3\xA9", kREALTextEncodingUTF8, 2024.03, "\xC3\xA9", kREALTextEncodingUTF8},
      {"a", kREALTextEncodingUTF32, 2024.03, "a", kREALTextEncodingUTF32},
      {utf16, kREALTextEncodingUnicodeDefault, 2024.03, "h\xC3\xA9", kREALTextEncodingUTF8},
      {utf16, kREALTextEncodingUnicodeDefault, 2011.04, "h\xC3\xA9", kREALTextEncodingUTF8}};
  for (const auto& [bytes, encoding, version, wanted, wantedEncoding] : cases) {
    SCOPED_TRACE(wanted);
    rbversion_rbversion = version;
    qvlhost::ClearJournal();
    OwnedString built;
    const Lines lines = TracedLines([&built, &text = bytes, from = encoding] {
      built = OwnedString(REALBuildUnicodeString(text.data(), int64_t(text.size()), from));
    });
    EXPECT_EQ(wanted, qvlhost::StringBytes(built));
    EXPECT_EQ(wantedEncoding, qvlhost::StringEncoding(built));
    EXPECT_EQ(1, JournalCount(version >= 2012 ? "REALBuildStringWithEncoding" : "REALBuildString"));
    EXPECT_EQ(encoding == kREALTextEncodingUTF32,
              TraceCount(lines, "Unknown encoding in REALBuildUnicodeString 201326848") == 1);
  }
}

TEST_F(AdapterTest, BuildUnicodeStringRefusesOrRaisesAtTheLimits) {
  const char bytes[] = "abc";
  const Lines lines = TracedLines([&] {
    for (auto [text, count] : {std::pair{static_cast<const char*>(nullptr), 3L}, {bytes, 0L}, {bytes, 2147483648L}})
      EXPECT_EQ(nullptr, REALBuildUnicodeString(text, count, kREALTextEncodingUTF8)) << count;
  });
  EXPECT_EQ(1, TraceCount(lines, "Count too big for REALBuildUnicodeString."));
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
  qvlhost::CurrentConfig().hiddenEntries.insert("StringGetCString");  // a string without bytes has no size
  ForgetEntryPoints();
  const Lines lines = TracedLines([&] {
    rbData view(text.get());
    EXPECT_TRUE(view.data == nullptr && view.size == 0);
  });
  EXPECT_EQ(1, TraceCount(lines, "data is NULL, so size fixed to zero."));
}

struct NullWhat : std::exception {
  const char* what() const noexcept override { return nullptr; }
};

TEST_F(AdapterTest, CaughtExceptionsRaiseTheirHostClass) {
  const std::pair<std::function<void()>, std::string> cases[] = {
      // what is thrown, what is raised
      {[] { throw std::bad_alloc(); }, "OutOfMemoryException: Failed to allocate memory: std::bad_alloc"},
      {[] { throw std::range_error("r"); }, "OutOfBoundsException: C++ reports range error: r"},
      {[] { throw std::out_of_range("index 9"); }, "OutOfBoundsException: C++ reports range error: index 9"},
      {[] { throw std::overflow_error("o"); }, "OutOfBoundsException: C++ reports overflow error: o"},
      {[] { throw std::underflow_error("u"); }, "OutOfBoundsException: C++ reports underflow error: u"},
      {[] { throw std::length_error("too long"); }, "RuntimeException: C++ Exception: too long"},
      {[] { throw std::runtime_error(""); }, "RuntimeException: C++ Exception."},
      {[] { throw NullWhat(); }, "RuntimeException: C++ Exception."},
      {[] { throw 7; }, "RuntimeException: Sorry, but there was an unnamed C++ Exception."}};
  for (const auto& [fail, raised] : cases) {
    SCOPED_TRACE(raised);
    const std::vector<std::string> lines = TracedLines([&throwing = fail] {
      EXPECT_EQ(nullptr, CatchIntoHostException([&]() -> REALstringStruct* {
                  throwing();
                  return qvlhost::NewString("unreached");
                }));
    });
    ASSERT_NE(nullptr, qvlhost::PendingException());
    EXPECT_EQ(0, qvlhost::ExceptionErrorNumber(qvlhost::PendingException()));
    EXPECT_EQ(raised, TakePendingException());
    EXPECT_EQ(raised.find("unnamed") != std::string::npos, TraceCount(lines, "Unnamed C++ Exception.") == 1);
  }
}

// Without the raise entry the exception is made, dropped and given back.
TEST_F(AdapterTest, RaiseDegradesOrDropsWhatTheHostLacks) {
  const std::tuple<std::set<std::string>, std::set<std::string>, const char*, const char*, int64_t> cases[] = {
      // hidden classes and entries, failing properties, the message, what is raised, instances asked of the host
      {{}, {}, "picture is nil", "NilObjectException: picture is nil", 1},
      {{"NilObjectException"}, {}, "picture is nil", "RuntimeException: picture is nil", 2},
      {{"NilObjectException", "RuntimeException"}, {}, "picture is nil", "", 2},
      {{"RuntimeRaiseException"}, {}, "picture is nil", "", 1},
      {{}, {}, nullptr, "NilObjectException: (nil)", 1},
      {{}, {}, "", "NilObjectException: (nil)", 1},
      {{}, {"Message"}, "picture is nil", "NilObjectException: (nil)", 1}};
  for (const auto& [hidden, failingProperties, message, raised, asked] : cases) {
    SCOPED_TRACE(raised);
    qvlhost::Config config = HostConfig();
    config.hiddenClasses = config.hiddenEntries = hidden;
    config.failingProperties = failingProperties;
    Rehost(config);
    RaiseException("NilObjectException", message);
    EXPECT_EQ(raised, TakePendingException());
    EXPECT_EQ(asked, JournalCount("PluginNewInstance"));
  }
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
      {"abc", 0x7777, "", false, true, "REALGetStringData failed."}};
  for (const TextCase& c : cases) {
    SCOPED_TRACE(c.utf8);
    OwnedString text(qvlhost::NewString(c.bytes, c.encoding));
    qvlhost::ClearJournal();
    const Lines lines = TracedLines([&] {
      rbText view(text.get());
      const char* utf8 = view.GetUTF8();
      EXPECT_EQ(c.utf8, utf8);
      EXPECT_EQ(utf8, view.GetUTF8());
      EXPECT_EQ(c.ownBytes, utf8 == HostEntry<QVLStringGetCStringFn>("StringGetCString")(text));
      EXPECT_EQ(c.ownBytes, JournalCount("PluginGetStringData") == 0);
      EXPECT_EQ(c.failed, view.failed);
    });
    EXPECT_EQ(c.word ? 1 : 0, TraceCount(lines, c.word ? c.word : ""));
  }
}

INSTANTIATE_TEST_SUITE_P(StringData, TextTest, ::testing::Values(true, false),
                         [](const auto& info) { return info.param ? "Terminated" : "Unterminated"; });

TEST_F(AdapterTest, NilTextIsEmptyAndCheckWordsReportOverwrites) {
  qvlhost::LogCapture log;
  for (bool debugging : {true, false}) {
    DebuggingEnabled = debugging;
    rbText first(nullptr), second(nullptr);
    EXPECT_EQ(EmptyBuffer, first.GetUTF8());
    EXPECT_EQ(rbText::kPureASCII, first.state);
    first.check1 = 5;
    second.check2 = 6;
  }
  EXPECT_EQ((Lines{"QVL Debug: Check2 in rbText invalid 6", "QVL Debug: Check1 in rbText invalid 5"}), log.Lines());
  EXPECT_TRUE(qvlhost::Journal().empty());
}

// Without a size from the host only a requested size of 0 or less passes.
TEST_F(AdapterTest, NewMemoryBlockUnderTheExceptionHandler) {
  const std::string handler = "PluginCallFunctionWithExceptionHandler";
  const std::tuple<int64_t, std::string, int64_t, std::string> cases[] = {
      // the size asked, an entry, method or class the host lacks, the size made (-1: none), the class left pending
      {16, "", 16, ""},
      {65, "", -1, ""},
      {-1, "", 0, ""},
      {16, handler, 16, ""},
      {65, handler, -1, "OutOfMemoryException"},
      {16, "Constructor(bytes as Integer)", -1, ""},
      {16, "MemoryBlock", -1, ""},
      {1, "memoryBlockGetSize", -1, ""},
      {0, "memoryBlockGetSize", 0, ""}};
  for (const auto& [size, hidden, madeSize, leftPending] : cases) {
    SCOPED_TRACE(testing::Message() << size << " " << hidden);
    qvlhost::Config config = HostConfig();
    config.maxMemoryBlockBytes = 64;
    if (!hidden.empty()) config.hiddenEntries = config.hiddenMethods = config.hiddenClasses = {hidden};
    Rehost(config);
    OwnedMemoryBlock block(REALNewMemoryBlock(size));
    EXPECT_EQ(madeSize, block ? qvlhost::MemoryBlockSize(block) : -1);
    EXPECT_EQ(hidden == handler ? 0 : 1, JournalCount(handler));
    const std::string pending = TakePendingException();
    EXPECT_EQ(leftPending, pending.substr(0, pending.find(':')));
  }
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
    EXPECT_EQ((Lines{"REALLockPictureDescription", "unlockPictureDescription", "REALUnlockString", "REALUnlockObject",
                     "REALUnlockString"}),
              qvlhost::JournalEntryNames())
        << throws;
  }
}

}  // namespace
