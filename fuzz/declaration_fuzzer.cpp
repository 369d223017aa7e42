// The host's declaration parser on any text: it answers without crashing, a
// refusal says why, and an accepted declaration keeps its rules (a name, an
// extends parameter only first, an assigns parameter only last, no more
// required arguments than parameters).
#include <cstddef>
#include <cstdint>
#include <string>

#include "declaration.h"
#include "fuzz_host.h"

namespace {

void RequireWellFormed(const qvlhost::Declaration& declaration) {
  if (declaration.name.empty()) fuzzhost::Fail("accepted without a name");
  const size_t count = declaration.parameters.size();
  for (size_t i = 0; i < count; ++i) {
    if (declaration.parameters[i].extends && i != 0) fuzzhost::Fail("extends accepted after the first parameter");
    if (declaration.parameters[i].assigns && i + 1 != count) fuzzhost::Fail("assigns accepted before the last");
  }
  if (qvlhost::RequiredArgumentCount(declaration) > count) fuzzhost::Fail("more required arguments than parameters");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  qvlhost::Declaration declaration;
  std::string error;
  if (qvlhost::ParseDeclaration(text, &declaration, &error))
    RequireWellFormed(declaration);
  else if (error.empty())
    fuzzhost::Fail("refused without saying why");
  qvlhost::Literal literal;
  qvlhost::ParseLiteral(text, &literal);
  return 0;
}
