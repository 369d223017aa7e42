// Host strings: bytes with an encoding and a reference count, and the entry
// points that make, label, convert and read them.
#include <iconv.h>

#include <cerrno>
#include <cstring>

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

bool RunIconv(iconv_t converter, const std::string& bytes, std::string* converted) {
  std::string output;
  std::vector<char> input(bytes.begin(), bytes.end());
  char* in = input.data();
  size_t inLeft = input.size();
  char buffer[4096];
  while (inLeft > 0) {
    char* out = buffer;
    size_t outLeft = sizeof buffer;
    size_t result = iconv(converter, &in, &inLeft, &out, &outLeft);
    output.append(buffer, out);
    if (result == static_cast<size_t>(-1) && errno != E2BIG) return false;
  }
  *converted = std::move(output);
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
  const char* fromName = IconvName(from);
  const char* toName = IconvName(to);
  if (!fromName || !toName) return false;
  iconv_t converter = iconv_open(toName, fromName);
  if (converter == reinterpret_cast<iconv_t>(-1)) return false;
  bool ok = RunIconv(converter, bytes, converted);
  iconv_close(converter);
  return ok;
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

REALstringStruct* REALBuildStringWithEncoding(const void* bytes, int32_t length, uint32_t encoding) {
  if (length < 0 || (!bytes && length > 0)) return nullptr;
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
  // Four zero bytes after the text end it in every code unit size.
  char* copy = new char[converted.size() + 4]();
  std::memcpy(copy, converted.data(), converted.size());
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
