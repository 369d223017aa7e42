#!/usr/bin/env python3
"""Writes the seed inputs of the operations and registrar fuzz targets.

The targets read their choices from the end of the input (one byte each for
small ranges) and pixel patterns, texts and blocks from the front, so a seed
is a fixed-seed random front and, for the operations target, the method
index, the row padding and the layout as its last three bytes: one seed per
method the plug-in registers (up to 96), in every layout by turns.
"""
import os
import random
import sys

METHODS = 96
LAYOUTS = 7


def write(folder, name, data):
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(data)


def main(root):
    rng = random.Random(16)
    for method in range(METHODS):
        front = bytes(rng.randrange(256) for _ in range(rng.randrange(32, 200)))
        padding = rng.choice([0, 0, 4, 13])
        write(os.path.join(root, "operations"), "%03d" % method, front + bytes([method, padding, method % LAYOUTS]))
    for index in range(40):
        data = bytes(rng.randrange(256) for _ in range(rng.randrange(8, 400)))
        write(os.path.join(root, "registrar"), "%03d" % index, data)


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "corpus"))
