// The fixture of every test that runs plug-in code against a fresh embedded
// host, with the balance check at the end.
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

// The plug-in's one export, linked into the tests.
extern "C" void REALPluginMain(QVLResolver resolver);

// Lines written to the log, in order.
using Lines = std::vector<std::string>;

namespace qvlhost {
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

inline int64_t CountOf(const Lines& lines, const std::string& line) {
  return std::count(lines.begin(), lines.end(), line);
}

// Host calls through this entry since the journal was cleared.
inline int64_t JournalCount(const std::string& entry) { return CountOf(qvlhost::JournalEntryNames(), entry); }

// Lines "QVL Debug: <word>" among the traced lines.
inline int64_t TraceCount(const Lines& lines, const std::string& word) { return CountOf(lines, "QVL Debug: " + word); }

// The host's version, as the host answers it and as the plug-in read it.
inline void SetHostVersion(double version) { qvlhost::CurrentConfig().version = rbversion_rbversion = version; }

// The lines `run` writes with tracing on; tracing is off again afterwards.
template <class Run>
Lines TracedLines(Run run) {
  DebuggingEnabled = true;
  qvlhost::LogCapture log;
  run();
  DebuggingEnabled = false;
  return log.Lines();
}

// The pending exception, taken out of the host, as "CLASS: MESSAGE" ("(nil)"
// for a nil message); "" when nothing is pending.
inline std::string TakePendingException() {
  REALobjectStruct* pending = qvlhost::PendingException();
  if (!pending) return "";
  const std::string text = qvlhost::ClassName(pending) + ": " +
                           (qvlhost::ExceptionHasMessage(pending) ? qvlhost::ExceptionMessage(pending) : "(nil)");
  qvlhost::ClearPendingException();
  return text;
}

// Every vector level of this build, widest first.
inline constexpr const auto& kEveryVectorLevel = kVectorLevels;

// A host of this version whose new pictures have this storage: gd in a
// console application, as a desktop host never looks at gd.
inline qvlhost::Config HostWith(double version, qvlhost::Storage storage) {
  qvlhost::Config config;
  config.version = version;
  config.storage = storage;
  if (storage.kind != qvlhost::Storage::CoreGraphics) config.app = qvlhost::AppKind::Console;
  return config;
}

// The Core Graphics layout of the other byte order than a desktop layout's;
// gd, alone in its host, stays as it is.
inline qvlhost::Storage OtherByteOrder(const qvlhost::Storage& made) {
  if (made.kind != qvlhost::Storage::CoreGraphics) return made;
  return qvlhost::Storage::CG(made.alphaInfo % 2 ? made.alphaInfo + 1 : made.alphaInfo - 1);
}

class PluginTest : public ::testing::Test {
 protected:
  // The host configuration of the test; override to change it.
  virtual qvlhost::Config HostConfig() { return qvlhost::Config(); }

  void SetUp() override { StartHost(HostConfig()); }

  // A fresh host of this configuration, after the balance check of the last.
  void Rehost(const qvlhost::Config& config) {
    EXPECT_EQ("", qvlhost::BalanceProblems(expectException_));
    StartHost(config);
  }

  // A fresh host, and the plug-in's state as before its start-up.
  void StartHost(const qvlhost::Config& config) {
    config_ = config;
    qvlhost::Reset(config_);
    RestoreLoadState();
    ForgetEntryPoints();
    gResolver = qvlhost::Resolver();
    rbversion_rbversion = config_.version;
    CapVectorLevel(VectorLevel::Avx512);
  }

  void TearDown() override { EXPECT_EQ("", qvlhost::BalanceProblems(expectException_)); }

  qvlhost::Config config_;
  bool expectException_ = false;
};

// A test run once per picture layout, cg1 .. cg6 and gd, with padded Core
// Graphics rows so that rows are found by BytesPerRow and never by the width.
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

#define QVL_INSTANTIATE_LAYOUTS(Suite) \
  INSTANTIATE_TEST_SUITE_P(Layouts, Suite, ::testing::ValuesIn(qvlhost::Storage::SevenLayouts()), LayoutName)
