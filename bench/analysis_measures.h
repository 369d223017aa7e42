// The measures of the read-only operations and of the scrolls: their own
// floors, their OpenCV references and the pictures they share.
#pragma once

#include "qvlhost.h"

// Floors of operations that make no picture: one pass reading every pixel
// word of the picture, and one memmove of the scrolled picture's bytes.
constexpr const char* kReadFloor = "read floor";
constexpr const char* kMemmoveFloor = "memmove floor";

// The read-only operations take at most 1.3 times the read floor, the
// scrolls 1.5 times the memmove floor. Counting every colour is held to its
// OpenCV reference alone.
constexpr double kReadOnlyBound = 1.3;
constexpr double kScrollBound = 1.5;

constexpr const char* kReferenceCalcHist = "calcHist x3";
constexpr const char* kReferenceCountColour = "inRange + countNonZero";
constexpr const char* kReferenceMatchTemplate = "matchTemplate + minMaxLoc";

// The 64 x 64 needle sits at the bottom right of the source.
constexpr int64_t kNeedleSize = 64;

// The picture the scrolls and the memmove floor work on: a copy of the
// source made once per layout, so that scrolling leaves the source as the
// other measures expect it.
REALpictureStruct* ScrolledPicture();
// The needle cut from the source's bottom right corner.
REALpictureStruct* NeedlePicture();

void AddAnalysisOperations();
void AddAnalysisReferences();
