// The qvl tool as a user runs it: exit status 2 and one line for bad input,
// negative numbers as arguments, atomic output, the listing of the surface.
#ifdef QVL_TOOL_PATH

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
#include "filters/threshold.h"
#include "scroll/scroll.h"
#include "support/plugin_test.h"

namespace {

namespace fs = std::filesystem;

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
    std::string command = "env -u QVLDEBUG " + Quoted(QVL_TOOL_PATH);
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
      {{"ThresholdQVL", in_, "128"}, "give -o"},
      {{"ThresholdQVL", in_, "128", "-o", in_}, "would replace"},
      {{}, "no method"},
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
  // A nil picture gives a nil result: the earlier output stays as it was.
  ToolRun failed = Run({"ThresholdQVL", "nil", "128", "-o", out_});
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(LineCount(failed.err), 1u) << failed.err;
  EXPECT_EQ(FileText(out_), "previous output");
  // A folder in the way of the output: the write fails and leaves no temporary file.
  fs::create_directory(work_ / "folder.png");
  ToolRun blocked = Run({"ThresholdQVL", in_, "128", "-o", (work_ / "folder.png").string()});
  EXPECT_EQ(blocked.status, 1);
  EXPECT_EQ(WorkFiles(), (std::vector<std::string>{"folder.png", "in.png", "out.png"}));

  // A negative number is an argument, not an option.
  ToolRun written = Run({"ThresholdQVL", in_, "-5", "-o", out_});
  ASSERT_EQ(written.status, 0) << written.err;
  EXPECT_EQ(written.err + written.out, "");
  qvlhost::OwnedPicture source(qvlhost::ReadPictureFile(in_));
  qvlhost::OwnedPicture direct(ThresholdQVL(source, -5));
  ASSERT_TRUE(qvlhost::WritePictureFile(direct, (root_ / "expected.png").string()));
  EXPECT_EQ(FileText(out_), FileText(root_ / "expected.png"));
  EXPECT_EQ(WorkFiles(), (std::vector<std::string>{"folder.png", "in.png", "out.png"}));
  EXPECT_EQ(FileText(in_), original);
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

}  // namespace

#endif  // QVL_TOOL_PATH
