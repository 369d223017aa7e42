// Entry points that read and write properties of host objects by name.
#include "host_internal.h"

namespace qvlhost {

namespace {

// The object behind a property access, or null when the name is configured
// to fail or an argument is missing.
Object* Target(REALobjectStruct* handle, const char* name, const char* use) {
  if (!name) return nullptr;
  for (const std::string& failing : State().config.failingProperties) {
    if (SameName(failing, name)) return nullptr;
  }
  return LiveObject(handle, use);
}

bool ReadPictureInteger(const Picture& picture, const std::string& name, int64_t* value) {
  if (SameName(name, "Width")) return *value = picture.width, true;
  if (SameName(name, "Height")) return *value = picture.height, true;
  if (SameName(name, "HorizontalResolution")) return *value = picture.horizontalResolution, true;
  if (SameName(name, "VerticalResolution")) return *value = picture.verticalResolution, true;
  return false;
}

// Hosts from 2018.02 have the double pen properties PenSize, PenWidth and
// PenHeight; older ones the integers PenWidth and PenHeight alone.
bool HasDoublePen() { return State().config.version >= 2018.02; }

bool IsPenSize(const std::string& name) { return HasDoublePen() && SameName(name, "PenSize"); }

bool ReadGraphicsInteger(const Graphics& graphics, const std::string& name, int64_t* value) {
  if (SameName(name, "PenWidth") || IsPenSize(name)) return *value = int64_t(graphics.penWidth), true;
  if (SameName(name, "PenHeight")) return *value = int64_t(graphics.penHeight), true;
  if (SameName(name, "ForeColor")) return *value = graphics.foreColor, true;
  if (!graphics.picture) return false;
  return (SameName(name, "Width") || SameName(name, "Height")) && ReadPictureInteger(*graphics.picture, name, value);
}

// An integer is taken by both kinds of pen property, a double only by the
// double ones (REALSetPropValueDouble tests the version).
bool WritePen(Graphics* graphics, const std::string& name, double value) {
  bool width = SameName(name, "PenWidth") || IsPenSize(name);
  bool height = SameName(name, "PenHeight") || IsPenSize(name);
  if (width) graphics->penWidth = value;
  if (height) graphics->penHeight = value;
  return width || height;
}

bool WriteResolution(Picture* picture, const std::string& name, int64_t value) {
  if (SameName(name, "HorizontalResolution")) return picture->horizontalResolution = value, true;
  if (SameName(name, "VerticalResolution")) return picture->verticalResolution = value, true;
  return false;
}

}  // namespace

namespace entries {

bool REALGetPropValueBoolean(REALobjectStruct* handle, const char* name, bool* value) {
  auto* picture = dynamic_cast<Picture*>(Target(handle, name, "REALGetPropValueBool"));
  if (!picture || !value || !SameName(name, "HasAlphaChannel")) return false;
  *value = picture->hasAlpha;
  return true;
}

bool REALGetPropValueInteger(REALobjectStruct* handle, const char* name, int64_t* value) {
  Object* object = Target(handle, name, "REALGetPropValueInteger");
  if (!object || !value) return false;
  if (auto* picture = dynamic_cast<Picture*>(object)) return ReadPictureInteger(*picture, name, value);
  if (auto* graphics = dynamic_cast<Graphics*>(object)) return ReadGraphicsInteger(*graphics, name, value);
  if (auto* block = dynamic_cast<MemoryBlock*>(object)) {
    return SameName(name, "Size") && (*value = block->size, true);
  }
  if (auto* exception = dynamic_cast<ExceptionObject*>(object)) {
    return SameName(name, "ErrorNumber") && (*value = exception->errorNumber, true);
  }
  return false;
}

bool REALSetPropValueInteger(REALobjectStruct* handle, const char* name, int64_t value) {
  Object* object = Target(handle, name, "REALSetPropValueInteger");
  if (auto* picture = dynamic_cast<Picture*>(object)) return WriteResolution(picture, name, value);
  if (auto* graphics = dynamic_cast<Graphics*>(object)) return WritePen(graphics, name, static_cast<double>(value));
  if (auto* exception = dynamic_cast<ExceptionObject*>(object)) {
    return SameName(name, "ErrorNumber") && (exception->errorNumber = value, true);
  }
  return false;
}

bool REALSetPropValueDouble(REALobjectStruct* handle, const char* name, double value) {
  auto* graphics = dynamic_cast<Graphics*>(Target(handle, name, "REALSetPropValueDouble"));
  return graphics && HasDoublePen() && WritePen(graphics, name, value);
}

bool REALSetPropValueString(REALobjectStruct* handle, const char* name, REALstringStruct* value) {
  auto* exception = dynamic_cast<ExceptionObject*>(Target(handle, name, "REALSetPropValueString"));
  if (!exception || !SameName(name, "Message")) return false;
  String* text = LiveString(value, "REALSetPropValueString");
  if (text) AddReference(text);
  String* old = exception->message;
  exception->message = text;
  if (old) DropReference(old);
  return true;
}

bool REALSetPropValueColor(REALobjectStruct* handle, const char* name, uint32_t value) {
  auto* graphics = dynamic_cast<Graphics*>(Target(handle, name, "REALSetPropValueColor"));
  if (!graphics || !SameName(name, "ForeColor")) return false;
  graphics->foreColor = value;
  return true;
}

}  // namespace entries

}  // namespace qvlhost
