// The definition tables: everything Xojo code can see of the plug-in. They
// are writable because the registrar fits their flags and version fields to
// the host in place. Row tables grow one row per line in registration order.
#pragma once

#include <vector>

#include "qvl/definitions.h"

// The methods that extend the host's Picture class, and their class record.
extern std::vector<REALmethodDefinition> pictureMethods;
extern REALclassDefinition pictureClass;

extern std::vector<REALmethodDefinition> globalMethods;

extern REALclassDefinition Lut3DClass;
extern REALclassDefinition PictureSepiaClass;
extern REALmoduleDefinition IOSPictureModule;

// The hidden shared property "Debugging": one record for the generated
// modules, one for the mobile module.
extern REALattribute DebuggingHiddenAttributes[1];
extern REALproperty DebuggingSharedProperties[1];
extern REALproperty IOSPictureSharedProperties[1];

extern REALattribute DeprecatedAttributes[1];
