// The listing of the registered surface.
#include "listing.h"

#include <cstdio>
#include <string>

#include "overloads.h"
#include "surface.h"

namespace qvltool {

namespace {

std::string Flags(uint32_t flags) {
  char text[32];
  std::snprintf(text, sizeof text, "flags 0x%X", flags);
  return text;
}

std::string Accessors(const qvlhost::SurfaceProperty& property) {
  if (property.StandardAccessor()) return "offset " + std::to_string(property.param);
  return property.setter ? "getter and setter" : "getter";
}

// The arguments of the assigning form as the command line takes them, the
// assigned value last: " ref swap value".
std::string AssigningArguments(const qvlhost::SurfaceMethod& method) {
  std::string words;
  for (const qvlhost::Parameter& parameter : UserParameters(method)) words += " " + parameter.name;
  return words;
}

void PrintProperty(std::ostream& out, const qvlhost::SurfaceProperty& property) {
  out << "  " << (property.shared ? "shared property " : "property ") << property.name << " as " << property.type.name
      << "  " << Flags(property.flags) << ", " << Accessors(property) << "\n";
}

}  // namespace

void PrintSurface(std::ostream& out) {
  for (const qvlhost::SurfaceOwner& owner : qvlhost::Surface()) {
    out << qvlhost::OwnerKindName(owner.kind) << " " << owner.name;
    if (owner.kind != qvlhost::OwnerKind::GlobalMethods) out << "  " << Flags(owner.flags);
    out << "\n";
    for (const qvlhost::SurfaceMethod& method : owner.methods) {
      out << "  " << (method.shared ? "shared " : "") << DisplayDeclaration(method) << "  " << Flags(method.flags);
      if (!method.parseError.empty()) out << "  (unreadable: " << method.parseError << ")";
      if (!method.callForm.parameters.empty() && method.callForm.parameters.back().assigns) {
        out << "  (assign: qvl " << method.Name() << AssigningArguments(method) << ")";
      }
      out << "\n";
    }
    for (const qvlhost::SurfaceProperty& property : owner.properties) PrintProperty(out, property);
    for (const qvlhost::SurfaceDelegate& delegate : owner.delegates) {
      out << "  delegate " << delegate.text << "  " << Flags(delegate.flags) << "\n";
    }
  }
}

}  // namespace qvltool
