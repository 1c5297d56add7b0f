// Cost of one AREA_tran in each direction, for the three-axis model on the
// synthetic full disk (real GOES-8 navigation) and for the spin-scan model on a
// full disk built from orbital elements. Reported per point over a grid that
// covers the disk; off-earth points count as they come.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "env/messages.h"
#include "env/missing.h"
#include "formats/area.h"
#include "navigation/area_nav.h"

namespace {

struct Nav {
    std::vector<int32_t> dir = std::vector<int32_t>(64, 0);
    std::vector<int32_t> blk = std::vector<int32_t>(640, 0);
    AreaFile area{};
    bool ok = false;
};

int32_t be32(const unsigned char* p) {
    return static_cast<int32_t>((uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) |
                                (uint32_t{p[2]} << 8) | p[3]);
}

Nav gvar_nav() {
    Nav n;
    std::ifstream in(std::string(SAT_TESTDATA_DIR) + "/area/goes8_fulldisk_gvar_synthetic.area",
                     std::ios::binary);
    std::vector<unsigned char> d(256 + 2560);
    in.read(reinterpret_cast<char*>(d.data()), static_cast<std::streamsize>(d.size()));
    if (!in) return n;
    for (int i = 0; i < 64; ++i) n.dir[i] = be32(&d[4 * i]);
    std::memcpy(n.blk.data(), &d[256], 4);
    for (int i = 1; i < 640; ++i) n.blk[i] = be32(&d[256 + 4 * i]);
    std::memcpy(n.area.nav_type, "GVAR", 5);
    n.area.gvar = n.blk.data();
    n.area.dir = n.dir.data();
    n.ok = true;
    return n;
}

// A spin-stabilised geostationary satellite at 75 W: 100 rpm, 1821 scans of 8
// detectors and 15288 samples over 20 degrees each way.
Nav goes_nav() {
    Nav n;
    auto set = [&](int offset, int32_t v) { n.blk[offset / 4] = v; };
    std::memcpy(n.blk.data(), "GOES", 4);
    for (auto [o, v] : std::vector<std::pair<int, int32_t>>{{4, 90100},
                                                            {8, 173000},
                                                            {16, 900410},
                                                            {20, 120000},
                                                            {24, 4216417},
                                                            {28, 200},
                                                            {32, 100},
                                                            {36, 123456},
                                                            {40, 100000},
                                                            {44, 80000},
                                                            {48, 895930},
                                                            {52, 1200000},
                                                            {56, 7284},
                                                            {60, 600000},
                                                            {64, 200000},
                                                            {68, 801821},
                                                            {72, 200000},
                                                            {76, 15288},
                                                            {152, 250}})
        set(o, v);
    n.dir[5] = n.dir[6] = 1;
    n.dir[8] = 1821;
    n.dir[9] = 1911;
    n.dir[11] = n.dir[12] = 8;
    std::memcpy(n.area.nav_type, "GOES", 5);
    n.area.goes = n.blk.data();
    n.area.dir = n.dir.data();
    n.ok = true;
    return n;
}

struct Point {
    float a, b;
};

// Satellite line and element over the whole scan, 64 x 64 points.
std::vector<Point> pixel_grid(float line0, float line1, float elem0, float elem1) {
    std::vector<Point> pts;
    for (int i = 0; i < 64; ++i)
        for (int j = 0; j < 64; ++j)
            pts.push_back(
                {line0 + (line1 - line0) * i / 63.0f, elem0 + (elem1 - elem0) * j / 63.0f});
    return pts;
}

// Earth points of those pixels that are on the disk.
std::vector<Point> earth_grid(const std::vector<Point>& pixels) {
    std::vector<Point> pts;
    for (Point p : pixels) {
        float lat = 0, lon = 0, line = p.a, elem = p.b;
        if (AREA_tran(1, &lat, &lon, &line, &elem) == 0 && lat != ZMT_FMISSING)
            pts.push_back({lat, lon});
    }
    return pts;
}

void quiet() {
    MESS_set(0, 0);
}

void run_forward(benchmark::State& state, const std::vector<Point>& pts) {
    size_t i = 0;
    for (auto _ : state) {
        Point p = pts[i++ % pts.size()];
        float lat = 0, lon = 0, line = p.a, elem = p.b;
        benchmark::DoNotOptimize(AREA_tran(1, &lat, &lon, &line, &elem));
        benchmark::DoNotOptimize(lat);
    }
    state.SetItemsProcessed(state.iterations());
}

void run_inverse(benchmark::State& state, const std::vector<Point>& pts, bool ground) {
    size_t i = 0;
    for (auto _ : state) {
        Point p = pts[i++ % pts.size()];
        float lat = p.a, lon = p.b, line = 0, elem = 0;
        if (ground)
            benchmark::DoNotOptimize(AREA_tran_ground(&lat, &lon, &line, &elem));
        else
            benchmark::DoNotOptimize(AREA_tran(2, &lat, &lon, &line, &elem));
        benchmark::DoNotOptimize(line);
    }
    state.SetItemsProcessed(state.iterations());
}

void load(Nav& n) {
    AREA_reset();
    AREA_init(&n.area);
}

void BM_GvarLineElemToEarth(benchmark::State& state) {
    quiet();
    Nav n = gvar_nav();
    if (!n.ok) return state.SkipWithError("no test data");
    load(n);
    run_forward(state, pixel_grid(2573, 2573 + 2720 * 4, 4941, 4941 + 5200 * 4));
}

void BM_GvarEarthToLineElem(benchmark::State& state) {
    quiet();
    Nav n = gvar_nav();
    if (!n.ok) return state.SkipWithError("no test data");
    load(n);
    run_inverse(state, earth_grid(pixel_grid(2573, 2573 + 2720 * 4, 4941, 4941 + 5200 * 4)), false);
}

void BM_GoesLineElemToEarth(benchmark::State& state) {
    quiet();
    Nav n = goes_nav();
    load(n);
    run_forward(state, pixel_grid(1, 14568, 1, 15288));
}

// Mode 2 as the program runs it: the ground point is never formed, so the loop
// ends after the scan settles, whatever point was asked for.
void BM_GoesEarthToLineElem(benchmark::State& state) {
    quiet();
    Nav n = goes_nav();
    load(n);
    run_inverse(state, earth_grid(pixel_grid(1, 14568, 1, 15288)), false);
}

void BM_GoesEarthToLineElemGround(benchmark::State& state) {
    quiet();
    Nav n = goes_nav();
    load(n);
    run_inverse(state, earth_grid(pixel_grid(1, 14568, 1, 15288)), true);
}

}  // namespace

BENCHMARK(BM_GvarLineElemToEarth);
BENCHMARK(BM_GvarEarthToLineElem);
BENCHMARK(BM_GoesLineElemToEarth);
BENCHMARK(BM_GoesEarthToLineElem);
BENCHMARK(BM_GoesEarthToLineElemGround);
