// The mobile photo-album calls of the module iOSPictureQVL. On this platform
// each refuses: it raises "PlatformNotSupportedException" with "iOS only"
// ("RuntimeException" on a host without that class), reads none of its
// arguments, and the two with a result return false.
#pragma once

#include "qvl/handles.h"

bool rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumS(REALstringStruct* VideoPath);
bool rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumF(REALfolderItemStruct* VideoFile);
void rbUIImageWriteToSavedPhotosAlbum(REALpictureStruct* Pic, REALobjectStruct* CompletionDelegate);
void rbUISaveVideoAtPathToSavedPhotosAlbumS(REALstringStruct* VideoPath, REALobjectStruct* CompletionDelegate);
void rbUISaveVideoAtPathToSavedPhotosAlbumF(REALfolderItemStruct* VideoFile, REALobjectStruct* CompletionDelegate);
void rbUISaveImageAtPathToSavedPhotosAlbumS(REALstringStruct* ImagePath, REALobjectStruct* CompletionDelegate);
void rbUISaveImageAtPathToSavedPhotosAlbumF(REALfolderItemStruct* ImageFile, REALobjectStruct* CompletionDelegate);
