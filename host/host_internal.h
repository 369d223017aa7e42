// The host's inside: objects, pictures, strings and the state of one host
// run. Shared by the host's own sources and by the calls by declaration.
#pragma once

#include <gd.h>

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "qvl/bitmap_context.h"
#include "qvl/encodings.h"
#include "qvl/entry_points.h"
#include "qvlhost.h"

namespace qvlhost {

struct String;

// Every host object: pictures, graphics, memory blocks, exceptions and
// instances of registered classes. An object whose last reference went stays
// as a tombstone until the next Reset, so its handle is never reused and a
// late release is seen for what it is.
struct Object {
  explicit Object(std::string className);
  virtual ~Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  // Gives back what the object holds; called once, when the last reference goes.
  virtual void ReleaseContents() {}
  // The objects and strings this object holds one reference to each.
  virtual void ListHeld(std::vector<const void*>* held) const { (void)held; }

  std::string Describe() const;  // "Picture #3"

  std::string className;
  uint64_t serial = 0;
  int64_t references = 1;
  bool alive = true;
};

struct Picture : Object {
  Picture() : Object("Picture") {}
  ~Picture() override;
  void ReleaseContents() override;
  void ListHeld(std::vector<const void*>* held) const override;
  bool HasPixels() const { return cgPixels != nullptr || gd != nullptr; }
  // Vector pictures (kinds 1 and 3) keep their pixels as a rendering for
  // drawing; the storage forms refuse them.
  bool IsVector() const { return kind == 1 || kind == 3; }
  uint8_t* RowAddress(int64_t y) const;  // Core Graphics storage only

  Storage storage;
  int64_t width = 0;
  int64_t height = 0;
  QVLBitmapContext context{};
  std::unique_ptr<uint8_t[]> cgPixels;
  gdImagePtr gd = nullptr;
  bool hasAlpha = false;
  int64_t kind = 2;
  int64_t horizontalResolution = 72;
  int64_t verticalResolution = 72;
  Picture* mask = nullptr;  // one reference held
  // The bitmaps of a HiDPI picture at their scales, one reference held on each.
  std::vector<Picture*> representations;
  int64_t descriptionLocks = 0;
  int64_t cacheClears = 0;
};

struct Graphics : Object {
  explicit Graphics(Picture* target) : Object("Graphics"), picture(target) {}
  void ReleaseContents() override;
  void ListHeld(std::vector<const void*>* held) const override;

  Picture* picture;  // one reference held
  uint32_t foreColor = 0;
  double penWidth = 1;
  double penHeight = 1;
};

struct MemoryBlock : Object {
  MemoryBlock() : Object("MemoryBlock") {}
  void ReleaseContents() override;

  uint8_t* Bytes() const { return data ? data.get() : external; }

  std::unique_ptr<uint8_t[]> data;
  uint8_t* external = nullptr;  // memory the block views but does not own
  int64_t size = 0;
};

// A file or folder by its path; the host never opens it.
struct FolderItem : Object {
  FolderItem() : Object("FolderItem") {}

  std::string path;
};

struct ExceptionObject : Object {
  explicit ExceptionObject(std::string name) : Object(std::move(name)) {}
  void ReleaseContents() override;
  void ListHeld(std::vector<const void*>* held) const override;

  String* message = nullptr;  // one reference held, or none
  int64_t errorNumber = 0;
};

// An instance of a class the plug-in registered. Its instance data follows
// the object at kInstanceDataOffset, the offset written into forSystemUse.
struct Instance : Object {
  struct DataSize {
    uint64_t bytes;
  };
  explicit Instance(REALclassDefinition* def) : Object(def->name ? def->name : ""), definition(def) {}
  static void* operator new(size_t size, DataSize data);
  static void operator delete(void* memory);
  static void operator delete(void* memory, DataSize data);
  void ReleaseContents() override;
  void ListHeld(std::vector<const void*>* held) const override;
  void* Data() { return reinterpret_cast<uint8_t*>(this) + kDataOffset; }

  static const uint64_t kDataOffset;
  REALclassDefinition* definition;
};

// A host string: bytes and an encoding, with a reference count.
struct String {
  std::string bytes;
  uint32_t encoding = kREALTextEncodingUnknown;
  uint64_t serial = 0;
  int64_t references = 1;
  bool alive = true;
  std::string Describe() const;
};

// What the host knows of a class name: the record handed out as a class reference.
struct ClassRecord : REALclassRefStruct {
  std::string name;
};

struct HostState {
  HostState() = default;
  ~HostState();
  HostState(const HostState&) = delete;
  HostState& operator=(const HostState&) = delete;

  Config config;
  uint64_t nextSerial = 1;
  std::vector<std::unique_ptr<Object>> objects;  // tombstones included, in order of creation
  std::map<const void*, Object*> objectByHandle;
  std::vector<std::unique_ptr<String>> strings;
  std::map<const void*, String*> stringByHandle;
  std::vector<JournalEntry> journal;
  std::vector<std::string> problems;            // late releases, uses of released or unknown handles
  ExceptionObject* pendingException = nullptr;  // one reference held
  std::map<std::string, std::unique_ptr<ClassRecord>> classRecords;
  std::vector<REALclassDefinition*> classes;
  std::vector<REALclassDefinition*> classExtensions;
  std::vector<REALmoduleDefinition*> modules;
  std::vector<REALmethodDefinition*> globalMethods;
  int32_t pluginVersion = -1;
  std::vector<std::string> messageBoxes;
  std::set<const void*> openStringData;          // records filled by PluginGetStringData, not yet disposed
  std::vector<const void*> abandonedReferences;  // references the plug-in is expected to leave held, one an entry
};

HostState& State();

// Objects. Adopt registers a new object (one reference, the caller's). When
// memory runs out it throws and registers nothing, and the object goes.
template <class T>
T* Adopt(std::unique_ptr<T> object) {
  T* raw = object.get();
  HostState& state = State();
  state.objects.push_back(std::move(object));
  try {
    state.objectByHandle[raw] = raw;
  } catch (...) {
    state.objects.pop_back();
    throw;
  }
  raw->serial = state.nextSerial++;
  return raw;
}
// The handle of an object: the object's own address, as each handle type.
template <class Handle>
Handle* HandleOf(Object* object) {
  return reinterpret_cast<Handle*>(object);
}

// The live object behind a handle, or null. A released or unknown handle is
// recorded as a problem, naming the use.
Object* LiveObject(const void* handle, const char* use);
// The live object of that dynamic type, or null.
template <class T>
T* Live(const void* handle, const char* use) {
  return dynamic_cast<T*>(LiveObject(handle, use));
}
void AddReference(Object* object);
// Gives back one reference; a released or unknown handle is recorded as a problem.
void ReleaseHandle(const void* handle, const char* use);
void DropReference(Object* object);  // retires the object at its last reference
void AddProblem(const std::string& problem);

// Strings.
String* NewHostString(const void* bytes, size_t length, uint32_t encoding);
String* LiveString(const void* handle, const char* use);
void AddReference(String* text);
void DropReference(String* text);
// Converts bytes between two encodings through iconv; false when either is
// unknown to the host or the bytes do not convert.
bool ConvertBytes(const std::string& bytes, uint32_t from, uint32_t to, std::string* converted);

// Pictures.
Picture* MakePicture(int64_t width, int64_t height,
                     const Storage& storage);  // storage filled with zeroes; null if too large
void FillOpaqueWhite(Picture* picture);
void FillTransparent(Picture* picture);
bool GiveAlphaStorage(Picture* picture, int64_t width, int64_t height);  // the Picture constructor
uint32_t ReadWord(const Picture* picture, int64_t x, int64_t y);
void WriteWord(Picture* picture, int64_t x, int64_t y, uint32_t word);
Rgba StoredRgba(const Picture* picture, int64_t x, int64_t y);
void StoreRgba(Picture* picture, int64_t x, int64_t y, Rgba colour);
Rgba StraightRgba(const Picture* picture, int64_t x, int64_t y);  // colours un-premultiplied
void StoreStraightRgba(Picture* picture, int64_t x, int64_t y, Rgba colour);
// Covers the pixels from (left, top) up to but not including (right, bottom)
// with a colour made opaque, as StoreStraightRgba would one by one; what lies
// outside the picture is left.
void FillOpaqueRect(Picture* picture, int64_t left, int64_t top, int64_t right, int64_t bottom, Rgba colour);
uint8_t GDAlphaToOpacity(int field);
int OpacityToGDAlpha(uint8_t opacity);
void SetMask(Picture* picture, Picture* mask);
Picture* MaskOf(Picture* picture, bool create);  // one reference for the caller, or null
// A new picture of the source's storage, alpha and resolutions, the source
// scaled to width x height with the nearest pixel; null when it can't be made.
Picture* ScaledCopy(const Picture* source, int64_t width, int64_t height);
// The bitmap that best fits width x height times scale, one reference for
// the caller: a HiDPI picture's representation, a vector picture's rendering
// at that size, the picture itself for any other.
Picture* BestRepresentationOf(Picture* picture, int64_t width, int64_t height, double scale);

// Classes and instances.
bool IsExceptionClass(const std::string& name);
REALclassDefinition* FindRegisteredClass(const std::string& name);
Object* NewInstanceOf(const std::string& name);  // one reference for the caller, or null
void* InstanceDataOf(Object* object);            // null for anything but a registered class's instance

// Exceptions.
void RaisePending(const char* className, const std::string& message);

// Names are compared as Xojo does, ignoring case; declarations also ignoring spaces.
bool SameName(std::string_view a, std::string_view b);
bool SameDeclaration(std::string_view a, std::string_view b);

// Journal.
void Record(JournalEntry entry);
bool Journaling();  // Config::journal of the current host

// Formats a call's arguments for the journal: a leading handle as the entry's
// handle, everything else as text. Nothing is formatted while the journal is off.
class CallRecorder {
 public:
  explicit CallRecorder(const char* entry) : entry_(entry) {}
  void operator()() {
    if (Journaling()) Record({entry_, nullptr, ""});
  }
  template <class First, class... Rest>
  void operator()(First first, Rest... rest) {
    if (!Journaling()) return;
    JournalEntry entry{entry_, nullptr, ""};
    if constexpr (std::is_pointer_v<First> && !std::is_same_v<First, const char*> &&
                  !std::is_function_v<std::remove_pointer_t<First>>) {
      entry.handle = first;
    } else {
      Append(&entry.detail, first);
    }
    (Append(&entry.detail, rest), ...);
    Record(std::move(entry));
  }

 private:
  static void Separate(std::string* detail) {
    if (!detail->empty()) *detail += ", ";
  }
  static void Append(std::string* detail, const char* text);
  static void Append(std::string* detail, bool value);
  static void Append(std::string* detail, double value);
  static void Append(std::string* detail, const void* pointer);
  template <class T>
  static void Append(std::string* detail, T value) {
    if constexpr (std::is_integral_v<T>) {
      Separate(detail);
      *detail += std::to_string(value);
    } else if constexpr (std::is_function_v<std::remove_pointer_t<T>>) {
      Append(detail, reinterpret_cast<const void*>(value));
    } else {
      Append(detail, static_cast<const void*>(value));
    }
  }

  const char* entry_;
};

// The implementations of the entry points, each with exactly the signature
// of the entry point list.
namespace entries {
#define QVL_DECLARE_HOST_ENTRY(wrapper, entry, Ret, params, args, fail) Ret wrapper params;
QVL_ENTRY_POINTS(QVL_DECLARE_HOST_ENTRY)
#undef QVL_DECLARE_HOST_ENTRY
double REALGetRBVersion();
void RegisterPluginVersion(int32_t sdkVersion);
const char* StringGetCString(REALstringStruct* str);
}  // namespace entries

// The functions REALLoadObjectMethod and REALLoadGlobalMethod hand out.
// A host method as the plug-in receives it: no C++ exception passes into the
// plug-in; one that ends the work, a failed allocation above all, gives the
// method's empty result, as the runtime's methods do.
template <auto method>
struct NoExceptionFront;

template <class Ret, class... Args, Ret (*method)(Args...)>
struct NoExceptionFront<method> {
  static Ret Call(Args... args) noexcept {
    try {
      return method(args...);
    } catch (...) {
      return Ret();
    }
  }
};

template <auto method>
void* HandedOut() {
  return reinterpret_cast<void*>(&NoExceptionFront<method>::Call);
}

void* PictureMethod(std::string_view declaration);
void* GraphicsMethod(std::string_view declaration);
void* MemoryBlockMethod(std::string_view declaration);
void* FrameworkMethod(std::string_view declaration);
int64_t StringLenB(REALstringStruct* str);

}  // namespace qvlhost
