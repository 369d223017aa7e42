// Scope guards that give back one host handle or one description lock when
// they go out of scope, also while an exception passes.
#pragma once

#include "binding/wrappers.h"

// Holds the addresses of two variables, an object and a string, and releases
// what they hold at the end of the scope. A caller that hands a handle on, or
// has released it itself, sets its variable to nil and the guard does nothing.
class rbFreeLater {
 public:
  rbFreeLater(REALobjectStruct** object, REALstringStruct** string) : object_(object), string_(string) {}
  ~rbFreeLater() {
    if (object_ && *object_) {
      REALUnlockObject(*object_);
      *object_ = nullptr;
    }
    if (string_ && *string_) {
      REALUnlockString(*string_);
      *string_ = nullptr;
    }
    object_ = nullptr;
    string_ = nullptr;
  }
  rbFreeLater(const rbFreeLater&) = delete;
  rbFreeLater& operator=(const rbFreeLater&) = delete;

 private:
  REALobjectStruct** object_;
  REALstringStruct** string_;
};

// Unlocks the description of `picture` at the end of the scope. Whoever
// takes over the lock sets `picture` to nil.
class rbUnlockPictureDescriptionLater {
 public:
  explicit rbUnlockPictureDescriptionLater(REALpictureStruct* pic) : picture(pic) {}
  ~rbUnlockPictureDescriptionLater() {
    if (picture) {
      REALUnlockPictureDescription(picture);
      picture = nullptr;
    }
  }
  rbUnlockPictureDescriptionLater(const rbUnlockPictureDescriptionLater&) = delete;
  rbUnlockPictureDescriptionLater& operator=(const rbUnlockPictureDescriptionLater&) = delete;

  REALpictureStruct* picture;
};
