// Opaque host handles. The plug-in never looks inside them; pictures and
// memory blocks are objects too, so they convert to REALobjectStruct*.
#pragma once

#include <cstdint>

struct REALobjectStruct {};
struct REALpictureStruct : REALobjectStruct {};
struct REALmemoryBlockStruct : REALobjectStruct {};
struct REALgraphicsStruct : REALobjectStruct {};
struct REALfolderItemStruct : REALobjectStruct {};
struct REALstringStruct {};
struct REALclassRefStruct {};

typedef REALclassRefStruct* REALclassRef;

// The host's look-up function: entry-point name in, function address out.
typedef void* (*QVLResolver)(const char* entryName);
