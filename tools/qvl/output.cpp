// Printing values and writing pictures for the qvl tool.
#include "output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "qvlhost.h"

namespace qvltool {

namespace {

using qvlhost::TypeKind;

std::string Hex(uint64_t value, int digits) {
  char text[24];
  std::snprintf(text, sizeof text, "%0*llX", digits, static_cast<unsigned long long>(value));
  return text;
}

std::string ShortestDouble(double value) {
  char text[64];
  auto converted = std::to_chars(text, text + sizeof text, value);
  return std::string(text, converted.ptr);
}

std::string ColourText(uint32_t colour) {
  uint32_t alpha = colour >> 24;
  return "&c" + Hex(colour & 0xFFFFFF, 6) + (alpha ? Hex(alpha, 2) : "");
}

std::string QuotedText(const std::string& bytes) {
  std::string quoted = "\"";
  for (unsigned char c : bytes) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += static_cast<char>(c);
    } else if (c >= 0x20 && c < 0x7F) {
      quoted += static_cast<char>(c);
    } else {
      quoted += "\\x" + Hex(c, 2);
    }
  }
  return quoted + "\"";
}

std::string MemoryBlockText(REALmemoryBlockStruct* block) {
  const uint8_t* bytes = qvlhost::MemoryBlockData(block);
  int64_t size = bytes ? qvlhost::MemoryBlockSize(block) : 0;
  return HexBytes(std::string(reinterpret_cast<const char*>(bytes), size_t(size)));
}

std::string HandleText(const qvlhost::Value& value) {
  if (!value.handle) return "nil";
  switch (value.kind) {
    case TypeKind::String:
      return QuotedText(qvlhost::StringBytes(static_cast<REALstringStruct*>(value.handle)));
    case TypeKind::MemoryBlock:
      return MemoryBlockText(static_cast<REALmemoryBlockStruct*>(value.handle));
    case TypeKind::Picture: {
      auto* picture = static_cast<REALpictureStruct*>(value.handle);
      return "Picture(" + std::to_string(qvlhost::PictureWidth(picture)) + " x " +
             std::to_string(qvlhost::PictureHeight(picture)) + ")";
    }
    default:
      return qvlhost::ClassName(value.handle);
  }
}

std::string Directory(const std::string& path) {
  size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// The extension of the file name, dot included, so the temporary file is
// written in the same format; "" when there is none.
std::string Extension(const std::string& path) {
  size_t slash = path.rfind('/');
  size_t dot = path.rfind('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  return path.substr(dot);
}

mode_t CreationMode() {
  mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// The permissions of the file the output replaces, or those of a new file.
mode_t OutputMode(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) return status.st_mode & 07777;
  return CreationMode();
}

// The temporary file of the write under way, removed by a stopping signal.
char gTemporary[PATH_MAX];
volatile sig_atomic_t gTemporaryExists = 0;
const int kStoppingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

void RemoveTemporaryAndStop(int signal) {
  if (gTemporaryExists) unlink(gTemporary);
  std::signal(signal, SIG_DFL);
  raise(signal);
}

void InstallStopHandlers() {
  struct sigaction action = {};
  action.sa_handler = &RemoveTemporaryAndStop;
  sigemptyset(&action.sa_mask);
  for (int signal : kStoppingSignals) sigaction(signal, &action, nullptr);
}

// Holds the stopping signals back while it lives, so that the temporary file
// and its record change together.
class StoppingSignalsHeld {
 public:
  StoppingSignalsHeld() {
    sigset_t held;
    sigemptyset(&held);
    for (int signal : kStoppingSignals) sigaddset(&held, signal);
    sigprocmask(SIG_BLOCK, &held, &saved_);
  }
  ~StoppingSignalsHeld() { sigprocmask(SIG_SETMASK, &saved_, nullptr); }
  StoppingSignalsHeld(const StoppingSignalsHeld&) = delete;
  StoppingSignalsHeld& operator=(const StoppingSignalsHeld&) = delete;

 private:
  sigset_t saved_;
};

// A temporary file next to `path`, with its extension, recorded for the stop handlers.
bool CreateTemporary(const std::string& path, std::string* temporary, std::string* error) {
  const std::string extension = Extension(path);
  *temporary = Directory(path) + "/.qvl-XXXXXX" + extension;
  if (temporary->size() >= sizeof gTemporary) {
    *error = "cannot write " + path + ": the path is too long";
    return false;
  }
  InstallStopHandlers();
  StoppingSignalsHeld held;
  int descriptor = mkstemps(&(*temporary)[0], static_cast<int>(extension.size()));
  if (descriptor < 0) {
    *error = "cannot write to " + Directory(path) + ": " + std::strerror(errno);
    return false;
  }
  std::memcpy(gTemporary, temporary->c_str(), temporary->size() + 1);
  gTemporaryExists = 1;
  fchmod(descriptor, OutputMode(path));
  close(descriptor);
  return true;
}

// Renames the temporary file over `path`, or removes it when `written` is false.
bool FinishTemporary(const std::string& temporary, const std::string& path, bool written, std::string* error) {
  StoppingSignalsHeld held;
  gTemporaryExists = 0;
  if (!written) {
    unlink(temporary.c_str());
    *error = "cannot write " + path;
    return false;
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    *error = "cannot write " + path + ": " + std::strerror(errno);
    unlink(temporary.c_str());
    return false;
  }
  return true;
}

bool WriteFileBytes(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), std::streamsize(bytes.size()));
  file.close();
  return !file.fail();
}

}  // namespace

std::string FormatValue(const qvlhost::Value& value) {
  switch (value.kind) {
    case TypeKind::Nothing:
      return "";
    case TypeKind::Integer:
    case TypeKind::Int32:
    case TypeKind::UInt32:
      return std::to_string(value.integer);
    case TypeKind::Double:
    case TypeKind::Single:
      return ShortestDouble(value.real);
    case TypeKind::Boolean:
      return value.integer ? "true" : "false";
    case TypeKind::Color:
      return ColourText(static_cast<uint32_t>(value.integer));
    default:
      return HandleText(value);
  }
}

std::string HexBytes(const std::string& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(bytes.size() * 2);
  for (unsigned char byte : bytes) {
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 0x0F];
  }
  return hex;
}

bool IsPictureFileName(const std::string& path) {
  std::string extension;
  for (char c : Extension(path)) extension += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension == ".png" || extension == ".jpg" || extension == ".jpeg" || extension == ".gif";
}

bool WritePictureAtomically(REALpictureStruct* picture, const std::string& path, std::string* error) {
  std::string temporary;
  if (!CreateTemporary(path, &temporary, error)) return false;
  const bool written = qvlhost::WritePictureFile(picture, temporary);
  if (!FinishTemporary(temporary, path, written, error)) {
    if (!written) *error = "cannot write picture " + path;
    return false;
  }
  return true;
}

bool WriteBytesAtomically(const std::string& bytes, const std::string& path, std::string* error) {
  std::string temporary;
  if (!CreateTemporary(path, &temporary, error)) return false;
  return FinishTemporary(temporary, path, WriteFileBytes(temporary, bytes), error);
}

}  // namespace qvltool
