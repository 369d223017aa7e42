// What the plug-in registered, reached through the host's surface as a
// script reaches it: properties of a class on an instance, methods by name.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "surface.h"

// Sets a property of the owner class on the object; false when the host refuses.
inline bool SetSurfaceProperty(const std::string& owner, const std::string& name, REALobjectStruct* object,
                               const qvlhost::Value& value) {
  qvlhost::SurfaceProperty property;
  std::string error;
  EXPECT_TRUE(qvlhost::FindProperty(owner, name, &property)) << owner << "." << name;
  return qvlhost::SetProperty(property, object, value, &error);
}

// The value of a property; a picture comes with a reference for the caller.
inline qvlhost::Value GetSurfaceProperty(const std::string& owner, const std::string& name, REALobjectStruct* object) {
  qvlhost::SurfaceProperty property;
  qvlhost::Value value;
  std::string error;
  EXPECT_TRUE(qvlhost::FindProperty(owner, name, &property)) << owner << "." << name;
  EXPECT_TRUE(qvlhost::GetProperty(property, object, &value, &error)) << name << ": " << error;
  return value;
}

// Calls the first method of that name and form (assigning or not).
inline qvlhost::Value CallSurfaceMethod(const std::string& name, bool assigning,
                                        std::vector<qvlhost::Value> arguments) {
  for (const qvlhost::SurfaceMethod& method : qvlhost::FindMethods(name)) {
    if (method.assigning != assigning) continue;
    qvlhost::Value result;
    std::string error;
    EXPECT_TRUE(qvlhost::CallMethod(method, arguments, &result, &error)) << error;
    return result;
  }
  ADD_FAILURE() << "no method " << name;
  return qvlhost::Value();
}
