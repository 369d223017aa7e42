// Instances of the registered job classes as the host makes, uses and ends
// them, on both registration routes: the destructor when the last reference
// goes or earlier through "Close", properties through the standard accessor
// and through registered accessors, and the assigning form of Table.
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

  // Sets or reads a property of the owner on the object; false when the host refuses.
  static bool Set(const std::string& owner, const std::string& name, REALobjectStruct* object, const Value& value) {
    qvlhost::SurfaceProperty property;
    std::string error;
    EXPECT_TRUE(qvlhost::FindProperty(owner, name, &property)) << owner << "." << name;
    return qvlhost::SetProperty(property, object, value, &error);
  }
  static Value Get(const std::string& owner, const std::string& name, REALobjectStruct* object) {
    qvlhost::SurfaceProperty property;
    Value value;
    std::string error;
    EXPECT_TRUE(qvlhost::FindProperty(owner, name, &property)) << owner << "." << name;
    EXPECT_TRUE(qvlhost::GetProperty(property, object, &value, &error)) << error;
    return value;
  }

  // Calls the one method of that name and form (assigning or not).
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

TEST_P(HostInstances, TheDestructorRunsWhenTheLastReferenceGoesOrEarlierThroughClose) {
  OwnedPicture source(SolidPicture(3, 3, {1, 2, 3, 255}));
  REALobjectStruct* job = qvlhost::NewObject("PictureSepiaQVL");
  ASSERT_TRUE(Set("PictureSepiaQVL", "SourcePicture", job, Value::Handle(TypeKind::Picture, source)));
  EXPECT_EQ(2, qvlhost::ReferenceCount(source.get()));
  HostEntry<void (*)(REALobjectStruct*)>("REALLockObject")(job);
  qvlhost::Release(job);
  EXPECT_EQ(2, qvlhost::ReferenceCount(source.get())) << "one reference to the job is still held";
  qvlhost::Release(job);
  EXPECT_EQ(1, qvlhost::ReferenceCount(source.get()));
  for (const std::string owner : {"PictureSepiaQVL", "PictureLut3DQVL"}) {
    OwnedObject closed(qvlhost::NewObject(owner.c_str()));
    ASSERT_TRUE(Set(owner, "SourcePicture", closed, Value::Handle(TypeKind::Picture, source)));
    EXPECT_TRUE(Call(owner + ".Run", false, {Value::Handle(TypeKind::Object, closed)}).integer);
    Call(owner + ".Close", false, {Value::Handle(TypeKind::Object, closed)});
    EXPECT_EQ(1, qvlhost::ReferenceCount(source.get())) << owner;
  }
}

TEST_P(HostInstances, PropertiesGoThroughTheFieldOrTheRegisteredAccessors) {
  OwnedObject job(qvlhost::NewObject("PictureSepiaQVL")), other(qvlhost::NewObject("PictureLut3DQVL"));
  OwnedPicture first(SolidPicture(2, 2, {0, 0, 0, 255})), second(SolidPicture(2, 2, {0, 0, 0, 255}));
  ASSERT_TRUE(Set("PictureSepiaQVL", "SourcePicture", job, Value::Handle(TypeKind::Picture, first)));
  ASSERT_TRUE(Set("PictureSepiaQVL", "SourcePicture", job, Value::Handle(TypeKind::Picture, second)));
  EXPECT_EQ(1, qvlhost::ReferenceCount(first.get())) << "a replaced picture is given back";
  EXPECT_EQ(2, qvlhost::ReferenceCount(second.get()));
  EXPECT_FALSE(Set("PictureSepiaQVL", "SourcePicture", other, Value::Handle(TypeKind::Picture, first)))
      << "a field of one class on an instance of another";
  ASSERT_TRUE(Set("PictureSepiaQVL", "MaxY", job, Value::Integer(-77)));
  ASSERT_TRUE(Set("PictureSepiaQVL", "FactorGreen", job, Value::Double(2.5)));
  EXPECT_EQ(-77, Get("PictureSepiaQVL", "MaxY", job).integer);
  EXPECT_EQ(2.5, Get("PictureSepiaQVL", "FactorGreen", job).real);

  // Table(3, g, 0, 2) assigned when given a value, read otherwise; g 18 is beyond the table.
  auto table = [&](uint32_t g, std::vector<Value> value) {
    std::vector<Value> arguments = {Value::Handle(TypeKind::Object, other), Value::UInt32(3), Value::UInt32(g),
                                    Value::UInt32(0), Value::UInt32(2)};
    arguments.insert(arguments.end(), value.begin(), value.end());
    return Call("PictureLut3DQVL.Table", !value.empty(), arguments);
  };
  table(17, {Value::Double(-4.25)});
  table(18, {Value::Double(9.0)});
  EXPECT_EQ(-4.25, table(17, {}).real);
  EXPECT_EQ(0.0, table(18, {}).real);
}

INSTANTIATE_TEST_SUITE_P(Routes, HostInstances, ::testing::Values(2024.03, 2012.0),
                         [](const auto& info) { return info.param > 2013 ? "module2024" : "extension2012"; });

}  // namespace
