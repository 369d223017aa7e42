#include "wav_files.h"

#include <cstdint>

namespace qvltool {

namespace {

constexpr size_t kRiffHeaderBytes = 12;  // "RIFF", size, "WAVE"
constexpr size_t kChunkHeaderBytes = 8;  // identifier, size
constexpr uint64_t kFormatBytes = 16;    // the "fmt " fields read here
constexpr uint16_t kPcm = 1;
constexpr uint16_t kIeeeFloat = 3;

// Little-endian fields, whatever the order of the processor.
uint64_t Field(const std::string& bytes, size_t at, size_t width) {
  uint64_t value = 0;
  for (size_t i = width; i-- > 0;) value = value << 8 | uint8_t(bytes[at + i]);
  return value;
}

struct Format {
  uint16_t tag = 0, channels = 0, blockAlign = 0, bits = 0;
};

WavSamples Bad(const std::string& problem) {
  WavSamples wav;
  wav.content = WavSamples::BadHeader;
  wav.problem = problem;
  return wav;
}

WavSamples Unfit(const std::string& detail) { return Bad("WAV header does not fit the file: " + detail); }

std::string Bytes(uint64_t count) { return std::to_string(count) + " bytes"; }

bool Supported(const Format& format) {
  if (format.tag == kPcm) return format.bits == 8 || format.bits == 16;
  return format.tag == kIeeeFloat && (format.bits == 32 || format.bits == 64);
}

// The format read, refused when it is not one the samples can be drawn from
// or its frame size disagrees with its channels and bits.
std::string FormatProblem(const Format& format) {
  if (!Supported(format)) {
    return "WAV samples of format " + std::to_string(format.tag) + " with " + std::to_string(format.bits) +
           " bits are neither PCM of 8 or 16 bits nor IEEE float of 32 or 64 bits";
  }
  if (format.channels == 0 || format.blockAlign != format.channels * (format.bits / 8)) {
    return "WAV frames of " + Bytes(format.blockAlign) + " for " + std::to_string(format.channels) + " channels of " +
           std::to_string(format.bits) + " bits";
  }
  return "";
}

}  // namespace

WavSamples ReadWavSamples(const std::string& bytes) {
  const bool riff = bytes.compare(0, 4, "RIFF") == 0;
  if (!riff || (bytes.size() >= kRiffHeaderBytes && bytes.compare(8, 4, "WAVE") != 0)) return WavSamples();
  if (bytes.size() < kRiffHeaderBytes) return Unfit("a RIFF header of " + Bytes(bytes.size()));
  const uint64_t riffSize = Field(bytes, 4, 4);
  if (riffSize < 4 || riffSize > bytes.size() - kChunkHeaderBytes) {
    return Unfit("a RIFF size of " + Bytes(riffSize) + " in a file of " + Bytes(bytes.size()));
  }
  const uint64_t end = kChunkHeaderBytes + riffSize;
  Format format;
  bool hasFormat = false;
  WavSamples wav;
  for (uint64_t at = kRiffHeaderBytes; at < end;) {
    if (end - at < kChunkHeaderBytes) return Unfit("a chunk header cut off at byte " + std::to_string(at));
    const std::string id = bytes.substr(size_t(at), 4);
    const uint64_t size = Field(bytes, size_t(at) + 4, 4), body = at + kChunkHeaderBytes;
    if (size > end - body) {
      return Unfit("a \"" + id + "\" chunk of " + Bytes(size) + " at byte " + std::to_string(at) + " where " +
                   Bytes(end - body) + " remain");
    }
    if (id == "fmt ") {
      if (size < kFormatBytes) return Unfit("a \"fmt \" chunk of " + Bytes(size));
      format.tag = uint16_t(Field(bytes, size_t(body), 2));
      format.channels = uint16_t(Field(bytes, size_t(body) + 2, 2));
      format.blockAlign = uint16_t(Field(bytes, size_t(body) + 12, 2));
      format.bits = uint16_t(Field(bytes, size_t(body) + 14, 2));
      hasFormat = true;
    } else if (id == "data") {
      wav.content = WavSamples::Samples;
      wav.offset = size_t(body);
      wav.size = size_t(size);
    }
    at = body + size + (size & 1);  // chunks start at even offsets
  }
  if (!hasFormat) return Unfit("no \"fmt \" chunk");
  if (wav.content != WavSamples::Samples) return Unfit("no \"data\" chunk");
  const std::string problem = FormatProblem(format);
  return problem.empty() ? wav : Bad(problem);
}

}  // namespace qvltool
