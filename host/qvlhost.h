// The embedded host: a stand-in for the parts of the Xojo runtime that the
// plug-in uses. Tests, benchmarks and the qvl tool load the plug-in into it.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "qvl/definitions.h"
#include "qvl/handles.h"

namespace qvlhost {

enum class AppKind { Desktop, Console, Web, None };

// How the host stores a picture's pixels.
struct Storage {
  enum Kind { CoreGraphics, GDTrueColor, GDPalette };
  Kind kind = CoreGraphics;
  uint32_t alphaInfo = 2;      // Core Graphics alpha info 0..7
  uint32_t bitsPerPixel = 32;  // Core Graphics bits per pixel

  static Storage CG(uint32_t alphaInfo, uint32_t bitsPerPixel = 32);
  static Storage GD();
  static Storage Palette();
  // cg1 .. cg6 and gd, the seven layouts a picture operation meets.
  static std::vector<Storage> SevenLayouts();
  std::string Name() const;  // "cg1" .. "cg6", "gd", "palette", "cg0/24"
  static bool Parse(const std::string& name, Storage* storage);
  bool premultiplied() const;  // alpha info 1 and 2
};

struct Config {
  double version = 2024.03;
  AppKind app = AppKind::Desktop;
  bool builtApplication = false;
  Storage storage;                                 // storage of every picture the host makes
  int64_t extraBytesPerRow = 0;                    // Core Graphics rows padded by this many bytes
  int64_t newPictureResolution = 72;               // resolution of new pictures
  std::set<std::string> hiddenEntries;             // entry points the resolver answers with null
  std::set<std::string> hiddenClasses;             // classes unknown to pluginObjectType and PluginNewInstance
  std::set<std::string> hiddenMethods;             // declarations REALLoadObjectMethod/REALLoadGlobalMethod refuse
  std::set<std::string> failingProperties;         // property names whose reads and writes fail
  int64_t pictureKind = 2;                         // kind that PluginPictureGetType reports for new pictures
  int64_t maxPictureBytes = int64_t(1) << 31;      // larger pictures cannot be made: newPicture gives nil
  bool debugMode = false;                          // what REALInDebugMode answers
  int64_t maxMemoryBlockBytes = int64_t(1) << 31;  // larger memory blocks raise OutOfMemoryException
  bool journal = true;                             // false: host calls are not journaled
  int64_t maxStringBytes = int64_t(1) << 30;       // building a longer string throws std::bad_alloc
  bool stringDataTerminated = true;                // PluginGetStringData ends the text with zeroes
};

// One host call as the journal records it.
struct JournalEntry {
  std::string entry;   // the entry point's name, as the plug-in looked it up
  const void* handle;  // the first handle argument, or null
  std::string detail;  // the other arguments, as text
};

// Channels as they are stored in the picture's memory: colours premultiplied
// where the layout is premultiplied; alpha as opacity, 255 opaque (the gd
// field of 0 opaque .. 127 transparent is converted).
struct Rgba {
  uint8_t r, g, b, a;
  bool operator==(const Rgba& o) const { return r == o.r && g == o.g && b == o.b && a == o.a; }
};

// Starts a fresh host with this configuration, dropping every object.
void Reset(const Config& config = Config());
Config& CurrentConfig();

// The look-up function handed to REALPluginMain.
QVLResolver Resolver();

// Pictures. Each call returns one counted reference owned by the caller.
// NewPicture is what "newPicture" makes: opaque white, no alpha channel.
REALpictureStruct* NewPicture(int64_t width, int64_t height);
// What the Picture constructor makes: an alpha channel, fully transparent.
REALpictureStruct* NewAlphaPicture(int64_t width, int64_t height);
// Reads PNG, JPEG or GIF into the configured storage; nil on failure. The
// picture has an alpha channel exactly when the file has one.
REALpictureStruct* ReadPictureFile(const std::string& path);
// Writes PNG (or JPEG, GIF by extension); keeps alpha when the picture has it.
bool WritePictureFile(REALpictureStruct* picture, const std::string& path);

// A HiDPI picture (kind 0) of width x height points, as Xojo's
// Picture(width, height, bitmaps()) makes it: it holds the bitmaps as its
// representations and its own pixels are the smallest one drawn at its size.
// Nil when the list is empty or a bitmap has no pixels or is a vector picture.
REALpictureStruct* NewHiDPIPicture(int64_t width, int64_t height, const std::vector<REALpictureStruct*>& bitmaps);
// A new bitmap of the picture's storage, alpha and resolutions, drawn at
// width x height with the nearest pixel; nil when it can't be made.
REALpictureStruct* ScaledPicture(REALpictureStruct* picture, int64_t width, int64_t height);

int64_t PictureWidth(REALpictureStruct* picture);
int64_t PictureHeight(REALpictureStruct* picture);
Storage PictureStorage(REALpictureStruct* picture);
bool HasAlphaChannel(REALpictureStruct* picture);
void SetHasAlphaChannel(REALpictureStruct* picture, bool hasAlpha);
void SetPictureKind(REALpictureStruct* picture, int64_t kind);
void SetResolution(REALpictureStruct* picture, int64_t horizontal, int64_t vertical);
int64_t HorizontalResolution(REALpictureStruct* picture);
int64_t VerticalResolution(REALpictureStruct* picture);
// The mask picture, or nil; setting takes a reference of its own.
REALpictureStruct* PictureMask(REALpictureStruct* picture);
void SetPictureMask(REALpictureStruct* picture, REALpictureStruct* mask);

// Raw 32-bit pixel words in the host's storage, and channels through them.
uint32_t PixelWord(REALpictureStruct* picture, int64_t x, int64_t y);
void SetPixelWord(REALpictureStruct* picture, int64_t x, int64_t y, uint32_t word);
Rgba PixelRgba(REALpictureStruct* picture, int64_t x, int64_t y);
void SetPixelRgba(REALpictureStruct* picture, int64_t x, int64_t y, Rgba colour);
// Channels with colours un-premultiplied, alpha 255 where the storage keeps
// none; setting premultiplies where the layout is premultiplied.
Rgba PixelColour(REALpictureStruct* picture, int64_t x, int64_t y);
void SetPixelColour(REALpictureStruct* picture, int64_t x, int64_t y, Rgba colour);
// The bytes of a Core Graphics row beyond its pixels (extra bytes per row).
std::vector<uint8_t> RowPadding(REALpictureStruct* picture, int64_t y);
// What every row's padding holds when the host makes a picture: byte i is PaddingByte(i).
uint8_t PaddingByte(int64_t index);
std::vector<uint8_t> FreshRowPadding(int64_t extraBytesPerRow);
// Description locks the picture holds now, and calls of REALPictureClearCache on it.
int64_t DescriptionLockCount(REALpictureStruct* picture);
int64_t CacheClearCount(REALpictureStruct* picture);
// A graphics object drawing into the picture, with one counted reference; nil
// for a picture without pixels.
REALgraphicsStruct* PictureGraphics(REALpictureStruct* picture);

// Reference counts and the balance check.
int64_t ReferenceCount(const void* object);
int64_t LiveObjectCount();
void Release(REALobjectStruct* object);  // gives up one reference the caller owns
// Empty when every description lock is released, no exception is pending
// (unless expected) and every object has been given back; otherwise a
// description of what is wrong.
std::string BalanceProblems(bool exceptionExpected = false);
// Tells the balance check that the plug-in leaves one reference to this
// object held for good, as the sepia job does with the result of a run that
// a second run replaced. The check then wants exactly that reference more.
void ExpectAbandonedReference(const void* object);

// Objects by class name, as PluginNewInstance makes them: one counted
// reference for the caller, nil for an unknown or hidden class.
REALobjectStruct* NewObject(const std::string& className);
std::string ClassName(const void* object);
// The instance data of an instance of a registered class, nil for anything
// else; it lies InstanceDataOffset() bytes into the object.
void* InstanceData(REALobjectStruct* object);
uint64_t InstanceDataOffset();

// Folder items: a path, one counted reference for the caller; nil when the
// class is hidden. The host never opens the file.
REALfolderItemStruct* NewFolderItem(const std::string& path);
std::string FolderItemPath(REALfolderItemStruct* item);

// Strings: bytes and an encoding. NewString returns one counted reference.
REALstringStruct* NewString(const std::string& bytes, uint32_t encoding = 0x08000100);
std::string StringBytes(REALstringStruct* text);
uint32_t StringEncoding(REALstringStruct* text);
void Release(REALstringStruct* text);  // gives up one reference the caller owns

// Memory blocks: zeroed bytes of the given size, one counted reference; nil
// for a negative size or one beyond Config::maxMemoryBlockBytes.
REALmemoryBlockStruct* NewMemoryBlock(int64_t size);
// A block over memory the caller keeps, as Xojo makes one from a Ptr: its
// size is unknown and reads as -1.
REALmemoryBlockStruct* MemoryBlockOverPointer(void* address);
uint8_t* MemoryBlockData(REALmemoryBlockStruct* block);
int64_t MemoryBlockSize(REALmemoryBlockStruct* block);

// The exception that is pending (nil if none), and its properties.
REALobjectStruct* PendingException();
void ClearPendingException();  // gives back the host's reference
std::string ExceptionMessage(REALobjectStruct* exception);
bool ExceptionHasMessage(REALobjectStruct* exception);  // false when Message was set to a nil string
int64_t ExceptionErrorNumber(REALobjectStruct* exception);

// Messages shown with RuntimeMsgBox, in order.
const std::vector<std::string>& MessageBoxes();

// The journal of host calls, in order.
const std::vector<JournalEntry>& Journal();
void ClearJournal();
std::vector<std::string> JournalEntryNames();

// What the plug-in handed over at registration, in order.
const std::vector<REALclassDefinition*>& RegisteredClasses();
const std::vector<REALclassDefinition*>& RegisteredClassExtensions();
const std::vector<REALmoduleDefinition*>& RegisteredModules();
const std::vector<REALmethodDefinition*>& RegisteredGlobalMethods();
int32_t RegisteredPluginVersion();  // the SDK version given to RegisterPluginVersion, -1 if none

// Captures the plug-in's log lines (standard error) while it lives.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  std::vector<std::string> Lines();  // the lines written so far

 private:
  int savedDescriptor_;
  int captureDescriptor_;
};

// An owned reference that is given back when it goes out of scope.
template <class Handle>
class Owned {
 public:
  Owned(Handle* handle = nullptr) : handle_(handle) {}
  ~Owned() { reset(); }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  Owned(Owned&& other) noexcept : handle_(other.handle_) { other.handle_ = nullptr; }
  Owned& operator=(Owned&& other) noexcept {
    if (this != &other) {
      reset();
      handle_ = other.handle_;
      other.handle_ = nullptr;
    }
    return *this;
  }
  Handle* get() const { return handle_; }
  operator Handle*() const { return handle_; }
  void reset(Handle* handle = nullptr) {
    if (handle_) Release(handle_);
    handle_ = handle;
  }

 private:
  Handle* handle_;
};

using OwnedPicture = Owned<REALpictureStruct>;
using OwnedObject = Owned<REALobjectStruct>;
using OwnedString = Owned<REALstringStruct>;
using OwnedMemoryBlock = Owned<REALmemoryBlockStruct>;
using OwnedFolderItem = Owned<REALfolderItemStruct>;
using OwnedGraphics = Owned<REALgraphicsStruct>;

}  // namespace qvlhost
