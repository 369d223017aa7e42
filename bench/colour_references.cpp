// OpenCV doing the work of colour replacement and channel composition on the
// same pixels, writing into a new host picture: the rows of every picture
// wrapped as CV_8UC4 matrices without a copy, one band when the rows are one
// block, a band a row in gd.
#include <memory>
#include <vector>

#include "colour_measures.h"

#ifdef QVL_HAVE_OPENCV
#include <opencv2/core.hpp>

namespace {

bool IsGd() { return CurrentLayout().storage.kind != qvlhost::Storage::CoreGraphics; }

// The byte of a pixel holding each channel: cg2 stores A, R, G, B; gd stores
// B, G, R and its alpha field (0 opaque).
int RedByte() { return IsGd() ? 2 : 1; }
int GreenByte() { return IsGd() ? 1 : 2; }
int BlueByte() { return IsGd() ? 0 : 3; }
int AlphaByte() { return IsGd() ? 3 : 0; }
uint8_t OpaqueAlpha() { return IsGd() ? 0 : 255; }

// A plane of opaque alpha bytes the size of a picture, made once per layout.
const cv::Mat& OpaquePlane() {
  static cv::Mat planes[2];
  cv::Mat& plane = planes[IsGd() ? 1 : 0];
  if (plane.empty()) plane = cv::Mat(int(kBenchSize), int(kBenchSize), CV_8U, cv::Scalar(OpaqueAlpha()));
  return plane;
}

// Calls work(inputs, result) over matching bands of the inputs and a new
// host picture of their size.
template <class Work>
bool IntoHostPicture(const std::vector<REALpictureStruct*>& pictures, const Work& work) {
  REALpictureStruct* picture = qvlhost::NewPicture(kBenchSize, kBenchSize);
  if (!picture) return false;
  bool done = true;
  {
    std::vector<std::unique_ptr<LockedRows>> inputs;
    bool oneBlock = true;
    for (REALpictureStruct* input : pictures) {
      inputs.push_back(std::make_unique<LockedRows>(input));
      done = done && inputs.back()->ok();
      oneBlock = oneBlock && inputs.back()->Block();
    }
    LockedRows to(picture);
    done = done && to.ok();
    const int size = int(kBenchSize);
    for (int y = 0; done && y < size; y += oneBlock ? size : 1) {
      const int rows = oneBlock ? size : 1;
      std::vector<cv::Mat> bands;
      for (const auto& input : inputs) bands.emplace_back(rows, size, CV_8UC4, input->Row(y), input->bytesPerRow());
      cv::Mat result(rows, size, CV_8UC4, to.Row(y), to.bytesPerRow());
      work(bands, result);
    }
  }
  qvlhost::Release(picture);
  return done;
}

// A table of four channels, alpha made opaque.
cv::Mat ChannelTables() {
  cv::Mat table(1, 256, CV_8UC4);
  for (int i = 0; i < 256; ++i) {
    cv::Vec4b& entry = table.at<cv::Vec4b>(0, i);
    entry[RedByte()] = RedTableEntry(i);
    entry[GreenByte()] = GreenTableEntry(i);
    entry[BlueByte()] = BlueTableEntry(i);
    entry[AlphaByte()] = OpaqueAlpha();
  }
  return table;
}

bool Lut(REALpictureStruct* source) {
  const cv::Mat table = ChannelTables();
  return IntoHostPicture({source}, [&table](std::vector<cv::Mat>& in, cv::Mat& out) { cv::LUT(in[0], table, out); });
}

bool Max(REALpictureStruct* source) {
  return IntoHostPicture({source, SecondOperand()},
                         [](std::vector<cv::Mat>& in, cv::Mat& out) { cv::max(in[0], in[1], out); });
}

// Red, green and blue of the result from the inputs of these indices, alpha
// from the opaque plane put after the inputs.
void Mix(std::vector<cv::Mat>& in, cv::Mat& out, int red, int green, int blue) {
  const int alphaPlane = 4 * int(in.size());
  in.push_back(OpaquePlane()(cv::Rect(0, 0, out.cols, out.rows)));
  const int pairs[] = {
      4 * red + RedByte(), RedByte(),  4 * green + GreenByte(), GreenByte(), 4 * blue + BlueByte(), BlueByte(),
      alphaPlane,          AlphaByte()};
  cv::mixChannels(in.data(), in.size(), &out, 1, pairs, 4);
}

// Red from the second picture, green and blue from the source.
bool OneChannel(REALpictureStruct* source) {
  return IntoHostPicture({source, SecondOperand()},
                         [](std::vector<cv::Mat>& in, cv::Mat& out) { Mix(in, out, 1, 0, 0); });
}

// Red from the source, blue from the second picture, green from the third.
bool ThreeChannels(REALpictureStruct* source) {
  return IntoHostPicture({source, SecondOperand(), ThirdOperand()},
                         [](std::vector<cv::Mat>& in, cv::Mat& out) { Mix(in, out, 0, 2, 1); });
}

cv::Scalar Painted(uint32_t colour) {
  cv::Scalar value;
  value[RedByte()] = (colour >> 16) & 0xFF;
  value[GreenByte()] = (colour >> 8) & 0xFF;
  value[BlueByte()] = colour & 0xFF;
  value[AlphaByte()] = OpaqueAlpha();
  return value;
}

// The search colour's pixels in one colour, all others in another, alpha not
// compared.
bool TwoColours(REALpictureStruct* source) {
  cv::Scalar searched = Painted(SearchedColour()), lower = searched, upper = searched;
  lower[AlphaByte()] = 0;
  upper[AlphaByte()] = 255;
  const cv::Scalar replacement = Painted(kReplacementColour), background = Painted(kBackgroundColour);
  cv::Mat mask;
  return IntoHostPicture({source}, [&](std::vector<cv::Mat>& in, cv::Mat& out) {
    cv::inRange(in[0], lower, upper, mask);
    out.setTo(background);
    out.setTo(replacement, mask);
  });
}

void AddReference(const char* name, bool (*run)(REALpictureStruct*)) {
  AddMeasure({name, MeasureKind::Reference, SourceKind::Opaque, "", run});
}

}  // namespace

void AddColourReferences() {
  AddReference(kReferenceLut, Lut);
  AddReference(kReferenceMax, Max);
  AddReference(kReferenceOneChannel, OneChannel);
  AddReference(kReferenceThreeChannels, ThreeChannels);
  AddReference(kReferenceTwoColours, TwoColours);
}

#else

void AddColourReferences() {}

#endif
