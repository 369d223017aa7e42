#include "fuzz_host.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "binding/globals.h"
#include "frame/registrar.h"

extern "C" void REALPluginMain(QVLResolver resolver);

namespace fuzzhost {

namespace {

// Pictures of up to 4096 pixels: every row and block path is reached, and no
// input takes long.
constexpr int64_t kMaxPictureBytes = int64_t(1) << 14;

// What the plug-in registered when it was loaded: the host's record of it
// goes with each fresh host, the functions and declarations stay.
std::vector<qvlhost::SurfaceMethod>& Registered() {
  static std::vector<qvlhost::SurfaceMethod> methods;
  return methods;
}

void LoadPluginOnce() {
  if (!Registered().empty()) return;
  REALPluginMain(qvlhost::Resolver());
  for (const qvlhost::SurfaceOwner& owner : qvlhost::Surface())
    for (const qvlhost::SurfaceMethod& method : owner.methods) Registered().push_back(method);
  if (Registered().empty()) Fail("the plug-in registered nothing");
}

}  // namespace

void FreshHost(const qvlhost::Storage& storage) {
  qvlhost::Config config;
  config.storage = storage;
  // gd storage is what console applications have.
  if (storage.kind != qvlhost::Storage::CoreGraphics) config.app = qvlhost::AppKind::Console;
  config.maxPictureBytes = kMaxPictureBytes;
  config.journal = false;
  qvlhost::Reset(config);
  // The modules generated for the last host went with it.
  ForgetGeneratedModules();
  LoadPluginOnce();
  // The application kind and storage form the plug-in learnt from the last
  // host's pictures.
  IsConsole = IsDesktop = CheckedApplication = false;
}

qvlhost::Value CallGlobal(const std::string& name, const qvlhost::Value& argument) {
  for (const qvlhost::SurfaceMethod& method : Registered()) {
    if (method.ownerKind != qvlhost::OwnerKind::GlobalMethods && method.owner != "PictureGlobalsQVL") continue;
    if (method.Name() != name) continue;
    std::vector<qvlhost::Value> arguments = {argument};
    qvlhost::Value result;
    std::string error;
    if (!qvlhost::CallMethod(method, arguments, &result, &error)) Fail(name + ": " + error);
    return result;
  }
  Fail("the plug-in registered no global method " + name);
}

void RequireBalance() {
  const std::string problems = qvlhost::BalanceProblems();
  if (!problems.empty()) Fail("host out of balance: " + problems);
}

void Fail(const std::string& message) {
  std::fprintf(stderr, "fuzz: %s\n", message.c_str());
  std::abort();
}

}  // namespace fuzzhost
