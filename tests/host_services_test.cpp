// Host services the plug-in leans on: log capture, string conversion,
// memory blocks under the exception handler, and registered classes.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>

#include "qvl/encodings.h"
#include "qvl/entry_points.h"
#include "support/plugin_test.h"

namespace {

void WriteError(const char* text) { ASSERT_EQ(ssize_t(std::strlen(text)), write(2, text, std::strlen(text))); }

using HostServicesTest = PluginTest;

TEST_F(HostServicesTest, LogCaptureReturnsCompleteLinesWhileItLives) {
  {
    qvlhost::LogCapture capture;
    WriteError("first line\nsecond ");
    EXPECT_EQ(std::vector<std::string>{"first line"}, capture.Lines());
    WriteError("line\n");
    EXPECT_EQ((std::vector<std::string>{"first line", "second line"}), capture.Lines());
  }
  EXPECT_TRUE(qvlhost::LogCapture().Lines().empty());
}

TEST_F(HostServicesTest, StringsConvertBetweenEncodings) {
  qvlhost::OwnedString text(
      qvlhost::NewString("Gr\xC3\xBC\xC3\x9F"
                         "e"));
  auto convert = HostEntry<REALConvertStringFn>("REALConvertString");
  qvlhost::OwnedString latin1(convert(text, kREALTextEncodingISOLatin1));
  EXPECT_EQ(
      "Gr\xFC\xDF"
      "e",
      qvlhost::StringBytes(latin1));
  EXPECT_EQ(kREALTextEncodingISOLatin1, HostEntry<REALGetStringEncodingFn>("REALGetStringEncoding")(latin1));
  REALstringData data{};
  ASSERT_TRUE(HostEntry<REALGetStringDataFn>("PluginGetStringData")(latin1, kREALTextEncodingUTF16BE, &data));
  EXPECT_EQ(10, data.length);
  EXPECT_EQ(0, std::memcmp(data.data, "\0G\0r\0\xFC\0\xDF\0e", 10));
  HostEntry<REALDisposeStringDataFn>("PluginDisposeStringData")(&data);
  qvlhost::OwnedString ascii(
      HostEntry<REALBuildStringWithEncodingFn>("REALBuildStringWithEncoding")("\xFF", 1, kREALTextEncodingASCII));
  EXPECT_EQ(nullptr, convert(ascii, kREALTextEncodingUTF8));
  auto lenB = reinterpret_cast<QVLLenBFn>(
      HostEntry<REALLoadFrameworkMethodFn>("REALLoadGlobalMethod")(nullptr, QVL_LENB_DECLARATION));
  ASSERT_NE(nullptr, lenB);
  EXPECT_EQ(7, lenB(text));
}

struct BlockRequest {
  int64_t size;
  REALobjectStruct* block;
};

void MakeBlock(void* context) {
  auto* request = static_cast<BlockRequest*>(context);
  request->block = HostEntry<REALnewInstanceFn>("PluginNewInstance")("MemoryBlock");
  reinterpret_cast<void (*)(REALobjectStruct*, int64_t)>(HostEntry<REALLoadObjectMethodFn>("REALLoadObjectMethod")(
      request->block, "Constructor(bytes as Integer)"))(request->block, request->size);
}

TEST_F(HostServicesTest, ExceptionHandlerHandsBackWhatTheCallRaised) {
  auto handler = HostEntry<REALCallFunctionWithExceptionHandlerFn>("PluginCallFunctionWithExceptionHandler");
  BlockRequest good{16, nullptr};
  EXPECT_EQ(nullptr, handler(&MakeBlock, &good));
  EXPECT_EQ(16,
            HostEntry<REALMemoryBlockGetSizeFn>("memoryBlockGetSize")(static_cast<REALmemoryBlockStruct*>(good.block)));
  qvlhost::Release(good.block);
  BlockRequest negative{-1, nullptr};
  qvlhost::OwnedObject raised(handler(&MakeBlock, &negative));
  EXPECT_EQ("OutOfBoundsException", qvlhost::ClassName(raised));
  EXPECT_EQ(nullptr, qvlhost::PendingException());
  qvlhost::Release(negative.block);
}

int constructed = 0;
int destructed = 0;
void CountConstructor(REALobjectStruct* self) {
  ++constructed;
  EXPECT_EQ(0, *static_cast<int64_t*>(qvlhost::InstanceData(self)));
}
void CountDestructor(REALobjectStruct*) { ++destructed; }

TEST_F(HostServicesTest, RegisteredClassInstancesRunConstructorAndDestructor) {
  REALclassDefinition definition{};
  definition.version = kCurrentREALControlVersion;
  definition.name = "CounterQVL";
  definition.dataSize = 16;
  definition.constructor = reinterpret_cast<void*>(&CountConstructor);
  definition.destructor = reinterpret_cast<void*>(&CountDestructor);
  HostEntry<REALRegisterClassFn>("PluginRegisterClass")(&definition);
  REALobjectStruct* instance = HostEntry<REALnewInstanceFn>("PluginNewInstance")("CounterQVL");
  ASSERT_NE(nullptr, instance);
  EXPECT_EQ(reinterpret_cast<uint8_t*>(instance) + definition.forSystemUse, qvlhost::InstanceData(instance));
  EXPECT_EQ(1, constructed);
  HostEntry<REALLockObjectFn>("REALLockObject")(instance);
  qvlhost::Release(instance);
  EXPECT_EQ(0, destructed);
  qvlhost::Release(instance);
  EXPECT_EQ(1, destructed);
}

}  // namespace
