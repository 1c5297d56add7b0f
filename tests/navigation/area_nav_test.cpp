// AREA navigation: the spin-scan model against an independent orbit and sidereal
// time; projected domains, the real radar composite against its reference pixels.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "app/sat_params.h"
#include "env/domains.h"
#include "env/resources.h"
#include "formats/area.h"
#include "formats/image.h"
#include "maps/projections.h"
#include "navigation/area_nav.h"
#include "test_support.h"

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kD2R = kPi / 180.0;

double great_circle_deg(double lat1, double lon1, double lat2, double lon2) {
    double c = std::sin(lat1 * kD2R) * std::sin(lat2 * kD2R) +
               std::cos(lat1 * kD2R) * std::cos(lat2 * kD2R) * std::cos((lon1 - lon2) * kD2R);
    return std::acos(std::fmin(1.0, std::fmax(-1.0, c))) / kD2R;
}

double wrap180(double x) {
    x = std::fmod(x + 180.0, 360.0);
    return (x < 0 ? x + 360.0 : x) - 180.0;
}

using Fields = std::vector<std::pair<int, int32_t>>;  // byte offset in the block, value

// An AREA file in memory with a directory and one 128-word navigation block.
struct NavArea {
    std::vector<int32_t> dir = std::vector<int32_t>(64, 0);
    std::vector<int32_t> blk = std::vector<int32_t>(128, 0);
    AreaFile area{};
    Image image{};
    NavArea(const NavArea&) = delete;  // the record points into the buffers
    NavArea(const char* type, int lines, int elems, int ul_line, int ul_elem, int lres, int eres,
            const Fields& fields = {}) {
        dir[5] = ul_line, dir[6] = ul_elem, dir[8] = lines, dir[9] = elems;
        dir[11] = lres, dir[12] = eres;
        std::strncpy(area.nav_type, type, sizeof area.nav_type - 1);
        std::memcpy(blk.data(), type, std::strlen(type) < 4 ? std::strlen(type) : 4);
        area.dir = dir.data();
        auto is = [type](const char* t) { return !std::strcmp(type, t); };
        *(is("GOES")                                   ? &area.goes
          : !std::strncmp(type, "PS", 2) || is("MSAT") ? &area.ps
          : is("TANC")                                 ? &area.tanc
                                                       : &area.proj) = blk.data();
        image.width = elems, image.height = lines;
        image.xres = static_cast<float>(eres), image.yres = static_cast<float>(lres);
        set(fields);
    }
    void set(const Fields& fields) {
        for (auto [offset, value] : fields) blk[offset / 4] = value;
    }
    void load() {
        AREA_reset();
        AREA_init(&area);
    }
    const Domain& domain() {
        load();
        AREA_calc_domain(&image, &area);
        return image.domain;
    }
};

// A geostationary spin-stabilised satellite at 75 W in April 1990: a 100 rpm
// spin, a scan of 1821 steps of 8 detectors over 20 degrees and 15288 samples
// over 20 degrees of the spin, the spin axis half an arc-minute off the pole.
constexpr double kSemiMajor = 42164.17;
constexpr double kEcc = 0.0002;
constexpr double kIncl = 0.1, kPerigee = 100.0, kNode = 80.0, kAnomaly = 123.456;

// Block words: satellite number and yyddd, 17:30:00, epoch 1990 day 100 12:00:00,
// the elements, declination 89:59:30 and right ascension 120:00:00 of the spin
// axis, then the scan geometry and attitude.
NavArea goes_area() {
    const auto k = [](double v) { return static_cast<int32_t>(v); };
    // clang-format off
    return NavArea("GOES", 1821, 1911, 1, 1, 8, 8,
                   {{4, 7090100}, {8, 173000}, {16, 900410}, {20, 120000},
                    {24, k(kSemiMajor * 100)}, {28, k(kEcc * 1e6)}, {32, k(kIncl * 1000)},
                    {36, k(kAnomaly * 1000)}, {40, k(kPerigee * 1000)}, {44, k(kNode * 1000)},
                    {48, 895930}, {52, 1200000}, {56, 7284}, {60, 600000}, {64, 200000},
                    {68, 801821}, {72, 200000}, {76, 15288}, {80, 30}, {84, -45}, {88, 15},
                    {152, 250}});
    // clang-format on
}

// Sub-satellite point from the elements by Kepler's laws (GM of WGS-84) and the
// IAU 1982 Greenwich mean sidereal time.
void expected_subpoint(double minutes_after_epoch, double& lat, double& lon) {
    const double n = std::sqrt(398600.4418 / (kSemiMajor * kSemiMajor * kSemiMajor)) * 60.0;
    double M = kAnomaly * kD2R + n * minutes_after_epoch;
    double E = M;
    for (int i = 0; i < 50; ++i) E = M + kEcc * std::sin(E);
    double nu = 2.0 * std::atan(std::sqrt((1 + kEcc) / (1 - kEcc)) * std::tan(E / 2));
    double u = kPerigee * kD2R + nu;
    double ra = kNode * kD2R + std::atan2(std::cos(kIncl * kD2R) * std::sin(u), std::cos(u));
    double dec = std::asin(std::sin(kIncl * kD2R) * std::sin(u));
    // Julian date of 1990-04-10 12:00 UT is 2447992.0.
    double T = (2447992.0 + minutes_after_epoch / 1440.0 - 2451545.0) / 36525.0;
    double secs = 67310.54841 + (876600.0 * 3600.0 + 8640184.812866) * T + 0.093104 * T * T -
                  6.2e-6 * T * T * T;
    lat = dec / kD2R;
    lon = wrap180(ra / kD2R - std::fmod(secs, 86400.0) / 240.0);
}

// One transform: mode 1 takes a line and element, 2 a latitude and longitude,
// 3 nothing; ground forms the earth point first.
struct Tran {
    int status;
    float lat, lon, line, elem;
};
Tran tran(int mode, float a = 0, float b = 0, bool ground = false) {
    Tran t{0, a, b, a, b};
    t.status = ground ? AREA_tran_ground(&t.lat, &t.lon, &t.line, &t.elem)
                      : AREA_tran(mode, &t.lat, &t.lon, &t.line, &t.elem);
    return t;
}

TEST(SpinScan, SubSatellitePointOrbitAndDomain) {
    NavArea g = goes_area();
    g.load();
    const Tran nadir = tran(3);
    ASSERT_EQ(nadir.status, 0);
    double elat = 0, elon = 0;
    // The picture's scan of the nadir takes place about 365 s after 17:30.
    expected_subpoint(330.0 + (nadir.line - 1) / 8 * 0.6 / 60.0, elat, elon);
    EXPECT_NEAR(nadir.lat, elat, 0.01);
    EXPECT_NEAR(nadir.lon, elon, 0.02);
    EXPECT_NEAR(nadir.lon, -75.0, 0.1);
    // Nadir sits mid-scan, moved by the satellite's latitude and by the spin
    // axis tilt of half an arc-minute, some 6 lines.
    EXPECT_NEAR(nadir.line, 7284 + nadir.lat / (20.0 / 14567), 8);
    EXPECT_NEAR(nadir.elem, (15288 + 1) * 0.5, 30);

    SAT_params_reset();
    const Domain& d = g.domain();
    EXPECT_EQ(SAT_params().tran_sat, 1);
    EXPECT_EQ(d.proj, 9);
    EXPECT_NEAR(d.plon, -75.0, 0.1);
    EXPECT_LT(great_circle_deg(d.clat, d.clon, d.plat, d.plon), 1.0);
    // Eight samples of 22.8 microradians seen from the orbit, in 100 km.
    const double pixel = 8 * 20.0 * kD2R / 15287.0 * 421.6;
    EXPECT_NEAR(d.dx, pixel, pixel * 0.03);
    EXPECT_NEAR(d.dy, 8 * 20.0 * kD2R / 14567.0 * 421.6, pixel * 0.03);
}

// The limb where the ellipsoid puts it, and points on the earth back to their pixel:
// nadir, between, the last pixel before the limb; the next is off the earth.
TEST(SpinScan, LimbAndRoundTrips) {
    NavArea g = goes_area();
    g.load();
    const Tran nadir = tran(3);
    auto last_on_earth = [&](float dl, float de) {
        int k = 1;
        while (tran(1, nadir.line + dl * k, nadir.elem + de * k).status == 0) ++k;
        return k - 1;
    };
    const double r = kSemiMajor, a = 6378.388, b = 6356.912;
    const double equatorial = std::asin(a / r) / (20.0 * kD2R / 15287.0);
    const double polar = std::atan(b / std::sqrt(r * r - a * a)) / (20.0 * kD2R / 14567.0);
    const int east = last_on_earth(0.0f, 1.0f);
    EXPECT_NEAR(east, equatorial, 3.0);
    EXPECT_NEAR(last_on_earth(-1.0f, 0.0f), polar, 10.0);
    // The last pixel on the earth lies within a pixel of the limb, 81.3 degrees
    // from nadir; the ground runs fast there, a degree within the pixel.
    const Tran limb = tran(1, nadir.line, nadir.elem + static_cast<float>(east));
    ASSERT_EQ(limb.status, 0);
    EXPECT_NEAR(great_circle_deg(limb.lat, limb.lon, nadir.lat, nadir.lon),
                90.0 - std::asin(a / r) / kD2R, 1.0);
    const Tran far = tran(2, 0.0f, 105.0f, true);  // the far side has no pixel
    EXPECT_EQ(far.status, -1);
    EXPECT_EQ(far.line, -9999.0f);
    const float e = static_cast<float>(east);
    const float points[][2] = {{0, 0}, {-3000, 2500}, {2000, -4000}, {0, e}, {0, e + 1}};
    for (auto [dl, de] : points) {
        const Tran p = tran(1, nadir.line + dl, nadir.elem + de);
        if (de > e) {
            EXPECT_EQ(p.status, -1);
            EXPECT_EQ(p.lat, -9999.0f);
            continue;
        }
        ASSERT_EQ(p.status, 0) << dl << "," << de;
        const Tran back = tran(2, p.lat, p.lon, true);
        ASSERT_EQ(back.status, 0) << dl << "," << de;
        EXPECT_NEAR(back.line, nadir.line + dl, 0.01) << dl << "," << de;
        EXPECT_NEAR(back.elem, nadir.elem + de, 0.01) << dl << "," << de;
    }
}

// Where the block puts the projection's origin in satellite coordinates (line,
// element) and how far apart elements are in projection units, the built domain must
// put an earth point: origin + projection coordinates / spacing, then the image's own
// line and element rules, grid indices from 0 at the first pixel.
void expect_placed(NavArea& a, int proj, float clat, float clon, float lat1, float lat2,
                   const std::array<double, 3>& origin, float lat, float lon) {
    Domain ref;
    DOM_init(&ref);
    ref.proj = proj, ref.plat = ref.clat = clat, ref.plon = ref.clon = clon;
    ref.param[0] = lat1, ref.param[1] = lat2;
    ref.nx = ref.ny = 3;
    ref.dx = ref.dy = 1.0f;
    const Domain built = a.domain();
    ASSERT_EQ(built.proj, proj);
    const int32_t* dir = a.dir.data();
    MAP_domain(&ref);
    float x = 0, y = 0, i = 0, j = 0;
    ASSERT_EQ(MAP_tran(lat, lon, &x, &y), 1);
    const double e = (origin[1] + x / origin[2] - dir[6] + 1.0) / dir[12];
    const double l = (origin[0] - y / origin[2] - dir[5] + 1.0) / dir[11];
    MAP_domain(&built);
    ASSERT_EQ(MAP_tran(lat, lon, &x, &y), 1);
    MAP_grid_untran(x, y, &i, &j);
    EXPECT_NEAR(i, e - dir[9] / 2 + (dir[9] - 1) * 0.5, 0.02) << lat << "," << lon;
    EXPECT_NEAR(j, l - dir[8] / 2 + (dir[8] - 1) * 0.5, 0.02) << lat << "," << lon;
}

TEST(ProjectedDomain, LambertAndTangentCone) {
    SAT_params_reset();
    const double km = 63.713 / 6371200;  // metres in the projection's unit
    NavArea lamb("LAMB", 600, 700, 1001, 2001, 4, 2,
                 {{4, -2000},
                  {8, 1300},
                  {12, 330000},
                  {16, 450000},
                  {20, 4000},
                  {24, 980000},
                  {28, 6371200},
                  {44, 400000}});
    for (auto [lat, lon] : {std::pair{35.0f, -90.0f}, {45.0f, -110.0f}})
        expect_placed(lamb, 4, 40, -98, 33, 45, {-2000, 1300, 4000 * km}, lat, lon);
    EXPECT_EQ(SAT_params().tran_sat, 0);
    // The tangent cone's pole at line -1500, element 200 (times 10000), 10 km.
    NavArea tanc("TANC", 400, 400, 1, 1, 2, 2,
                 {{4, -15000000}, {8, 2000000}, {12, 100000}, {16, 250000}, {20, 950000}});
    expect_placed(tanc, 4, 25, -95, 25, 25, {-1500, 200, 0.1}, 20, -100);
}

// A zero spacing, a latitude beyond the pole or a missing block gives no domain.
TEST(ProjectedDomain, NonsenseBlocksGiveNoDomain) {
    const Fields lamb = {{4, 50},    {8, 50},      {12, 300000},  {16, 600000},
                         {20, 4000}, {24, 900000}, {28, 6371200}, {44, 400000}};
    for (auto bad : Fields{{28, 0}, {20, 0}, {44, -950000}}) {
        NavArea a("LAMB", 100, 100, 1, 1, 1, 1, lamb);
        EXPECT_NE(a.domain().proj, -9999);
        a.set({bad});
        EXPECT_EQ(a.domain().proj, -9999) << bad.first;
    }
    NavArea p("PS", 100, 100, 1, 1, 1, 1);
    p.area.ps = nullptr;
    EXPECT_EQ(p.domain().proj, -9999);
}

// The real files through the AREA reader; the radar composite's reference pixels.
TEST(ProjectedDomain, RealFilesThroughTheReader) {
    struct Want {
        const char* file;
        int proj;
        double plon, clat, clon, tol;  // centres from the audit cards, or the sub-point
    };
    const Want files[] = {
        {"area/radar_composite_ps_2000137_0859.area", 1, -105.0, 38.2789, -98.1975, 0.1},
        {"area/goes8_wv_gvar_1998260_0745.area", 9, -75.0, 25.0, -80.0, 0.3}};
    for (const Want& w : files) {
        SAT_params_reset();
        FILE* f = std::fopen(sat_test::testdata(w.file).c_str(), "rb");
        ASSERT_NE(f, nullptr);
        AreaFile area{};
        ASSERT_EQ(SAT_read_AREA(f, &area), 0) << w.file;
        std::fclose(f);
        Image image{};
        image.width = area.dir[9], image.height = area.dir[8];
        image.xres = static_cast<float>(area.dir[12]);
        image.yres = static_cast<float>(area.dir[11]);
        AREA_reset();
        AREA_init(&area);
        AREA_calc_domain(&image, &area);
        SAT_free_AREA(&area);
        Domain dom = image.domain;
        EXPECT_EQ(dom.proj, w.proj) << w.file;
        EXPECT_NEAR(dom.plon, w.plon, 1e-3) << w.file;
        EXPECT_EQ(SAT_params().tran_sat, w.proj == 9) << w.file;
        EXPECT_LT(great_circle_deg(dom.clat, dom.clon, w.clat, w.clon), w.tol) << w.file;
        if (w.proj != 1) continue;
        std::ifstream in(sat_test::testdata("nav/radar_composite_ps_2000137_0859.ref.csv"));
        std::string text;
        std::getline(in, text);
        MAP_domain(&dom);
        int count = 0;
        while (std::getline(in, text)) {
            double row, col, sl, se, lat, lon;
            if (std::sscanf(text.c_str(), "%lf,%lf,%lf,%lf,%lf,%lf", &row, &col, &sl, &se, &lat,
                            &lon) != 6)
                continue;
            float x = 0, y = 0, i = 0, j = 0;
            ASSERT_EQ(MAP_tran(static_cast<float>(lat), static_cast<float>(lon), &x, &y), 1);
            MAP_grid_untran(x, y, &i, &j);
            EXPECT_NEAR(i, col, 0.5) << row << "," << col;
            EXPECT_NEAR(j, row, 0.5) << row << "," << col;
            ++count;
        }
        EXPECT_EQ(count, 867);
    }
}

}  // namespace
