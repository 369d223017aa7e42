// Printing values and writing pictures for the qvl tool.
#include "output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

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

// The size, then the bytes in hex in groups of four.
std::string MemoryBlockText(REALmemoryBlockStruct* block) {
  const uint8_t* bytes = qvlhost::MemoryBlockData(block);
  int64_t size = bytes ? qvlhost::MemoryBlockSize(block) : 0;
  std::string text = "MemoryBlock(" + std::to_string(size) + ")";
  for (int64_t i = 0; i < size; ++i) {
    if (i % 4 == 0) text += ' ';
    text += Hex(bytes[i], 2);
  }
  return text;
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

bool WritePictureAtomically(REALpictureStruct* picture, const std::string& path, std::string* error) {
  std::string extension = Extension(path);
  std::string temporary = Directory(path) + "/.qvl-XXXXXX" + extension;
  int descriptor = mkstemps(&temporary[0], static_cast<int>(extension.size()));
  if (descriptor < 0) {
    *error = "cannot write to " + Directory(path) + ": " + std::strerror(errno);
    return false;
  }
  fchmod(descriptor, CreationMode());
  close(descriptor);
  if (!qvlhost::WritePictureFile(picture, temporary)) {
    unlink(temporary.c_str());
    *error = "cannot write picture " + path;
    return false;
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    *error = "cannot write " + path + ": " + std::strerror(errno);
    unlink(temporary.c_str());
    return false;
  }
  return true;
}

}  // namespace qvltool
