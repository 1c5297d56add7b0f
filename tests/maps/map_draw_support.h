// Map files written by the map drawing tests, and a lattice of crosses with PROJ's positions.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "maps/map_draw.h"
#include "maps/projections.h"
#include "test_support.h"

namespace sat_test {

using Records = std::vector<std::vector<std::pair<float, float>>>;

// A map file in the text form, one record per line of (lat, lon) points.
inline std::string text_map(const Records& records) {
    std::string out;
    char buf[96];
    for (const auto& r : records) {
        std::snprintf(buf, sizeof buf, "%zu 0 0 0 0 7\n", r.size());
        out += buf;
        for (auto [lat, lon] : r) {
            std::snprintf(buf, sizeof buf, "%.5f %.5f\n", lat, lon);
            out += buf;
        }
    }
    return out + "0 0 0 0 0 0\n";
}

// The same in the big-endian binary form.
inline std::string binary_map(const Records& records) {
    std::string out;
    auto put32 = [&](uint32_t v) {
        for (int s = 24; s >= 0; s -= 8) out.push_back(static_cast<char>(v >> s));
    };
    auto putf = [&](float f) {
        uint32_t v;
        std::memcpy(&v, &f, 4);
        put32(v);
    };
    for (const auto& r : records) {
        out.push_back(static_cast<char>(r.size() >> 8));
        out.push_back(static_cast<char>(r.size()));
        for (int i = 0; i < 4; ++i) putf(0.0f);
        put32(7);
        for (auto [lat, lon] : r) putf(lat), putf(lon);
    }
    out.append(2, '\0');
    return out;
}

inline int draw_map_bytes(const std::string& bytes) {
    TempDir dir;
    write_file(dir.file("m.map"), bytes);
    FILE* f = std::fopen(dir.file("m.map").c_str(), "r");
    const int got = MAP_map(f);
    std::fclose(f);
    return got;
}

// PROJ's projection (%g the central longitude), a lattice and its crosses' half
// length in degrees; `geos` when PROJ gives scan angles (x = tan(angle) * orbit).
struct ProjCase {
    const char *name, *domain, *proj;
    float lat0, lat1, lon0, lon1, step, arm;
    bool geos;
};

// Projection coordinates (100 km units) by pyproj, which this project does not link.
inline std::vector<std::pair<double, double>> proj_positions(
    const ProjCase& c, const std::vector<std::pair<float, float>>& pts) {
    TempDir dir;
    std::string in;
    for (auto [lat, lon] : pts) in += std::to_string(lon) + " " + std::to_string(lat) + "\n";
    write_file(dir.file("in"), in);
    char definition[160];
    std::snprintf(definition, sizeof definition, c.proj,
                  static_cast<double>(MAP_get_domain()->plon));
    auto r =
        run_program("/usr/bin/python3",
                    {"-c",
                     "import sys, pyproj\n"
                     "t = pyproj.Transformer.from_crs('+proj=lonlat +R=6371220', sys.argv[1])\n"
                     "for line in open(sys.argv[2]):\n"
                     "    print('%.6f %.6f' % t.transform(*map(float, line.split())))\n",
                     definition, dir.file("in")});
    EXPECT_EQ(r.code, 0) << r.err;
    std::vector<std::pair<double, double>> out;
    const double orbit = 421.61, height_m = (421.61 - 63.7122) * 1e5;
    for (const char* p = r.out.c_str(); *p;) {
        double x, y;
        int used = 0;
        if (std::sscanf(p, "%lf %lf%n", &x, &y, &used) != 2) break;
        p += used;
        if (c.geos)
            out.push_back({std::tan(x / height_m) * orbit, std::tan(y / height_m) * orbit});
        else
            out.push_back({x / 1e5, y / 1e5});
    }
    return out;
}

inline const ProjCase proj_cases[] = {
    {"us", "us", "+proj=stere +lat_0=90 +lat_ts=60 +lon_0=%g +R=6371220", 25, 50, -120, -70, 5,
     0.15f, false},
    {"lambert", "lamb,40,-95,640,480,0.08,0.08",
     "+proj=lcc +lat_0=90 +lat_1=30 +lat_2=60 +lon_0=%g +R=6371220", 30, 50, -115, -75, 5, 0.1f,
     false},
    {"polar", "ps,60,-30,800,600,0.1,0.1", "+proj=stere +lat_0=90 +lat_ts=60 +lon_0=%g +R=6371220",
     45, 75, -70, 10, 5, 0.2f, false},
    {"mercator", "merc,20,-60,800,600,0.1,0.1", "+proj=merc +lon_0=%g +R=6371220", 0, 40, -90, -30,
     5, 0.1f, false},
    {"satellite", "sat,0,-75,800,800,0.12,0.12", "+proj=geos +h=35789780 +lon_0=%g +R=6371220", -50,
     50, -125, -25, 10, 0.3f, true},
};

// Two short strokes, along the parallel and the meridian, at each lattice node.
inline Records lattice(const ProjCase& c, std::vector<std::pair<float, float>>* nodes) {
    Records records;
    for (float lat = c.lat0; lat <= c.lat1; lat += c.step)
        for (float lon = c.lon0; lon <= c.lon1; lon += c.step) {
            nodes->push_back({lat, lon});
            records.push_back({{lat, lon - c.arm}, {lat, lon + c.arm}});
            records.push_back({{lat - c.arm, lon}, {lat + c.arm, lon}});
        }
    return records;
}

}  // namespace sat_test
