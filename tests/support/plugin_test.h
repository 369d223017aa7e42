// The fixture of every test that runs plug-in code against the embedded host:
// a fresh host, the plug-in pointed at it, and the balance check at the end.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "binding/globals.h"
#include "binding/wrappers.h"
#include "filters/vector_level.h"
#include "picture/picture_editor.h"
#include "qvlhost.h"

namespace qvlhost {
// Readable values in test failures: channels as {r, g, b, a}, layouts by name.
inline void PrintTo(const Rgba& colour, std::ostream* out) {
  *out << "{" << int(colour.r) << ", " << int(colour.g) << ", " << int(colour.b) << ", " << int(colour.a) << "}";
}
inline void PrintTo(const Storage& storage, std::ostream* out) { *out << storage.Name(); }
}  // namespace qvlhost

// A host entry point as the plug-in would look it up, typed as its function.
template <class Fn>
Fn HostEntry(const char* name) {
  return reinterpret_cast<Fn>(qvlhost::Resolver()(name));
}

inline int64_t CountOf(const std::vector<std::string>& lines, const std::string& line) {
  return std::count(lines.begin(), lines.end(), line);
}

// How often the host was called through this entry since the journal was cleared.
inline int64_t JournalCount(const std::string& entry) { return CountOf(qvlhost::JournalEntryNames(), entry); }

// The lines `run` writes with tracing on; tracing is off again afterwards.
template <class Run>
std::vector<std::string> TracedLines(Run run) {
  DebuggingEnabled = true;
  qvlhost::LogCapture log;
  run();
  DebuggingEnabled = false;
  return log.Lines();
}

// The exception left pending as "CLASS: MESSAGE" ("(nil)" for a nil
// message), taken out of the host; "" when nothing is pending.
inline std::string TakePendingException() {
  REALobjectStruct* pending = qvlhost::PendingException();
  if (!pending) return "";
  const std::string text = qvlhost::ClassName(pending) + ": " +
                           (qvlhost::ExceptionHasMessage(pending) ? qvlhost::ExceptionMessage(pending) : "(nil)");
  qvlhost::ClearPendingException();
  return text;
}

// Every vector level of this build, widest first, for tests that run each
// row code the processor has against the same rule.
inline constexpr const auto& kEveryVectorLevel = kVectorLevels;

// A host of this version whose new pictures have this storage. gd storage is
// what console applications have; a desktop host settles on Core Graphics
// and never looks at gd.
inline qvlhost::Config HostWith(double version, qvlhost::Storage storage) {
  qvlhost::Config config;
  config.version = version;
  config.storage = storage;
  if (storage.kind != qvlhost::Storage::CoreGraphics) config.app = qvlhost::AppKind::Console;
  return config;
}

class PluginTest : public ::testing::Test {
 protected:
  // The host configuration of the test; override to change it.
  virtual qvlhost::Config HostConfig() { return qvlhost::Config(); }

  void SetUp() override {
    config_ = HostConfig();
    qvlhost::Reset(config_);
    RestoreLoadState();
    ForgetEntryPoints();
    gResolver = qvlhost::Resolver();
    rbversion_rbversion = config_.version;
    CapVectorLevel(VectorLevel::Avx512);
  }

  // Every test ends with locks released, references given back and nothing
  // pending unless the test expects an exception.
  void TearDown() override { EXPECT_EQ("", qvlhost::BalanceProblems(expectException_)); }

  qvlhost::Config config_;
  bool expectException_ = false;
};

// A test run once per picture layout: cg1 .. cg6 and gd.
// Core Graphics rows carry padding beyond their pixels, as a host's rows may,
// so that rows are found by BytesPerRow and never by the width.
class LayoutTest : public PluginTest, public ::testing::WithParamInterface<qvlhost::Storage> {
 protected:
  static constexpr int64_t kRowPadding = 8;

  qvlhost::Config HostConfig() override {
    qvlhost::Config config = HostWith(PluginTest::HostConfig().version, GetParam());
    config.extraBytesPerRow = kRowPadding;
    return config;
  }
};

inline std::string LayoutName(const ::testing::TestParamInfo<qvlhost::Storage>& info) { return info.param.Name(); }

// Runs every test of a LayoutTest suite in the seven layouts, named cg1 .. cg6 and gd.
#define QVL_INSTANTIATE_LAYOUTS(Suite) \
  INSTANTIATE_TEST_SUITE_P(Layouts, Suite, ::testing::ValuesIn(qvlhost::Storage::SevenLayouts()), LayoutName)
