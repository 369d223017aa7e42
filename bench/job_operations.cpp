// The two job classes' Run on a new instance each time, set up through the
// host as an application sets it up; the instance is ended with its result.
#include <string>

#include "harness.h"
#include "jobs/lut3d.h"
#include "jobs/sepia.h"
#include "surface.h"

extern "C" void REALPluginMain(QVLResolver resolver);

namespace {

// The classes exist in a host once the plug-in has registered them there.
void RegisterWithHost() {
  if (qvlhost::RegisteredClasses().empty()) REALPluginMain(qvlhost::Resolver());
}

void SetField(REALobjectStruct* job, const std::string& name, const qvlhost::Value& value) {
  qvlhost::SurfaceProperty property;
  std::string error;
  if (qvlhost::FindProperty(qvlhost::ClassName(job), name, &property))
    qvlhost::SetProperty(property, job, value, &error);
}

// A new job of the class on the source; one reference for the caller.
REALobjectStruct* NewJob(const char* className, REALpictureStruct* source) {
  RegisterWithHost();
  REALobjectStruct* job = qvlhost::NewObject(className);
  if (job) SetField(job, "SourcePicture", qvlhost::Value::Handle(qvlhost::TypeKind::Picture, source));
  return job;
}

// A warm grade: red lifted, blue lowered, every node off the identity.
void FillWarmTable(REALobjectStruct* job) {
  for (uint32_t r = 0; r < 16; ++r)
    for (uint32_t g = 0; g < 16; ++g)
      for (uint32_t b = 0; b < 16; ++b) {
        SetPMX(job, r, g, b, 0, 17.0 * r * 1.08 + 4.0);
        SetPMX(job, r, g, b, 1, 17.0 * g * 1.01 + 0.3 * b);
        SetPMX(job, r, g, b, 2, 17.0 * b * 0.9 - 3.0);
      }
}

// Whether the job holds a result; the reference read is given back.
bool HasResult(REALobjectStruct* job) {
  qvlhost::SurfaceProperty property;
  qvlhost::Value result;
  std::string error;
  if (!qvlhost::FindProperty(qvlhost::ClassName(job), "DestinationPicture", &property)) return false;
  if (!qvlhost::GetProperty(property, job, &result, &error) || !result.handle) return false;
  qvlhost::ReleaseValue(result);
  return true;
}

// Runs the job, checks that it made a result and ends it with the result.
template <class Prepare>
void AddJob(const char* name, const char* className, bool (*run)(REALobjectStruct*), Prepare prepare, double bound) {
  AddMeasure({name,
              MeasureKind::Operation,
              SourceKind::Opaque,
              "",
              [=](REALpictureStruct* source) {
                qvlhost::OwnedObject job(NewJob(className, source));
                if (!job) return false;
                prepare(job.get());
                return run(job) && HasResult(job);
              },
              {},
              {},
              bound});
}

// The LUT interpolates between eight corners a pixel: five times its floor.
constexpr double kLutBound = 5.0;

}  // namespace

void AddJobOperations() {
  AddJob(
      "PictureSepiaQVL.Run", "PictureSepiaQVL", sepia::Run,
      [](REALobjectStruct* job) {
        SetField(job, "SepiaRed", qvlhost::Value::Integer(40));
        SetField(job, "SepiaBlue", qvlhost::Value::Integer(-10));
      },
      kFloorBound);
  AddJob("PictureLut3DQVL.Run", "PictureLut3DQVL", lut3d::Run, FillWarmTable, kLutBound);
}
