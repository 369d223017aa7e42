#!/bin/sh
# Writes the two 3-D LUT samples in the .cube format, red index fastest:
#   identity.cube  size 5, every colour to itself;
#   warm.cube      size 9, a warm grade: red lifted (r^0.85), green a touch
#                  (g^0.97), blue lowered (0.94 * b^1.12).
set -e
cd "$(dirname "$0")"

cube() {
  awk -v size="$1" -v title="$2" -v grade="$3" 'BEGIN {
    printf "TITLE \"%s\"\n# Made by samples/make_cube_samples.sh.\nLUT_3D_SIZE %d\n", title, size
    for (b = 0; b < size; b++)
      for (g = 0; g < size; g++)
        for (r = 0; r < size; r++) {
          rr = r / (size - 1); gg = g / (size - 1); bb = b / (size - 1)
          if (grade == "warm") { rr = rr ^ 0.85; gg = gg ^ 0.97; bb = 0.94 * bb ^ 1.12 }
          printf "%.6f %.6f %.6f\n", rr, gg, bb
        }
  }'
}

cube 5 "Identity" identity >identity.cube
cube 9 "Warm" warm >warm.cube
