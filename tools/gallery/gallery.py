#!/usr/bin/env python3
"""Writes the gallery: every registered method and both job classes of the
plug-in applied to example photographs through the qvl tool, each result
beside its sources under the command line that made it.

    gallery.py --qvl QVL --photos DIR --speech WAV --lut CUBE --out DIR

The page (DIR/index.html) works from the file system: no server, no script
from elsewhere. Every image carries the size it must have (data-expect); a
small script of the page's own writes the size each image loaded with
(data-loaded), which the browser test compares.
"""

import argparse
import html
import os
import re
import shlex
import shutil
import struct
import subprocess
import sys
import zlib


def write_png(path, width, height, rows, alpha=False):
    """Writes 8-bit RGB or RGBA rows (bytes per row) as a PNG file."""
    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)

    raw = b"".join(b"\0" + row for row in rows)
    header = struct.pack(">IIBBBBB", width, height, 8, 6 if alpha else 2, 0, 0, 0)
    with open(path, "wb") as out:
        out.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(raw, 9)) +
                  chunk(b"IEND", b""))


def read_picture_string(path):
    """Width, height and RGB rows of a binary picture string ("PPIC")."""
    with open(path, "rb") as source:
        data = source.read()
    if data[:4] != b"PPIC":
        raise ValueError(path + ": not a picture string")
    width, height, _, offset = struct.unpack(">iiii", data[8:24])
    rows = [data[offset + y * width * 3:offset + (y + 1) * width * 3] for y in range(height)]
    return width, height, rows


def counters(printed, name):
    """The 256 little-endian 32-bit counters of a memory block printed as hex."""
    match = re.search(r"^%s = ([0-9a-f]+)$" % name, printed, re.M)
    return list(struct.unpack("<256I", bytes.fromhex(match.group(1))[:1024]))


def method_name(listed):
    """A declaration as qvl list shows it, named as the tables write it: the
    extends parameter of the generated modules and the setter mark taken
    out, an assigning form written as the method it assigns to."""
    declaration = re.sub(r"\s+flags 0x[0-9A-F]+.*$", "", listed.strip()).replace(" [setter]", "")
    declaration = declaration.replace("(extends ref as Picture, ", "(").replace("(extends ref as Picture)", "")
    return re.sub(r"^(\w+)\((.*), assigns value as (\w+)\)$", r"\1(\2) as \3", declaration)


def registered_methods(qvl, host_version):
    """The method declarations that qvl list shows for a host version."""
    listing = subprocess.run([qvl, "--host-version", host_version, "list"], capture_output=True, text=True,
                             check=True).stdout
    return {method_name(line) for line in listing.splitlines()
            if line.startswith("  ") and not re.match(r"\s+(shared )?(property|delegate) ", line)}


class Gallery:
    def __init__(self, qvl, out):
        self.qvl = qvl
        self.out = out
        self.sections = []
        self.shown = set()
        self.sizes = {}
        for folder in ("sources", "results", "work"):
            os.makedirs(os.path.join(out, folder), exist_ok=True)

    def path(self, name):
        return os.path.join(self.out, name)

    def add_source(self, source_path, size=None):
        """Copies a picture next to the page; its size is measured through
        the plug-in's own picture string unless given."""
        name = "sources/" + os.path.basename(source_path)
        shutil.copyfile(source_path, self.path(name))
        if size is None:
            string = "work/" + os.path.basename(name) + ".ppic"
            self.call(["PicturetoBinaryStringQVL", name, "-o", string])
            size = read_picture_string(self.path(string))[:2]
        self.sizes[name] = size
        return name

    def call(self, arguments, expect_status=0, host_version=None):
        command = [self.qvl] + (["--host-version", host_version] if host_version else []) + arguments
        done = subprocess.run(command, cwd=self.out, capture_output=True, text=True)
        if done.returncode != expect_status:
            raise RuntimeError("%s: exit status %d\n%s" % (shlex.join(command), done.returncode, done.stderr))
        return done.stdout + done.stderr

    def section(self, title, text=""):
        self.sections.append({"title": title, "text": text, "entries": []})

    def entry(self, declarations, note, arguments, sources, result_size=None, values=None, charts=None,
              expect_status=0, host_version=None, result_name=None):
        """Runs one qvl call and records it under the declarations it shows.
        A picture result goes to results/RESULT_NAME.png and must be
        result_size; what the call prints is shown unless values say
        otherwise."""
        arguments = list(arguments)
        result = None
        if result_size:
            result = "results/%s.png" % result_name
            arguments += ["-o", result]
            self.sizes[result] = result_size
        printed = self.call(arguments, expect_status, host_version)
        command = shlex.join(["qvl"] + (["--host-version", host_version] if host_version else []) + arguments)
        self.sections[-1]["entries"].append({
            "declarations": declarations, "note": note, "command": command, "sources": sources, "result": result,
            "printed": printed.strip() if values is None else values, "charts": charts or []})
        self.shown.update(declarations)

    def figure(self, picture, caption):
        width, height = self.sizes[picture]
        return ('<figure><img src="%s" alt="%s" data-expect="%dx%d"><figcaption>%s</figcaption></figure>' %
                (html.escape(picture), html.escape(caption), width, height, html.escape(caption)))

    def render_entry(self, entry):
        parts = ["<article>"]
        parts += ['<h3 class="declaration">%s</h3>' % html.escape(d) for d in entry["declarations"]]
        if entry["note"]:
            parts.append('<p class="note">%s</p>' % html.escape(entry["note"]))
        parts.append("<pre>%s</pre>" % html.escape(entry["command"]))
        parts.append('<div class="row">')
        parts += [self.figure(source, os.path.basename(source)) for source in entry["sources"]]
        if entry["result"]:
            parts.append(self.figure(entry["result"], "result"))
        parts += [histogram_svg(title, counts) for title, counts in entry["charts"]]
        parts.append("</div>")
        if entry["printed"]:
            parts.append('<pre class="values">%s</pre>' % html.escape(entry["printed"]))
        parts.append("</article>")
        return parts

    def render(self):
        parts = [PAGE_HEAD, "<nav>" + " · ".join('<a href="#s%d">%s</a>' % (i, html.escape(s["title"]))
                                                 for i, s in enumerate(self.sections)) + "</nav>"]
        for index, section in enumerate(self.sections):
            parts.append('<section id="s%d"><h2>%s</h2>' % (index, html.escape(section["title"])))
            if section["text"]:
                parts.append("<p>%s</p>" % html.escape(section["text"]))
            parts.append('<div class="cards">')
            for entry in section["entries"]:
                parts += self.render_entry(entry)
            parts.append("</div></section>")
        parts.append(PAGE_TAIL)
        with open(self.path("index.html"), "w", encoding="utf-8") as page:
            page.write("\n".join(parts))


def histogram_svg(title, counts):
    """A small bar chart of 256 counters as inline SVG."""
    top = max(counts) or 1
    bars = "".join('<rect x="%d" y="%.1f" width="1" height="%.1f"/>' % (v, 100 - 100 * c / top, 100 * c / top)
                   for v, c in enumerate(counts) if c)
    return ('<figure class="chart"><svg viewBox="0 0 256 100" width="256" height="100" role="img" '
            'aria-label="%s">%s</svg><figcaption>%s</figcaption></figure>' %
            (html.escape(title), bars, html.escape(title)))


PAGE_HEAD = """<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>PictureQVL gallery</title>
<style>
body{font:15px/1.4 system-ui,sans-serif;margin:2em;color:#222}
nav{margin-bottom:1em}.cards{display:grid;grid-template-columns:repeat(auto-fill,minmax(600px,1fr));gap:1em}
article{border:1px solid #ccc;border-radius:6px;padding:.6em}
h3.declaration{font:600 14px ui-monospace,monospace;margin:.2em 0}
pre{background:#f4f4f4;padding:.4em;white-space:pre-wrap;word-break:break-all;font-size:13px}
.row{display:flex;flex-wrap:wrap;gap:1em;align-items:flex-start}
figure{margin:0}figure img{max-width:180px;max-height:180px;border:1px solid #ddd;background:
repeating-conic-gradient(#ddd 0 25%,#fff 0 50%) 0 0/16px 16px}
figcaption{font-size:12px;color:#555}.note{margin:.2em 0}.chart svg{background:#fafafa;fill:#345}
</style></head><body>
<h1>PictureQVL gallery</h1>
<p>Every method of the plug-in, run by the <code>qvl</code> tool in the embedded host on example
photographs. Each result stands beside its sources, under the command line that made it.</p>"""

PAGE_TAIL = """<script>
// Records the size each image loaded with, for the gallery's browser test.
window.addEventListener("load", function () {
  document.querySelectorAll("img").forEach(function (img) {
    img.dataset.loaded = img.complete && img.naturalWidth ? img.naturalWidth + "x" + img.naturalHeight : "none";
  });
  document.body.dataset.checked = "yes";
});
</script></body></html>"""


def main():
    parser = argparse.ArgumentParser()
    for option in ("--qvl", "--photos", "--speech", "--lut", "--out"):
        parser.add_argument(option, required=True)
    options = parser.parse_args()
    qvl = os.path.abspath(options.qvl)
    options.speech, options.lut = os.path.abspath(options.speech), os.path.abspath(options.lut)
    if os.path.isdir(options.out):
        shutil.rmtree(options.out)
    gallery = Gallery(qvl, options.out)
    import gallery_entries
    gallery_entries.add_all(gallery, options)
    gallery.render()
    missing = (registered_methods(qvl, "2024.0") | registered_methods(qvl, "2012.0")) - gallery.shown
    if missing:
        sys.exit("gallery: not shown: " + "; ".join(sorted(missing)))
    print("Gallery written to " + os.path.join(options.out, "index.html"))


if __name__ == "__main__":
    main()
