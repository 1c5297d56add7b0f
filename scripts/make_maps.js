#!/usr/bin/env node
// Makes the shipped map files cont.map, country.map and zmt.map (see data/README-maps.md).
//
//   mkdir -p /tmp/mapsrc && cd /tmp/mapsrc && npm install world-atlas@2 us-atlas@3 topojson-client@3
//   node scripts/make_maps.js [--src /tmp/mapsrc/node_modules] [--out data] [--text]
//
// Also reads Natural Earth's 1:10m province and state lines from Debian's
// libmagics++-data and the GSHHG lake shores through Debian's gmt (gmt-gshhg-low).
// --text writes the text form of the files instead of the big-endian binary one.
"use strict";

const fs = require("fs");
const path = require("path");
const { execFileSync } = require("child_process");

const args = process.argv.slice(2);
const option = (name, fallback) => {
  const i = args.indexOf(name);
  return i >= 0 ? args[i + 1] : fallback;
};
const SRC = option("--src", "/tmp/mapsrc/node_modules");
const OUT = option("--out", path.join(__dirname, "..", "data"));
const TEXT = args.includes("--text");
const MAGICS = "/usr/share/magics/10m";
const topojson = require(path.join(SRC, "topojson-client"));

// Record identifiers: what a line is, for anyone who reads the files.
const ID_COAST = 1;
const ID_COUNTRY = 2;
const ID_STATE = 3;
const ID_LAKE = 4;
const MAX_RECORD = 8000; // points of one record; longer lines are cut in pieces

// North America and its seas, for zmt.map: lon, lat limits.
const NA = { west: -180, east: -10, south: 5, north: 86 };

const load = (file) => JSON.parse(fs.readFileSync(path.join(SRC, file), "utf8"));

// Lines of a topojson mesh as arrays of [lon, lat].
function mesh(topo, object, filter) {
  return topojson.mesh(topo, topo.objects[object], filter).coordinates;
}

// Natural Earth closes land at the antimeridian and along the South Pole; those
// edges are not coast. Lines are cut where they run along them.
function dropArtificialEdges(lines) {
  const edge = (a, b) =>
    (Math.abs(a[0]) > 179.99 && Math.abs(b[0]) > 179.99 && Math.sign(a[0]) === Math.sign(b[0])) ||
    (a[1] < -89.9 && b[1] < -89.9);
  const out = [];
  for (const line of lines) {
    let piece = [line[0]];
    for (let i = 1; i < line.length; i++) {
      if (edge(line[i - 1], line[i])) {
        if (piece.length > 1) out.push(piece);
        piece = [line[i]];
      } else {
        piece.push(line[i]);
      }
    }
    if (piece.length > 1) out.push(piece);
  }
  return out;
}

// The parts of lines inside a box, each with the first point beyond the box on
// either side so that lines reach the edge.
function clip(lines, box) {
  const inside = (p) => p[0] >= box.west && p[0] <= box.east && p[1] >= box.south && p[1] <= box.north;
  const out = [];
  for (const line of lines) {
    let piece = [];
    for (let i = 0; i < line.length; i++) {
      const keep = inside(line[i]) || (i > 0 && inside(line[i - 1])) || (i + 1 < line.length && inside(line[i + 1]));
      if (keep) {
        piece.push(line[i]);
      } else if (piece.length) {
        if (piece.length > 1) out.push(piece);
        piece = [];
      }
    }
    if (piece.length > 1) out.push(piece);
  }
  return out;
}

// Douglas-Peucker in degrees: drops points closer than tol to the simplified line.
function simplify(line, tol) {
  if (line.length < 3) return line;
  const keep = new Uint8Array(line.length);
  keep[0] = keep[line.length - 1] = 1;
  const stack = [[0, line.length - 1]];
  while (stack.length) {
    const [a, b] = stack.pop();
    const [x0, y0] = line[a];
    const [x1, y1] = line[b];
    const dx = x1 - x0;
    const dy = y1 - y0;
    const len = Math.hypot(dx, dy);
    let far = -1;
    let dmax = tol;
    for (let i = a + 1; i < b; i++) {
      const [x, y] = line[i];
      const d = len > 0 ? Math.abs(dy * (x - x0) - dx * (y - y0)) / len : Math.hypot(x - x0, y - y0);
      if (d > dmax) {
        dmax = d;
        far = i;
      }
    }
    if (far >= 0) {
      keep[far] = 1;
      stack.push([a, far], [far, b]);
    }
  }
  return line.filter((_, i) => keep[i]);
}

// Polylines of a shapefile (type 3 or 5) whose dBase record passes `want`.
function readShapefile(base, want) {
  const dbf = fs.readFileSync(base + ".dbf");
  const count = dbf.readUInt32LE(4);
  const headerLength = dbf.readUInt16LE(8);
  const recordLength = dbf.readUInt16LE(10);
  const fields = [];
  for (let o = 32, at = 1; dbf[o] !== 0x0d; o += 32) {
    const name = dbf.toString("latin1", o, o + 11).replace(/\0.*$/, "");
    fields.push({ name, at, size: dbf[o + 16] });
    at += dbf[o + 16];
  }
  const record = (n) => {
    const r = {};
    const base = headerLength + n * recordLength;
    for (const f of fields) r[f.name] = dbf.toString("latin1", base + f.at, base + f.at + f.size).trim();
    return r;
  };
  const shp = fs.readFileSync(base + ".shp");
  const lines = [];
  for (let o = 100, n = 0; o + 8 <= shp.length && n < count; n++) {
    const length = shp.readUInt32BE(o + 4) * 2;
    const type = shp.readInt32LE(o + 8);
    if ((type === 3 || type === 5) && want(record(n))) {
      const parts = shp.readInt32LE(o + 44);
      const points = shp.readInt32LE(o + 48);
      const first = o + 52 + 4 * parts;
      for (let p = 0; p < parts; p++) {
        const from = shp.readInt32LE(o + 52 + 4 * p);
        const to = p + 1 < parts ? shp.readInt32LE(o + 56 + 4 * p) : points;
        const line = [];
        for (let i = from; i < to; i++) line.push([shp.readDoubleLE(first + 16 * i), shp.readDoubleLE(first + 16 * i + 8)]);
        lines.push(line);
      }
    }
    o += 8 + length;
  }
  return lines;
}

// Lake shores of GSHHG at intermediate resolution, lakes of 300 km2 and more.
function gshhgLakes(box) {
  const text = execFileSync(
    "gmt",
    ["coast", `-R${box.west}/${box.east}/${box.south}/${box.north}`, "-Di", "-A300/2/2", "-M", "-W"],
    { encoding: "utf8", maxBuffer: 1 << 28 }
  );
  const lines = [];
  let line = null;
  for (const row of text.split("\n")) {
    if (row.startsWith(">")) {
      if (line && line.length > 1) lines.push(line);
      line = [];
    } else if (row.trim() && line) {
      const [lon, lat] = row.trim().split(/\s+/).map(Number);
      line.push([lon > 180 ? lon - 360 : lon, lat]);
    }
  }
  if (line && line.length > 1) lines.push(line);
  return lines;
}

// The records of a map file: [id, points] with points as [lat, lon].
function records(lines, id) {
  const out = [];
  for (const line of lines) {
    for (let start = 0; start < line.length - 1; start += MAX_RECORD - 1) {
      const piece = line.slice(start, start + MAX_RECORD);
      if (piece.length > 1) out.push([id, piece.map(([lon, lat]) => [lat, lon])]);
    }
  }
  return out;
}

function bounds(points) {
  let [s, n, w, e] = [90, -90, 180, -180];
  for (const [lat, lon] of points) {
    s = Math.min(s, lat);
    n = Math.max(n, lat);
    w = Math.min(w, lon);
    e = Math.max(e, lon);
  }
  return [s, n, w, e];
}

// Header: count, four bounds (south, north, west, east), identifier; then lat, lon
// pairs. Binary is big-endian: 2-byte count, 4-byte floats and identifier. A
// record of count 0 ends the file.
function writeMap(name, recs) {
  let body;
  if (TEXT) {
    const parts = [];
    for (const [id, pts] of recs) {
      const b = bounds(pts).map((v) => v.toFixed(4));
      parts.push(`${pts.length} ${b.join(" ")} ${id}\n`);
      for (const [lat, lon] of pts) parts.push(`${lat.toFixed(4)} ${lon.toFixed(4)}\n`);
    }
    parts.push("0 0 0 0 0 0\n");
    body = Buffer.from(parts.join(""));
  } else {
    let size = 22;
    for (const [, pts] of recs) size += 22 + 8 * pts.length;
    body = Buffer.alloc(size);
    let o = 0;
    for (const [id, pts] of recs) {
      o = body.writeUInt16BE(pts.length, o);
      for (const v of bounds(pts)) o = body.writeFloatBE(v, o);
      o = body.writeInt32BE(id, o);
      for (const [lat, lon] of pts) {
        o = body.writeFloatBE(lat, o);
        o = body.writeFloatBE(lon, o);
      }
    }
    body.writeUInt16BE(0, o); // the end record; the rest of it stays zero
  }
  const file = path.join(OUT, name);
  fs.writeFileSync(file + ".tmp", body);
  fs.renameSync(file + ".tmp", file);
  const points = recs.reduce((n, [, pts]) => n + pts.length, 0);
  console.log(`${name}: ${recs.length} records, ${points} points, ${body.length} bytes`);
}

const land50 = load("world-atlas/land-50m.json");
const countries50 = load("world-atlas/countries-50m.json");
writeMap("cont.map", records(dropArtificialEdges(mesh(land50, "land")), ID_COAST));
writeMap("country.map", records(mesh(countries50, "countries", (a, b) => a !== b), ID_COUNTRY));

const land10 = load("world-atlas/land-10m.json");
const countries10 = load("world-atlas/countries-10m.json");
const states = load("us-atlas/states-10m.json");
const tol = 0.01; // degrees: about a kilometre, far below a pixel of a national map
const thin = (lines) => lines.map((l) => simplify(l, tol)).filter((l) => l.length > 1);
const provinces = readShapefile(
  path.join(MAGICS, "ne_10m_admin_1_states_provinces_lines"),
  (r) => r.adm0_a3 === "CAN" || r.adm0_a3 === "MEX"
);
writeMap("zmt.map", [
  ...records(thin(clip(dropArtificialEdges(mesh(land10, "land")), NA)), ID_COAST),
  ...records(thin(clip(mesh(countries10, "countries", (a, b) => a !== b), NA)), ID_COUNTRY),
  ...records(thin(mesh(states, "states", (a, b) => a !== b)), ID_STATE),
  ...records(thin(provinces), ID_STATE),
  ...records(thin(gshhgLakes(NA)), ID_LAKE),
]);
