// The qvl tool as a user runs it: exit status 2 and one line for bad input,
// negative numbers as arguments, atomic output, the listing of the surface.
#ifdef QVL_TOOL_PATH

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "filters/threshold.h"
#include "support/plugin_test.h"

extern char** environ;

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

size_t LineCount(const std::string& text) {
  size_t lines = 0;
  for (char c : text) lines += c == '\n';
  return lines;
}

class QvlTool : public PluginTest {
 protected:
  void SetUp() override {
    PluginTest::SetUp();
    char work[] = "/tmp/qvl-tool-test-XXXXXX";
    char logs[] = "/tmp/qvl-tool-logs-XXXXXX";
    ASSERT_NE(mkdtemp(work), nullptr);
    ASSERT_NE(mkdtemp(logs), nullptr);
    work_ = work;
    logs_ = logs;
    in_ = (work_ / "in.png").string();
    out_ = (work_ / "out.png").string();
    fs::copy_file(QVL_SOURCE_DIR "/samples/gradient.png", in_);
  }

  void TearDown() override {
    fs::remove_all(work_);
    fs::remove_all(logs_);
    PluginTest::TearDown();
  }

  // Runs the tool with these arguments and without QVLDEBUG in its environment.
  ToolRun Run(const std::vector<std::string>& arguments) {
    std::string outPath = (logs_ / "stdout").string();
    std::string errPath = (logs_ / "stderr").string();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<std::string> words = {QVL_TOOL_PATH};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(&word[0]);
    argv.push_back(nullptr);
    std::vector<char*> env;
    for (char** variable = environ; *variable; ++variable) {
      if (std::strncmp(*variable, "QVLDEBUG=", 9) != 0) env.push_back(*variable);
    }
    env.push_back(nullptr);
    ToolRun run;
    pid_t pid = 0;
    int spawned = posix_spawn(&pid, QVL_TOOL_PATH, &actions, nullptr, argv.data(), env.data());
    posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(spawned, 0);
    int status = 0;
    if (spawned == 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) run.status = WEXITSTATUS(status);
    run.out = FileText(outPath);
    run.err = FileText(errPath);
    return run;
  }

  // The files in the work folder, so that a leftover temporary file shows.
  std::vector<std::string> WorkFiles() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(work_)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  fs::path work_;
  fs::path logs_;
  std::string in_;
  std::string out_;
};

const char kThresholdDeclaration[] = "ThresholdQVL(extends ref as Picture, Threshold as integer) as picture";

struct BadInput {
  std::vector<std::string> arguments;  // IN and OUT stand for the work files
  const char* says;
};

TEST_F(QvlTool, BadInputGivesOneLineAndStatusTwo) {
  WriteText(work_ / "notes.txt", "not a picture");
  const BadInput cases[] = {
      {{"ThresholdQVL", "missing.png", "128", "-o", "OUT"}, "missing file missing.png"},
      {{"ThresholdQVL", "NOTES", "128", "-o", "OUT"}, "cannot read image"},
      {{"--frobnicate", "ThresholdQVL", "IN", "128", "-o", "OUT"}, "unknown option --frobnicate"},
      {{"ThresholdQVL", "IN", "-o", "OUT"}, kThresholdDeclaration},
      {{"ThresholdQVL", "IN", "1", "2", "-o", "OUT"}, "wrong number of arguments"},
      {{"ThresholdQVL", "IN", "1.5", "-o", "OUT"}, kThresholdDeclaration},
      {{"ThresholdQVL", "IN", "&c808080", "-o", "OUT"}, "fit no overload"},
      {{"NoSuchMethodQVL", "IN", "-o", "OUT"}, "unknown method NoSuchMethodQVL"},
      {{"Picture.ThresholdQVL", "IN", "1", "-o", "OUT"}, kThresholdDeclaration},
      {{"--storage", "cg7", "list"}, "unknown storage"},
      {{"--plugin", "NOTES", "list"}, "cannot load"},
      {{"--host-version", "soon", "list"}, "bad host version"},
      {{"ThresholdQVL", "IN", "128"}, "give -o"},
      {{"ThresholdQVL", "IN", "128", "-o", "/nonexistent-qvl-folder/out.png"}, "no folder"},
      {{"ThresholdQVL", "IN", "128", "-o", "IN"}, "would replace"},
      {{"ThresholdQVL", "IN", "128", "-o"}, "needs a value"},
      {{}, "no method"},
  };
  std::string original = FileText(in_);
  for (const BadInput& c : cases) {
    std::vector<std::string> arguments;
    for (const std::string& word : c.arguments) {
      arguments.push_back(word == "IN"      ? in_
                          : word == "OUT"   ? out_
                          : word == "NOTES" ? (work_ / "notes.txt").string()
                                            : word);
    }
    ToolRun run = Run(arguments);
    SCOPED_TRACE(c.says);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(LineCount(run.err), 1u) << run.err;
    EXPECT_EQ(run.err.rfind("qvl: ", 0), 0u) << run.err;
    EXPECT_NE(run.err.find(c.says), std::string::npos) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_FALSE(fs::exists(out_));
  }
  EXPECT_EQ(FileText(in_), original);
}

TEST_F(QvlTool, NegativeNumberIsAnArgumentAndTheResultIsTheDirectCalls) {
  ToolRun run = Run({"ThresholdQVL", in_, "-5", "-o", out_});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, "");
  qvlhost::OwnedPicture source(qvlhost::ReadPictureFile(in_));
  qvlhost::OwnedPicture direct(ThresholdQVL(source, -5));
  ASSERT_NE(direct.get(), nullptr);
  std::string expected = (logs_ / "expected.png").string();
  ASSERT_TRUE(qvlhost::WritePictureFile(direct, expected));
  EXPECT_EQ(FileText(out_), FileText(expected));
}

TEST_F(QvlTool, OutputIsReplacedWholeOrNotAtAll) {
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

  ToolRun written = Run({"ThresholdQVL", in_, "128", "-o", out_});
  ASSERT_EQ(written.status, 0) << written.err;
  qvlhost::OwnedPicture result(qvlhost::ReadPictureFile(out_));
  ASSERT_NE(result.get(), nullptr);
  EXPECT_EQ(qvlhost::PictureWidth(result), 256);
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

TEST_F(QvlTool, DebugTracesTheStorageTheOptionChose) {
  ToolRun quiet = Run({"--storage", "cg1", "ThresholdQVL", in_, "128", "-o", out_});
  ASSERT_EQ(quiet.status, 0) << quiet.err;
  EXPECT_EQ(quiet.err, "");
  ToolRun desktop = Run({"--debug", "--storage", "cg1", "ThresholdQVL", in_, "128", "-o", out_});
  ASSERT_EQ(desktop.status, 0) << desktop.err;
  EXPECT_NE(desktop.err.find("Loading Picture in Xojo"), std::string::npos) << desktop.err;
  EXPECT_NE(desktop.err.find("QVL Debug: kCGImageAlphaPremultipliedLast"), std::string::npos) << desktop.err;
  ToolRun console = Run({"--storage=gd", "ThresholdQVL", in_, "--debug", "128", "-o", out_});
  ASSERT_EQ(console.status, 0) << console.err;
  EXPECT_NE(console.err.find("pictureGDImagePtr ok"), std::string::npos) << console.err;
  EXPECT_EQ(console.out, "");
}

}  // namespace

#endif  // QVL_TOOL_PATH
