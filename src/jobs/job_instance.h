// What the two job classes share: the instance data the host keeps inside
// each instance, the release of a picture field, and the rectangle rule by
// which a job's walk is measured.
#pragma once

#include <algorithm>
#include <cstdint>

#include "binding/wrappers.h"
#include "filters/filter_frame.h"
#include "qvl/definitions.h"

// The instance data of a job: the host writes its offset within an
// instance into the class record when it registers the class. Nil while
// the class is not registered, or for a nil instance.
template <class Data>
Data* JobData(REALobjectStruct* instance, const REALclassDefinition* registered) {
  if (!instance || !registered) return nullptr;
  return reinterpret_cast<Data*>(reinterpret_cast<uint8_t*>(instance) + registered->forSystemUse);
}

// Gives back the reference a picture field holds and empties the field.
inline void ReleasePictureField(REALpictureStruct*& field) {
  if (!field) return;
  REALUnlockObject(reinterpret_cast<REALobjectStruct*>(field));
  field = nullptr;
}

// How far the walk goes along one side: to `maximum` when it lies above
// `minimum` and inside the side, otherwise to the side's end, less
// `minimum`. A negative `minimum` would lengthen the walk past the side;
// it is held to the side instead, so that the walk stays in the picture.
inline int64_t WalkLength(int64_t minimum, int64_t maximum, int64_t side) {
  const int64_t end = maximum > minimum && maximum < side ? maximum : side;
  if (minimum >= 0) return end - minimum;
  return end <= side + minimum ? end - minimum : side;
}

// The rectangle fields of a job, as they stand in its instance data.
struct JobRectangle {
  int64_t MinX, MinY, MaxX, MaxY;

  // The walk always starts at the top left corner: MinX and MinY only
  // shorten it.
  FrameArea AreaIn(int64_t width, int64_t height) const {
    return {0, 0, WalkLength(MinX, MaxX, width), WalkLength(MinY, MaxY, height)};
  }
};
