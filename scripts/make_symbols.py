#!/usr/bin/env python3
"""Builds data/wx.smb, the weather symbols, from the WMO present-weather symbols
(ww 00 to 99) of Debian's libmagics++-data (/usr/share/magics/symbols.svg).

The SVG draws each symbol in a box of about -0.5 to 0.5 with y up, from
polylines, circles and four drawn shapes (snowflake, drizzle, lightning,
triangle). Each becomes point runs in the unit box (0 to 1, the symbol's centre
at 0.5, 0.5): a run is at most 20 "x,y" tokens ended by "L" (a line) or "F" (a
filled area); a "$" ends an entry. Lines longer than 20 points go on in a second
run from the last point. ww 00 to 03 are empty in the SVG and are drawn here by
hand: a circle alone, with a stroke below (dissolving), on both sides (unchanged)
and above (developing).

Entries are named by the two-digit code, "00" to "99", so a raw file's present
weather value selects its symbol; that is all the hundred entries the reader
keeps.

Usage: make_symbols.py [SVG] [OUTPUT]
"""
import math
import os
import re
import sys

SVG = "/usr/share/magics/symbols.svg"
RUN_MAX = 20
CIRCLE_STEPS = 12
FILLED = {"8", "black", "blue"}


def number(text):
    return float(text.strip().rstrip(","))


def circle(cx, cy, r, steps=CIRCLE_STEPS):
    return [(cx + r * math.cos(2 * math.pi * k / steps), cy + r * math.sin(2 * math.pi * k / steps))
            for k in range(steps + 1)]


def snowflake(cx, cy, r):
    """Three strokes through the centre, six arms."""
    runs = []
    for angle in (90, 30, 150):
        a = math.radians(angle)
        dx, dy = r * math.cos(a), r * math.sin(a)
        runs.append(("L", [(cx - dx, cy - dy), (cx + dx, cy + dy)]))
    return runs


def drizzle(cx, cy, r):
    """A comma: a filled dot and a tail that curls down to the left."""
    dot = circle(cx, cy, 0.35 * r, 8)
    tail = [(cx + 0.35 * r, cy), (cx + 0.3 * r, cy - 0.45 * r), (cx + 0.1 * r, cy - 0.75 * r),
            (cx - 0.2 * r, cy - 0.95 * r)]
    return [("F", dot), ("L", dot), ("L", tail)]


def lightning(cx, cy, r):
    """The thunderstorm sign: a staff, a bar to the right, a zigzag with an arrow."""
    h = 0.5 * r
    staff = [(cx - 0.3 * h, cy - h), (cx - 0.3 * h, cy + h), (cx + 0.4 * h, cy + h),
             (cx + 0.05 * h, cy + 0.1 * h), (cx + 0.45 * h, cy + 0.1 * h), (cx + 0.05 * h, cy - h)]
    head = [(cx + 0.05 * h, cy - 0.7 * h), (cx + 0.05 * h, cy - h), (cx + 0.3 * h, cy - 0.8 * h)]
    return [("L", staff), ("L", head)]


def triangle(cx, cy, r, filled):
    """Apex up for a positive r, down for a negative one."""
    pts = [(cx - r, cy - r), (cx + r, cy - r), (cx, cy + r), (cx - r, cy - r)]
    return ([("F", pts)] if filled else []) + [("L", pts)]


def attributes(tag):
    return {k: v for k, _, v in re.findall(r"(\w+)\s*=\s*(['\"])(.*?)\2", tag, re.S)}


def element_runs(tag, name):
    a = attributes(tag)
    filled = a.get("fill", "none") in FILLED
    if name == "polyline":
        values = [number(v) for v in re.split(r"[\s,]+", a["points"].strip()) if v]
        pts = list(zip(values[0::2], values[1::2]))
        return ([("F", pts)] if filled else []) + [("L", pts)]
    cx, cy, r = number(a.get("cx", "0")), number(a.get("cy", "0")), number(a.get("r", "0"))
    if name == "circle":
        pts = circle(cx, cy, r)
        return ([("F", pts)] if filled else []) + [("L", pts)]
    if name == "snowflake":
        return snowflake(cx, cy, r)
    if name == "drizzle":
        return drizzle(cx, cy, r)
    if name == "lightning":
        return lightning(cx, cy, r)
    if name == "triangle":
        return triangle(cx, cy, r, filled)
    raise ValueError("unknown element " + name)


def by_hand(code):
    ring = [("L", circle(0, 0, 0.35))]
    strokes = {
        0: [],
        1: [[(0, -0.35), (0, -0.55)]],
        2: [[(-0.55, 0), (-0.35, 0)], [(0.35, 0), (0.55, 0)]],
        3: [[(0, 0.35), (0, 0.55)]],
    }
    return ring + [("L", s) for s in strokes[code]]


def split_runs(kind, pts):
    """Runs of at most RUN_MAX points; a line goes on from the last point of the run
    before. An area can't be cut: a longer one is thinned to RUN_MAX points."""
    if len(pts) <= RUN_MAX:
        return [(kind, pts)]
    if kind == "F":
        step = (len(pts) - 1) / (RUN_MAX - 1)
        return [(kind, [pts[round(i * step)] for i in range(RUN_MAX)])]
    runs, start = [], 0
    while start < len(pts) - 1:
        runs.append((kind, pts[start:start + RUN_MAX]))
        start += RUN_MAX - 1
    return runs


def entry(name, runs):
    lines = [name]
    for kind, pts in runs:
        for k, p in split_runs(kind, pts):
            lines.append(" ".join("%.3f,%.3f" % (x + 0.5, y + 0.5) for x, y in p) + " " + k)
    lines.append("$")
    return "\n".join(lines) + "\n"


def main():
    svg = sys.argv[1] if len(sys.argv) > 1 else SVG
    out = sys.argv[2] if len(sys.argv) > 2 else "data/wx.smb"
    with open(svg) as f:
        text = f.read()
    groups = dict(re.findall(r"<g id=['\"]ww_(\d\d)['\"]>(.*?)</g>", text, re.S))
    body = []
    for code in range(100):
        runs = []
        for name, tag in re.findall(r"<(polyline|circle|snowflake|drizzle|lightning|triangle)\b"
                                    r"([^>]*)/?>", groups.get("%02d" % code, ""), re.S):
            runs += element_runs(tag, name)
        if not runs:
            runs = by_hand(code)
        body.append(entry("%02d" % code, runs))
    tmp = out + ".tmp"
    with open(tmp, "w") as f:
        f.write("".join(body))
    os.replace(tmp, out)
    print("%s: %d symbols" % (out, len(body)))


if __name__ == "__main__":
    main()
