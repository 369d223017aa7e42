// PictureLut3DQVL: a job that maps every pixel's colour through a 3-D lookup
// table by tetrahedral interpolation in doubles.
#pragma once

#include <cstdint>

#include "qvl/definitions.h"
#include "qvl/handles.h"

// Nodes per axis of the table; Run uses the first 16, at the channel values
// 0, 17, .., 255.
constexpr int kLut3DTableSide = 18;

// The instance data, in the order the class's property rows name it.
struct Lut3DData {
  REALpictureStruct* SourcePicture;
  REALpictureStruct* DestinationPicture;
  int64_t MinX, MinY, MaxX, MaxY;
  // [r][g][b][x]: x is the output's red, green or blue, on the scale 0..255.
  double Table[kLut3DTableSide][kLut3DTableSide][kLut3DTableSide][3];
};

// The class record the host registered, whose forSystemUse holds the offset
// of the instance data; set by the definition tables at start-up.
extern const REALclassDefinition* gLut3DClassDefinition;

// The host's zeroed instance is the new job: nil pictures, an all-zero
// rectangle and table.
void Lut3DClassConstructor(REALobjectStruct* instance);
// The destructor and the method "Close": gives back both pictures; safe twice.
void Lut3DClassDestructor(REALobjectStruct* instance);
// Table(r, g, b, x): out-of-range indices read 0.0 and store nothing.
double GetPMX(REALobjectStruct* instance, uint32_t r, uint32_t g, uint32_t b, uint32_t x);
void SetPMX(REALobjectStruct* instance, uint32_t r, uint32_t g, uint32_t b, uint32_t x, double value);
namespace lut3d {
// Maps SourcePicture into a new DestinationPicture; false when there is no
// source, it can't be read or no result can be made.
bool Run(REALobjectStruct* instance);
}  // namespace lut3d
