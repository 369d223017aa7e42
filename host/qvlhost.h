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
  Storage storage;                            // storage of every picture the host makes
  int64_t extraBytesPerRow = 0;               // Core Graphics rows padded by this many bytes
  int64_t newPictureResolution = 72;          // resolution of new pictures
  std::set<std::string> hiddenEntries;        // entry points the resolver answers with null
  std::set<std::string> hiddenClasses;        // classes unknown to pluginObjectType and PluginNewInstance
  std::set<std::string> hiddenMethods;        // declarations REALLoadObjectMethod/REALLoadGlobalMethod refuse
  std::set<std::string> failingProperties;    // property names whose reads and writes fail
  int64_t pictureKind = 2;                    // kind that PluginPictureGetType reports for new pictures
  int64_t maxPictureBytes = int64_t(1) << 31; // larger pictures cannot be made: newPicture gives nil
};

// One host call as the journal records it.
struct JournalEntry {
  std::string entry;    // the entry point's name, as the plug-in looked it up
  const void* handle;   // the first handle argument, or null
  std::string detail;   // the other arguments, as text
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
// The bytes of a Core Graphics row beyond its pixels (extra bytes per row).
std::vector<uint8_t> RowPadding(REALpictureStruct* picture, int64_t y);

// Reference counts and the balance check.
int64_t ReferenceCount(const void* object);
int64_t LiveObjectCount();
void Release(REALobjectStruct* object);  // gives up one reference the caller owns
// Empty when every description lock is released, no exception is pending
// (unless expected) and every object has been given back; otherwise a
// description of what is wrong.
std::string BalanceProblems(bool exceptionExpected = false);

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

}  // namespace qvlhost
