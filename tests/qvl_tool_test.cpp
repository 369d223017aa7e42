// The qvl tool as a user runs it: status and output per command line, atomic
// output, picture kinds, job classes and the listing, on both routes.
#ifdef QVL_TOOL_PATH

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "analysis/uniformity.h"
#include "filters/mask_extraction.h"
#include "filters/threshold.h"
#include "scroll/scroll.h"
#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using Words = std::vector<std::string>;

// Shell words that start the tool: empty for a native build, the emulator
// for a cross build.
#ifdef QVL_TOOL_LAUNCHER
const char kToolLauncher[] = QVL_TOOL_LAUNCHER " ";
#else
const char kToolLauncher[] = "";
#endif

struct ToolRun {
  int status = -1;
  std::string out;
  std::string err;
};

std::string FileText(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void WriteText(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

size_t LineCount(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

std::string Quoted(const std::string& word) {
  std::string quoted = "'";
  for (char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

Words Joined(Words first, const Words& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

class QvlTool : public PluginTest {
 protected:
  void SetUp() override {
    PluginTest::SetUp();
    char root[] = "/tmp/qvl-tool-test-XXXXXX";
    ASSERT_NE(mkdtemp(root), nullptr);
    root_ = root;
    work_ = root_ / "work";
    fs::create_directory(work_);
    in_ = (work_ / "in.png").string();
    out_ = (work_ / "out.png").string();
    fs::copy_file(QVL_SOURCE_DIR "/samples/gradient.png", in_);
  }

  void TearDown() override {
    fs::remove_all(root_);
    PluginTest::TearDown();
  }

  // Runs the tool with these arguments and without QVLDEBUG in its environment.
  ToolRun Run(const Words& arguments) {
    std::string command = "env -u QVLDEBUG " + std::string(kToolLauncher) + Quoted(QVL_TOOL_PATH);
    for (const std::string& word : arguments) command += " " + Quoted(word);
    command += " >" + Quoted((root_ / "stdout").string()) + " 2>" + Quoted((root_ / "stderr").string());
    int status = std::system(command.c_str());
    ToolRun run;
    if (status != -1 && WIFEXITED(status)) run.status = WEXITSTATUS(status);
    run.out = FileText(root_ / "stdout");
    run.err = FileText(root_ / "stderr");
    return run;
  }

  // The bytes the tool writes for this picture.
  std::string PngOf(REALpictureStruct* picture) {
    EXPECT_TRUE(qvlhost::WritePictureFile(picture, (root_ / "expected.png").string()));
    return FileText(root_ / "expected.png");
  }

  // The files in the work folder, so that a leftover temporary file shows.
  Words WorkFiles() {
    Words names;
    for (const auto& entry : fs::directory_iterator(work_)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  fs::path root_;
  fs::path work_;
  std::string in_;
  std::string out_;
};

const char kThresholdDeclaration[] = "ThresholdQVL(extends ref as Picture, Threshold as integer) as picture";

// Standard error as expected: an exact text where `err` starts with "qvl: ",
// else one "qvl: " line holding `err`; nothing where `err` is empty.
void ExpectError(const std::string& err, const std::string& expected) {
  if (expected.empty() || expected.rfind("qvl: ", 0) == 0) {
    EXPECT_EQ(err, expected);
    return;
  }
  EXPECT_EQ(LineCount(err), 1u) << err;
  EXPECT_EQ(err.rfind("qvl: ", 0), 0u) << err;
  EXPECT_THAT(err, HasSubstr(expected));
}

// Bad input gives status 2 and one line, a nil or failed call status 1; none
// of these writes the output picture or changes the input.
TEST_F(QvlTool, CommandLinesGiveTheirStatusAndOutput) {
  const std::string notes = (work_ / "notes.txt").string(), original = FileText(in_);
  WriteText(notes, "not a picture");
  const std::string bytes("A\0\xff\n", 4), file = (work_ / "bytes.bin").string(), text = (work_ / "text.bin").string();
  WriteText(file, bytes);
  const std::string onePixel = (work_ / "one.png").string(), bad = (work_ / "bad.cube").string();
  qvlhost::OwnedPicture picture(qvlhost::NewPicture(1, 1));
  qvlhost::SetPixelRgba(picture, 0, 0, {0x12, 0xAB, 0x07, 255});
  ASSERT_TRUE(qvlhost::WritePictureFile(picture, onePixel));
  WriteText(bad, "LUT_3D_SIZE 2\n0 0 0\n1 1 1\n");
  const std::string cube = std::string(QVL_SOURCE_DIR) + "/samples/identity.cube", plugin = QVL_TOOL_TEST_PLUGIN_PATH;
  const std::string refusal = "qvl: PlatformNotSupportedException: iOS only\n",
                    writeImage = "iOSPictureQVL.WriteImageToSavedPhotosAlbum";
  const std::string raised = "qvl: OutOfBoundsException: index 7 is beyond the end\n";
  const struct {
    Words arguments;
    int status;
    std::string out, err;
  } cases[] = {
      {{"ThresholdQVL", "missing.png", "128", "-o", out_}, 2, "", "missing file missing.png"},
      {{"ThresholdQVL", notes, "128", "-o", out_}, 2, "", "cannot read image"},
      {{"--frobnicate", "ThresholdQVL", in_, "128", "-o", out_}, 2, "", "unknown option --frobnicate"},
      {{"ThresholdQVL", in_, "1", "2", "-o", out_}, 2, "", "wrong number of arguments"},
      {{"ThresholdQVL", in_, "1.5", "-o", out_}, 2, "", kThresholdDeclaration},
      {{"ThresholdQVL", in_, "&c808080", "-o", out_}, 2, "", "fit no overload"},
      {{"NoSuchMethodQVL", in_, "-o", out_}, 2, "", "unknown method NoSuchMethodQVL"},
      {{"--storage", "cg7", "list"}, 2, "", "unknown storage"},
      {{"--picture-kind", "square", "list"}, 2, "", "unknown picture kind"},
      {{"ThresholdQVL", in_, "128", "-o", (work_ / "out.bmp").string()}, 2, "", "not a .png, .jpg, .jpeg or .gif file"},
      {{"ThresholdQVL", in_, "128"}, 2, "", "give -o"},
      {{"ThresholdQVL", in_, "128", "-o", in_}, 2, "", "would replace"},
      {{}, 2, "", "no method"},
      {{"PictureSepiaQVL.Run", "Bogus=1", "-o", out_}, 2, "", "no property Bogus in PictureSepiaQVL"},
      {{"PictureSepiaQVL.Run", "SourcePicture=" + in_, "MinX=abc", "-o", out_}, 2, "", "\"abc\" is no Integer"},
      {{"isBlackQVL", "nil", "--mask", in_}, 2, "", "--mask"},
      // --lut needs a well-formed .cube file and a class with a Table.
      {{"PictureLut3DQVL.Run", "SourcePicture=" + in_, "--lut", bad, "-o", out_},
       2,
       "",
       "qvl: " + bad + ":3: 2 table rows, LUT_3D_SIZE 2 needs 8\n"},
      {{"PictureSepiaQVL.Run", "SourcePicture=" + in_, "--lut", cube, "-o", out_}, 2, "", "--lut"},
      {{"ThresholdQVL", in_, "3", "--lut", cube, "-o", out_}, 2, "", "--lut"},
      {{"PictureLut3DQVL.Run", "-o", out_}, 1, "result = false\n", "left DestinationPicture nil"},
      // Strings, memory blocks and a pending exception as scripts read them.
      {{"--plugin", plugin, "EchoQVL", "h\xc3\xa9"}, 0, "result = 68c3a9\n", ""},
      {{"--plugin", plugin, "EncodingQVL", "text"}, 0, "EncodingQVL = 134217984\n", ""},
      {{"--plugin", plugin, "EncodingQVL", "@" + file}, 0, "EncodingQVL = 65535\n", ""},
      {{"--plugin", plugin, "BytesQVL", "@" + file}, 0, "BytesQVL = 4100ff0a\n", ""},
      {{"--plugin", plugin, "EchoQVL", "@" + file, "-o", text}, 0, "", ""},
      {{"--plugin", plugin, "EchoQVL", "@missing.bin"}, 2, "", "qvl: missing file missing.bin\n"},
      {{"--plugin", plugin, "RaiseQVL", "index 7 is beyond the end"}, 1, "", raised},
      // The balance check excuses the exception and nothing else.
      {{"--plugin", plugin, "RaiseAndKeepQVL", "kept"}, 1, "", "leaked"},
      {{"PicturetoBinaryStringQVL", onePixel},
       0,
       "result = 505049430000002b0000000100000001000000200000002800000000000000000000000000000000"
       "12ab07\n",
       ""},
      {{"--host-version", "2020.02", writeImage, in_, "nil"}, 1, "", refusal},
      {{"--host-version", "2020.02", "VideoAtPathIsCompatibleWithSavedPhotosAlbum", in_}, 1, "", refusal},
      {{"--host-version", "2020.02", "SaveImageAtPathToSavedPhotosAlbum", "no such file", "nil"}, 1, "", refusal},
      {{"--host-version", "2020.01", writeImage, in_, "nil"},
       2,
       "",
       "qvl: unknown method " + writeImage + " (qvl list shows the registered methods)\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.arguments));
    ToolRun run = Run(c.arguments);
    EXPECT_EQ(run.status, c.status);
    EXPECT_EQ(run.out, c.out);
    ExpectError(run.err, c.err);
    EXPECT_FALSE(fs::exists(out_));
  }
  EXPECT_EQ(FileText(in_), original);
  EXPECT_EQ(FileText(text), bytes);
}

TEST_F(QvlTool, OutputIsTheDirectCallsWrittenWholeOrNotAtAll) {
  std::string original = FileText(in_);
  WriteText(out_, "previous output");
  const fs::perms kept = fs::perms::owner_read | fs::perms::owner_write | fs::perms::others_read;
  fs::permissions(out_, kept);
  // A nil picture gives a nil result: the earlier output stays as it was.
  ToolRun failed = Run({"ThresholdQVL", "nil", "128", "-o", out_});
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(LineCount(failed.err), 1u) << failed.err;
  EXPECT_EQ(FileText(out_), "previous output");
  // A folder in the way of the output is bad input, refused before any work.
  fs::create_directory(work_ / "folder.png");
  EXPECT_EQ(Run({"ThresholdQVL", in_, "128", "-o", (work_ / "folder.png").string()}).status, 2);
  EXPECT_EQ(WorkFiles(), (Words{"folder.png", "in.png", "out.png"}));

  // A negative number is an argument, not an option.
  ToolRun written = Run({"ThresholdQVL", in_, "-5", "-o", out_});
  ASSERT_EQ(written.status, 0) << written.err;
  EXPECT_EQ(written.err + written.out, "");
  qvlhost::OwnedPicture source(qvlhost::ReadPictureFile(in_));
  qvlhost::OwnedPicture direct(ThresholdQVL(source, -5));
  EXPECT_EQ(FileText(out_), PngOf(direct));
  EXPECT_EQ(fs::status(out_).permissions(), kept);  // a replaced output keeps its permissions
  EXPECT_EQ(WorkFiles(), (Words{"folder.png", "in.png", "out.png"}));
  EXPECT_EQ(FileText(in_), original);
}

// Alpha info 0 and a vector picture are read through a drawn duplicate, so an
// opaque input gives the plain call's picture; a HiDPI picture through the
// representation the host picks, here the bitmap at scale 2, and directly
// below 2016 through its own pixels.
TEST_F(QvlTool, PictureKindsAndAlphaInfoZeroReachTheFallbacks) {
  qvlhost::OwnedPicture source(qvlhost::ReadPictureFile(in_));
  const int64_t width = qvlhost::PictureWidth(source), height = qvlhost::PictureHeight(source);
  qvlhost::OwnedPicture twice(qvlhost::ScaledPicture(source, 2 * width, 2 * height));
  const std::pair<Words, REALpictureStruct*> cases[] = {
      {{}, source},
      {{"--storage", "cg0"}, source},
      {{"--picture-kind", "vector"}, source},
      {{"--picture-kind", "hidpi"}, twice},
      {{"--picture-kind", "hidpi", "--host-version", "2015.04"}, source}};
  for (const auto& [options, read] : cases) {
    ToolRun run = Run(Joined(options, {"ThresholdQVL", in_, "128", "-o", out_}));
    ASSERT_EQ(run.status, 0) << run.err;
    qvlhost::OwnedPicture direct(ThresholdQVL(read, 128));
    EXPECT_EQ(FileText(out_), PngOf(direct)) << ::testing::PrintToString(options);
  }
}

// A run stopped while it writes its output leaves no temporary file.
TEST_F(QvlTool, StoppedRunLeavesNoTemporaryFile) {
  // A picture of noise large enough that encoding it takes a while.
  qvlhost::OwnedPicture noise(qvlhost::NewPicture(1500, 1500));
  uint32_t state = 1;
  for (int64_t i = 0; i < 1500 * 1500; ++i) {
    state = state * 1664525u + 1013904223u;
    qvlhost::SetPixelWord(noise, i % 1500, i / 1500, state | 0xFF);
  }
  ASSERT_TRUE(qvlhost::WritePictureFile(noise, in_));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
#ifdef QVL_TOOL_LAUNCHER
    execlp(QVL_TOOL_LAUNCHER, QVL_TOOL_LAUNCHER, QVL_TOOL_PATH, "InvertQVL", in_.c_str(), "-o", out_.c_str(),
           static_cast<char*>(nullptr));
#else
    execl(QVL_TOOL_PATH, QVL_TOOL_PATH, "InvertQVL", in_.c_str(), "-o", out_.c_str(), static_cast<char*>(nullptr));
#endif
    _exit(127);
  }
  bool seen = false;
  for (int tries = 0; tries < 20000 && !seen; ++tries) {
    for (const std::string& name : WorkFiles()) seen = seen || name.rfind(".qvl-", 0) == 0;
    if (!seen) usleep(500);
  }
  kill(child, SIGTERM);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(seen) << "no temporary file appeared";
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
  EXPECT_EQ(WorkFiles(), Words{"in.png"});
}

TEST_F(QvlTool, PictureStringsRoundTrip) {
  const std::string encoded = (work_ / "out.ppic").string(), again = (work_ / "again.ppic").string();
  ASSERT_EQ(Run({"PicturetoBinaryStringQVL", in_, "-o", encoded}).status, 0);
  ASSERT_EQ(Run({"BinaryStringtoPictureQVL", "@" + encoded, "-o", out_}).status, 0);
  ASSERT_EQ(Run({"PicturetoBinaryStringQVL", out_, "-o", again}).status, 0);
  EXPECT_EQ(FileText(encoded).substr(0, 4), "PPIC");
  EXPECT_EQ(FileText(again), FileText(encoded));
}

// --lut fills Table from a .cube file: the identity grade gives each channel
// back or one lower (the job truncates).
TEST_F(QvlTool, LutFileFillsTheTable) {
  const std::string cube = std::string(QVL_SOURCE_DIR) + "/samples/identity.cube";
  ToolRun identity = Run({"PictureLut3DQVL.Run", "SourcePicture=" + in_, "--lut", cube, "-o", out_});
  ASSERT_EQ(identity.status, 0) << identity.err;
  qvlhost::OwnedPicture in(qvlhost::ReadPictureFile(in_)), out(qvlhost::ReadPictureFile(out_));
  for (int64_t y = 0; y < qvlhost::PictureHeight(in); ++y) {
    for (int64_t x = 0; x < qvlhost::PictureWidth(in); ++x) {
      const qvlhost::Rgba from = qvlhost::PixelRgba(in, x, y), to = qvlhost::PixelRgba(out, x, y);
      for (auto [source, mapped] : {std::pair{from.r, to.r}, {from.g, to.g}, {from.b, to.b}}) {
        ASSERT_TRUE(mapped == source || mapped + 1 == source) << x << "," << y;
      }
    }
  }
}

TEST_F(QvlTool, ListShowsTheSurfaceByRoute) {
  ToolRun recent = Run({"list"});
  ASSERT_EQ(recent.status, 0) << recent.err;
  EXPECT_THAT(recent.out, HasSubstr("module PicturePictureExtensionQVL"));
  EXPECT_THAT(recent.out, HasSubstr(std::string(kThresholdDeclaration) + "  flags 0x14"));
  EXPECT_THAT(recent.out, HasSubstr("shared property Debugging as Boolean"));

  ToolRun old = Run({"--host-version", "2012.0", "list"});
  ASSERT_EQ(old.status, 0) << old.err;
  EXPECT_THAT(old.out, HasSubstr("class extension Picture"));
  EXPECT_THAT(old.out, HasSubstr("ThresholdQVL(Threshold as integer) as picture"));
  EXPECT_THAT(old.out, ::testing::Not(HasSubstr("PicturePictureExtensionQVL")));
}

// The same calls on the generated module's route and the class extension's.
class QvlToolRoutes : public QvlTool, public ::testing::WithParamInterface<const char*> {
 protected:
  ToolRun RunHere(const Words& arguments) { return Run(Joined({"--host-version", GetParam()}, arguments)); }
};

// The analysis methods print their result and ByRef values as lines.
TEST_P(QvlToolRoutes, AnswersAndByRefValuesArePrinted) {
  qvlhost::OwnedPicture source(qvlhost::ReadPictureFile(in_));
  const std::pair<Words, std::string> cases[] = {
      {{"isBlackQVL", in_}, std::string("isBlackQVL = ") + (isBlack2(source) ? "true\n" : "false\n")},
      {{"isWhiteQVL", in_, "-1", "-1", "1", "1"}, "isWhiteQVL = true\n"},
      {{"isGrayQVL", in_, "300"}, "isGrayQVL = true\n"},
      {{"ColornessQVL", in_, "300"}, "ColornessQVL = 0\n"},
      {{"FindPictureQVL", in_, in_, "7", "7", "0", "0", "1"}, "FindPictureQVL = true\nx = 0\ny = 0\n"},
      {{"FindPictureQVL", in_, in_, "7", "7", "1"}, "FindPictureQVL = false\nx = 0\ny = 0\n"},
      {{"CountColorQVL", in_, "&c000000"}, "CountColorQVL = 1\n"},
  };
  for (const auto& [arguments, printed] : cases) {
    ToolRun run = RunHere(arguments);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, printed) << arguments.front();
  }
  ToolRun counted = RunHere({"CountColorsQVL", in_, "nil", "nil", "nil", "0"});
  EXPECT_EQ(counted.status, 0) << counted.err;
  EXPECT_THAT(counted.out, HasSubstr("\ncount = 49152\n"));
}

// A scroll, the assigning form (the assigned value after the other
// arguments) and --mask/--mask-out write the picture they changed.
TEST_P(QvlToolRoutes, ChangedPicturesAreWritten) {
  ToolRun scrolled = RunHere({"ScrollQVL", in_, "5", "-3", "true", "false", "-o", out_});
  ASSERT_EQ(scrolled.status, 0) << scrolled.err;
  EXPECT_EQ(scrolled.out, "ScrollQVL = true\n");
  qvlhost::OwnedPicture expected(qvlhost::ReadPictureFile(in_));
  ScrollQVL(expected, 5, -3, true, false);
  EXPECT_EQ(FileText(out_), PngOf(expected));

  const std::string mask = (work_ / "mask.png").string();
  ToolRun masked =
      RunHere({"ScrollVerticalQVL", in_, "7", "false", "true", "--mask", in_, "--mask-out", mask, "-o", out_});
  ASSERT_EQ(masked.status, 0) << masked.err;
  EXPECT_EQ(masked.out, "ScrollVerticalQVL = true\n");
  qvlhost::OwnedPicture vertical(qvlhost::ReadPictureFile(in_));
  ScrollVerticalQVL(vertical, 7, false, false);
  EXPECT_EQ(FileText(mask), PngOf(vertical));
  EXPECT_EQ(FileText(out_), PngOf(vertical));

  qvlhost::OwnedPicture painted(PaintedPicture(256, 192, [](int64_t x, int64_t y) {
    return qvlhost::Rgba{uint8_t(x ^ y), 1, 2, 255};
  }));
  ASSERT_TRUE(qvlhost::WritePictureFile(painted, mask));
  qvlhost::OwnedPicture embedded(qvlhost::ReadPictureFile(in_)), maskRead(qvlhost::ReadPictureFile(mask));
  SetEmbededMask(embedded, false, maskRead);
  ASSERT_EQ(RunHere({"EmbeddedMaskQVL", in_, "false", mask, "-o", out_}).status, 0);
  EXPECT_EQ(FileText(out_), PngOf(embedded));
  EXPECT_THAT(RunHere({"list"}).out, HasSubstr("(assign: qvl EmbeddedMaskQVL ref swap value)"));
}

// A new instance per run, its properties set before the call, the result
// printed and DestinationPicture written.
TEST_P(QvlToolRoutes, JobClassesRunOnANewInstance) {
  qvlhost::OwnedPicture in(qvlhost::ReadPictureFile(in_));
  auto clamped = [](int value) { return uint8_t(std::clamp(value, 0, 255)); };
  ToolRun sepia = RunHere(
      {"PictureSepiaQVL.Run", "SourcePicture=" + in_, "SepiaRed=40", "SepiaGreen=20", "SepiaBlue=-10", "-o", out_});
  EXPECT_EQ(sepia.status, 0) << sepia.err;
  EXPECT_EQ(sepia.out, "result = true\n");
  qvlhost::OwnedPicture out(qvlhost::ReadPictureFile(out_));
  ExpectEveryPixel(in, out, [&](qvlhost::Rgba c) {
    const int grey = (c.r * 306 + c.g * 601 + c.b * 116) / 1024;
    return qvlhost::Rgba{clamped(grey + 40), clamped(grey + 20), clamped(grey - 10), 255};
  });
  EXPECT_EQ(RunHere({"PictureLut3DQVL.Run", "SourcePicture=" + in_, "-o", out_}).status, 0);
  qvlhost::OwnedPicture black(qvlhost::ReadPictureFile(out_));
  ExpectEveryPixel(in, black, [](qvlhost::Rgba) { return qvlhost::Rgba{0, 0, 0, 255}; });
}

INSTANTIATE_TEST_SUITE_P(Routes, QvlToolRoutes, ::testing::Values("2024.03", "2012.0"),
                         [](const auto& info) { return std::string(info.index == 0 ? "module" : "extension"); });

}  // namespace

#endif  // QVL_TOOL_PATH
