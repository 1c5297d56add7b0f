#!/usr/bin/env python3
"""Converts Hershey fonts (Debian's hershey-fonts-data) into the program's stroke fonts.

    scripts/make_fonts.py [--src /usr/share/hershey-fonts] [--out data]

Writes modern.fnt, sans.fnt, serif.fnt, greek.fnt, symbol.fnt and the font list
zmt.fnl, then reads every file back with a parser of its own and stops with an
error if any glyph differs from its source.

A stroke font is a text file of decimal integers: 255, then each glyph's pairs
(x, y) ending in 255, then 254, then 256 offsets into that byte run (-1 for no
glyph). A pair with x of 128 or more moves the pen to (x - 128, y); below 128 it
draws to (x, y). Units are 105 to the capital height, the baseline at y = 35 and
the lowest descender at y = 0.

Hershey glyphs have 21 units to the capital height with y growing downwards, the
baseline at 9 and descenders to 16, so y' = 35 + 5 * (9 - y) and x' = 5 * (x -
leftmost x of the glyph): the glyph's ink starts at x' = 0 and the drawing layer
adds its own gap between characters. A pen-down x must stay below 128 and a moved
one below 254, so a glyph is at most 25 Hershey units wide; the few glyphs that are
wider or reach past the descender line are shrunk about their centre line to fit.
"""

import argparse
import os
import sys

FONTS = [  # (list name, file, Hershey source)
    ("modern", "modern.fnt", "rowmand"),  # Roman duplex: the default label font
    ("sans", "sans.fnt", "rowmans"),  # Roman simplex, single stroke
    ("serif", "serif.fnt", "timesr"),  # Times Roman
    ("greek", "greek.fnt", "greeks"),  # Greek simplex on the Latin keys
    ("symbol", "symbol.fnt", "symbolic"),  # mathematical and other symbols
]
X_FONTS = [("fixed", "#fixed")]  # a server font every X server has

SCALE = 5
BASELINE_IN = 9  # Hershey baseline
BASELINE_OUT = 35
MAX_WIDTH = 25  # Hershey units: 125 after scaling, the largest moved x
MAX_DOWN = 16  # lowest Hershey y that maps to y' >= 0
MAX_UP = -34  # highest Hershey y that maps to y' <= 253
DB_LIMIT = 15000  # bytes of stroke data a font may hold


def read_jhf(path):
    """Glyph strings of a .jhf file in file order (ASCII 32 onwards)."""
    glyphs = []
    pending = ""
    with open(path, encoding="latin-1") as f:
        for line in f:
            pending += line.rstrip("\r\n")
            try:
                count = int(pending[5:8])
            except ValueError:
                pending = ""
                continue
            if len(pending) - 8 < 2 * count:
                continue  # the glyph goes on on the next line
            glyphs.append(pending[8 : 8 + 2 * count])
            pending = ""
    return glyphs


def strokes_of(glyph):
    """The glyph's strokes as lists of Hershey (x, y) points, the bounds pair dropped."""
    strokes = [[]]
    for i in range(2, len(glyph), 2):
        pair = glyph[i : i + 2]
        if pair == " R":
            strokes.append([])
        else:
            strokes[-1].append((ord(pair[0]) - ord("R"), ord(pair[1]) - ord("R")))
    return [s for s in strokes if s]


def convert(strokes):
    """Strokes in the program's units, each point a pair of non-negative integers."""
    xs = [x for s in strokes for x, _ in s]
    ys = [y for s in strokes for _, y in s]
    left = min(xs)
    shrink = 1.0
    if max(xs) - left > MAX_WIDTH:
        shrink = min(shrink, MAX_WIDTH / (max(xs) - left))
    if max(ys) > MAX_DOWN:
        shrink = min(shrink, MAX_DOWN / max(ys))
    if min(ys) < MAX_UP:
        shrink = min(shrink, MAX_UP / min(ys))
    out = []
    for s in strokes:
        pts = []
        for x, y in s:
            if shrink < 1.0:  # about x = left and the Hershey centre line y = 0
                x = left + (x - left) * shrink
                y = y * shrink
            pts.append((int(round(SCALE * (x - left))), int(round(BASELINE_OUT + SCALE * (BASELINE_IN - y)))))
        out.append(pts)
    return out


def encode(strokes):
    data = []
    for s in strokes:
        x, y = s[0]
        data += [x + 128, y]
        for x, y in s[1:]:
            data += [x, y]
    return data + [255]


def build_font(src):
    """The font's glyph table {code: converted strokes} from a .jhf file."""
    table = {}
    for i, glyph in enumerate(read_jhf(src)):
        strokes = strokes_of(glyph)
        if strokes and 32 + i < 256:
            table[32 + i] = convert(strokes)
    return table


def write_font(path, table, source_name):
    db = [255]
    offsets = [-1] * 256
    lines = ["255"]
    for code in sorted(table):
        offsets[code] = len(db)
        bytes_ = encode(table[code])
        db += bytes_
        lines.append(" ".join(str(b) for b in bytes_))
    lines.append("254")
    if len(db) + 1 > DB_LIMIT:
        sys.exit("%s: %d bytes of strokes, more than %d" % (source_name, len(db) + 1, DB_LIMIT))
    for i in range(0, 256, 16):
        lines.append(" ".join(str(o) for o in offsets[i : i + 16]))
    tmp = path + ".tmp"
    with open(tmp, "w") as f:
        f.write("\n".join(lines) + "\n")
    os.replace(tmp, path)


def parse_font(path):
    """Reads a stroke font back by the file rules alone: {code: strokes}."""
    with open(path) as f:
        words = f.read().split()
    pos = 0
    db = []
    first = int(words[0])
    if first == 255:
        db.append(255)
        pos = 1
        labels = False
    else:
        db.append(255)
        pos = 2
        labels = True
    while True:
        v = int(words[pos])
        pos += 1
        if v == 254:
            db.append(255)
            break
        db.append(v)
        if v == 255 and labels:
            pos += 1
    offsets = [int(w) for w in words[pos : pos + 256]]
    if len(offsets) != 256 or len(db) > DB_LIMIT:
        raise ValueError("%s: bad offset table or data size" % path)
    table = {}
    for code, off in enumerate(offsets):
        if off < 0:
            continue
        strokes = []
        i = off
        while db[i] != 255:
            x, y = db[i], db[i + 1]
            if not 0 <= y <= 253:
                raise ValueError("%s: glyph %d y %d out of range" % (path, code, y))
            if x >= 128:
                strokes.append([(x - 128, y)])
            elif strokes:
                strokes[-1].append((x, y))
            else:
                raise ValueError("%s: glyph %d draws before it moves" % (path, code))
            i += 2
        table[code] = strokes
    return table


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--src", default="/usr/share/hershey-fonts")
    ap.add_argument("--out", default=os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data"))
    args = ap.parse_args()
    for _, name, source in FONTS:
        table = build_font(os.path.join(args.src, source + ".jhf"))
        path = os.path.join(args.out, name)
        write_font(path, table, source)
        if parse_font(path) != table:
            sys.exit("%s: the file does not read back as written" % path)
        print("%-11s from %-9s %3d glyphs" % (name, source, len(table)))
    fnl = os.path.join(args.out, "zmt.fnl")
    with open(fnl + ".tmp", "w") as f:
        for entry, name, _ in FONTS:
            f.write("%-9s %s\n" % (entry, name))
        for entry, ref in X_FONTS:
            f.write("%-9s %s\n" % (entry, ref))
    os.replace(fnl + ".tmp", fnl)


if __name__ == "__main__":
    main()
