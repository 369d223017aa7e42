// The anchor of the 3-D lookup job: ffmpeg's lut3d filter, tetrahedral, on
// one thread, with the project's warm.cube, run as a child process on the
// raw RGB of the cg2 source. Its time is the lut3d run's beyond the same run
// with the null filter, which leaves what ffmpeg spends on starting, reading
// the input and handing frames on.
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "harness.h"

extern char** environ;

namespace {

constexpr const char* kMeasureName = "ffmpeg lut3d (beyond null)";
constexpr const char* kProgram = "ffmpeg";

bool OnPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::string folders = path ? path : "";
  size_t start = 0;
  while (start <= folders.size()) {
    const size_t end = std::min(folders.find(':', start), folders.size());
    const std::string folder = end > start ? folders.substr(start, end - start) : ".";
    if (access((folder + "/" + program).c_str(), X_OK) == 0) return true;
    start = end + 1;
  }
  return false;
}

// The source as raw RGB, three bytes a pixel with the colours
// un-premultiplied, in a temporary file written on first use and removed
// when the process ends.
class RawInput {
 public:
  ~RawInput() {
    if (!path_.empty()) unlink(path_.c_str());
  }

  // The file's path, or empty when it could not be written.
  const std::string& PathFor(REALpictureStruct* source) {
    if (path_.empty()) Write(source);
    return path_;
  }

 private:
  void Write(REALpictureStruct* source) {
    const char* folder = std::getenv("TMPDIR");
    std::string path = std::string(folder && *folder ? folder : "/tmp") + "/qvl-bench-rgb-XXXXXX";
    const int descriptor = mkstemp(path.data());
    if (descriptor < 0) return;
    FILE* file = fdopen(descriptor, "wb");
    if (!file) {
      close(descriptor);
      unlink(path.c_str());
      return;
    }
    bool written = true;
    std::vector<uint8_t> row(size_t(kBenchSize) * 3);
    for (int64_t y = 0; written && y < kBenchSize; ++y) {
      for (int64_t x = 0; x < kBenchSize; ++x) {
        const qvlhost::Rgba colour = qvlhost::PixelColour(source, x, y);
        row[size_t(x) * 3] = colour.r;
        row[size_t(x) * 3 + 1] = colour.g;
        row[size_t(x) * 3 + 2] = colour.b;
      }
      written = std::fwrite(row.data(), 1, row.size(), file) == row.size();
    }
    written = std::fclose(file) == 0 && written;
    if (written) {
      path_ = path;
    } else {
      unlink(path.c_str());
    }
  }

  std::string path_;
};

RawInput gRawInput;

double Seconds(const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) * 1e-6; }

// Runs ffmpeg with this video filter on the raw input and throws the frames
// away; the child's processor time (user and system), or nullopt when it
// could not start or failed. Its error lines stay on standard error.
std::optional<double> FfmpegSeconds(const std::string& input, const std::string& filter) {
  const std::string size = std::to_string(kBenchSize) + "x" + std::to_string(kBenchSize);
  std::vector<std::string> words = {
      kProgram, "-nostdin", "-hide_banner", "-loglevel", "error", "-threads", "1",    "-filter_threads",
      "1",      "-f",       "rawvideo",     "-pix_fmt",  "rgb24", "-s",       size,   "-i",
      input,    "-vf",      filter,         "-threads",  "1",     "-f",       "null", "-"};
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child;
  const int failed = posix_spawnp(&child, kProgram, &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed) return std::nullopt;
  int status = 0;
  rusage usage{};
  pid_t waited;
  do {
    waited = wait4(child, &status, 0, &usage);
  } while (waited < 0 && errno == EINTR);
  if (waited != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return std::nullopt;
  return Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
}

std::optional<double> LutBeyondNull(REALpictureStruct* source) {
  const std::string& input = gRawInput.PathFor(source);
  if (input.empty()) return std::nullopt;
  static const std::string lut = "lut3d=file='" QVL_SOURCE_DIR "/samples/warm.cube':interp=tetrahedral";
  const std::optional<double> withNull = FfmpegSeconds(input, "null");
  const std::optional<double> withLut = FfmpegSeconds(input, lut);
  if (!withNull || !withLut) return std::nullopt;
  return *withLut - *withNull;
}

}  // namespace

void AddLutReference() {
  if (!OnPath(kProgram)) {
    std::cout << "ffmpeg not found: the measure \"" << kMeasureName << "\" is left out\n";
    return;
  }
  AddMeasure({kMeasureName, MeasureKind::External, SourceKind::Opaque, "", {}, "", LutBeyondNull});
}
