// WAV files as qvl reads them for memory blocks: the data chunk of each
// sample format, headers whose sizes do not fit the file, other files taken
// as raw bytes; and the waveform of a spoken sentence drawn through qvl.
#include "wav_files.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "support/plugin_test.h"

namespace {

using qvltool::ReadWavSamples;
using qvltool::WavSamples;

std::string LittleEndian(uint64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += char(value >> (8 * i) & 0xFF);
  return text;
}

std::string Chunk(const std::string& id, const std::string& body, int64_t size = -1) {
  return id + LittleEndian(size < 0 ? body.size() : uint64_t(size), 4) + body + std::string(body.size() % 2, '\0');
}

std::string FormatChunk(uint16_t tag, uint16_t channels, uint16_t bits) {
  const std::string fields = LittleEndian(tag, 2) + LittleEndian(channels, 2) + LittleEndian(22050, 4) +
                             LittleEndian(22050 * channels * bits / 8, 4) + LittleEndian(channels * bits / 8, 2) +
                             LittleEndian(bits, 2);
  return Chunk("fmt ", fields);
}

std::string Riff(const std::string& chunks, int64_t extra = 0) {
  return "RIFF" + LittleEndian(4 + chunks.size() + extra, 4) + "WAVE" + chunks;
}

const std::string kSamples("\x80\x01\xff\x7f\x00\x80\x12\x34", 8);

TEST(WavFiles, DataChunkOfEachFormatOrOneProblem) {
  const std::string data = Chunk("data", kSamples);
  const struct {
    const char* name;
    std::string file;
    WavSamples::Content content;
    std::string samplesOrProblem;
  } cases[] = {
      {"PCM 8 bits, odd data padded", Riff(FormatChunk(1, 1, 8) + Chunk("data", "\x80\x81\x7f")), WavSamples::Samples,
       "\x80\x81\x7f"},
      {"PCM 16 bits, stereo after a list chunk", Riff(FormatChunk(1, 2, 16) + Chunk("LIST", "INFOabc") + data),
       WavSamples::Samples, kSamples},
      {"float 32 bits, data before fmt", Riff(data + FormatChunk(3, 1, 32)), WavSamples::Samples, kSamples},
      {"float 64 bits", Riff(FormatChunk(3, 1, 64) + data), WavSamples::Samples, kSamples},
      {"raw bytes", kSamples, WavSamples::NotWav, ""},
      {"another RIFF form", "RIFF" + LittleEndian(4, 4) + "AVI ", WavSamples::NotWav, ""},
      {"short file", "RIFF" + LittleEndian(36, 4) + "WAV", WavSamples::BadHeader, "a RIFF header of 11 bytes"},
      {"RIFF size past the end", Riff(FormatChunk(1, 1, 16) + data, 2), WavSamples::BadHeader,
       "a RIFF size of 46 bytes in a file of 52 bytes"},
      {"data chunk longer than the file", Riff(FormatChunk(1, 1, 16) + Chunk("data", kSamples, 9)),
       WavSamples::BadHeader, "a \"data\" chunk of 9 bytes at byte 36 where 8 bytes remain"},
      {"fmt chunk too short", Riff(FormatChunk(1, 1, 16).substr(0, 4) + LittleEndian(12, 4) + std::string(12, 1)),
       WavSamples::BadHeader, "a \"fmt \" chunk of 12 bytes"},
      {"cut chunk header", Riff(FormatChunk(1, 1, 16) + data + "LIST"), WavSamples::BadHeader,
       "a chunk header cut off at byte 52"},
      {"no data", Riff(FormatChunk(1, 1, 16)), WavSamples::BadHeader, "no \"data\" chunk"},
      {"no fmt", Riff(data), WavSamples::BadHeader, "no \"fmt \" chunk"},
      {"PCM 24 bits", Riff(FormatChunk(1, 1, 24) + data), WavSamples::BadHeader, "format 1 with 24 bits"},
      {"frames that disagree", Riff(FormatChunk(1, 2, 16).replace(20, 2, LittleEndian(3, 2)) + data),
       WavSamples::BadHeader, "frames of 3 bytes for 2 channels of 16 bits"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const WavSamples wav = ReadWavSamples(c.file);
    ASSERT_EQ(wav.content, c.content) << wav.problem;
    if (c.content == WavSamples::Samples) {
      EXPECT_EQ(c.file.substr(wav.offset, wav.size), c.samplesOrProblem);
    } else if (c.content == WavSamples::BadHeader) {
      EXPECT_NE(wav.problem.find(c.samplesOrProblem), std::string::npos) << wav.problem;
      EXPECT_EQ(wav.problem.find('\n'), std::string::npos);
    }
  }
}

#ifdef QVL_TOOL_PATH
#ifdef QVL_TOOL_LAUNCHER
const std::string kTool = QVL_TOOL_LAUNCHER " " QVL_TOOL_PATH;
#else
const std::string kTool = QVL_TOOL_PATH;
#endif

// A file of this process: the suite also runs as one process beside the others.
std::string Temporary(const std::string& name) {
  return testing::TempDir() + "qvl-" + std::to_string(getpid()) + "-" + name;
}

// The tool's exit status with these arguments, its standard error in *err.
int Qvl(const std::string& arguments, std::string* err) {
  const std::string errFile = Temporary("stderr");
  const int status = std::system(("env -u QVLDEBUG " + kTool + " " + arguments + " 2>" + errFile).c_str());
  std::ifstream file(errFile, std::ios::binary);
  err->assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class SpokenWaveform : public PluginTest {};

// A header that does not fit its file stops the run with one line. Then
// espeak-ng's sentence, 16-bit signed samples scaled to its loudest column:
// background at the corners and in the silent end, a body well above and
// below the middle row, and the outline's colour at the columns' ends.
TEST_F(SpokenWaveform, DrawnThroughQvl) {
  const std::string wav = Temporary("cut.wav"), png = Temporary("wave.png");
  std::ofstream(wav, std::ios::binary) << Riff(FormatChunk(1, 1, 16) + Chunk("data", kSamples, 800));
  std::string err;
  EXPECT_EQ(Qvl("RenderSamplesQVL " + wav + " 0 1 10 10 0 -o " + png, &err), 2);
  EXPECT_EQ(err, "qvl: " + wav + ": WAV header does not fit the file: a \"data\" chunk of 800 bytes at byte 36 " +
                     "where 8 bytes remain\n");
#ifndef QVL_SPEECH_WAV
  GTEST_SKIP() << "espeak-ng was not found when the build was configured";
#else
  const std::string colours = " '&c88B5C4' '&c274C5A' '&c203F4E' 15 true -o ";
  ASSERT_EQ(Qvl("RenderSamplesQVL " QVL_SPEECH_WAV " 0 32 1200 300 1" + colours + png, &err), 0) << err;
  qvlhost::OwnedPicture wave(qvlhost::ReadPictureFile(png));
  ASSERT_EQ(qvlhost::PictureWidth(wave), 1200);
  ASSERT_EQ(qvlhost::PictureHeight(wave), 300);
  const qvlhost::Rgba back{0x88, 0xB5, 0xC4, 255}, fore{0x27, 0x4C, 0x5A, 255}, outline{0x20, 0x3F, 0x4E, 255};
  int64_t outlinePixels = 0, tallestAbove = 0, tallestBelow = 0;
  for (int64_t x = 0; x < 1200; ++x) {
    int64_t above = 0, below = 0;
    for (int64_t y = 0; y < 300; ++y) {
      const qvlhost::Rgba pixel = qvlhost::PixelColour(wave, x, y);
      const bool cornerOrSilentEnd =
          ((x == 0 || x == 1199) && (y == 0 || y == 299)) || (x == 1199 && std::abs(y - 150) > 1);
      if (cornerOrSilentEnd) {
        EXPECT_EQ(pixel, back) << "at (" << x << ", " << y << ")";
      }
      outlinePixels += pixel == outline;
      if (pixel == fore) (y < 150 ? above : below) += 1;
    }
    tallestAbove = std::max(tallestAbove, above);
    tallestBelow = std::max(tallestBelow, below);
  }
  EXPECT_GT(std::min(tallestAbove, tallestBelow), 30);
  EXPECT_LT(tallestAbove + tallestBelow, 300);
  EXPECT_GT(outlinePixels, 1200);
#endif
  for (const std::string& file : {wav, png, Temporary("stderr")}) std::remove(file.c_str());
}
#endif

}  // namespace
