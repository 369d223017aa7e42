// PictureSepiaQVL: a job that turns a picture into a tinted monochrome one,
// a weighted grey in 10-bit fixed point plus an offset per channel.
#pragma once

#include <cstdint>

#include "qvl/definitions.h"
#include "qvl/handles.h"

// The instance data, in the order the class's property rows name it.
struct PictureSepiaData {
  double factorRed, factorGreen, factorBlue;  // the weights of the grey
  REALpictureStruct* SourcePicture;
  REALpictureStruct* DestinationPicture;
  int64_t MinX, MinY, MaxX, MaxY;
  int64_t SepiaRed, SepiaGreen, SepiaBlue;
};

// The class record the host registered; set by the definition tables.
extern const REALclassDefinition* gPictureSepiaClassDefinition;

// Stores the default weights 0.299, 0.587 and 0.114.
void PictureSepiaClassConstructor(REALobjectStruct* instance);
// The destructor and the method "Close": gives back both pictures; safe twice.
void PictureSepiaClassDestructor(REALobjectStruct* instance);

// Accessors of the three weights; the index the host passes is not used.
double GetFactorR(REALobjectStruct* instance, int64_t index);
void SetFactorR(REALobjectStruct* instance, int64_t index, double value);
double GetFactorG(REALobjectStruct* instance, int64_t index);
void SetFactorG(REALobjectStruct* instance, int64_t index, double value);
double GetFactorB(REALobjectStruct* instance, int64_t index);
void SetFactorB(REALobjectStruct* instance, int64_t index, double value);

// The sepia job's Run: makes a new DestinationPicture from SourcePicture, without giving back
// the one a previous run left there; false when there is no source, it
// can't be read or no result can be made.
namespace sepia {
bool Run(REALobjectStruct* instance);
}  // namespace sepia
