// The built library and the qvl tool as a user runs it: the library's one
// export, status and output per command line, atomic output, picture kinds,
// job classes, a recorded waveform and the listing, on both routes.
#ifdef QVL_TOOL_PATH

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "analysis/counting.h"
#include "filters/channels.h"
#include "filters/colour_replacement.h"
#include "filters/mask_extraction.h"
#include "filters/threshold.h"
#include "scroll/scroll.h"
#include "strings/picture_string.h"
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
  std::string out, err;
};

std::string FileText(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void WriteText(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

std::string Quoted(const std::string& word) {
  std::string quoted = "'";
  for (char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// Bytes as qvl prints them, two lowercase hexadecimal digits each.
std::string Hex(const std::string& bytes) {
  std::string hex;
  for (unsigned char byte : bytes)
    for (int shift : {4, 0}) hex += "0123456789abcdef"[(byte >> shift) & 15];
  return hex;
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

  // The shell words that run the tool with these arguments.
  static std::string Command(const Words& arguments) {
    std::string command = kToolLauncher + Quoted(QVL_TOOL_PATH);
    for (const std::string& word : arguments) command += " " + Quoted(word);
    return command;
  }

  // Runs the tool with these arguments and without QVLDEBUG in its environment.
  ToolRun Run(const Words& arguments) {
    const std::string command = "env -u QVLDEBUG " + Command(arguments) + " >" + Quoted((root_ / "stdout").string()) +
                                " 2>" + Quoted((root_ / "stderr").string());
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
    return names;
  }

  fs::path root_, work_;
  std::string in_, out_;
};

// The standard output of a run that succeeded with nothing on standard error.
std::string Succeeded(const ToolRun& run) {
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  return run.out;
}

const char kThresholdDeclaration[] = "ThresholdQVL(extends ref as Picture, Threshold as integer) as picture";

// Standard error as expected: an exact text where `err` starts with "qvl: ",
// else one "qvl: " line holding `err`; nothing where `err` is empty.
void ExpectError(const std::string& err, const std::string& expected) {
  if (expected.empty() || expected.rfind("qvl: ", 0) == 0) {
    EXPECT_EQ(err, expected);
    return;
  }
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
  EXPECT_EQ(err.rfind("qvl: ", 0), 0u) << err;
  EXPECT_THAT(err, HasSubstr(expected));
}

TEST_F(QvlTool, LibraryExportsREALPluginMainAlone) {
  if (std::system("command -v nm >/dev/null 2>&1") != 0) GTEST_SKIP() << "nm is not installed";
  const std::string symbols = (root_ / "symbols").string();
  ASSERT_EQ(std::system(("nm -D --defined-only --format=just-symbols '" QVL_PLUGIN_PATH "' >" + symbols).c_str()), 0);
  EXPECT_EQ(FileText(symbols), "REALPluginMain\n");
}

// Bad input gives status 2 and one line, a nil or failed call status 1; none
// of these changes the earlier output or the input, or leaves a temporary file.
TEST_F(QvlTool, CommandLinesGiveTheirStatusAndOutput) {
  const std::string original = FileText(in_);
  WriteText(out_, "previous output");
  const std::string file = (work_ / "bytes.bin").string(), wav = (work_ / "short.wav").string();
  WriteText(file, std::string("A\0\xff\n", 4));
  WriteText(wav, std::string("RIFF\x24\0\0\0WAV", 11));
  const std::string bad = (work_ / "bad.cube").string();
  WriteText(bad, "LUT_3D_SIZE 2\n0 0 0\n1 1 1\n");
  fs::create_directory(work_ / "folder.png");
  const std::string unknown = "qvl: unknown method NoSuchMethodQVL (qvl list shows the registered methods)\n",
                    badCube = "qvl: " + bad + ":3: 2 table rows, LUT_3D_SIZE 2 needs 8\n",
                    badWav = "qvl: " + wav + ": WAV header does not fit the file: a RIFF header of 11 bytes\n",
                    refused = "qvl: PlatformNotSupportedException: iOS only\n";
  const std::string cube = std::string(QVL_SOURCE_DIR) + "/samples/identity.cube", plugin = QVL_TOOL_TEST_PLUGIN_PATH;
  const struct {
    Words arguments;
    int status;
    std::string out, err;
  } cases[] = {
      {{"ThresholdQVL", "missing.png", "128", "-o", out_}, 2, "", "missing file missing.png"},
      {{"ThresholdQVL", file, "128", "-o", out_}, 2, "", "cannot read image"},
      {{"--frobnicate", "ThresholdQVL", in_, "128", "-o", out_}, 2, "", "unknown option --frobnicate"},
      {{"ThresholdQVL", in_, "1", "2", "-o", out_}, 2, "", "wrong number of arguments"},
      {{"ThresholdQVL", in_, "1.5", "-o", out_}, 2, "", kThresholdDeclaration},
      {{"ThresholdQVL", in_, "&c808080", "-o", out_}, 2, "", "fit no overload"},
      {{"NoSuchMethodQVL", in_, "-o", out_}, 2, "", unknown},
      {{"--storage", "cg7", "list"}, 2, "", "unknown storage"},
      {{"--picture-kind", "square", "list"}, 2, "", "unknown picture kind"},
      {{"ThresholdQVL", in_, "128", "-o", (work_ / "out.bmp").string()}, 2, "", "not a .png, .jpg, .jpeg or .gif file"},
      {{"ThresholdQVL", in_, "128", "-o", (work_ / "folder.png").string()}, 2, "", "is a folder"},
      {{"ThresholdQVL", in_, "128"}, 2, "", "give -o"},
      {{"ThresholdQVL", in_, "128", "-o", in_}, 2, "", "would replace"},
      {{}, 2, "", "no method"},
      {{"ThresholdQVL", "nil", "128", "-o", out_}, 1, "", "qvl: ThresholdQVL gave no picture (nil)\n"},
      {{"PictureSepiaQVL.Run", "Bogus=1", "-o", out_}, 2, "", "no property Bogus in PictureSepiaQVL"},
      {{"PictureSepiaQVL.Run", "SourcePicture=" + in_, "MinX=abc", "-o", out_}, 2, "", "\"abc\" is no Integer"},
      {{"isBlackQVL", "nil", "--mask", in_}, 2, "", "--mask"},
      // --lut needs a well-formed .cube file and a class with a Table.
      {{"PictureLut3DQVL.Run", "SourcePicture=" + in_, "--lut", bad, "-o", out_}, 2, "", badCube},
      {{"PictureSepiaQVL.Run", "SourcePicture=" + in_, "--lut", cube, "-o", out_}, 2, "", "--lut"},
      {{"ThresholdQVL", in_, "3", "--lut", cube, "-o", out_}, 2, "", "--lut"},
      {{"PictureLut3DQVL.Run", "-o", out_}, 1, "result = false\n", "left DestinationPicture nil"},
      {{"RenderSamplesQVL", wav, "0", "1", "10", "10", "0", "-o", out_}, 2, "", badWav},
      // Strings, memory blocks and a pending exception as scripts read them.
      {{"--plugin", plugin, "EncodingQVL", "text"}, 0, "EncodingQVL = 134217984\n", ""},
      {{"--plugin", plugin, "EncodingQVL", "@" + file}, 0, "EncodingQVL = 65535\n", ""},
      {{"--plugin", plugin, "EchoQVL", "h\xc3\xa9"}, 0, "result = 68c3a9\n", ""},
      {{"--plugin", plugin, "EchoQVL", "@" + file}, 0, "result = 4100ff0a\n", ""},
      {{"--plugin", plugin, "EchoQVL", "@missing.bin"}, 2, "", "qvl: missing file missing.bin\n"},
      // The balance check excuses the exception and nothing else.
      {{"--plugin", plugin, "RaiseAndKeepQVL", "kept"}, 1, "", "leaked"},
      {{"--host-version", "2020.02", "iOSPictureQVL.WriteImageToSavedPhotosAlbum", in_, "nil"}, 1, "", refused},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.arguments));
    ToolRun run = Run(c.arguments);
    EXPECT_EQ(run.status, c.status);
    EXPECT_EQ(run.out, c.out);
    ExpectError(run.err, c.err);
    EXPECT_EQ(FileText(out_), "previous output");
  }
  EXPECT_EQ(FileText(in_), original);
  for (const std::string& name : WorkFiles()) EXPECT_NE(name.rfind(".qvl-", 0), 0u) << name;
}

// The output is the direct call's picture. Alpha info 0 and a vector picture
// are read through a drawn duplicate, so an opaque input gives the plain
// call's picture; a HiDPI picture through the representation the host picks,
// here the bitmap at scale 2, and directly below 2016 through its own pixels.
TEST_F(QvlTool, OutputIsTheDirectCallsWhateverThePictureKind) {
  qvlhost::OwnedPicture source(qvlhost::ReadPictureFile(in_));
  const int64_t width = qvlhost::PictureWidth(source), height = qvlhost::PictureHeight(source);
  qvlhost::OwnedPicture twice(qvlhost::ScaledPicture(source, 2 * width, 2 * height));
  WriteText(out_, "previous output");
  const fs::perms kept = fs::perms::owner_read | fs::perms::owner_write | fs::perms::others_read;
  fs::permissions(out_, kept);
  const std::tuple<Words, REALpictureStruct*, int> cases[] = {
      {{}, source, 128},
      {{}, source, -5},  // a negative number is an argument, not an option
      {{"--storage", "cg0"}, source, 128},
      {{"--picture-kind", "vector"}, source, 128},
      {{"--picture-kind", "hidpi"}, twice, 128},
      {{"--picture-kind", "hidpi", "--host-version", "2015.04"}, source, 128}};
  for (const auto& [options, read, threshold] : cases) {
    EXPECT_EQ(Succeeded(Run(Joined(options, {"ThresholdQVL", in_, std::to_string(threshold), "-o", out_}))), "");
    qvlhost::OwnedPicture direct(ThresholdQVL(read, threshold));
    EXPECT_EQ(FileText(out_), PngOf(direct)) << ::testing::PrintToString(options);
  }
  EXPECT_EQ(fs::status(out_).permissions(), kept);  // a replaced output keeps its permissions
}

// A run stopped while it writes its output leaves no temporary file.
TEST_F(QvlTool, StoppedRunLeavesNoTemporaryFile) {
  // A picture of noise large enough that encoding it takes a while.
  uint32_t state = 1;
  qvlhost::OwnedPicture noise(PaintedPicture(1500, 1500, [&state](int64_t, int64_t) {
    state = state * 1664525u + 1013904223u;
    return qvlhost::Rgba{uint8_t(state >> 8), uint8_t(state >> 16), uint8_t(state >> 24), 255};
  }));
  ASSERT_TRUE(qvlhost::WritePictureFile(noise, in_));
  const std::string command = "exec " + Command({"InvertQVL", in_, "-o", out_});
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
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

// A string result is printed as hexadecimal bytes, or written whole with -o.
TEST_F(QvlTool, StringResultsArePrintedOrWritten) {
  const std::string encoded = (work_ / "out.ppic").string();
  qvlhost::OwnedPicture source(qvlhost::ReadPictureFile(in_));
  qvlhost::OwnedString direct(PicturetoBinaryString(source));
  EXPECT_EQ(Run({"PicturetoBinaryStringQVL", in_}).out, "result = " + Hex(qvlhost::StringBytes(direct)) + "\n");
  EXPECT_EQ(Succeeded(Run({"PicturetoBinaryStringQVL", in_, "-o", encoded})), "");
  EXPECT_EQ(FileText(encoded), qvlhost::StringBytes(direct));
}

// espeak-ng's sentence, 16-bit signed samples scaled to its loudest column:
// background at the corners, a body reaching well above and below the middle
// row, and the outline's colour at the columns' ends.
TEST_F(QvlTool, SpokenSentenceIsDrawn) {
#ifndef QVL_SPEECH_WAV
  GTEST_SKIP() << "espeak-ng was not found when the build was configured";
#else
  EXPECT_EQ(Succeeded(Run({"RenderSamplesQVL", QVL_SPEECH_WAV, "0", "32", "1200", "300", "1", "&c88B5C4", "&c274C5A",
                           "&c203F4E", "15", "true", "-o", out_})),
            "");
  qvlhost::OwnedPicture wave(qvlhost::ReadPictureFile(out_));
  ASSERT_EQ(qvlhost::PictureWidth(wave), 1200);
  ASSERT_EQ(qvlhost::PictureHeight(wave), 300);
  const qvlhost::Rgba back{0x88, 0xB5, 0xC4, 255}, fore{0x27, 0x4C, 0x5A, 255}, outline{0x20, 0x3F, 0x4E, 255};
  for (auto [x, y] : {std::pair{0, 0}, {0, 299}, {1199, 0}, {1199, 299}})
    EXPECT_EQ(qvlhost::PixelColour(wave, x, y), back) << x << ", " << y;
  int64_t outlinePixels = 0, farAbove = 0, farBelow = 0;  // body pixels more than 30 rows from the middle one
  for (int64_t i = 0; i < 1200 * 300; ++i) {
    const qvlhost::Rgba pixel = qvlhost::PixelColour(wave, i % 1200, i / 1200);
    outlinePixels += pixel == outline;
    farAbove += pixel == fore && i / 1200 < 120;
    farBelow += pixel == fore && i / 1200 > 180;
  }
  EXPECT_GT(farAbove, 0);
  EXPECT_GT(farBelow, 0);
  EXPECT_GT(outlinePixels, 1200);
#endif
}

// The same calls on the generated module's route and the class extension's.
class QvlToolRoutes : public QvlTool, public ::testing::WithParamInterface<const char*> {
 protected:
  ToolRun RunHere(const Words& arguments) { return Run(Joined({"--host-version", GetParam()}, arguments)); }
  bool OnModuleRoute() const { return std::string(GetParam()) == "2024.03"; }
};

TEST_P(QvlToolRoutes, ListShowsTheSurface) {
  const std::string listed = Succeeded(RunHere({"list"}));
  EXPECT_THAT(listed, HasSubstr(OnModuleRoute() ? "module PicturePictureExtensionQVL" : "class extension Picture"));
  EXPECT_THAT(listed, HasSubstr(OnModuleRoute() ? std::string(kThresholdDeclaration) + "  flags 0x14"
                                                : "ThresholdQVL(Threshold as integer) as picture"));
  EXPECT_THAT(listed, HasSubstr("(assign: qvl EmbeddedMaskQVL ref swap value)"));
}

// The analysis methods print their result and ByRef values as lines, as the
// direct calls give them.
TEST_P(QvlToolRoutes, AnswersAndByRefValuesArePrinted) {
  qvlhost::OwnedPicture source(qvlhost::ReadPictureFile(in_));
  REALmemoryBlockStruct *red = nullptr, *blue = nullptr, *green = nullptr;
  int64_t count = 0;
  CountColorsQVL(source, &red, &blue, &green, &count);
  qvlhost::OwnedMemoryBlock owned[] = {red, blue, green};
  auto blockText = [](REALmemoryBlockStruct* block) {
    const uint8_t* bytes = qvlhost::MemoryBlockData(block);
    return Hex(std::string(bytes, bytes + qvlhost::MemoryBlockSize(block)));
  };
  // A needle cut from (9, 4), so that crossed x and y show.
  const std::string needle = (work_ / "needle.png").string();
  qvlhost::OwnedPicture cut(
      PaintedPicture(2, 2, [&](int64_t x, int64_t y) { return qvlhost::PixelRgba(source, x + 9, y + 4); }));
  ASSERT_TRUE(qvlhost::WritePictureFile(cut, needle));
  const std::pair<Words, std::string> cases[] = {
      // Each form of a uniformity test on a corner where the other would differ.
      {{"isBlackQVL", in_}, "isBlackQVL = false\n"},
      {{"isBlackQVL", in_, "0", "0", "1", "1"}, "isBlackQVL = true\n"},
      {{"isWhiteQVL", in_}, "isWhiteQVL = false\n"},
      {{"isWhiteQVL", in_, "-1", "-1", "1", "1"}, "isWhiteQVL = true\n"},
      {{"isGrayQVL", in_, "300"}, "isGrayQVL = true\n"},
      {{"isGrayQVL", in_, "0", "0", "0", "1", "1"}, "isGrayQVL = true\n"},
      {{"ColornessQVL", in_, "300"}, "ColornessQVL = 0\n"},
      {{"FindPictureQVL", in_, needle, "7", "7", "0", "0", "1"}, "FindPictureQVL = true\nx = 9\ny = 4\n"},
      {{"FindPictureQVL", in_, in_, "7", "7", "1"}, "FindPictureQVL = false\nx = 0\ny = 0\n"},
      {{"CountColorQVL", in_, "&c000000"}, "CountColorQVL = 1\n"},
      {{"CountColorsQVL", in_, "nil", "nil", "nil", "0"},
       "red = " + blockText(red) + "\nblue = " + blockText(blue) + "\ngreen = " + blockText(green) +
           "\ncount = " + std::to_string(count) + "\n"},
  };
  for (const auto& [arguments, printed] : cases) {
    EXPECT_EQ(Succeeded(RunHere(arguments)), printed) << arguments.front();
  }
}

// A scroll, the assigning form (the assigned value after the other
// arguments) and --mask/--mask-out write the picture they changed.
TEST_P(QvlToolRoutes, ChangedPicturesAreWritten) {
  // The positive horizontal scroll without wrap moves pixels in pairs.
  const std::pair<Words, bool (*)(REALpictureStruct*)> scrolls[] = {
      {{"ScrollQVL", in_, "5", "-3", "true", "false"},
       [](REALpictureStruct* p) { return ScrollQVL(p, 5, -3, true, false); }},
      {{"ScrollHorizontalQVL", in_, "9", "false", "false"},
       [](REALpictureStruct* p) { return ScrollHorizontalQVL(p, 9, false, false); }},
  };
  for (const auto& [words, scroll] : scrolls) {
    qvlhost::OwnedPicture expected(qvlhost::ReadPictureFile(in_));
    const std::string printed = words.front() + (scroll(expected) ? " = true\n" : " = false\n");
    Words call = words;
    call.insert(call.end(), {"-o", out_});
    EXPECT_EQ(Succeeded(RunHere(call)), printed);
    EXPECT_EQ(FileText(out_), PngOf(expected)) << words.front();
  }

  const std::string mask = (work_ / "mask.png").string();
  EXPECT_EQ(Succeeded(RunHere(
                {"ScrollVerticalQVL", in_, "7", "false", "true", "--mask", in_, "--mask-out", mask, "-o", out_})),
            "ScrollVerticalQVL = true\n");
  qvlhost::OwnedPicture vertical(qvlhost::ReadPictureFile(in_));
  ScrollVerticalQVL(vertical, 7, false, false);
  EXPECT_EQ(FileText(mask), PngOf(vertical));
  EXPECT_EQ(FileText(out_), PngOf(vertical));

  qvlhost::OwnedPicture painted(PaintedPicture(256, 192, [](int64_t x, int64_t y) {
    return qvlhost::Rgba{uint8_t(x ^ y), 1, 2, 255};
  }));
  ASSERT_TRUE(qvlhost::WritePictureFile(painted, mask));
  qvlhost::OwnedPicture embedded(qvlhost::ReadPictureFile(in_));
  SetEmbededMask(embedded, false, painted);
  EXPECT_EQ(Succeeded(RunHere({"EmbeddedMaskQVL", in_, "false", mask, "-o", out_})), "");
  EXPECT_EQ(FileText(out_), PngOf(embedded));
}

// Colour replacement, channel composition and mask extraction: each method
// writes the direct call's picture (memory blocks given as files of raw
// bytes, a short table among them), and a nil handle gives the exception's
// class and message with status 1.
TEST_P(QvlToolRoutes, ColourAndChannelMethodsWriteTheDirectCallsPicture) {
  qvlhost::OwnedPicture source(qvlhost::ReadPictureFile(in_));
  qvlhost::OwnedPicture sizedPicture(
      PaintedPicture(qvlhost::PictureWidth(source), qvlhost::PictureHeight(source), [](int64_t x, int64_t y) {
        return qvlhost::Rgba{uint8_t(x * y), uint8_t(x + y), 90, 255};
      }));
  const std::string sized = (work_ / "sized.png").string();
  ASSERT_TRUE(qvlhost::WritePictureFile(sizedPicture, sized));
  // Tables of one value each, the red one short.
  const std::string bytes[] = {std::string(100, '\x7f'), std::string(256, '\x10'), std::string(256, '\xe0')};
  std::string tables[3];
  qvlhost::OwnedMemoryBlock blocks[3];
  for (int t = 0; t < 3; ++t) {
    WriteText(tables[t] = (work_ / ("table" + std::to_string(t))).string(), bytes[t]);
    blocks[t].reset(qvlhost::NewMemoryBlock(int64_t(bytes[t].size())));
    std::copy(bytes[t].begin(), bytes[t].end(), qvlhost::MemoryBlockData(blocks[t]));
  }
  // The crossed order of the combination: red, blue, green.
  const std::pair<Words, std::function<REALpictureStruct*()>> cases[] = {
      {{"ReplaceColorQVL", in_, "&c000000", "&cFF0000"}, [&] { return ReplaceColorQVL(source, 0, 0xFF0000); }},
      {{"ExtractColorQVL", in_, "&c000000", "&cFF0000", "&c0000FF"},
       [&] { return ExtractColorQVL(source, 0, 0xFF0000, 0x0000FF); }},
      {{"TransformColorsQVL", in_, tables[0], tables[1], tables[2]},
       [&] { return TransformColorsQVL(source, blocks[0], blocks[1], blocks[2], nullptr); }},
      {{"ReplaceRedChannelQVL", in_, sized}, [&] { return ReplaceRedChannel(source, sizedPicture); }},
      {{"ReplaceGreenChannelQVL", in_, sized}, [&] { return ReplaceGreenChannel(source, sizedPicture); }},
      {{"ReplaceBlueChannelQVL", in_, sized}, [&] { return ReplaceBlueChannel(source, sizedPicture); }},
      {{"CombinePicturesQVL", in_, sized, in_}, [&] { return CombinePicturesQVL(source, sizedPicture, source); }},
      {{"MergePictureQVL", in_, sized}, [&] { return MergePicture(source, sizedPicture); }},
      {{"ExtractColorRectangleMaskQVL", in_}, [&] { return ExtractColorRectangleMaskQVL2(source); }},
      {{"ExtractColorRectangleMaskQVL", in_, "-2", "3", "40", "20"},
       [&] { return ExtractColorRectangleMaskQVL(source, -2, 3, 40, 20); }},
  };
  for (const auto& [words, direct] : cases) {
    SCOPED_TRACE(::testing::PrintToString(words));
    EXPECT_EQ(Succeeded(RunHere(Joined(words, {"-o", out_}))), "");
    qvlhost::OwnedPicture expected(direct());
    EXPECT_EQ(FileText(out_), PngOf(expected));
  }
  const std::pair<Words, std::string> raises[] = {
      {{"ReplaceBlueChannelQVL", in_, "nil"}, "qvl: NilObjectException: The channel picture is nil.\n"},
      {{"TransformColorsQVL", in_, tables[0], tables[1], "nil"}, "qvl: NilObjectException: green memoryblock is nil\n"},
  };
  for (const auto& [words, err] : raises) {
    const ToolRun run = RunHere(Joined(words, {"-o", out_}));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, err);
  }
}

// A new instance per run, its properties set before the call, the result
// printed and DestinationPicture written; --lut fills Table from a .cube
// file, where the identity grade gives each channel back or one lower (the
// job truncates).
TEST_P(QvlToolRoutes, JobClassesRunOnANewInstance) {
  qvlhost::OwnedPicture in(qvlhost::ReadPictureFile(in_));
  const int64_t width = qvlhost::PictureWidth(in);
  auto clamped = [](int value) { return uint8_t(std::clamp(value, 0, 255)); };
  EXPECT_EQ(Succeeded(RunHere({"PictureSepiaQVL.Run", "SourcePicture=" + in_, "SepiaRed=40", "SepiaGreen=20",
                               "SepiaBlue=-10", "-o", out_})),
            "result = true\n");
  qvlhost::OwnedPicture out(qvlhost::ReadPictureFile(out_));
  ExpectEveryPixel(in, out, [&](qvlhost::Rgba c) {
    const int grey = (c.r * 306 + c.g * 601 + c.b * 116) / 1024;
    return qvlhost::Rgba{clamped(grey + 40), clamped(grey + 20), clamped(grey - 10), 255};
  });
  for (const std::string grade : {"warm", "identity"}) {
    const std::string cube = QVL_SOURCE_DIR "/samples/" + grade + ".cube";
    EXPECT_EQ(Succeeded(RunHere({"PictureLut3DQVL.Run", "SourcePicture=" + in_, "--lut", cube, "-o", out_})),
              "result = true\n");
  }
  qvlhost::OwnedPicture graded(qvlhost::ReadPictureFile(out_));
  for (int64_t i = 0; i < width * qvlhost::PictureHeight(in); ++i) {
    const qvlhost::Rgba from = qvlhost::PixelRgba(in, i % width, i / width),
                        to = qvlhost::PixelRgba(graded, i % width, i / width);
    for (auto [source, mapped] : {std::pair{from.r, to.r}, {from.g, to.g}, {from.b, to.b}})
      ASSERT_TRUE(mapped == source || mapped + 1 == source) << i % width << "," << i / width;
  }
}

INSTANTIATE_TEST_SUITE_P(Routes, QvlToolRoutes, ::testing::Values("2024.03", "2012.0"),
                         [](const auto& info) { return std::string(info.index == 0 ? "module" : "extension"); });

}  // namespace

#endif  // QVL_TOOL_PATH
