#include "cube_files.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <vector>

namespace qvltool {
namespace {

constexpr int kSmallestSize = 2;
constexpr int kLargestSize = 256;
constexpr int kOutputs = 3;
constexpr double kScale = 255.0;

std::vector<std::string_view> Words(std::string_view line) {
  std::vector<std::string_view> words;
  size_t at = 0;
  while (true) {
    at = line.find_first_not_of(" \t\r\f\v", at);
    if (at == std::string_view::npos) return words;
    const size_t end = std::min(line.find_first_of(" \t\r\f\v", at), line.size());
    words.push_back(line.substr(at, end - at));
    at = end;
  }
}

// A finite decimal number, with an optional sign, and nothing after it.
bool ParseNumber(std::string_view word, double* value) {
  if (!word.empty() && word.front() == '+') {
    word.remove_prefix(1);
    if (!word.empty() && word.front() == '-') return false;
  }
  const char* end = word.data() + word.size();
  const auto [stop, fault] = std::from_chars(word.data(), end, *value);
  return fault == std::errc() && stop == end && std::isfinite(*value);
}

std::string Quoted(std::string_view word) { return "'" + std::string(word) + "'"; }

// Where one of our nodes falls on an axis of the file's lattice: the lower
// of the two file nodes around it and how far towards the upper, 0 to 1.
struct AxisStep {
  int lower;
  double fraction;
};

// Our node k lies at k * (size - 1) / 15 on the file's axis, which is k
// itself for a file of size 16. The last node takes the whole of the last
// cell (fraction 1), so every node reads two file nodes.
std::array<AxisStep, kCubeLatticeNodes> AxisSteps(int size) {
  std::array<AxisStep, kCubeLatticeNodes> steps;
  for (int k = 0; k < kCubeLatticeNodes; ++k) {
    const double position = double(k * (size - 1)) / (kCubeLatticeNodes - 1);
    const int lower = std::min(int(position), size - 2);
    steps[k] = {lower, position - lower};
  }
  return steps;
}

// Reads the lines of one file. Only the rows at the file nodes that our
// nodes fall between are kept (at most 32 on an axis), so a file of the
// largest size takes no more memory than one of size 32.
class CubeReader {
 public:
  CubeReader(const std::string& path, std::string* error) : path_(path), error_(error) {}

  bool ReadLines(std::istream& in) {
    std::string text;
    while (std::getline(in, text)) {
      ++line_;
      if (!ReadLine(text)) return false;
    }
    return true;
  }

  std::optional<CubeLattice> Lattice() {
    if (size_ == 0) return Fail(LastLine(), "no LUT_3D_SIZE line");
    const uint64_t expected = uint64_t(size_) * size_ * size_;
    if (rows_ < expected) {
      return Fail(LastLine(), std::to_string(rows_) + " table rows, LUT_3D_SIZE " + std::to_string(size_) + " needs " +
                                  std::to_string(expected));
    }
    for (int x = 0; x < kOutputs; ++x) {
      if (!(domainMin_[x] < domainMax_[x])) return Fail(domainLine_, "the domain's minimum is not below its maximum");
    }
    return Resampled();
  }

 private:
  std::nullopt_t Fail(int64_t line, const std::string& message) {
    *error_ = path_ + ":" + std::to_string(line) + ": " + message;
    return std::nullopt;
  }
  bool Fail(const std::string& message) {
    Fail(line_, message);
    return false;
  }
  int64_t LastLine() const { return std::max<int64_t>(line_, 1); }

  // A TITLE keeps its text whole; elsewhere a # starts a comment.
  bool ReadLine(std::string_view text) {
    std::vector<std::string_view> words = Words(text);
    if (!words.empty() && words.front() == "TITLE") return rows_ == 0 || Fail("TITLE after the table rows");
    words = Words(text.substr(0, text.find('#')));
    if (words.empty()) return true;
    const char first = words.front().front();
    if ((first >= 'A' && first <= 'Z') || first == '_') return ReadKeyword(words);
    return ReadRow(words);
  }

  bool ReadKeyword(const std::vector<std::string_view>& words) {
    const std::string_view keyword = words.front();
    if (rows_ > 0) return Fail(std::string(keyword) + " after the table rows");
    if (keyword == "LUT_3D_SIZE") return ReadSize(words);
    if (keyword == "LUT_1D_SIZE") return Fail("a 1-D LUT (LUT_1D_SIZE); only 3-D LUTs can be read");
    if (keyword == "DOMAIN_MIN") return ReadDomain(words, &domainMin_);
    if (keyword == "DOMAIN_MAX") return ReadDomain(words, &domainMax_);
    if (keyword == "LUT_3D_INPUT_RANGE") return ReadInputRange(words);
    return Fail("unknown keyword " + Quoted(keyword));
  }

  bool ReadSize(const std::vector<std::string_view>& words) {
    if (size_ != 0) return Fail("a second LUT_3D_SIZE line");
    int size = 0;
    if (words.size() == 2) {
      const char* end = words[1].data() + words[1].size();
      const auto [stop, fault] = std::from_chars(words[1].data(), end, size);
      if (fault != std::errc() || stop != end) size = 0;
    }
    if (size < kSmallestSize || size > kLargestSize) {
      return Fail("LUT_3D_SIZE needs one whole number from " + std::to_string(kSmallestSize) + " to " +
                  std::to_string(kLargestSize));
    }
    size_ = size;
    PlanKeptNodes();
    return true;
  }

  bool ReadNumbers(const std::vector<std::string_view>& words, size_t first, double* values, size_t count,
                   const std::string& what) {
    if (words.size() - first != count) {
      return Fail(what + (count == kOutputs ? "three" : "two") + " numbers, found " +
                  std::to_string(words.size() - first));
    }
    for (size_t i = 0; i < count; ++i) {
      if (!ParseNumber(words[first + i], &values[i])) return Fail(Quoted(words[first + i]) + " is not a number");
    }
    return true;
  }

  bool ReadDomain(const std::vector<std::string_view>& words, std::array<double, kOutputs>* bound) {
    domainLine_ = line_;
    return ReadNumbers(words, 1, bound->data(), kOutputs, std::string(words.front()) + " needs ");
  }

  // One range for all three channels.
  bool ReadInputRange(const std::vector<std::string_view>& words) {
    domainLine_ = line_;
    double range[2];
    if (!ReadNumbers(words, 1, range, 2, "LUT_3D_INPUT_RANGE needs ")) return false;
    domainMin_.fill(range[0]);
    domainMax_.fill(range[1]);
    return true;
  }

  bool ReadRow(const std::vector<std::string_view>& words) {
    if (size_ == 0) return Fail("a table row before LUT_3D_SIZE");
    const uint64_t count = uint64_t(size_) * size_ * size_;
    if (rows_ == count) return Fail("more table rows than LUT_3D_SIZE " + std::to_string(size_) + " gives");
    double values[kOutputs];
    if (!ReadNumbers(words, 0, values, kOutputs, "expected ")) return false;
    const int r = int(rows_ % size_), g = int(rows_ / size_ % size_), b = int(rows_ / size_ / size_);
    ++rows_;
    if (slot_[r] < 0 || slot_[g] < 0 || slot_[b] < 0) return true;
    double* kept = &kept_[KeptIndex(slot_[r], slot_[g], slot_[b])];
    std::copy(values, values + kOutputs, kept);
    return true;
  }

  void PlanKeptNodes() {
    steps_ = AxisSteps(size_);
    slot_.assign(size_t(size_), -1);
    for (const AxisStep& step : steps_) slot_[step.lower] = slot_[step.lower + 1] = 0;
    kept_per_axis_ = 0;
    for (int& slot : slot_) {
      if (slot == 0) slot = kept_per_axis_++;
    }
    kept_.assign(size_t(kept_per_axis_) * kept_per_axis_ * kept_per_axis_ * kOutputs, 0.0);
  }

  size_t KeptIndex(int r, int g, int b) const {
    return ((size_t(r) * kept_per_axis_ + g) * kept_per_axis_ + b) * kOutputs;
  }

  double Kept(int r, int g, int b, int x) const { return kept_[KeptIndex(slot_[r], slot_[g], slot_[b]) + x]; }

  // Trilinear between the eight file nodes around our node, blue first,
  // then green, then red; a fraction of 0 or 1 gives a file node exactly.
  double Interpolated(const AxisStep& r, const AxisStep& g, const AxisStep& b, int x) const {
    double alongGreen[2];
    for (int dr = 0; dr < 2; ++dr) {
      double alongBlue[2];
      for (int dg = 0; dg < 2; ++dg) {
        const double low = Kept(r.lower + dr, g.lower + dg, b.lower, x);
        const double high = Kept(r.lower + dr, g.lower + dg, b.lower + 1, x);
        alongBlue[dg] = (1.0 - b.fraction) * low + b.fraction * high;
      }
      alongGreen[dr] = (1.0 - g.fraction) * alongBlue[0] + g.fraction * alongBlue[1];
    }
    return (1.0 - r.fraction) * alongGreen[0] + r.fraction * alongGreen[1];
  }

  CubeLattice Resampled() const {
    CubeLattice lattice;
    size_t at = 0;
    for (const AxisStep& r : steps_) {
      for (const AxisStep& g : steps_) {
        for (const AxisStep& b : steps_) {
          for (int x = 0; x < kOutputs; ++x) {
            const double value = Interpolated(r, g, b, x);
            lattice.values[at++] = (value - domainMin_[x]) / (domainMax_[x] - domainMin_[x]) * kScale;
          }
        }
      }
    }
    return lattice;
  }

  std::string path_;
  std::string* error_;
  int64_t line_ = 0;
  int size_ = 0;
  uint64_t rows_ = 0;
  int64_t domainLine_ = 0;
  std::array<double, kOutputs> domainMin_ = {0.0, 0.0, 0.0};
  std::array<double, kOutputs> domainMax_ = {1.0, 1.0, 1.0};
  std::array<AxisStep, kCubeLatticeNodes> steps_{};
  std::vector<int> slot_;  // per file index on an axis: its place among the kept nodes, or -1
  int kept_per_axis_ = 0;
  std::vector<double> kept_;  // the kept rows, [r][g][b][x] by place
};

}  // namespace

std::optional<CubeLattice> ReadCubeFile(const std::string& path, std::string* error) {
  std::string ignored;
  if (!error) error = &ignored;
  std::error_code code;
  if (std::filesystem::is_directory(path, code)) {
    *error = path + ": is a folder, not a .cube file";
    return std::nullopt;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    *error = path + ": cannot open: " + std::strerror(errno);
    return std::nullopt;
  }
  CubeReader reader(path, error);
  if (!reader.ReadLines(in)) return std::nullopt;
  if (in.bad()) {
    *error = path + ": cannot read: " + std::strerror(errno);
    return std::nullopt;
  }
  return reader.Lattice();
}

}  // namespace qvltool
