// The module iOSPictureQVL: its members as registered, and each album call
// refusing with "iOS only" without reading its arguments, as
// PlatformNotSupportedException or, on a host without that class, as
// RuntimeException. When it is registered shows in the start-up tests.
#include "mobile/album.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>

#include "frame/tables.h"
#include "support/plugin_test.h"
#include "surface.h"

namespace {

struct AlbumArguments {
  REALstringStruct* path;
  REALfolderItemStruct* file;
  REALpictureStruct* picture;
  REALobjectStruct* completion;
};

// Each call with its result; false for the calls without one.
const std::function<bool(const AlbumArguments&)> kAlbumCalls[] = {
    [](auto& a) { return rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumS(a.path); },
    [](auto& a) { return rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumF(a.file); },
    [](auto& a) { return rbUIImageWriteToSavedPhotosAlbum(a.picture, a.completion), false; },
    [](auto& a) { return rbUISaveVideoAtPathToSavedPhotosAlbumS(a.path, a.completion), false; },
    [](auto& a) { return rbUISaveVideoAtPathToSavedPhotosAlbumF(a.file, a.completion), false; },
    [](auto& a) { return rbUISaveImageAtPathToSavedPhotosAlbumS(a.path, a.completion), false; },
    [](auto& a) { return rbUISaveImageAtPathToSavedPhotosAlbumF(a.file, a.completion), false; }};

class AlbumRefusal : public PluginTest, public ::testing::WithParamInterface<bool> {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config;
    if (!GetParam()) config.hiddenClasses.insert("PlatformNotSupportedException");
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
  const std::string raised = GetParam() ? "PlatformNotSupportedException: iOS only" : "RuntimeException: iOS only";
  for (size_t i = 0; i < std::size(kAlbumCalls); ++i) {
    for (const AlbumArguments* arguments : {&nil, &real}) {
      SCOPED_TRACE(i);
      qvlhost::ClearJournal();
      EXPECT_FALSE(kAlbumCalls[i](*arguments));
      EXPECT_EQ(raised, TakePendingException());
      for (const qvlhost::JournalEntry& entry : qvlhost::Journal())
        EXPECT_EQ(0u, handles.count(entry.handle)) << "used its argument in " << entry.entry;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Hosts, AlbumRefusal, ::testing::Bool(), [](const auto& info) {
  return std::string(info.param ? "WithPlatformNotSupported" : "WithoutPlatformNotSupported");
});

using MobileModule = PluginTest;

TEST_F(MobileModule, MembersAreMobileOnlyAndTheDebuggingSwitchHidden) {
  REALPluginMain(qvlhost::Resolver());
  const qvlhost::SurfaceOwner module = qvlhost::Surface().front();
  ASSERT_EQ("iOSPictureQVL", module.name);
  EXPECT_EQ(0x400u, module.flags);
  for (const qvlhost::SurfaceMethod& method : module.methods) EXPECT_EQ(0x440u, method.flags) << method.text;
  ASSERT_EQ(2u, module.delegates.size());
  EXPECT_EQ("ImageSaveCompletedQVL(error as NSErrorQVL)", module.delegates[0].text);
  EXPECT_EQ("VideoSaveCompletedQVL(videoPath as String, error as NSErrorQVL)", module.delegates[1].text);
  for (const qvlhost::SurfaceDelegate& delegate : module.delegates) EXPECT_EQ(0x400u, delegate.flags);
  ASSERT_EQ(1u, module.properties.size());
  EXPECT_EQ("Debugging", module.properties[0].name);
  EXPECT_EQ(0x422u, module.properties[0].flags);
  ASSERT_EQ(1u, IOSPictureModule.properties[0].attributeCount);
  EXPECT_STREQ("Hidden", IOSPictureModule.properties[0].attributes[0].name);
  std::string error;
  ASSERT_TRUE(qvlhost::SetProperty(module.properties[0], nullptr, qvlhost::Value::Boolean(true), &error)) << error;
  EXPECT_TRUE(DebuggingEnabled);
}

}  // namespace
