// Captures standard error into a temporary file while a LogCapture lives.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "qvlhost.h"

namespace qvlhost {

LogCapture::LogCapture() : savedDescriptor_(-1), captureDescriptor_(-1) {
  char path[] = "/tmp/qvl-log-XXXXXX";
  captureDescriptor_ = mkstemp(path);
  if (captureDescriptor_ < 0) return;
  unlink(path);
  std::fflush(stderr);
  savedDescriptor_ = dup(STDERR_FILENO);
  dup2(captureDescriptor_, STDERR_FILENO);
}

LogCapture::~LogCapture() {
  std::fflush(stderr);
  if (savedDescriptor_ >= 0) {
    dup2(savedDescriptor_, STDERR_FILENO);
    close(savedDescriptor_);
  }
  if (captureDescriptor_ >= 0) close(captureDescriptor_);
}

std::vector<std::string> LogCapture::Lines() {
  std::fflush(stderr);
  std::vector<std::string> lines;
  if (captureDescriptor_ < 0) return lines;
  std::string text;
  char buffer[4096];
  off_t offset = 0;
  ssize_t count;
  while ((count = pread(captureDescriptor_, buffer, sizeof buffer, offset)) > 0) {
    text.append(buffer, static_cast<size_t>(count));
    offset += count;
  }
  size_t start = 0;
  for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

}  // namespace qvlhost
