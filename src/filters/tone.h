// Tone filters: contrast, absolute and linear brightness, the two combined,
// and a free gain and offset, each in a one-value and a per-channel form.
// Every channel goes through one transfer function in double arithmetic,
// cut toward zero and then clamped to 0..255 (linear brightness alone keeps
// the low 8 bits instead).
#pragma once

#include <cstdint>

#include "qvl/handles.h"

REALpictureStruct* ContrastPicture1(REALpictureStruct* pic, double Contrast);
REALpictureStruct* ContrastPicture3(REALpictureStruct* pic, double ContrastRed, double ContrastGreen,
                                    double ContrastBlue);
REALpictureStruct* AbsBrightnessPicture1(REALpictureStruct* pic, double Brightness);
REALpictureStruct* AbsBrightnessPicture3(REALpictureStruct* pic, double BrightnessRed, double BrightnessGreen,
                                         double BrightnessBlue);
REALpictureStruct* LinBrightnessPicture1(REALpictureStruct* pic, double Brightness);
REALpictureStruct* LinBrightnessPicture3(REALpictureStruct* pic, double BrightnessRed, double BrightnessGreen,
                                         double BrightnessBlue);
REALpictureStruct* ContrastAbsBrightnessPicture1(REALpictureStruct* pic, double Contrast, double Brightness);
REALpictureStruct* ContrastAbsBrightnessPicture3(REALpictureStruct* pic, double ContrastRed, double ContrastGreen,
                                                 double ContrastBlue, double BrightnessRed, double BrightnessGreen,
                                                 double BrightnessBlue);
REALpictureStruct* ContrastLinBrightnessPicture1(REALpictureStruct* pic, double Contrast, double Brightness);
REALpictureStruct* ContrastLinBrightnessPicture3(REALpictureStruct* pic, double ContrastRed, double ContrastGreen,
                                                 double ContrastBlue, double BrightnessRed, double BrightnessGreen,
                                                 double BrightnessBlue);
REALpictureStruct* TransformPicture1(REALpictureStruct* pic, double a, double b);
// Green takes its gain from Ra; Ga is accepted and not read.
REALpictureStruct* TransformPicture3(REALpictureStruct* pic, double Ra, double Rb, double Ga, double Gb, double Ba,
                                     double Bb);
