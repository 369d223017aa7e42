// WAV files given for memory-block arguments: the samples of their data chunk.
#pragma once

#include <cstddef>
#include <string>

namespace qvltool {

struct WavSamples {
  enum Content { NotWav, Samples, BadHeader };
  Content content = NotWav;
  size_t offset = 0;    // Samples: where the data chunk's bytes start in the file
  size_t size = 0;      // and how many there are
  std::string problem;  // BadHeader: what does not fit, as one line
};

// Reads a file's bytes as a WAV file: "RIFF", its size, "WAVE", then chunks,
// among them "fmt " (PCM of 8 or 16 bits, or IEEE float of 32 or 64 bits, any
// number of channels) and "data". A file that does not begin with "RIFF" and
// "WAVE" is NotWav; one that does but whose sizes or format do not fit its
// bytes is BadHeader.
WavSamples ReadWavSamples(const std::string& bytes);

}  // namespace qvltool
