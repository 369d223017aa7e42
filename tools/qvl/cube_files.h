// 3-D LUTs in the .cube text format of colour-grading tools, read onto the
// lattice of PictureLut3DQVL: 16 nodes per axis at the channel values 0, 17,
// ..., 255.
#pragma once

#include <array>
#include <optional>
#include <string>

namespace qvltool {

constexpr int kCubeLatticeNodes = 16;

// Node (r, g, b), output x (0 red, 1 green, 2 blue) at ((r*16+g)*16+b)*3+x,
// on the scale 0 to 255.
struct CubeLattice {
  std::array<double, kCubeLatticeNodes * kCubeLatticeNodes * kCubeLatticeNodes * 3> values;
};

// Reads a .cube file: an optional TITLE, LUT_3D_SIZE N (2 to 256), optional
// DOMAIN_MIN / DOMAIN_MAX (three numbers each) or LUT_3D_INPUT_RANGE (two
// numbers), then N^3 rows of three numbers with the red index fastest.
// Comments (#) and blank lines may stand anywhere. The file's lattice spans
// its domain and our 0 to 255 alike, so node k of ours lies at k * (N-1) / 15
// on each of the file's axes: a file of size 16 is taken node for node, other
// sizes are interpolated trilinearly. Output values are scaled from the
// channel's domain to 0 to 255; values outside the domain are kept as they
// scale (below 0 or above 255), for the job clamps its results.
//
// A missing or malformed file gives nullopt and one line in *error naming
// the file and, for what is wrong inside it, the line: "warm.cube:7:
// expected three numbers, found 2".
std::optional<CubeLattice> ReadCubeFile(const std::string& path, std::string* error);

}  // namespace qvltool
