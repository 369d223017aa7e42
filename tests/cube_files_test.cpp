// The .cube reader: tables taken node for node or resampled onto the job's
// 16-node lattice, the domains, and one line naming file and line of a fault.
#include "tools/qvl/cube_files.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;
using qvltool::CubeLattice;
using qvltool::ReadCubeFile;

using Colour = std::array<double, 3>;

// Different on every channel, curved, and not symmetric in its inputs, so a
// swapped axis or a straight-line shortcut shows.
Colour Curved(double r, double g, double b) {
  return {0.8 * r * r + 0.1 * g, 0.7 * std::sqrt(g) + 0.2 * b * r, 0.9 - 0.6 * b * b + 0.1 * r};
}

double Node(const CubeLattice& lattice, int r, int g, int b, int x) {
  return lattice.values[((r * 16 + g) * 16 + b) * 3 + x];
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

std::string Repeated(const std::string& line, int count) {
  std::string text;
  while (count-- > 0) text += line;
  return text;
}

// The file's function interpolated at our node (k, l, m) straight from the
// eight file nodes around it, each weighted by its share of the cell.
double DirectTrilinear(int size, int k, int l, int m, int x) {
  const int ours[3] = {k, l, m};
  int lower[3];
  double fraction[3];
  for (int axis = 0; axis < 3; ++axis) {
    const double position = ours[axis] * (size - 1) / 15.0;
    lower[axis] = std::min(int(std::floor(position)), size - 2);
    fraction[axis] = position - lower[axis];
  }
  double sum = 0;
  for (int corner = 0; corner < 8; ++corner) {
    double weight = 1, at[3];
    for (int axis = 0; axis < 3; ++axis) {
      const int up = (corner >> axis) & 1;
      weight *= up ? fraction[axis] : 1 - fraction[axis];
      at[axis] = double(lower[axis] + up) / (size - 1);
    }
    sum += weight * Curved(at[0], at[1], at[2])[x];
  }
  return sum * 255;
}

class CubeFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    char root[] = "/tmp/qvl-cube-test-XXXXXX";
    ASSERT_NE(mkdtemp(root), nullptr);
    root_ = root;
  }
  void TearDown() override { fs::remove_all(root_); }

  std::string Write(const std::string& text) {
    const std::string path = (root_ / "table.cube").string();
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }

  fs::path root_;
};

// Size 16 is taken node for node, exactly; other sizes are resampled.
TEST_F(CubeFiles, TablesAreTakenOrResampledTrilinearly) {
  for (int size : {16, 2, 17, 33}) {
    SCOPED_TRACE(size);
    std::string error;
    const auto lattice = ReadCubeFile(Write(Cube(size)), &error);
    ASSERT_TRUE(lattice) << error;
    const double tolerance = size == 16 ? 0.0 : 1e-9;
    for (int n = 0; n < 16 * 16 * 16 * 3; ++n) {
      const int r = n / 768, g = n / 48 % 16, b = n / 3 % 16, x = n % 3;
      ASSERT_NEAR(Node(*lattice, r, g, b, x), DirectTrilinear(size, r, g, b, x), tolerance) << r << g << b << x;
    }
  }
}

// Headers that are read, and the domain each gives: output values are
// scaled from it to 0..255, and those outside it are kept.
TEST_F(CubeFiles, HeadersAndDomains) {
  const struct {
    std::string header;
    Colour min, max;
  } cases[] = {
      {"TITLE \"warm # not a comment\"\n# made by hand\n\n", {0, 0, 0}, {1, 1, 1}},
      {"DOMAIN_MIN 0 0 0\nDOMAIN_MAX 2 4 0.5\n", {0, 0, 0}, {2, 4, 0.5}},
      {"DOMAIN_MAX 1 1 1 # upper\r\nDOMAIN_MIN -1 0.25 +0.5\r\n", {-1, 0.25, 0.5}, {1, 1, 1}},
      {"LUT_3D_INPUT_RANGE 0.5 3\n", {0.5, 0.5, 0.5}, {3, 3, 3}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.header);
    std::string error;
    const auto lattice = ReadCubeFile(Write(Cube(16, c.header)), &error);
    ASSERT_TRUE(lattice) << error;
    for (int n = 0; n < 16; ++n) {
      const Colour value = Curved(n / 15.0, n / 15.0, n / 15.0);
      for (int x = 0; x < 3; ++x)
        EXPECT_NEAR(Node(*lattice, n, n, n, x), (value[x] - c.min[x]) / (c.max[x] - c.min[x]) * 255, 1e-9);
    }
  }
}

TEST_F(CubeFiles, MalformedFilesNameFileAndLine) {
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
}

TEST_F(CubeFiles, FilesThatCannotBeReadAreNamed) {
  const std::string missing = (root_ / "missing.cube").string();
  std::string error;
  EXPECT_FALSE(ReadCubeFile(missing, &error));
  EXPECT_EQ(error, missing + ": cannot open: No such file or directory");
  EXPECT_FALSE(ReadCubeFile(root_.string(), &error));
  EXPECT_EQ(error, root_.string() + ": is a folder, not a .cube file");
}

// identity.cube gives every node its own value; warm.cube lifts the red of
// greys and lowers their blue.
TEST(CubeSamples, IdentityAndWarm) {
  std::string error;
  const auto identity = ReadCubeFile(QVL_SOURCE_DIR "/samples/identity.cube", &error);
  const auto warm = ReadCubeFile(QVL_SOURCE_DIR "/samples/warm.cube", &error);
  ASSERT_TRUE(identity && warm) << error;
  for (int n = 0; n < 16 * 16 * 16; ++n) {
    const int node[3] = {n >> 8, (n >> 4) & 15, n & 15};
    for (int x = 0; x < 3; ++x) ASSERT_NEAR(identity->values[n * 3 + x], 17 * node[x], 1e-9) << n;
  }
  for (int n = 1; n < 15; ++n) {
    EXPECT_GT(Node(*warm, n, n, n, 0), 17 * n);
    EXPECT_LT(Node(*warm, n, n, n, 2), 17 * n);
  }
}

}  // namespace
