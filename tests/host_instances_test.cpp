// Instances of the registered job classes as the host makes, uses and ends
// them: the constructor when made, the destructor when the last reference
// goes or earlier through "Close", properties through the standard accessor
// and through registered accessors, and the assigning form of Table, on both
// registration routes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/painted_picture.h"
#include "support/plugin_test.h"
#include "surface.h"

extern "C" void REALPluginMain(QVLResolver resolver);

namespace {

using qvlhost::OwnedObject;
using qvlhost::OwnedPicture;
using qvlhost::TypeKind;
using qvlhost::Value;

class HostInstances : public PluginTest, public ::testing::WithParamInterface<double> {
 protected:
  qvlhost::Config HostConfig() override { return HostWith(GetParam(), qvlhost::Storage::CG(2)); }

  void SetUp() override {
    PluginTest::SetUp();
    REALPluginMain(qvlhost::Resolver());
  }

  static qvlhost::SurfaceProperty Property(const std::string& owner, const std::string& name) {
    qvlhost::SurfaceProperty property;
    EXPECT_TRUE(qvlhost::FindProperty(owner, name, &property)) << owner << "." << name;
    return property;
  }

  // Calls the one method of that name and form (assigning or not) on the instance.
  static Value Call(const std::string& name, bool assigning, std::vector<Value> arguments) {
    for (const qvlhost::SurfaceMethod& method : qvlhost::FindMethods(name)) {
      if (method.assigning != assigning) continue;
      Value result;
      std::string error;
      EXPECT_TRUE(qvlhost::CallMethod(method, arguments, &result, &error)) << error;
      return result;
    }
    ADD_FAILURE() << "no method " << name;
    return Value();
  }
};

TEST_P(HostInstances, TheConstructorRunsWhenMadeAndTheDestructorWhenTheLastReferenceGoes) {
  OwnedPicture source(SolidPicture(3, 3, {1, 2, 3, 255}));
  REALobjectStruct* job = qvlhost::NewObject("PictureSepiaQVL");
  ASSERT_NE(job, nullptr);
  Value factor;
  std::string error;
  ASSERT_TRUE(qvlhost::GetProperty(Property("PictureSepiaQVL", "FactorRed"), job, &factor, &error)) << error;
  EXPECT_EQ(0.299, factor.real);
  ASSERT_TRUE(qvlhost::SetProperty(Property("PictureSepiaQVL", "SourcePicture"), job,
                                   Value::Handle(TypeKind::Picture, source), &error));
  EXPECT_EQ(2, qvlhost::ReferenceCount(source.get()));
  HostEntry<void (*)(REALobjectStruct*)>("REALLockObject")(job);
  qvlhost::Release(job);
  EXPECT_EQ(2, qvlhost::ReferenceCount(source.get())) << "one reference to the job is still held";
  qvlhost::Release(job);
  EXPECT_EQ(1, qvlhost::ReferenceCount(source.get()));
  EXPECT_EQ(0, qvlhost::ReferenceCount(job));
}

TEST_P(HostInstances, CloseBeforeTheLastReferenceLeavesTheDestructorNothingToGiveBack) {
  OwnedPicture source(SolidPicture(3, 3, {1, 2, 3, 255}));
  for (const char* owner : {"PictureSepiaQVL", "PictureLut3DQVL"}) {
    OwnedObject job(qvlhost::NewObject(owner));
    std::string error;
    ASSERT_TRUE(
        qvlhost::SetProperty(Property(owner, "SourcePicture"), job, Value::Handle(TypeKind::Picture, source), &error));
    EXPECT_TRUE(Call(std::string(owner) + ".Run", false, {Value::Handle(TypeKind::Object, job)}).integer);
    Call(std::string(owner) + ".Close", false, {Value::Handle(TypeKind::Object, job)});
    EXPECT_EQ(1, qvlhost::ReferenceCount(source.get())) << owner;
  }
}

TEST_P(HostInstances, PropertiesGoThroughTheFieldOrTheRegisteredAccessors) {
  OwnedObject job(qvlhost::NewObject("PictureSepiaQVL"));
  OwnedObject other(qvlhost::NewObject("PictureLut3DQVL"));
  OwnedPicture first(SolidPicture(2, 2, {0, 0, 0, 255})), second(SolidPicture(2, 2, {0, 0, 0, 255}));
  std::string error;
  const auto picture = Property("PictureSepiaQVL", "SourcePicture");
  ASSERT_TRUE(qvlhost::SetProperty(picture, job, Value::Handle(TypeKind::Picture, first), &error));
  ASSERT_TRUE(qvlhost::SetProperty(picture, job, Value::Handle(TypeKind::Picture, second), &error));
  EXPECT_EQ(1, qvlhost::ReferenceCount(first.get())) << "a replaced picture is given back";
  EXPECT_EQ(2, qvlhost::ReferenceCount(second.get()));
  EXPECT_FALSE(qvlhost::SetProperty(picture, other, Value::Handle(TypeKind::Picture, first), &error))
      << "a field of one class on an instance of another";
  ASSERT_TRUE(qvlhost::SetProperty(Property("PictureSepiaQVL", "MaxY"), job, Value::Integer(-77), &error));
  ASSERT_TRUE(qvlhost::SetProperty(Property("PictureSepiaQVL", "FactorGreen"), job, Value::Double(2.5), &error));
  Value maxY, blueWeight, greenWeight;
  ASSERT_TRUE(qvlhost::GetProperty(Property("PictureSepiaQVL", "MaxY"), job, &maxY, &error));
  ASSERT_TRUE(qvlhost::GetProperty(Property("PictureSepiaQVL", "FactorGreen"), job, &blueWeight, &error));
  ASSERT_TRUE(qvlhost::GetProperty(Property("PictureSepiaQVL", "FactorBlue"), job, &greenWeight, &error));
  EXPECT_EQ(-77, maxY.integer);
  EXPECT_EQ(2.5, blueWeight.real);
  EXPECT_EQ(0.587, greenWeight.real);
}

TEST_P(HostInstances, TableIsAssignedThroughItsSetterAndReadThroughItsGetter) {
  OwnedObject job(qvlhost::NewObject("PictureLut3DQVL"));
  const Value self = Value::Handle(TypeKind::Object, job);
  auto index = [](uint32_t value) { return Value::UInt32(value); };
  Call("PictureLut3DQVL.Table", true, {self, index(3), index(17), index(0), index(2), Value::Double(-4.25)});
  Call("PictureLut3DQVL.Table", true, {self, index(3), index(18), index(0), index(2), Value::Double(9.0)});
  EXPECT_EQ(-4.25, Call("PictureLut3DQVL.Table", false, {self, index(3), index(17), index(0), index(2)}).real);
  EXPECT_EQ(0.0, Call("PictureLut3DQVL.Table", false, {self, index(3), index(18), index(0), index(2)}).real);
}

INSTANTIATE_TEST_SUITE_P(Routes, HostInstances, ::testing::Values(2024.03, 2012.0),
                         [](const auto& info) { return info.param > 2013 ? "module2024" : "extension2012"; });

}  // namespace
