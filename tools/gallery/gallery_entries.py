"""What the gallery shows: one entry per registered method (and both job
classes), grouped as the reference groups them."""

import math
import os

from gallery import counters, read_picture_string, write_png


def solid(width, height, rgb):
    return [bytes(rgb) * width for _ in range(height)]


def chart_rows(width=320, height=200):
    """A grey picture with coloured specks and blocks: a diagonal pair, an L,
    a ring and two overlapping blocks, the shapes the rectangle mask groups."""
    pixels = [[(200 - y // 4,) * 3 for x in range(width)] for y in range(height)]

    def paint(x, y, rgb=(255, 0, 0)):
        pixels[y][x] = rgb

    paint(20, 20)
    paint(40, 30), paint(41, 31)
    paint(70, 20), paint(71, 20), paint(71, 21)
    for i in range(12):
        paint(110 + i, 20), paint(110 + i, 31), paint(110, 20 + i), paint(121, 20 + i)
    for x in range(150, 200):
        for y in range(60, 100):
            paint(x, y, (0, 0, 255))
    for x in range(185, 240):
        for y in range(90, 140):
            paint(x, y, (255, 0, 0))
    for y in range(150, 190):
        for x in range(30 + (y - 150), 90 + (y - 150), 3):
            paint(x, y, (30, 160, 60))
    return [bytes(v for rgb in row for v in rgb) for row in pixels]


def alpha_rows(width=256, height=160):
    """Colours with an alpha ramp from transparent at the left to opaque at the right."""
    rows = []
    for y in range(height):
        row = bytearray()
        for x in range(width):
            row += bytes((x, 255 - y, (x + y) // 2 & 255, x))
        rows.append(bytes(row))
    return rows


def table_file(path, entry):
    with open(path, "wb") as table:
        table.write(bytes(min(255, max(0, int(entry(v)))) for v in range(256)))


def chirp_file(path, count=48000):
    """A rising tone that swells and fades, as unsigned 8-bit samples."""
    samples = bytearray()
    for i in range(count):
        t = i / count
        samples.append(128 + int(120 * math.sin(t * math.pi) * math.sin(2 * math.pi * (20 + 400 * t) * t)))
    with open(path, "wb") as out:
        out.write(samples)


def add_made_pictures(g):
    made = {}
    for name, size, rows, alpha in (("chart.png", (320, 200), chart_rows(), False),
                                    ("alpha.png", (256, 160), alpha_rows(), True),
                                    ("white.png", (64, 64), solid(64, 64, (255, 255, 255)), False),
                                    ("black.png", (64, 64), solid(64, 64, (0, 0, 0)), False),
                                    ("grey.png", (64, 64), solid(64, 64, (120, 121, 120)), False)):
        write_png(g.path("work/" + name), size[0], size[1], rows, alpha)
        made[name] = g.add_source(g.path("work/" + name), size)
    return made


def add_needle(g, photo, x, y, size=48):
    """A piece of a photograph cut out through its picture string."""
    string = "work/needle-source.ppic"
    g.call(["PicturetoBinaryStringQVL", photo, "-o", string])
    _, _, rows = read_picture_string(g.path(string))
    piece = [row[x * 3:(x + size) * 3] for row in rows[y:y + size]]
    write_png(g.path("work/needle.png"), size, size, piece)
    return g.add_source(g.path("work/needle.png"), (size, size))


def add_tone(g, fruits, size):
    g.section("Tone filters", "Every channel through one transfer function; 127 is the contrast pivot.")
    cases = [
        ("ChangeContrastQVL(Contrast as double) as picture", ["0.6"], ""),
        ("ChangeContrastQVL(ContrastRed as double, ContrastGreen as double, ContrastBlue as double) as picture",
         ["0.8", "0", "-0.4"], ""),
        ("ChangeBrightnessAbsoluteQVL(Brightness as double) as picture", ["60"], ""),
        ("ChangeBrightnessAbsoluteQVL(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double)"
         " as picture", ["50", "0", "-50"], ""),
        ("ChangeBrightnessLinearQVL(Brightness as double) as picture", ["300"],
         "Linear brightness alone does not clamp: 300 wraps round (black becomes 44)."),
        ("ChangeBrightnessLinearQVL(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double)"
         " as picture", ["80", "0", "-80"], ""),
        ("ChangeContrastBrightnessAbsoluteQVL(Contrast as double, Brightness as double) as picture",
         ["0.5", "-30"], ""),
        ("ChangeContrastBrightnessAbsoluteQVL(ContrastRed as double, ContrastGreen as double, ContrastBlue as double,"
         " BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture",
         ["0.5", "0.5", "0.5", "30", "0", "-30"], ""),
        ("ChangeContrastBrightnessLinearQVL(Contrast as double, Brightness as double) as picture", ["0", "300"],
         "The same squeeze clamps here: 300 turns everything white."),
        ("ChangeContrastBrightnessLinearQVL(ContrastRed as double, ContrastGreen as double, ContrastBlue as double,"
         " BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture",
         ["0.4", "0.4", "0.4", "60", "30", "-60"], ""),
        ("ChangeCustomQVL(a as double, b as double) as picture", ["1.5", "-63.5"], ""),
        ("ChangeCustomQVL(Ra as double, Rb as double, Ga as double, Gb as double, Ba as double, Bb as double)"
         " as picture", ["2", "0", "0.5", "0", "1", "0"],
         "Green takes its gain from Ra: green is doubled, not halved."),
    ]
    for index, (declaration, arguments, note) in enumerate(cases):
        name = declaration.split("(")[0]
        g.entry([declaration], note, [name, fruits] + arguments, [fruits], size, result_name="tone%d" % index)


def add_filters(g, photos, sizes, made):
    fruits, baboon, building = photos
    g.section("Threshold, invert, tint and saturation")
    g.entry(["ThresholdQVL(Threshold as integer) as picture"], "White where green and blue both reach 128; red is "
            "not looked at.", ["ThresholdQVL", building, "128"], [building], sizes[building], result_name="threshold")
    g.entry(["InvertQVL as picture"], "", ["InvertQVL", baboon], [baboon], sizes[baboon], result_name="invert")
    g.entry(["InvertQVL(left as integer,top as integer,width as integer,height as integer) as picture"],
            "Only the rectangle is written; the rest is a new picture.", ["InvertQVL", baboon, "128", "128", "256",
                                                                          "256"], [baboon], sizes[baboon],
            result_name="invert-rect")
    g.entry(["InvertQVL as picture"], "Alpha is kept; the straight colours are inverted.",
            ["InvertQVL", made["alpha.png"]], [made["alpha.png"]], (256, 160), result_name="invert-alpha")
    g.entry(["InvertGrayQVL as picture"], "Only grey pixels are inverted.", ["InvertGrayQVL", made["chart.png"]],
            [made["chart.png"]], (320, 200), result_name="invertgray")
    g.entry(["InvertGrayQVL(left as integer,top as integer,width as integer,height as integer) as picture"],
            "A negative width reaches the edge; 0 would be empty.", ["InvertGrayQVL", building, "0", "0", "-1",
                                                                      "200"], [building], sizes[building],
            result_name="invertgray-rect")
    g.entry(["TintPictureQVL(source as picture, GreyBase as color, SepiaBase as color) as picture"], "",
            ["TintPictureQVL", fruits, "&c4C961D", "&cFFE0B0"], [fruits], sizes[fruits], result_name="tint")
    g.entry(["ChangeSaturationQVL(Amount as integer) as picture"], "", ["ChangeSaturationQVL", fruits, "150"],
            [fruits], sizes[fruits], result_name="saturation")


def add_colour(g, photos, sizes, made):
    fruits, baboon, _ = photos
    chart = made["chart.png"]
    g.section("Colour replacement and channels")
    g.entry(["ReplaceColorQVL(SearchColor as color, ReplaceWithColor as color) as picture"], "Exact colour only.",
            ["ReplaceColorQVL", chart, "&cFF0000", "&cFFC000"], [chart], (320, 200), result_name="replace")
    g.entry(["ExtractColorQVL(SearchColor as color, ReplaceWithColor as color, BackGroundColor as color) as picture"],
            "", ["ExtractColorQVL", chart, "&c0000FF", "&c000000", "&cFFFFFF"], [chart], (320, 200),
            result_name="extract")
    table_file(g.path("work/invert.table"), lambda v: 255 - v)
    table_file(g.path("work/identity.table"), lambda v: v)
    table_file(g.path("work/zero.table"), lambda v: 0)
    g.entry(["TransformColorsQVL(red as memoryblock, blue as memoryblock, green as memoryblock, dest as picture = nil)"
             " as picture"], "The second table is blue's: red inverted, blue kept, green zeroed.",
            ["TransformColorsQVL", fruits, "work/invert.table", "work/identity.table", "work/zero.table", "nil"],
            [fruits], sizes[fruits], result_name="transformcolors")
    for channel in ("Red", "Green", "Blue"):
        g.entry(["Replace%sChannelQVL(%sChannel as picture) as picture" % (channel, channel)],
                "A larger channel picture is accepted; its top-left part is used.",
                ["Replace%sChannelQVL" % channel, fruits, baboon], [fruits, baboon], sizes[fruits],
                result_name="replace" + channel.lower())
    g.call(["InvertQVL", fruits, "-o", "work/fruits-inverted.png"])
    g.call(["ThresholdQVL", fruits, "100", "-o", "work/fruits-threshold.png"])
    inverted = g.add_source(g.path("work/fruits-inverted.png"), sizes[fruits])
    threshold = g.add_source(g.path("work/fruits-threshold.png"), sizes[fruits])
    g.entry(["CombinePicturesQVL(red as picture, blue as picture, green as picture) as picture"],
            "Crossed order: the second picture gives blue, the third green.",
            ["CombinePicturesQVL", fruits, inverted, threshold], [fruits, inverted, threshold], sizes[fruits],
            result_name="combine")
    g.entry(["MergePictureQVL(source1 as picture, source2 as picture) as picture"], "The larger of each channel.",
            ["MergePictureQVL", fruits, inverted], [fruits, inverted], sizes[fruits], result_name="merge")


def add_masks(g, photos, sizes, made):
    fruits = photos[0]
    chart, alpha = made["chart.png"], made["alpha.png"]
    g.section("Masks")
    g.entry(["HasMaskQVL as boolean"], "", ["HasMaskQVL", fruits], [fruits])
    g.entry(["EmbeddedMaskQVL(swap as boolean) as picture"], "The alpha channel as grey.",
            ["EmbeddedMaskQVL", alpha, "false"], [alpha], (256, 160), result_name="embeddedmask")
    g.entry(["EmbeddedMaskQVL(swap as boolean) as picture"], "Assigning: the mask's red goes into byte 0 of "
            "every pixel, the alpha of this layout.", ["EmbeddedMaskQVL", fruits, "false", chart], [fruits, chart],
            sizes[fruits], result_name="embeddedmask-set")
    g.entry(["ExtractColorRectangleMaskQVL as picture"], "Diagonal neighbours stay apart; a ring fills; "
            "overlapping blocks show their union.", ["ExtractColorRectangleMaskQVL", chart], [chart], (320, 200),
            result_name="rectmask")
    g.entry(["ExtractColorRectangleMaskQVL(left as integer,top as integer,width as integer,height as integer)"
             " as picture"], "With top 40 the marks land 40 rows below the pixels that made them.",
            ["ExtractColorRectangleMaskQVL", chart, "0", "40", "-1", "-1"], [chart], (320, 200),
            result_name="rectmask-top")


def add_analysis(g, photos, sizes, made):
    fruits = photos[0]
    chart, white, black, grey = made["chart.png"], made["white.png"], made["black.png"], made["grey.png"]
    g.section("Analysis", "Answers, not pictures.")
    g.entry(["CountColorQVL(col as color) as integer"], "", ["CountColorQVL", chart, "&cFF0000"], [chart])
    printed = g.call(["CountColorsQVL", fruits, "nil", "nil", "nil", "0"])
    charts = [("first block: red", counters(printed, "red")), ("second block, named blue: green",
                                                              counters(printed, "blue")),
              ("third block, named green: blue", counters(printed, "green"))]
    count_line = [line for line in printed.splitlines() if line.startswith("count = ")]
    g.entry(["CountColorsQVL(byref red as memoryblock, byref blue as memoryblock, byref green as memoryblock, byref "
             "count as integer)"], "Crossed blocks: the one named blue holds green.",
            ["CountColorsQVL", fruits, "nil", "nil", "nil", "0"], [fruits], values="\n".join(count_line),
            charts=charts)
    g.entry(["isWhiteQVL as boolean"], "", ["isWhiteQVL", white], [white])
    g.entry(["isWhiteQVL(left as integer,top as integer,width as integer,height as integer) as boolean"], "",
            ["isWhiteQVL", fruits, "0", "0", "10", "10"], [fruits])
    g.entry(["isBlackQVL as boolean"], "", ["isBlackQVL", black], [black])
    g.entry(["isBlackQVL(left as integer,top as integer,width as integer,height as integer) as boolean"],
            "An empty rectangle is black.", ["isBlackQVL", fruits, "0", "0", "0", "-1"], [fruits])
    g.entry(["isGrayQVL(tolerance as integer = 0) as boolean"], "Within 1 of grey.", ["isGrayQVL", grey, "-1"],
            [grey])
    g.entry(["isGrayQVL(tolerance as integer, left as integer,top as integer,width as integer,height as integer)"
             " as boolean"], "", ["isGrayQVL", chart, "0", "0", "100", "-1", "-1"], [chart])
    g.entry(["ColornessQVL(threshold as integer = 10) as double"], "Share of coloured pixels.",
            ["ColornessQVL", fruits, "10"], [fruits])
    needle = add_needle(g, fruits, 300, 200)
    g.entry(["FindPictureQVL(pic as picture, byref x as integer, byref y as integer, StartX as Integer = 0, "
             "StartY as Integer = 0, Tolerance as Integer = 3) as boolean"], "The needle was cut at (300, 200).",
            ["FindPictureQVL", fruits, needle, "0", "0", "0", "0", "3"], [fruits, needle])


def add_scrolls(g, photos, sizes):
    baboon = photos[1]
    size = sizes[baboon]
    g.section("Scrolling", "The picture itself changes; freed pixels are white.")
    g.entry(["ScrollVerticalQVL(delta as integer, wrap as boolean, scrollmask as boolean) as boolean"], "",
            ["ScrollVerticalQVL", baboon, "100", "true", "false"], [baboon], size, result_name="scroll-vertical")
    g.entry(["ScrollHorizontalQVL(delta as integer, wrap as boolean, scrollmask as boolean) as boolean"],
            "Positive and without wrap: the content moves 80 pixels for a delta of 40, only 40 are whitened, and "
            "each row takes what the row above pushed past its end.",
            ["ScrollHorizontalQVL", baboon, "40", "false", "false"], [baboon], size, result_name="scroll-horizontal")
    g.entry(["ScrollHorizontalQVL(delta as integer, wrap as boolean, scrollmask as boolean) as boolean"],
            "The same delta with wrap.", ["ScrollHorizontalQVL", baboon, "40", "true", "false"], [baboon], size,
            result_name="scroll-horizontal-wrap")
    g.entry(["ScrollQVL(deltaX as integer, deltaY as integer, wrap as boolean, scrollmask as boolean) as boolean"],
            "", ["ScrollQVL", baboon, "-60", "60", "true", "false"], [baboon], size, result_name="scroll")


def add_waveforms(g, speech):
    g.section("Waveforms")
    declaration = ("RenderSamplesQVL(Samples as memoryblock, SampleCount as integer, Smooth as integer, Width as "
                   "integer, Height as integer, outlinewidth as integer, BackColor as color=&c88B5C4, ForeColor as "
                   "color=&c274C5A, OutLineColor as color=&c203F4E, Bits as Integer = 8, AutoScale as boolean = false)"
                   " as Picture")
    shutil_copy(speech, g.path("work/speech.wav"))
    g.entry([declaration], "A spoken sentence (signed 16-bit samples), antialiased outline.",
            ["RenderSamplesQVL", "work/speech.wav", "0", "32", "1200", "300", "1", "&c88B5C4", "&c274C5A",
             "&c203F4E", "15", "true"], [], (1200, 300), result_name="speech")
    chirp_file(g.path("work/chirp.raw"))
    g.entry([declaration], "A rising tone, unsigned 8-bit, outline 3 pixels wide drawn by the host.",
            ["RenderSamplesQVL", "work/chirp.raw", "0", "1", "800", "200", "3", "&cF0F0E0", "&c6080C0", "&c203060",
             "8", "false"], [], (800, 200), result_name="chirp")


def shutil_copy(source, target):
    with open(source, "rb") as data, open(target, "wb") as copy:
        copy.write(data.read())


def add_strings(g, photos, sizes):
    fruits = photos[0]
    g.section("Picture strings")
    g.call(["PicturetoBinaryStringQVL", fruits, "-o", "results/fruits.ppic"])
    width, height = sizes[fruits]
    g.entry(["PicturetoBinaryStringQVL(p as picture) as string"], "40 bytes of header and 3 bytes a pixel.",
            ["PicturetoBinaryStringQVL", fruits, "-o", "results/fruits.ppic"], [fruits],
            values="%d bytes" % os.path.getsize(g.path("results/fruits.ppic")))
    g.entry(["BinaryStringtoPictureQVL(data as String) as Picture"], "", ["BinaryStringtoPictureQVL",
                                                                         "@results/fruits.ppic"], [], (width, height),
            result_name="from-string")


def add_jobs(g, photos, sizes, lut):
    fruits, _, building = photos
    g.section("Job classes")
    shutil_copy(lut, g.path("work/warm.cube"))
    g.entry(["Run as boolean", "Close"], "PictureSepiaQVL with offsets 40, 20, -10.",
            ["PictureSepiaQVL.Run", "SourcePicture=" + fruits, "SepiaRed=40", "SepiaGreen=20", "SepiaBlue=-10"],
            [fruits], sizes[fruits], result_name="sepia")
    g.entry(["Run as boolean"], "MinX and MaxX only shorten the walk from column 0: columns 0 to 199 are done, the "
            "rest is the new picture.", ["PictureSepiaQVL.Run", "SourcePicture=" + building, "MinX=100", "MaxX=300",
                                         "SepiaRed=30"], [building], sizes[building], result_name="sepia-rect")
    g.entry(["Run as boolean", "Table(r as UInt32, g as UInt32, b as UInt32, x as UInt32) as double", "Close"],
            "PictureLut3DQVL with a warm grade from a .cube file.",
            ["PictureLut3DQVL.Run", "SourcePicture=" + fruits, "--lut", "work/warm.cube"], [fruits], sizes[fruits],
            result_name="lut")


def add_mobile(g, photos):
    fruits = photos[0]
    g.section("iOSPictureQVL", "On this platform every call refuses (Xojo 2020.02 and later).")
    cases = [
        ("VideoAtPathIsCompatibleWithSavedPhotosAlbum(VideoPath as String) as Boolean", ["clip.mov"]),
        ("VideoAtPathIsCompatibleWithSavedPhotosAlbum(VideoFile as FolderItem) as Boolean", [fruits]),
        ("WriteImageToSavedPhotosAlbum(Pic as Picture, CompletionDelegate as ImageSaveCompletedQVL)", [fruits, "nil"]),
        ("SaveVideoAtPathToSavedPhotosAlbum(VideoPath as String, CompletionDelegate as VideoSaveCompletedQVL)",
         ["clip.mov", "nil"]),
        ("SaveVideoAtPathToSavedPhotosAlbum(VideoFile as FolderItem, CompletionDelegate as VideoSaveCompletedQVL)",
         [fruits, "nil"]),
        ("SaveImageAtPathToSavedPhotosAlbum(ImagePath as String, CompletionDelegate as ImageSaveCompletedQVL)",
         ["photo.jpg", "nil"]),
        ("SaveImageAtPathToSavedPhotosAlbum(ImageFile as FolderItem, CompletionDelegate as ImageSaveCompletedQVL)",
         [fruits, "nil"]),
    ]
    for declaration, arguments in cases:
        name = "iOSPictureQVL." + declaration.split("(")[0]
        g.entry([declaration], "", [name] + arguments, [], expect_status=1, host_version="2020.02")


def add_all(g, options):
    photos = [g.add_source(os.path.join(options.photos, name)) for name in ("fruits.jpg", "baboon.jpg",
                                                                             "building.jpg")]
    sizes = dict(g.sizes)
    made = add_made_pictures(g)
    add_tone(g, photos[0], sizes[photos[0]])
    add_filters(g, photos, sizes, made)
    add_colour(g, photos, sizes, made)
    add_masks(g, photos, sizes, made)
    add_analysis(g, photos, sizes, made)
    add_scrolls(g, photos, sizes)
    add_waveforms(g, options.speech)
    add_strings(g, photos, sizes)
    add_jobs(g, photos, sizes, options.lut)
    add_mobile(g, photos)
