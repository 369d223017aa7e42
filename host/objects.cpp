// Entry points on objects: references, instances by class name and class
// references.
#include <cctype>

#include "host_internal.h"

namespace qvlhost {

namespace {

const char* const kExceptionClasses[] = {
    "NilObjectException",   "OutOfBoundsException", "UnsupportedOperationException",
    "OutOfMemoryException", "RuntimeException",     "PlatformNotSupportedException"};

// The application class that exists for each kind of application.
const char* ApplicationClass(AppKind app) {
  switch (app) {
    case AppKind::Desktop:
      return "Application";
    case AppKind::Console:
      return "ConsoleApplication";
    case AppKind::Web:
      return "WebApplication";
    case AppKind::None:
      break;
  }
  return nullptr;
}

bool IsHidden(const std::string& name) {
  for (const std::string& hidden : State().config.hiddenClasses) {
    if (SameName(hidden, name)) return true;
  }
  return false;
}

bool IsBuiltInClass(const std::string& name) {
  if (SameName(name, "Picture") || SameName(name, "Graphics") || SameName(name, "MemoryBlock")) return true;
  if (SameName(name, "FolderItem")) return true;
  const char* application = ApplicationClass(State().config.app);
  return IsExceptionClass(name) || (application && SameName(name, application));
}

Object* NewPictureInstance() {
  auto picture = std::make_unique<Picture>();
  const Config& config = State().config;
  picture->storage = config.storage;
  picture->kind = config.pictureKind;
  picture->horizontalResolution = config.newPictureResolution;
  picture->verticalResolution = config.newPictureResolution;
  return Adopt(std::move(picture));
}

Object* NewRegisteredInstance(REALclassDefinition* definition) {
  std::unique_ptr<Instance> instance(new (Instance::DataSize{definition->dataSize}) Instance(definition));
  Instance* adopted = Adopt(std::move(instance));
  if (definition->constructor) {
    reinterpret_cast<void (*)(REALobjectStruct*)>(definition->constructor)(HandleOf<REALobjectStruct>(adopted));
  }
  return adopted;
}

}  // namespace

bool IsExceptionClass(const std::string& name) {
  for (const char* exceptionClass : kExceptionClasses) {
    if (SameName(name, exceptionClass)) return true;
  }
  return false;
}

REALclassDefinition* FindRegisteredClass(const std::string& name) {
  for (REALclassDefinition* definition : State().classes) {
    if (definition->name && SameName(definition->name, name)) return definition;
  }
  return nullptr;
}

Object* NewInstanceOf(const std::string& name) {
  if (IsHidden(name)) return nullptr;
  if (SameName(name, "Picture")) return NewPictureInstance();
  if (SameName(name, "MemoryBlock")) return Adopt(std::make_unique<MemoryBlock>());
  if (SameName(name, "FolderItem")) return Adopt(std::make_unique<FolderItem>());
  for (const char* exceptionClass : kExceptionClasses) {
    if (SameName(name, exceptionClass)) return Adopt(std::make_unique<ExceptionObject>(exceptionClass));
  }
  if (REALclassDefinition* definition = FindRegisteredClass(name)) return NewRegisteredInstance(definition);
  return nullptr;
}

REALobjectStruct* NewObject(const std::string& className) {
  return HandleOf<REALobjectStruct>(NewInstanceOf(className));
}

REALfolderItemStruct* NewFolderItem(const std::string& path) {
  Object* object = NewInstanceOf("FolderItem");
  if (auto* item = dynamic_cast<FolderItem*>(object)) item->path = path;
  return HandleOf<REALfolderItemStruct>(object);
}

std::string FolderItemPath(REALfolderItemStruct* item) {
  auto* live = Live<FolderItem>(item, "FolderItemPath");
  return live ? live->path : std::string();
}

std::string ClassName(const void* handle) {
  Object* object = LiveObject(handle, "ClassName");
  return object ? object->className : std::string();
}

namespace entries {

void REALLockObject(REALobjectStruct* handle) {
  if (Object* object = LiveObject(handle, "REALLockObject")) AddReference(object);
}

void REALUnlockObject(REALobjectStruct* handle) { ReleaseHandle(handle, "REALUnlockObject"); }

REALobjectStruct* REALnewInstance(const char* className) { return className ? NewObject(className) : nullptr; }

REALclassRef REALGetClassRef(const char* className) {
  if (!className || IsHidden(className)) return nullptr;
  if (!IsBuiltInClass(className) && !FindRegisteredClass(className)) return nullptr;
  std::string key;
  for (const char* c = className; *c; ++c) key += static_cast<char>(std::tolower(static_cast<unsigned char>(*c)));
  auto& record = State().classRecords[key];
  if (!record) {
    record = std::make_unique<ClassRecord>();
    record->name = className;
  }
  return record.get();
}

}  // namespace entries

}  // namespace qvlhost
