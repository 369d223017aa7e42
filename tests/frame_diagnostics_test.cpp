// The log, the trace switch and the tick clock.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/diagnostics.h"
#include "support/plugin_test.h"

namespace {

using DiagnosticsTest = PluginTest;

TEST_F(DiagnosticsTest, LogLineIsCutAfter4095Characters) {
  qvlhost::LogCapture capture;
  LogMessageX("%s", std::string(4095, 'a').c_str());
  LogMessageX("%s", std::string(4096, 'b').c_str());
  EXPECT_EQ((std::vector<std::string>{std::string(4095, 'a'), std::string(4095, 'b')}), capture.Lines());
}

TEST_F(DiagnosticsTest, TraceLinesOnlyWhileDebugging) {
  qvlhost::LogCapture capture;
  TraceWord("hidden");
  LogMessageX("Error: a check line");
  setDebugging(1);
  TraceWord("clear");
  TraceInt64("pair", -1, 2);
  TraceText("name", "Picture");
  TraceInt32("flag", 1);
  setDebugging(0);
  TraceWord("hidden again");
  std::vector<std::string> expected = {"Error: a check line", "QVL Debug: clear", "QVL Debug: pair -1, 2",
                                       "QVL Debug: name Picture", "QVL Debug: flag 1"};
  EXPECT_EQ(expected, capture.Lines());
}

TEST_F(DiagnosticsTest, DebuggingPropertyCountsOnlyTheLowByte) {
  setDebugging(static_cast<int8_t>(256));
  EXPECT_EQ(0, getDebugging());
  setDebugging(-1);
  EXPECT_EQ(1, getDebugging());
  EXPECT_TRUE(DebuggingEnabled);
}

TEST_F(DiagnosticsTest, TickCountCountsSixtiethsOfTheMonotonicClock) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  double nanoseconds = double(now.tv_sec) * 1e9 + double(now.tv_nsec);
  int64_t expected = int64_t(nanoseconds / 1000000.0 / 16.666666666666668);
  int64_t ticks = TickCount();
  EXPECT_GE(ticks, expected);
  EXPECT_LE(ticks, expected + 1);
}

}  // namespace
