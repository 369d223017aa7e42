// Exceptions into the host: standard C++ exceptions by type, classes the
// host lacks, nil messages, and a host without the raise entry.
#include "binding/exceptions.h"

#include <functional>
#include <new>
#include <stdexcept>

#include "support/plugin_test.h"

namespace {

struct NullWhat : std::exception {
  const char* what() const noexcept override { return nullptr; }
};

using ExceptionBridgeTest = PluginTest;

TEST_F(ExceptionBridgeTest, CaughtExceptionsRaiseTheirHostClass) {
  const struct {
    std::function<void()> fail;
    const char* raised;
  } cases[] = {{[] { throw std::bad_alloc(); }, "OutOfMemoryException: Failed to allocate memory: std::bad_alloc"},
               {[] { throw std::range_error("r"); }, "OutOfBoundsException: C++ reports range error: r"},
               {[] { throw std::out_of_range("index 9"); }, "OutOfBoundsException: C++ reports range error: index 9"},
               {[] { throw std::overflow_error("o"); }, "OutOfBoundsException: C++ reports overflow error: o"},
               {[] { throw std::underflow_error("u"); }, "OutOfBoundsException: C++ reports underflow error: u"},
               {[] { throw std::length_error("too long"); }, "RuntimeException: C++ Exception: too long"},
               {[] { throw std::runtime_error(""); }, "RuntimeException: C++ Exception."},
               {[] { throw NullWhat(); }, "RuntimeException: C++ Exception."},
               {[] { throw 7; }, "RuntimeException: Sorry, but there was an unnamed C++ Exception."}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.raised);
    const std::vector<std::string> lines = TracedLines([&] {
      EXPECT_EQ(nullptr, CatchIntoHostException([&]() -> REALstringStruct* {
                  c.fail();
                  return qvlhost::NewString("unreached");
                }));
    });
    ASSERT_NE(nullptr, qvlhost::PendingException());
    EXPECT_EQ(0, qvlhost::ExceptionErrorNumber(qvlhost::PendingException()));
    EXPECT_EQ(c.raised, TakePendingException());
    const bool unnamed = std::string(c.raised).find("unnamed") != std::string::npos;
    EXPECT_EQ(unnamed ? 1 : 0, CountOf(lines, "QVL Debug: Unnamed C++ Exception."));
  }
}

TEST_F(ExceptionBridgeTest, RaiseDegradesOrDropsWhatTheHostLacks) {
  const struct {
    std::set<std::string> hiddenClasses, failingProperties;
    const char* message;
    const char* raised;
  } cases[] = {{{}, {}, "picture is nil", "NilObjectException: picture is nil"},
               {{"NilObjectException"}, {}, "picture is nil", "RuntimeException: picture is nil"},
               {{"NilObjectException", "RuntimeException"}, {}, "picture is nil", ""},
               {{}, {}, nullptr, "NilObjectException: (nil)"},
               {{}, {}, "", "NilObjectException: (nil)"},
               {{}, {"Message"}, "picture is nil", "NilObjectException: (nil)"}};
  for (const auto& c : cases) {
    qvlhost::Config config = config_;
    config.hiddenClasses = c.hiddenClasses;
    config.failingProperties = c.failingProperties;
    qvlhost::Reset(config);
    RaiseException("NilObjectException", c.message);
    EXPECT_EQ(c.raised, TakePendingException());
    EXPECT_EQ("", qvlhost::BalanceProblems()) << c.raised;
  }
}

// Without the raise entry the exception is made, dropped and given back.
TEST_F(ExceptionBridgeTest, NothingIsRaisedWithoutTheRaiseEntry) {
  qvlhost::CurrentConfig().hiddenEntries.insert("RuntimeRaiseException");
  RaiseException("NilObjectException", "picture is nil");
  EXPECT_EQ("", TakePendingException());
  EXPECT_EQ(1, JournalCount("PluginNewInstance"));
}

}  // namespace
