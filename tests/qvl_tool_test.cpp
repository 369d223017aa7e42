// The qvl tool as a user runs it: exit status 2 and one line for bad input,
// negative numbers as arguments, atomic output, the listing of the surface.
#ifdef QVL_TOOL_PATH

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
#include "support/plugin_test.h"

namespace {

namespace fs = std::filesystem;

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
  ToolRun Run(const std::vector<std::string>& arguments) {
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

  // The files in the work folder, so that a leftover temporary file shows.
  std::vector<std::string> WorkFiles() {
    std::vector<std::string> names;
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

TEST_F(QvlTool, BadInputGivesOneLineAndStatusTwo) {
  const std::string notes = (work_ / "notes.txt").string(), original = FileText(in_);
  WriteText(notes, "not a picture");
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"ThresholdQVL", "missing.png", "128", "-o", out_}, "missing file missing.png"},
      {{"ThresholdQVL", notes, "128", "-o", out_}, "cannot read image"},
      {{"--frobnicate", "ThresholdQVL", in_, "128", "-o", out_}, "unknown option --frobnicate"},
      {{"ThresholdQVL", in_, "1", "2", "-o", out_}, "wrong number of arguments"},
      {{"ThresholdQVL", in_, "1.5", "-o", out_}, kThresholdDeclaration},
      {{"ThresholdQVL", in_, "&c808080", "-o", out_}, "fit no overload"},
      {{"NoSuchMethodQVL", in_, "-o", out_}, "unknown method NoSuchMethodQVL"},
      {{"--storage", "cg7", "list"}, "unknown storage"},
      {{"--picture-kind", "square", "list"}, "unknown picture kind"},
      {{"ThresholdQVL", in_, "128", "-o", (work_ / "out.bmp").string()}, "not a .png, .jpg, .jpeg or .gif file"},
      {{"ThresholdQVL", in_, "128"}, "give -o"},
      {{"ThresholdQVL", in_, "128", "-o", in_}, "would replace"},
      {{}, "no method"},
      {{"PictureSepiaQVL.Run", "Bogus=1", "-o", out_}, "no property Bogus in PictureSepiaQVL"},
      {{"PictureSepiaQVL.Run", "SourcePicture=" + in_, "MinX=abc", "-o", out_}, "\"abc\" is no Integer"},
  };
  for (const auto& [arguments, says] : cases) {
    ToolRun run = Run(arguments);
    SCOPED_TRACE(says);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(LineCount(run.err), 1u) << run.err;
    EXPECT_EQ(run.err.rfind("qvl: ", 0), 0u) << run.err;
    EXPECT_NE(run.err.find(says), std::string::npos) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_FALSE(fs::exists(out_));
  }
  EXPECT_EQ(FileText(in_), original);
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
  ToolRun blocked = Run({"ThresholdQVL", in_, "128", "-o", (work_ / "folder.png").string()});
  EXPECT_EQ(blocked.status, 2);
  EXPECT_EQ(WorkFiles(), (std::vector<std::string>{"folder.png", "in.png", "out.png"}));

  // A negative number is an argument, not an option.
  ToolRun written = Run({"ThresholdQVL", in_, "-5", "-o", out_});
  ASSERT_EQ(written.status, 0) << written.err;
  EXPECT_EQ(written.err + written.out, "");
  qvlhost::OwnedPicture source(qvlhost::ReadPictureFile(in_));
  qvlhost::OwnedPicture direct(ThresholdQVL(source, -5));
  ASSERT_TRUE(qvlhost::WritePictureFile(direct, (root_ / "expected.png").string()));
  EXPECT_EQ(FileText(out_), FileText(root_ / "expected.png"));
  EXPECT_EQ(fs::status(out_).permissions(), kept);  // a replaced output keeps its permissions
  EXPECT_EQ(WorkFiles(), (std::vector<std::string>{"folder.png", "in.png", "out.png"}));
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
  const struct {
    std::vector<std::string> options;
    REALpictureStruct* read;
  } cases[] = {{{}, source},
               {{"--storage", "cg0"}, source},
               {{"--picture-kind", "vector"}, source},
               {{"--picture-kind", "hidpi"}, twice},
               {{"--picture-kind", "hidpi", "--host-version", "2015.04"}, source}};
  for (const auto& c : cases) {
    std::vector<std::string> arguments = c.options;
    arguments.insert(arguments.end(), {"ThresholdQVL", in_, "128", "-o", out_});
    ToolRun run = Run(arguments);
    ASSERT_EQ(run.status, 0) << run.err;
    qvlhost::OwnedPicture direct(ThresholdQVL(c.read, 128));
    ASSERT_TRUE(qvlhost::WritePictureFile(direct, (root_ / "expected.png").string()));
    EXPECT_EQ(FileText(out_), FileText(root_ / "expected.png")) << arguments.front();
  }
}

// A run stopped while it writes its output leaves no temporary file.
TEST_F(QvlTool, StoppedRunLeavesNoTemporaryFile) {
  // A picture of noise large enough that encoding it takes a while.
  qvlhost::OwnedPicture noise(qvlhost::NewPicture(1500, 1500));
  uint32_t state = 1;
  for (int64_t y = 0; y < 1500; ++y) {
    for (int64_t x = 0; x < 1500; ++x) {
      state = state * 1664525u + 1013904223u;
      qvlhost::SetPixelWord(noise, x, y, state | 0xFF);
    }
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
  EXPECT_EQ(WorkFiles(), std::vector<std::string>{"in.png"});
}

// Strings and memory blocks as scripts read them, and an exception the call
// leaves pending, through a plug-in made for these tests.
TEST_F(QvlTool, StringsMemoryBlocksAndExceptionsAsScriptsReadThem) {
  const std::string bytes("A\0\xff\n", 4), file = (work_ / "bytes.bin").string(), text = (work_ / "text.bin").string();
  WriteText(file, bytes);
  const std::string plugin = QVL_TOOL_TEST_PLUGIN_PATH;
  const struct {
    std::vector<std::string> arguments;
    int status;
    std::string out, err;
  } cases[] = {
      {{"EchoQVL", "h\xc3\xa9"}, 0, "result = 68c3a9\n", ""},
      {{"EncodingQVL", "text"}, 0, "EncodingQVL = 134217984\n", ""},
      {{"EncodingQVL", "@" + file}, 0, "EncodingQVL = 65535\n", ""},
      {{"BytesQVL", "@" + file}, 0, "BytesQVL = 4100ff0a\n", ""},
      {{"EchoQVL", "@" + file, "-o", text}, 0, "", ""},
      {{"EchoQVL", "@missing.bin"}, 2, "", "qvl: missing file missing.bin\n"},
      {{"RaiseQVL", "index 7 is beyond the end"}, 1, "", "qvl: OutOfBoundsException: index 7 is beyond the end\n"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> arguments = {"--plugin", plugin};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    ToolRun run = Run(arguments);
    EXPECT_EQ(run.status, c.status) << c.arguments.front();
    EXPECT_EQ(run.out, c.out) << c.arguments.front();
    EXPECT_EQ(run.err, c.err) << c.arguments.front();
  }
  EXPECT_EQ(FileText(text), bytes);
  // The balance check excuses the exception and nothing else.
  ToolRun leaking = Run({"--plugin", plugin, "RaiseAndKeepQVL", "kept"});
  EXPECT_EQ(leaking.status, 1);
  EXPECT_EQ(LineCount(leaking.err), 1u) << leaking.err;
  EXPECT_NE(leaking.err.find("leaked"), std::string::npos) << leaking.err;
}

TEST_F(QvlTool, PictureStringsRoundTripAndTheAlbumRefuses) {
  const std::string encoded = (work_ / "out.ppic").string(), again = (work_ / "again.ppic").string();
  ASSERT_EQ(Run({"PicturetoBinaryStringQVL", in_, "-o", encoded}).status, 0);
  ASSERT_EQ(Run({"BinaryStringtoPictureQVL", "@" + encoded, "-o", out_}).status, 0);
  ASSERT_EQ(Run({"PicturetoBinaryStringQVL", out_, "-o", again}).status, 0);
  EXPECT_EQ(FileText(encoded).substr(0, 4), "PPIC");
  EXPECT_EQ(FileText(again), FileText(encoded));
  const std::string onePixel = (work_ / "one.png").string();
  qvlhost::OwnedPicture picture(qvlhost::NewPicture(1, 1));
  qvlhost::SetPixelRgba(picture, 0, 0, {0x12, 0xAB, 0x07, 255});
  ASSERT_TRUE(qvlhost::WritePictureFile(picture, onePixel));
  const std::string refusal = "qvl: PlatformNotSupportedException: iOS only\n";
  const struct {
    std::vector<std::string> arguments;
    int status;
    std::string out, err;
  } cases[] = {
      {{"PicturetoBinaryStringQVL", onePixel},
       0,
       "result = 505049430000002b0000000100000001000000200000002800000000000000000000000000000000"
       "12ab07\n",
       ""},
      {{"--host-version", "2020.02", "iOSPictureQVL.WriteImageToSavedPhotosAlbum", in_, "nil"}, 1, "", refusal},
      {{"--host-version", "2020.02", "VideoAtPathIsCompatibleWithSavedPhotosAlbum", in_}, 1, "", refusal},
      {{"--host-version", "2020.02", "SaveImageAtPathToSavedPhotosAlbum", "no such file", "nil"}, 1, "", refusal},
      {{"--host-version", "2020.01", "iOSPictureQVL.WriteImageToSavedPhotosAlbum", in_, "nil"},
       2,
       "",
       "qvl: unknown method iOSPictureQVL.WriteImageToSavedPhotosAlbum (qvl list shows the registered methods)\n"},
  };
  for (const auto& c : cases) {
    ToolRun run = Run(c.arguments);
    EXPECT_EQ(run.status, c.status) << c.arguments[0];
    EXPECT_EQ(run.out, c.out) << c.arguments[0];
    EXPECT_EQ(run.err, c.err) << c.arguments[0];
  }
}

// A new instance per run, its properties set before the call, the result
// printed and DestinationPicture written, on both registration routes.
TEST_F(QvlTool, JobClassesRunOnANewInstance) {
  qvlhost::OwnedPicture in(qvlhost::ReadPictureFile(in_));
  auto clamped = [](int value) { return uint8_t(std::clamp(value, 0, 255)); };
  for (const char* version : {"2024.0", "2012.0"}) {
    ToolRun sepia = Run({"--host-version", version, "PictureSepiaQVL.Run", "SourcePicture=" + in_, "SepiaRed=40",
                         "SepiaGreen=20", "SepiaBlue=-10", "-o", out_});
    EXPECT_EQ(sepia.status, 0) << sepia.err;
    EXPECT_EQ(sepia.out, "result = true\n");
    qvlhost::OwnedPicture out(qvlhost::ReadPictureFile(out_));
    ExpectEveryPixel(in, out, [&](qvlhost::Rgba c) {
      const int grey = (c.r * 306 + c.g * 601 + c.b * 116) / 1024;
      return qvlhost::Rgba{clamped(grey + 40), clamped(grey + 20), clamped(grey - 10), 255};
    });
    ToolRun lookup = Run({"--host-version", version, "PictureLut3DQVL.Run", "SourcePicture=" + in_, "-o", out_});
    EXPECT_EQ(lookup.status, 0) << lookup.err;
    qvlhost::OwnedPicture black(qvlhost::ReadPictureFile(out_));
    ExpectEveryPixel(in, black, [](qvlhost::Rgba) { return qvlhost::Rgba{0, 0, 0, 255}; });
  }
  ToolRun nothing = Run({"PictureLut3DQVL.Run", "-o", out_});
  EXPECT_EQ(nothing.status, 1);
  EXPECT_EQ(nothing.out, "result = false\n");
}

// --lut fills Table from a .cube file: the identity grade gives each channel
// back or one lower (the job truncates); a malformed file or a method
// without a Table is refused with one line and status 2.
TEST_F(QvlTool, LutFileFillsTheTable) {
  const std::string cube = std::string(QVL_SOURCE_DIR) + "/samples/identity.cube";
  ToolRun identity = Run({"PictureLut3DQVL.Run", "SourcePicture=" + in_, "--lut", cube, "-o", out_});
  ASSERT_EQ(identity.status, 0) << identity.err;
  qvlhost::OwnedPicture in(qvlhost::ReadPictureFile(in_));
  qvlhost::OwnedPicture out(qvlhost::ReadPictureFile(out_));
  for (int64_t y = 0; y < qvlhost::PictureHeight(in); ++y) {
    for (int64_t x = 0; x < qvlhost::PictureWidth(in); ++x) {
      const qvlhost::Rgba from = qvlhost::PixelRgba(in, x, y), to = qvlhost::PixelRgba(out, x, y);
      for (auto [source, mapped] : {std::pair{from.r, to.r}, {from.g, to.g}, {from.b, to.b}}) {
        ASSERT_TRUE(mapped == source || mapped + 1 == source) << x << "," << y;
      }
    }
  }
  const std::string bad = (work_ / "bad.cube").string();
  std::ofstream(bad) << "LUT_3D_SIZE 2\n0 0 0\n1 1 1\n";
  ToolRun malformed = Run({"PictureLut3DQVL.Run", "SourcePicture=" + in_, "--lut", bad, "-o", out_});
  EXPECT_EQ(malformed.status, 2);
  EXPECT_EQ(malformed.err, "qvl: " + bad + ":3: 2 table rows, LUT_3D_SIZE 2 needs 8\n");
  EXPECT_EQ(Run({"PictureSepiaQVL.Run", "SourcePicture=" + in_, "--lut", cube, "-o", out_}).status, 2);
  EXPECT_EQ(Run({"ThresholdQVL", in_, "3", "--lut", cube, "-o", out_}).status, 2);
}

TEST_F(QvlTool, ListShowsTheSurfaceByRoute) {
  ToolRun recent = Run({"list"});
  ASSERT_EQ(recent.status, 0) << recent.err;
  EXPECT_NE(recent.out.find("module PicturePictureExtensionQVL"), std::string::npos) << recent.out;
  EXPECT_NE(recent.out.find(std::string(kThresholdDeclaration) + "  flags 0x14"), std::string::npos) << recent.out;
  EXPECT_NE(recent.out.find("shared property Debugging as Boolean"), std::string::npos) << recent.out;

  ToolRun old = Run({"--host-version", "2012.0", "list"});
  ASSERT_EQ(old.status, 0) << old.err;
  EXPECT_NE(old.out.find("class extension Picture"), std::string::npos) << old.out;
  EXPECT_NE(old.out.find("ThresholdQVL(Threshold as integer) as picture"), std::string::npos) << old.out;
  EXPECT_EQ(old.out.find("PicturePictureExtensionQVL"), std::string::npos) << old.out;
}

// The analysis methods print their result and ByRef values as lines, and a
// scroll writes the picture it changed, on both registration routes.
TEST_F(QvlTool, AnswersAndByRefValuesArePrinted) {
  qvlhost::OwnedPicture source(qvlhost::ReadPictureFile(in_));
  auto boolean = [](bool value) { return std::string(value ? "true" : "false"); };
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"isBlackQVL", in_}, "isBlackQVL = " + boolean(isBlack2(source)) + "\n"},
      {{"isWhiteQVL", in_, "-1", "-1", "1", "1"}, "isWhiteQVL = true\n"},
      {{"isGrayQVL", in_, "300"}, "isGrayQVL = true\n"},
      {{"ColornessQVL", in_, "300"}, "ColornessQVL = 0\n"},
      {{"FindPictureQVL", in_, in_, "7", "7", "0", "0", "1"}, "FindPictureQVL = true\nx = 0\ny = 0\n"},
      {{"FindPictureQVL", in_, in_, "7", "7", "1"}, "FindPictureQVL = false\nx = 0\ny = 0\n"},
      {{"CountColorQVL", in_, "&c000000"}, "CountColorQVL = 1\n"},
  };
  for (const char* version : {"2024.03", "2012.0"}) {
    for (const auto& [arguments, printed] : cases) {
      std::vector<std::string> words = {"--host-version", version};
      words.insert(words.end(), arguments.begin(), arguments.end());
      ToolRun run = Run(words);
      EXPECT_EQ(run.status, 0) << run.err;
      EXPECT_EQ(run.out, printed) << version << " " << arguments.front();
    }
    ToolRun counted = Run({"--host-version", version, "CountColorsQVL", in_, "nil", "nil", "nil", "0"});
    EXPECT_EQ(counted.status, 0) << counted.err;
    EXPECT_NE(counted.out.find("\ncount = 49152\n"), std::string::npos) << counted.out;

    ToolRun scrolled = Run({"--host-version", version, "ScrollQVL", in_, "5", "-3", "true", "false", "-o", out_});
    ASSERT_EQ(scrolled.status, 0) << scrolled.err;
    EXPECT_EQ(scrolled.out, "ScrollQVL = true\n");
    qvlhost::OwnedPicture expected(qvlhost::ReadPictureFile(in_));
    ScrollQVL(expected, 5, -3, true, false);
    ASSERT_TRUE(qvlhost::WritePictureFile(expected, (root_ / "expected.png").string()));
    EXPECT_EQ(FileText(out_), FileText(root_ / "expected.png"));
  }
}

// --mask gives the picture a mask for the scrollmask paths, --mask-out
// writes it after the call.
TEST_F(QvlTool, MaskIsScrolledAlongAndWritten) {
  const std::string maskOut = (work_ / "mask.png").string();
  ToolRun run = Run({"ScrollVerticalQVL", in_, "7", "false", "true", "--mask", in_, "--mask-out", maskOut, "-o", out_});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "ScrollVerticalQVL = true\n");
  qvlhost::OwnedPicture expected(qvlhost::ReadPictureFile(in_));
  ScrollVerticalQVL(expected, 7, false, false);
  ASSERT_TRUE(qvlhost::WritePictureFile(expected, (root_ / "expected.png").string()));
  EXPECT_EQ(FileText(maskOut), FileText(root_ / "expected.png"));
  EXPECT_EQ(FileText(out_), FileText(root_ / "expected.png"));

  ToolRun bad = Run({"isBlackQVL", "nil", "--mask", in_});
  EXPECT_EQ(bad.status, 2);
  EXPECT_NE(bad.err.find("--mask"), std::string::npos) << bad.err;
}

// The assigning form takes the assigned value after the other arguments and
// writes the changed picture, on both registration routes; the listing says so.
TEST_F(QvlTool, AssigningFormTakesTheValueLast) {
  const std::string mask = (work_ / "mask.png").string(), expectedFile = (root_ / "expected.png").string();
  qvlhost::OwnedPicture painted(qvlhost::NewPicture(256, 192));
  for (int64_t y = 0; y < 192; ++y)
    for (int64_t x = 0; x < 256; ++x) qvlhost::SetPixelRgba(painted, x, y, {uint8_t(x ^ y), 1, 2, 255});
  ASSERT_TRUE(qvlhost::WritePictureFile(painted, mask));
  qvlhost::OwnedPicture expected(qvlhost::ReadPictureFile(in_)), maskRead(qvlhost::ReadPictureFile(mask));
  SetEmbededMask(expected, false, maskRead);
  ASSERT_TRUE(qvlhost::WritePictureFile(expected, expectedFile));
  for (const char* version : {"2024.03", "2012.0"}) {
    ToolRun run = Run({"--host-version", version, "EmbeddedMaskQVL", in_, "false", mask, "-o", out_});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(FileText(out_), FileText(expectedFile)) << version;
    const std::string listed = Run({"--host-version", version, "list"}).out;
    EXPECT_NE(listed.find("(assign: qvl EmbeddedMaskQVL ref swap value)"), std::string::npos) << listed;
  }
}

}  // namespace

#endif  // QVL_TOOL_PATH
