#!/usr/bin/env python3
"""Checks docs/reference.md against what the plug-in registers: every
declaration that qvl list shows, on both registration routes, has its entry,
and every entry names something registered.

    reference_test.py QVL REFERENCE_MD

An entry is a heading ### `DECLARATION` (or ### `MODULE`). A class and
iOSPictureQVL have a section ## NAME, and their members stand in it;
everything else may stand in any section.
"""

import os
import re
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tools", "gallery"))
from gallery import method_name  # noqa: E402

# Owners that group their members under their own name in the reference; the
# extension of Picture and the global methods are grouped by family instead.
NAMED_OWNERS = ("module iOSPictureQVL", "class PictureSepiaQVL", "class PictureLut3DQVL")


def member(line):
    """A listed member as the reference heads it: properties and delegates
    without their kind, methods named as the tables write them."""
    text = re.sub(r"\s+flags 0x[0-9A-F]+.*$", "", line.strip())
    kind = re.match(r"(shared )?(property|delegate) ", text)
    if kind:
        return text[kind.end():]
    return method_name(re.sub(r"^shared ", "", text))


def registered(qvl, host_version):
    listing = subprocess.run([qvl, "--host-version", host_version, "list"], capture_output=True, text=True,
                             check=True).stdout
    entries, owner = set(), ""
    for line in listing.splitlines():
        if not line.startswith("  "):
            header = re.sub(r"\s+flags 0x[0-9A-F]+$", "", line)
            owner = header.split()[-1] if header in NAMED_OWNERS else ""
            if re.match(r"(module|class) \S+$", header):
                entries.add(("", header.split()[-1]))
            continue
        entries.add((owner, member(line)))
    return entries


def documented(path):
    entries, owner = set(), ""
    with open(path, encoding="utf-8") as reference:
        for line in reference:
            section = re.match(r"## (\S+)\s*$", line)
            if line.startswith("## "):
                owner = section.group(1) if section and any(n.endswith(" " + section.group(1))
                                                             for n in NAMED_OWNERS) else ""
                if owner:
                    entries.add(("", owner))
            entry = re.match(r"### `(.+)`\s*$", line)
            if entry:
                entries.add((owner, entry.group(1)))
    return entries


def main():
    qvl, reference = sys.argv[1], sys.argv[2]
    listed = registered(qvl, "2024.0") | registered(qvl, "2012.0")
    written = documented(reference)
    faults = ["no entry: %s%s" % (owner + ": " if owner else "", text) for owner, text in sorted(listed - written)]
    faults += ["entry for nothing registered: %s%s" % (owner + ": " if owner else "", text)
               for owner, text in sorted(written - listed)]
    if faults:
        sys.exit("reference test:\n  " + "\n  ".join(faults))
    print("reference test: %d entries, all registered" % len(written))


if __name__ == "__main__":
    main()
