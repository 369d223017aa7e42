// The binary picture string: a picture in a host string as a 40-byte header
// with big-endian numbers ("PPIC", total length, width, height, depth 32,
// pixel offset 40, 16 reserved zero bytes) and then the pixels as R, G, B
// bytes, rows from the top, without padding. Alpha, mask and resolution are
// not kept.
#pragma once

#include "qvl/handles.h"

// The picture as a string of unknown encoding owned by the caller, or nil.
REALstringStruct* PicturetoBinaryString(REALpictureStruct* p);

// A new opaque picture from such a string, with one counted reference for the
// caller. Nil for a string shorter than 8 bytes, without the magic, or whose
// length field differs from its length, and for sizes the writer refuses.
// The header is trusted otherwise: bytes it points at beyond the string read
// as 0.
REALpictureStruct* BinaryStringtoPicture(REALstringStruct* data);
