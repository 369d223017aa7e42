// The files qvl reads for a job's table and for memory blocks: .cube tables
// taken node for node or resampled onto the 16-node lattice, with their
// domains; the data chunk of each WAV sample format, other files as raw
// bytes; and one line naming the fault of a malformed file.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

#include "tools/qvl/cube_files.h"
#include "tools/qvl/wav_files.h"

namespace {

using qvltool::ReadCubeFile;
using qvltool::ReadWavSamples;
using qvltool::WavSamples;

using Colour = std::array<double, 3>;

// Different on every channel, curved, and not symmetric in its inputs, so a
// swapped axis or a straight-line shortcut shows.
Colour Curved(double r, double g, double b) {
  return {0.8 * r * r + 0.1 * g, 0.7 * std::sqrt(g) + 0.2 * b * r, 0.9 - 0.6 * b * b + 0.1 * r};
}

// A table of this size sampled from Curved at the file's nodes, red index
// fastest, each number exact.
std::string Cube(int size, const std::string& header = "") {
  std::string text = header + "LUT_3D_SIZE " + std::to_string(size) + "\n";
  char row[96];
  const double step = size - 1;
  for (int n = 0; n < size * size * size; ++n) {
    const Colour c = Curved(n % size / step, n / size % size / step, n / (size * size) / step);
    std::snprintf(row, sizeof row, "%.17g %.17g %.17g\n", c[0], c[1], c[2]);
    text += row;
  }
  return text;
}

std::string Repeated(const std::string& line, int count) { return count > 0 ? line + Repeated(line, count - 1) : ""; }

// The file's function interpolated at our node straight from the eight file
// nodes around it, each weighted by its share of the cell.
double DirectTrilinear(int size, const int node[3], int x) {
  double sum = 0;
  for (int corner = 0; corner < 8; ++corner) {
    double weight = 1, at[3];
    for (int axis = 0; axis < 3; ++axis) {
      const double position = node[axis] * (size - 1) / 15.0;
      const int lower = std::min(int(position), size - 2), up = (corner >> axis) & 1;
      weight *= up ? position - lower : 1 - (position - lower);
      at[axis] = double(lower + up) / (size - 1);
    }
    sum += weight * Curved(at[0], at[1], at[2])[x];
  }
  return sum;
}

// The table file of this test, named for this process: the suite also runs
// as one process beside the others.
class CubeFiles : public ::testing::Test {
 protected:
  void TearDown() override { std::remove(path_.c_str()); }

  std::string Write(const std::string& text) {
    std::ofstream(path_, std::ios::binary) << text;
    return path_;
  }

  const std::string path_ = testing::TempDir() + "qvl-" + std::to_string(getpid()) + ".cube";
};

// Size 16 is taken node for node, exactly, other sizes are resampled; values
// are scaled from the domain the header gives to 0..255, and those outside
// it are kept.
TEST_F(CubeFiles, TablesAreTakenOrResampledFromTheirDomain) {
  const struct {
    int size;
    std::string header;
    Colour min, max;
  } cases[] = {
      {16, "", {0, 0, 0}, {1, 1, 1}},
      {2, "", {0, 0, 0}, {1, 1, 1}},
      {17, "", {0, 0, 0}, {1, 1, 1}},
      {33, "", {0, 0, 0}, {1, 1, 1}},
      {16, "TITLE \"warm # not a comment\"\n# made by hand\n\n", {0, 0, 0}, {1, 1, 1}},
      {16, "DOMAIN_MIN 0 0 0\nDOMAIN_MAX 2 4 0.5\n", {0, 0, 0}, {2, 4, 0.5}},
      {16, "DOMAIN_MAX 1 1 1 # upper\r\nDOMAIN_MIN -1 0.25 +0.5\r\n", {-1, 0.25, 0.5}, {1, 1, 1}},
      {16, "LUT_3D_INPUT_RANGE 0.5 3\n", {0.5, 0.5, 0.5}, {3, 3, 3}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.size) + " " + c.header);
    std::string error;
    const auto lattice = ReadCubeFile(Write(Cube(c.size, c.header)), &error);
    ASSERT_TRUE(lattice) << error;
    const double tolerance = c.size == 16 && c.header.empty() ? 0.0 : 1e-9;
    for (int n = 0; n < 16 * 16 * 16 * 3; ++n) {  // red index slowest, as the lattice keeps it
      const int node[3] = {n / 768, n / 48 % 16, n / 3 % 16}, x = n % 3;
      const double scaled = (DirectTrilinear(c.size, node, x) - c.min[x]) / (c.max[x] - c.min[x]) * 255;
      ASSERT_NEAR(lattice->values[n], scaled, tolerance) << n;
    }
  }
}

// A malformed file is named with the line at fault, an unreadable one alone.
TEST_F(CubeFiles, MalformedAndUnreadableFilesAreNamed) {
  const std::string size2 = "LUT_3D_SIZE 2\n";
  const std::string row = "0.5 0.5 0.5\n";
  const std::string sizeProblem = "LUT_3D_SIZE needs one whole number from 2 to 256";
  const struct {
    std::string text, error;
  } cases[] = {
      {"", ":1: no LUT_3D_SIZE line"},
      {"TITLE \"t\"\n# no size\n", ":2: no LUT_3D_SIZE line"},
      {"LUT_3D_SIZE\n", ":1: " + sizeProblem},
      {"# c\nLUT_3D_SIZE 1\n", ":2: " + sizeProblem},
      {"LUT_3D_SIZE 257\n", ":1: " + sizeProblem},
      {"LUT_3D_SIZE 2.5\n", ":1: " + sizeProblem},
      {"LUT_3D_SIZE 2 2\n", ":1: " + sizeProblem},
      {"LUT_1D_SIZE 1024\n", ":1: a 1-D LUT (LUT_1D_SIZE); only 3-D LUTs can be read"},
      {size2 + size2, ":2: a second LUT_3D_SIZE line"},
      {row + size2, ":1: a table row before LUT_3D_SIZE"},
      {size2 + Repeated(row, 7) + "\n", ":9: 7 table rows, LUT_3D_SIZE 2 needs 8"},
      {size2 + Repeated(row, 9), ":10: more table rows than LUT_3D_SIZE 2 gives"},
      {size2 + Repeated(row, 6) + "0.5 0.5\n" + row, ":8: expected three numbers, found 2"},
      {size2 + "0 0 0 0\n", ":2: expected three numbers, found 4"},
      {size2 + "0 0,5 0\n", ":2: '0,5' is not a number"},
      {size2 + "0 1e999 0\n", ":2: '1e999' is not a number"},
      {size2 + "0 nan 0\n", ":2: 'nan' is not a number"},
      {size2 + "DOMAIN_MIN 0 0\n", ":2: DOMAIN_MIN needs three numbers, found 2"},
      {size2 + "LUT_3D_INPUT_RANGE 0 1 2\n", ":2: LUT_3D_INPUT_RANGE needs two numbers, found 3"},
      {"DOMAIN_MIN 0 0 1\n" + size2 + Repeated(row, 8), ":1: the domain's minimum is not below its maximum"},
      {"LUT_3D_SIZE 2\nLUT_BOX 2\n", ":2: unknown keyword 'LUT_BOX'"},
      {size2 + row + "DOMAIN_MAX 2 2 2\n", ":3: DOMAIN_MAX after the table rows"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    const std::string path = Write(c.text);
    std::string error;
    EXPECT_FALSE(ReadCubeFile(path, &error));
    EXPECT_EQ(error, path + c.error);
  }
  const std::pair<std::string, std::string> unreadable[] = {
      {path_ + ".missing", ": cannot open: No such file or directory"},
      {testing::TempDir(), ": is a folder, not a .cube file"}};
  for (const auto& [path, problem] : unreadable) {
    std::string error;
    EXPECT_FALSE(ReadCubeFile(path, &error));
    EXPECT_EQ(error, path + problem);
  }
}

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

}  // namespace
