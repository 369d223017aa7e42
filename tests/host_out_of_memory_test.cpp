// Host entry points when memory runs out: each allocation a call makes fails
// in turn, and the call gives its failure result or succeeds, but lets no C++
// exception out to the plug-in.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <string>

#include "qvl/entry_points.h"
#include "qvl/host_methods.h"
#include "support/plugin_test.h"

namespace {

// Allocations through operator new that succeed before one fails; negative
// while none is to fail.
int64_t allocationsBeforeFailure = -1;
bool failureReached = false;
void Disarm() { allocationsBeforeFailure = -1; }

}  // namespace

void* operator new(size_t size) {
  if (allocationsBeforeFailure == 0) {
    allocationsBeforeFailure = -1;
    failureReached = true;
    throw std::bad_alloc();
  }
  if (allocationsBeforeFailure > 0) --allocationsBeforeFailure;
  if (void* memory = std::malloc(size ? size : 1)) return memory;
  throw std::bad_alloc();
}

// Not inlined: the compiler would take the free() for one of a pointer from
// a different allocator.
__attribute__((noinline)) void operator delete(void* memory) noexcept { std::free(memory); }
__attribute__((noinline)) void operator delete(void* memory, size_t) noexcept { std::free(memory); }

namespace {

using qvlhost::OwnedPicture;

using HostOutOfMemory = PluginTest;

TEST_F(HostOutOfMemory, EntriesGiveTheirFailureResult) {
  OwnedPicture picture(qvlhost::NewPicture(4, 4));
  REALpictureDescription description{};
  const std::string text(2000, 'q');
  // Gives back what a call made; true when it made nothing.
  auto madeNothing = [](auto* made) {
    Disarm();
    if (made) qvlhost::Release(made);
    return made == nullptr;
  };
  // Looked up before any allocation fails: a look-up that fails finds nothing.
  auto version = HostEntry<QVLGetRBVersionFn>("REALGetRBVersion");
  auto newPicture = HostEntry<REALNewPictureFn>("newPicture");
  auto newInstance = HostEntry<REALnewInstanceFn>("PluginNewInstance");
  auto buildString = HostEntry<originalREALBuildStringFn>("REALBuildString");
  auto classRef = HostEntry<REALGetClassRefFn>("pluginObjectType");
  auto lockDescription = HostEntry<REALLockPictureDescriptionFn>("REALLockPictureDescription");
  auto unlockDescription = HostEntry<REALUnlockPictureDescriptionFn>("unlockPictureDescription");
  // A vector picture's best representation is a bitmap drawn for the call.
  OwnedPicture vector(qvlhost::NewPicture(4, 4));
  qvlhost::SetPictureKind(vector, 1);
  using BestRepresentationFn = REALpictureStruct* (*)(REALobjectStruct*, int64_t, int64_t, double);
  auto bestRepresentation = reinterpret_cast<BestRepresentationFn>(
      HostEntry<REALLoadObjectMethodFn>("REALLoadObjectMethod")(vector, QVL_PICTURE_BEST_REPRESENTATION));
  const struct {
    const char* entry;
    std::function<bool()> call;  // true when the entry gave its failure result
  } cases[] = {{"REALGetRBVersion", [&] { return version() == 0.0; }},
               {"newPicture", [&] { return madeNothing(newPicture(8, 8, 32)); }},
               {"PluginNewInstance", [&] { return madeNothing(newInstance("Picture")); }},
               {"REALBuildString", [&] { return madeNothing(buildString(text.data(), int32_t(text.size()))); }},
               {"pluginObjectType", [&] { return classRef("Graphics") == nullptr; }},
               {"REALLockPictureDescription",
                [&] {
                  const bool locked = lockDescription(picture, &description, pictureCGBitmapContext);
                  Disarm();
                  if (locked) unlockDescription(picture);
                  return !locked;
                }},
               {"Picture.BestRepresentation", [&] { return madeNothing(bestRepresentation(vector, 8, 8, 1.0)); }}};
  for (const auto& c : cases) {
    int failures = 0;
    for (int64_t allowed = 0;; ++allowed) {
      failureReached = false;
      allocationsBeforeFailure = allowed;
      bool failed = false;
      EXPECT_NO_THROW(failed = c.call()) << c.entry << " with allocation " << allowed << " failing";
      Disarm();
      if (!failureReached) break;
      failures += failed;
    }
    EXPECT_GT(failures, 0) << c.entry;  // the first failing allocation at least ends the call
  }
}

}  // namespace
