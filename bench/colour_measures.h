// The measures of colour replacement, channel composition and mask
// extraction, and the pictures they share with their OpenCV references.
#pragma once

#include "harness.h"

constexpr const char* kReferenceLut = "LUT";
constexpr const char* kReferenceMax = "max";
constexpr const char* kReferenceOneChannel = "mixChannels (one channel)";
constexpr const char* kReferenceThreeChannels = "mixChannels (three pictures)";
constexpr const char* kReferenceTwoColours = "inRange + two colours";

// The channel tables of TransformColorsQVL: red inverted, green halved,
// blue squared over 255.
uint8_t RedTableEntry(int i);
uint8_t GreenTableEntry(int i);
uint8_t BlueTableEntry(int i);

// The colours of ReplaceColorQVL and ExtractColorQVL: the search colour is
// the source's pixel at (100, 100), as a host colour.
uint32_t SearchedColour();
constexpr uint32_t kReplacementColour = 0x20C040;
constexpr uint32_t kBackgroundColour = 0xF0E0D0;

// The source mirrored left to right, and upside down: the second and third
// operands of the operations that take several pictures.
REALpictureStruct* SecondOperand();
REALpictureStruct* ThirdOperand();

void AddColourOperations();
void AddColourReferences();
