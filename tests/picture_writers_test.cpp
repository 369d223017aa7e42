// Result pictures: the writer's size limits, the alpha-channel path, the
// resolutions it carries, and the references it hands over.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "filters/invert.h"
#include "filters/threshold.h"
#include "picture/picture_editor.h"
#include "support/every_pixel.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;
using ::testing::Contains;
using ::testing::StartsWith;

using WriterTest = PluginTest;

TEST_F(WriterTest, SizeLimitsNameTheFirstSideThatFails) {
  const struct {
    int64_t width, height;
    const char* word;  // nil: the writer is made
  } cases[] = {{0, 5, "width < 1"},         {32768, 0, "height < 1"},     {5, -1, "height < 1"},
               {32768, 1, "width > 32767"}, {1, 32768, "height > 32767"}, {32768, 32768, "width > 32767"},
               {32767, 1, nullptr},         {1, 32767, nullptr}};
  DebuggingEnabled = true;
  for (const auto& c : cases) {
    qvlhost::LogCapture log;
    PictureWriter writer;
    EXPECT_EQ(c.word == nullptr, writer.NewPictureWriter(c.width, c.height)) << c.width << "x" << c.height;
    if (c.word) {
      EXPECT_EQ(1, TraceCount(log.Lines(), c.word));
    } else {
      EXPECT_EQ(c.width, writer.Width);
      EXPECT_EQ(1, qvlhost::ReferenceCount(writer.picture));
    }
  }
  EXPECT_EQ(0, qvlhost::LiveObjectCount());         // unrendered writers took their pictures along
  qvlhost::CurrentConfig().maxPictureBytes = 1000;  // a picture the host cannot make
  PictureWriter writer;
  EXPECT_FALSE(writer.NewPictureWriter(100, 100));
  EXPECT_EQ(nullptr, writer.picture);
}

// From 2011.04 a reader with alpha takes the constructor path, which has no
// size limit. The reader's resolutions go to the writer on every path, also
// when it fails, and to the result when both are positive.
TEST_F(WriterTest, AlphaReaderTakesTheConstructorPathAndResolutionsCarryOver) {
  qvlhost::CurrentConfig().newPictureResolution = 96;
  // Version, alpha, width, resolutions of the source, made.
  using Case = std::tuple<double, bool, int64_t, int64_t, int64_t, bool>;
  const Case cases[] = {{2024.03, true, 40000, 144, 72, true}, {2024.03, false, 40000, 144, 72, false},
                        {2024.03, false, 10, 144, 72, true},   {2011.04, true, 10, 144, 0, true},
                        {2011.03, true, 10, 0, 300, false},    {2011.03, false, 10, 0, 300, true}};
  for (auto [version, alpha, width, horizontal, vertical, made] : cases) {
    SCOPED_TRACE(testing::Message() << version << " " << alpha << " " << width);
    SetHostVersion(version);
    OwnedPicture source(alpha ? qvlhost::NewAlphaPicture(width, 1) : qvlhost::NewPicture(width, 1));
    qvlhost::SetResolution(source, horizontal, vertical);
    PictureReader reader(source);
    ASSERT_EQ(source.get(), reader.picture);
    PictureWriter writer;
    EXPECT_EQ(made, writer.NewPictureWriter(reader));
    EXPECT_EQ(made && alpha, writer.HasAlphaChannel);
    EXPECT_EQ(horizontal, writer.HorizontalResolution);
    EXPECT_EQ(vertical, writer.VerticalResolution);
    if (!made) continue;
    OwnedPicture result(writer.RenderPictureWriter());
    const bool carried = horizontal > 0 && vertical > 0;
    EXPECT_EQ(carried ? horizontal : 96, qvlhost::HorizontalResolution(result));
    EXPECT_EQ(carried ? vertical : 96, qvlhost::VerticalResolution(result));
  }
}

TEST_F(WriterTest, ConstructorPathFailuresGiveNil) {
  DebuggingEnabled = true;
  qvlhost::LogCapture log;
  qvlhost::CurrentConfig().hiddenClasses = {"Picture"};
  EXPECT_EQ(nullptr, NewPictureWithAlphaChannel(4, 4));
  EXPECT_EQ(1, TraceCount(log.Lines(), "Failed to allocate picture."));
  qvlhost::CurrentConfig().hiddenClasses.clear();
  qvlhost::CurrentConfig().hiddenMethods = {"Constructor(width as integer, height as integer)"};
  qvlhost::ClearJournal();
  EXPECT_EQ(nullptr, NewPictureWithAlphaChannel(4, 4));
  EXPECT_EQ(1, TraceCount(log.Lines(), "Failed to get picture constructor."));
  // The new instance is not given back on this path: find it and release it here.
  const qvlhost::JournalEntry& load = qvlhost::Journal().back();
  ASSERT_EQ("REALLoadObjectMethod", load.entry);
  EXPECT_EQ(1, qvlhost::ReferenceCount(load.handle));
  qvlhost::Release(static_cast<REALobjectStruct*>(const_cast<void*>(load.handle)));
  EXPECT_EQ(nullptr, NewPictureWithAlphaChannel(0, 4));
}

TEST_F(WriterTest, ReferencesPassFromCreatorToWriterToCaller) {
  PictureWriter writer;
  ASSERT_TRUE(writer.NewPictureWriter(4, 4));
  REALpictureStruct* pic = writer.picture;
  EXPECT_EQ(1, qvlhost::ReferenceCount(pic));  // the writer's
  OwnedPicture result(writer.RenderPictureWriter());
  ASSERT_EQ(pic, result.get());
  EXPECT_EQ(0, qvlhost::DescriptionLockCount(pic));
  EXPECT_EQ(2, qvlhost::CacheClearCount(pic));  // at the rendering and in clear
  int64_t count = 1;                            // made with 1, then +1 -1 +1 -1, ending with the caller's
  std::vector<int64_t> counts;
  for (const qvlhost::JournalEntry& entry : qvlhost::Journal()) {
    if (entry.handle != pic || (entry.entry != "REALLockObject" && entry.entry != "REALUnlockObject")) continue;
    count += entry.entry == "REALLockObject" ? 1 : -1;
    counts.push_back(count);
  }
  EXPECT_EQ((std::vector<int64_t>{2, 1, 2, 1}), counts);
  EXPECT_EQ(nullptr, writer.RenderPictureWriter());  // a writer renders once
}

TEST_F(WriterTest, RenderingAnEmptyEditorGivesNilAndStillClears) {
  PictureEditor editor;
  const std::vector<std::string> lines = TracedLines([&] { EXPECT_EQ(nullptr, editor.RenderPictureWriter()); });
  EXPECT_THAT(lines, Contains(StartsWith("QVL Debug: RenderPictureWriter done ")));
  EXPECT_THAT(lines, Contains("QVL Debug: ClosePictureReader done"));
  EXPECT_TRUE(qvlhost::Journal().empty());
}

// On a host that cannot lock objects the writer hands the creator's reference
// to the caller and readers give back none they did not take.
TEST_F(WriterTest, FilterResultsWithoutLockStayAliveWithOneReference) {
  const struct {
    const char* name;
    bool alphaSource;
    REALpictureStruct* (*filter)(REALpictureStruct*);
  } cases[] = {{"InvertPicture2", false, InvertPicture2},
               {"InvertPicture2 with alpha", true, InvertPicture2},
               {"ThresholdQVL", false, [](REALpictureStruct* pic) { return ThresholdQVL(pic, 128); }}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    qvlhost::CurrentConfig().hiddenEntries = {"REALLockObject"};
    OwnedPicture source(c.alphaSource ? qvlhost::NewAlphaPicture(3, 2) : qvlhost::NewPicture(3, 2));
    for (int64_t x = 0; x < 3; ++x) qvlhost::SetPixelColour(source, x, 1, {200, 150, 100, 255});
    OwnedPicture result(c.filter(source));
    ASSERT_NE(nullptr, result.get());
    EXPECT_EQ(1, qvlhost::ReferenceCount(result));
    EXPECT_EQ(1, qvlhost::ReferenceCount(source));
    qvlhost::CurrentConfig().hiddenEntries.clear();
    ExpectSamePicture(result, OwnedPicture(c.filter(source)));
  }
}

}  // namespace
