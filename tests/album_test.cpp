// The module iOSPictureQVL: registered first, and only on hosts from 2020.02;
// each of its album calls refuses with "iOS only" without reading its
// arguments, as PlatformNotSupportedException or, on a host without that
// class, as RuntimeException.
#include "mobile/album.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "binding/globals.h"
#include "frame/tables.h"
#include "support/plugin_test.h"
#include "surface.h"

extern "C" void REALPluginMain(QVLResolver resolver);

namespace {

struct AlbumArguments {
  REALstringStruct* path;
  REALfolderItemStruct* file;
  REALpictureStruct* picture;
  REALobjectStruct* completion;
};

struct AlbumCall {
  const char* name;
  std::function<bool(const AlbumArguments&)> call;  // false for the calls without a result
};

const AlbumCall kAlbumCalls[] = {
    {"VideoAtPathIsCompatibleS", [](auto& a) { return rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumS(a.path); }},
    {"VideoAtPathIsCompatibleF", [](auto& a) { return rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumF(a.file); }},
    {"ImageWrite", [](auto& a) { return rbUIImageWriteToSavedPhotosAlbum(a.picture, a.completion), false; }},
    {"SaveVideoS", [](auto& a) { return rbUISaveVideoAtPathToSavedPhotosAlbumS(a.path, a.completion), false; }},
    {"SaveVideoF", [](auto& a) { return rbUISaveVideoAtPathToSavedPhotosAlbumF(a.file, a.completion), false; }},
    {"SaveImageS", [](auto& a) { return rbUISaveImageAtPathToSavedPhotosAlbumS(a.path, a.completion), false; }},
    {"SaveImageF", [](auto& a) { return rbUISaveImageAtPathToSavedPhotosAlbumF(a.file, a.completion), false; }},
};

class AlbumRefusal : public PluginTest, public ::testing::WithParamInterface<bool> {
 protected:
  bool HostHasClass() const { return GetParam(); }
  qvlhost::Config HostConfig() override {
    qvlhost::Config config;
    if (!HostHasClass()) config.hiddenClasses.insert("PlatformNotSupportedException");
    return config;
  }
};

TEST_P(AlbumRefusal, EveryCallRaisesIOSOnlyAndLeavesItsArgumentsAlone) {
  qvlhost::OwnedString path(qvlhost::NewString("/tmp/clip.mov"));
  qvlhost::OwnedFolderItem file(qvlhost::NewFolderItem("/tmp/clip.mov"));
  qvlhost::OwnedPicture picture(qvlhost::NewPicture(2, 2));
  qvlhost::OwnedObject completion(qvlhost::NewObject("MemoryBlock"));
  const AlbumArguments real = {path, file, picture, completion}, nil = {};
  const std::set<const void*> handles = {path.get(), file.get(), picture.get(), completion.get()};
  const std::string expectedClass = HostHasClass() ? "PlatformNotSupportedException" : "RuntimeException";
  for (const AlbumCall& c : kAlbumCalls) {
    for (const AlbumArguments* arguments : {&nil, &real}) {
      qvlhost::ClearJournal();
      EXPECT_FALSE(c.call(*arguments)) << c.name;
      REALobjectStruct* raised = qvlhost::PendingException();
      ASSERT_NE(nullptr, raised) << c.name;
      EXPECT_EQ(expectedClass, qvlhost::ClassName(raised)) << c.name;
      EXPECT_EQ("iOS only", qvlhost::ExceptionMessage(raised)) << c.name;
      qvlhost::ClearPendingException();
      for (const qvlhost::JournalEntry& entry : qvlhost::Journal())
        EXPECT_EQ(0u, handles.count(entry.handle)) << c.name << " used its argument in " << entry.entry;
    }
  }
  for (const void* handle : handles) EXPECT_EQ(1, qvlhost::ReferenceCount(handle));
}

INSTANTIATE_TEST_SUITE_P(Hosts, AlbumRefusal, ::testing::Bool(), [](const auto& info) {
  return std::string(info.param ? "WithPlatformNotSupported" : "WithoutPlatformNotSupported");
});

class MobileModule : public PluginTest, public ::testing::WithParamInterface<double> {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config;
    config.version = GetParam();
    return config;
  }
};

TEST_P(MobileModule, RegisteredFirstFrom2020_02WithItsMembersAndTheDebuggingSwitch) {
  REALPluginMain(qvlhost::Resolver());
  const std::vector<qvlhost::SurfaceOwner> owners = qvlhost::Surface();
  ASSERT_FALSE(owners.empty());
  if (GetParam() < 2020.02) {
    for (const qvlhost::SurfaceOwner& owner : owners) EXPECT_NE("iOSPictureQVL", owner.name);
    return;
  }
  const qvlhost::SurfaceOwner& module = owners.front();
  ASSERT_EQ("iOSPictureQVL", module.name);
  EXPECT_EQ(0x400u, module.flags);
  ASSERT_EQ(7u, module.methods.size());
  for (const qvlhost::SurfaceMethod& method : module.methods) EXPECT_EQ(0x440u, method.flags) << method.text;
  ASSERT_EQ(2u, module.delegates.size());
  EXPECT_EQ("ImageSaveCompletedQVL(error as NSErrorQVL)", module.delegates[0].text);
  EXPECT_EQ("VideoSaveCompletedQVL(videoPath as String, error as NSErrorQVL)", module.delegates[1].text);
  for (const qvlhost::SurfaceDelegate& delegate : module.delegates) EXPECT_EQ(0x400u, delegate.flags);
  ASSERT_EQ(1u, module.properties.size());
  const qvlhost::SurfaceProperty& debugging = module.properties[0];
  EXPECT_EQ("Debugging", debugging.name);
  EXPECT_EQ(0x422u, debugging.flags);
  ASSERT_EQ(1u, IOSPictureModule.properties[0].attributeCount);
  EXPECT_STREQ("Hidden", IOSPictureModule.properties[0].attributes[0].name);
  std::string error;
  ASSERT_TRUE(qvlhost::SetProperty(debugging, nullptr, qvlhost::Value::Boolean(true), &error)) << error;
  EXPECT_TRUE(DebuggingEnabled);
  // Called by its declaration, a refusal reaches the caller as the host's exception.
  std::vector<qvlhost::Value> arguments = {qvlhost::Value::Nil(qvlhost::TypeKind::Picture),
                                           qvlhost::Value::Nil(qvlhost::TypeKind::Object)};
  qvlhost::Value result;
  ASSERT_TRUE(qvlhost::CallMethod(module.methods[2], arguments, &result, &error)) << error;
  EXPECT_EQ("PlatformNotSupportedException", qvlhost::ClassName(qvlhost::PendingException()));
  expectException_ = true;
}

// Hosts 2012.0, 2020.01, 2020.02 and 3000.0, in that order.
INSTANTIATE_TEST_SUITE_P(Hosts, MobileModule, ::testing::Values(2012.0, 2020.01, 2020.02, 3000.0));

}  // namespace
