#!/usr/bin/env python3
"""Opens the gallery in headless Chromium and checks that every image loaded
with the size its method gives and that every registered method is on the
page, then takes a screenshot of it.

    browser_test.py GALLERY_DIR QVL SCREENSHOT
"""

import html
import os
import re
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tools", "gallery"))
from gallery import registered_methods  # noqa: E402

CHROMIUM = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
            "--virtual-time-budget=20000"]


def loaded_page(page):
    done = subprocess.run(CHROMIUM + ["--dump-dom", "file://" + page], capture_output=True, text=True, timeout=300)
    if 'data-checked="yes"' not in done.stdout:
        sys.exit("gallery test: the page did not finish loading\n" + done.stderr[-2000:])
    return done.stdout


def image_faults(dom):
    images = re.findall(r"<img [^>]*>", dom)
    faults = []
    for image in images:
        source = re.search(r'src="([^"]*)"', image).group(1)
        expect = re.search(r'data-expect="([^"]*)"', image).group(1)
        loaded = re.search(r'data-loaded="([^"]*)"', image)
        if not loaded or loaded.group(1) != expect:
            faults.append("%s: expected %s, loaded %s" % (source, expect, loaded.group(1) if loaded else "nothing"))
    return len(images), faults


def main():
    gallery, qvl, screenshot = os.path.abspath(sys.argv[1]), sys.argv[2], sys.argv[3]
    page = os.path.join(gallery, "index.html")
    dom = loaded_page(page)
    count, faults = image_faults(dom)
    shown = {html.unescape(d) for d in re.findall(r'<h3 class="declaration">(.*?)</h3>', dom)}
    missing = (registered_methods(qvl, "2024.0") | registered_methods(qvl, "2012.0")) - shown
    faults += ["not on the page: " + declaration for declaration in sorted(missing)]
    if count == 0:
        faults.append("no image on the page")
    if faults:
        sys.exit("gallery test:\n  " + "\n  ".join(faults))
    subprocess.run(CHROMIUM + ["--window-size=1280,2400", "--screenshot=" + os.path.abspath(screenshot),
                               "file://" + page], capture_output=True, check=True, timeout=300)
    print("gallery test: %d images loaded at their sizes, %d methods shown; screenshot %s" %
          (count, len(shown), screenshot))


if __name__ == "__main__":
    main()
