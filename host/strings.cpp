// Host strings: bytes with an encoding and a reference count, and the entry
// points that make, label, convert and read them.
#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "host_internal.h"

namespace qvlhost {

namespace {

// iconv's name for each encoding the host converts; null for the others.
const char* IconvName(uint32_t encoding) {
  switch (encoding) {
    case kREALTextEncodingMacRoman:
      return "MACINTOSH";
    case kREALTextEncodingUnicodeDefault:
    case kREALTextEncodingUTF16LE:
      return "UTF-16LE";
    case kREALTextEncodingISOLatin1:
      return "ISO-8859-1";
    case kREALTextEncodingWindowsLatin1:
      return "CP1252";
    case kREALTextEncodingASCII:
      return "ASCII";
    case kREALTextEncodingUTF8:
      return "UTF-8";
    case kREALTextEncodingUTF32:
    case kREALTextEncodingUTF32LE:
      return "UTF-32LE";
    case kREALTextEncodingUTF16BE:
      return "UTF-16BE";
    case kREALTextEncodingUTF32BE:
      return "UTF-32BE";
    default:
      return nullptr;
  }
}

// Converts as much as iconv takes. Where it stops at a sequence it cannot
// take, `substitute` is appended and `skip` input bytes are passed over.
std::string RunIconv(iconv_t converter, const std::string& bytes, const std::string& substitute, size_t skip) {
  std::string output;
  char* in = const_cast<char*>(bytes.data());
  size_t inLeft = bytes.size();
  char buffer[4096];
  while (inLeft > 0) {
    char* out = buffer;
    size_t outLeft = sizeof buffer;
    size_t result = iconv(converter, &in, &inLeft, &out, &outLeft);
    output.append(buffer, out);
    if (result != static_cast<size_t>(-1) || errno == E2BIG) continue;
    output += substitute;
    size_t passed = std::min(skip, inLeft);
    in += passed;
    inLeft -= passed;
  }
  return output;
}

// UTF-16 in the default order is little-endian, as the processors the host
// runs on store it; a leading byte-order mark decides otherwise and is dropped.
const char* DecoderName(uint32_t encoding, std::string* bytes) {
  if (encoding == kREALTextEncodingUnicodeDefault && bytes->size() >= 2) {
    const std::string mark = bytes->substr(0, 2);
    if (mark == "\xFE\xFF" || mark == "\xFF\xFE") bytes->erase(0, 2);
    if (mark == "\xFE\xFF") return "UTF-16BE";
  }
  return IconvName(encoding);
}

constexpr char kReplacementCharacter[] = "\xFD\xFF\x00\x00";  // U+FFFD in UTF-32LE
constexpr char kQuestionMark[] = "?\x00\x00\x00";             // U+003F in UTF-32LE

// The text as UTF-32LE code points; bytes that form no character become U+FFFD.
bool Decode(std::string bytes, uint32_t encoding, std::string* codePoints) {
  const char* name = DecoderName(encoding, &bytes);
  if (!name) return false;
  iconv_t converter = iconv_open("UTF-32LE", name);
  if (converter == reinterpret_cast<iconv_t>(-1)) return false;
  *codePoints = RunIconv(converter, bytes, std::string(kReplacementCharacter, 4), 1);
  iconv_close(converter);
  return true;
}

// UTF-32LE code points in the encoding; characters it lacks become "?".
bool Encode(const std::string& codePoints, uint32_t encoding, std::string* converted) {
  const char* name = IconvName(encoding);
  if (!name) return false;
  iconv_t converter = iconv_open(name, "UTF-32LE");
  if (converter == reinterpret_cast<iconv_t>(-1)) return false;
  std::string questionMark = RunIconv(converter, std::string(kQuestionMark, 4), "?", 4);
  *converted = RunIconv(converter, codePoints, questionMark, 4);
  iconv_close(converter);
  return true;
}

String* MakeString(std::string bytes, uint32_t encoding) {
  auto text = std::make_unique<String>();
  text->bytes = std::move(bytes);
  text->encoding = encoding;
  HostState& state = State();
  text->serial = state.nextSerial++;
  String* raw = text.get();
  state.strings.push_back(std::move(text));
  try {
    state.stringByHandle[raw] = raw;
  } catch (...) {
    state.strings.pop_back();  // out of memory: nothing stays registered
    throw;
  }
  return raw;
}

REALstringStruct* StringHandle(String* text) { return reinterpret_cast<REALstringStruct*>(text); }

}  // namespace

bool ConvertBytes(const std::string& bytes, uint32_t from, uint32_t to, std::string* converted) {
  if (from == to || from == kREALTextEncodingUnknown || to == kREALTextEncodingUnknown) {
    *converted = bytes;
    return true;
  }
  std::string codePoints;
  return Decode(bytes, from, &codePoints) && Encode(codePoints, to, converted);
}

String* NewHostString(const void* bytes, size_t length, uint32_t encoding) {
  return MakeString(std::string(static_cast<const char*>(bytes), length), encoding);
}

String* LiveString(const void* handle, const char* use) {
  if (!handle) return nullptr;
  HostState& state = State();
  auto found = state.stringByHandle.find(handle);
  if (found == state.stringByHandle.end()) {
    AddProblem(std::string(use) + " got a string the host never made");
    return nullptr;
  }
  if (!found->second->alive) {
    AddProblem(std::string(use) + " got " + found->second->Describe() + " after its last release");
    return nullptr;
  }
  return found->second;
}

void AddReference(String* text) { ++text->references; }

void DropReference(String* text) {
  if (--text->references > 0) return;
  text->alive = false;
  std::string().swap(text->bytes);
}

REALstringStruct* NewString(const std::string& bytes, uint32_t encoding) {
  return StringHandle(MakeString(bytes, encoding));
}

std::string StringBytes(REALstringStruct* handle) {
  String* text = LiveString(handle, "StringBytes");
  return text ? text->bytes : std::string();
}

uint32_t StringEncoding(REALstringStruct* handle) {
  String* text = LiveString(handle, "StringEncoding");
  return text ? text->encoding : kREALTextEncodingUnknown;
}

void Release(REALstringStruct* handle) { entries::REALUnlockString(handle); }

int64_t StringLenB(REALstringStruct* handle) {
  CallRecorder{QVL_LENB_DECLARATION}(handle);
  String* text = LiveString(handle, "LenB");
  return text ? static_cast<int64_t>(text->bytes.size()) : 0;
}

namespace entries {

void REALLockString(REALstringStruct* handle) {
  if (String* text = LiveString(handle, "REALLockString")) AddReference(text);
}

void REALUnlockString(REALstringStruct* handle) {
  if (!handle) return;
  auto found = State().stringByHandle.find(handle);
  if (found != State().stringByHandle.end() && !found->second->alive) {
    AddProblem("REALUnlockString: " + found->second->Describe() + " released twice");
  } else if (String* text = LiveString(handle, "REALUnlockString")) {
    DropReference(text);
  }
}

REALstringStruct* originalREALBuildString(const void* bytes, int32_t length) {
  return REALBuildStringWithEncoding(bytes, length, kREALTextEncodingUnknown);
}

// A string beyond maxStringBytes cannot be allocated: the runtime's allocator
// throws, before a byte is read.
REALstringStruct* REALBuildStringWithEncoding(const void* bytes, int32_t length, uint32_t encoding) {
  if (length < 0 || (!bytes && length > 0)) return nullptr;
  if (length > State().config.maxStringBytes) throw std::bad_alloc();
  return StringHandle(MakeString(length ? std::string(static_cast<const char*>(bytes), length) : "", encoding));
}

uint32_t REALGetStringEncoding(REALstringStruct* handle) {
  String* text = LiveString(handle, "REALGetStringEncoding");
  return text ? text->encoding : kREALTextEncodingUnknown;
}

void REALSetStringEncoding(REALstringStruct* handle, uint32_t encoding) {
  if (String* text = LiveString(handle, "REALSetStringEncoding")) text->encoding = encoding;
}

REALstringStruct* REALConvertString(REALstringStruct* handle, uint32_t encoding) {
  String* text = LiveString(handle, "REALConvertString");
  std::string converted;
  if (!text || !ConvertBytes(text->bytes, text->encoding, encoding, &converted)) return nullptr;
  return StringHandle(MakeString(std::move(converted), encoding));
}

bool REALGetStringData(REALstringStruct* handle, uint32_t encoding, REALstringData* data) {
  String* text = LiveString(handle, "PluginGetStringData");
  std::string converted;
  if (!text || !data || !ConvertBytes(text->bytes, text->encoding, encoding, &converted)) return false;
  // Four zero bytes after the text end it in every code unit size; a host
  // configured not to end it puts other bytes there.
  char* copy = new char[converted.size() + 4]();
  std::memcpy(copy, converted.data(), converted.size());
  if (!State().config.stringDataTerminated) std::memset(copy + converted.size(), 0xA5, 4);
  *data = REALstringData{};
  data->data = copy;
  data->length = static_cast<int64_t>(converted.size());
  State().openStringData.insert(copy);
  return true;
}

void REALDisposeStringData(REALstringData* data) {
  if (!data || !data->data) return;
  if (!State().openStringData.erase(data->data)) {
    AddProblem("PluginDisposeStringData got a record the host did not fill or already disposed of");
    return;
  }
  delete[] static_cast<const char*>(data->data);
  data->data = nullptr;
  data->length = 0;
}

const char* StringGetCString(REALstringStruct* handle) {
  String* text = LiveString(handle, "StringGetCString");
  return text ? text->bytes.c_str() : nullptr;
}

}  // namespace entries

}  // namespace qvlhost
