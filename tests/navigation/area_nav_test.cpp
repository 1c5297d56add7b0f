// AREA navigation: the spin-scan model built from orbital elements and checked
// against an independent orbit and sidereal-time computation; the image domains
// of the projected navigation types, with the real radar composite placed against
// reference locations; blocks that make no sense.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "app/sat_params.h"
#include "env/domains.h"
#include "env/resources.h"
#include "formats/area.h"
#include "formats/image.h"
#include "maps/projections.h"
#include "navigation/area_nav.h"
#include "navigation/gvar.h"
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

// An AREA file in memory with a directory and one 128-word navigation block.
struct NavArea {
    std::vector<int32_t> dir = std::vector<int32_t>(64, 0);
    std::vector<int32_t> blk = std::vector<int32_t>(128, 0);
    AreaFile area{};
    Image image{};

    NavArea(const char* type, int lines, int elems, int ul_line, int ul_elem, int lres, int eres) {
        dir[5] = ul_line;
        dir[6] = ul_elem;
        dir[8] = lines;
        dir[9] = elems;
        dir[11] = lres;
        dir[12] = eres;
        std::strncpy(area.nav_type, type, sizeof area.nav_type - 1);
        std::memcpy(blk.data(), type, std::strlen(type) < 4 ? std::strlen(type) : 4);
        area.dir = dir.data();
        if (!std::strcmp(type, "GOES"))
            area.goes = blk.data();
        else if (!std::strncmp(type, "PS", 2) || !std::strcmp(type, "MSAT"))
            area.ps = blk.data();
        else if (!std::strcmp(type, "TANC"))
            area.tanc = blk.data();
        else
            area.proj = blk.data();
        image.width = elems;
        image.height = lines;
        image.xres = static_cast<float>(eres);
        image.yres = static_cast<float>(lres);
    }
    void set(int offset, int32_t value) { blk[offset / 4] = value; }
    const Domain& domain() {
        AREA_reset();
        AREA_init(&area);
        AREA_calc_domain(&image, &area);
        return image.domain;
    }
};

// ---------------------------------------------------------------------------
// Spin scan

// A geostationary spin-stabilised satellite at 75 W in April 1990: a 100 rpm
// spin, a scan of 1821 steps of 8 detectors over 20 degrees and 15288 samples
// over 20 degrees of the spin, the spin axis half an arc-minute off the pole.
constexpr int kEpochYymmdd = 900410;  // 1990 day 100, 12:00:00
constexpr double kSemiMajor = 42164.17;
constexpr double kEcc = 0.0002;
constexpr double kIncl = 0.1, kPerigee = 100.0, kNode = 80.0, kAnomaly = 123.456;

NavArea goes_area() {
    NavArea g("GOES", 1821, 1911, 1, 1, 8, 8);
    g.set(4, 7090100);  // satellite number in front of yyddd
    g.set(8, 173000);   // 17:30:00
    g.set(16, kEpochYymmdd);
    g.set(20, 120000);
    g.set(24, static_cast<int32_t>(kSemiMajor * 100));
    g.set(28, static_cast<int32_t>(kEcc * 1e6));
    g.set(32, static_cast<int32_t>(kIncl * 1000));
    g.set(36, static_cast<int32_t>(kAnomaly * 1000));
    g.set(40, static_cast<int32_t>(kPerigee * 1000));
    g.set(44, static_cast<int32_t>(kNode * 1000));
    g.set(48, 895930);   // declination 89:59:30
    g.set(52, 1200000);  // right ascension 120:00:00
    g.set(56, 7284);
    g.set(60, 600000);  // 0.6 s a spin
    g.set(64, 200000);
    g.set(68, 801821);
    g.set(72, 200000);
    g.set(76, 15288);
    g.set(80, 30);   // pitch 0:00:30
    g.set(84, -45);  // yaw
    g.set(88, 15);   // roll
    g.set(152, 250);
    return g;
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
    double jd = 2447992.0 + minutes_after_epoch / 1440.0;
    double T = (jd - 2451545.0) / 36525.0;
    double secs = 67310.54841 + (876600.0 * 3600.0 + 8640184.812866) * T + 0.093104 * T * T -
                  6.2e-6 * T * T * T;
    double gmst = std::fmod(secs, 86400.0) / 240.0;
    lat = dec / kD2R;
    lon = wrap180(ra / kD2R - gmst);
}

TEST(SpinScan, SubSatellitePointWhereTheElementsPutIt) {
    NavArea g = goes_area();
    AREA_reset();
    AREA_init(&g.area);
    float lat = 0, lon = 0, line = 0, elem = 0;
    ASSERT_EQ(AREA_tran(3, &lat, &lon, &line, &elem), 0);
    double elat = 0, elon = 0;
    // The picture's scan of the nadir takes place about 365 s after 17:30.
    double scan_minutes = (line - 1) / 8 * 0.6 / 60.0;
    expected_subpoint(330.0 + scan_minutes, elat, elon);
    EXPECT_NEAR(lat, elat, 0.01);
    EXPECT_NEAR(lon, elon, 0.02);
    EXPECT_NEAR(lon, -75.0, 0.1);
    // Nadir sits in the middle of the scan, moved by the satellite's latitude
    // (seen from the orbit as the same angle) and by the spin axis tilt of half an
    // arc-minute, some 6 lines.
    EXPECT_NEAR(line, 7284 + lat / (20.0 / 14567), 8);
    EXPECT_NEAR(elem, (15288 + 1) * 0.5, 30);

    // Orbit positions an hour apart: on the orbit's radius, and the satellite
    // turning with the earth.
    double p1[3], p2[3];
    AreaTime t1{90100, 17.5}, t2{90100, 18.5};
    AREA_pos(&t1, 0, p1);
    AREA_pos(&t2, 0, p2);
    double r1 = std::sqrt(p1[0] * p1[0] + p1[1] * p1[1] + p1[2] * p1[2]);
    EXPECT_NEAR(r1, kSemiMajor, kSemiMajor * kEcc * 1.01);
    double sp1[3], sp2[3];
    sphere_cvt(1, p1, sp1);
    sphere_cvt(1, p2, sp2);
    EXPECT_NEAR(sp1[1], sp2[1], 0.01);
    AREA_pos(&t1, 1, p2);  // inertial: the earth's turn is not taken off
    sphere_cvt(1, p2, sp2);
    EXPECT_GT(std::fabs(wrap180(sp2[1] - sp1[1])), 90.0);
}

TEST(SpinScan, RoundTripsOverTheDisk) {
    NavArea g = goes_area();
    AREA_reset();
    AREA_init(&g.area);
    int on = 0, off = 0;
    double worst = 0.0;
    for (float line = 1.0f; line <= 14568.0f; line += 97.0f) {
        for (float elem = 1.0f; elem <= 15288.0f; elem += 89.0f) {
            float lat = 0, lon = 0, l = line, e = elem;
            if (AREA_tran(1, &lat, &lon, &l, &e) != 0) {
                EXPECT_EQ(lat, -9999.0f);
                EXPECT_EQ(lon, -9999.0f);
                ++off;
                continue;
            }
            ++on;
            float l2 = 0, e2 = 0;
            ASSERT_EQ(AREA_tran_ground(&lat, &lon, &l2, &e2), 0) << line << "," << elem;
            EXPECT_NEAR(l2, line, 0.01) << line << "," << elem;
            EXPECT_NEAR(e2, elem, 0.01) << line << "," << elem;
            worst = std::fmax(worst, std::fmax(std::fabs(l2 - line), std::fabs(e2 - elem)));
        }
    }
    EXPECT_GT(on, 9000);
    EXPECT_GT(off, 5000);
    RecordProperty("worst", std::to_string(worst));
}

TEST(SpinScan, LimbWhereItBelongs) {
    NavArea g = goes_area();
    AREA_reset();
    AREA_init(&g.area);
    float lat = 0, lon = 0, nadir_line = 0, nadir_elem = 0;
    AREA_tran(3, &lat, &lon, &nadir_line, &nadir_elem);
    const double rad_per_elem = 20.0 * kD2R / 15287.0, rad_per_line = 20.0 * kD2R / 14567.0;
    const double r = kSemiMajor, a = 6378.388, b = 6356.912;
    auto last_on_earth = [&](float line0, float elem0, float dl, float de) {
        int k = 0;
        for (;; ++k) {
            float la = 0, lo = 0, l = line0 + dl * (k + 1), e = elem0 + de * (k + 1);
            if (AREA_tran(1, &la, &lo, &l, &e) != 0) return k;
        }
    };
    double east = last_on_earth(nadir_line, nadir_elem, 0.0f, 1.0f);
    double west = last_on_earth(nadir_line, nadir_elem, 0.0f, -1.0f);
    double south = last_on_earth(nadir_line, nadir_elem, 1.0f, 0.0f);
    double north = last_on_earth(nadir_line, nadir_elem, -1.0f, 0.0f);
    double equatorial = std::asin(a / r) / rad_per_elem;
    double polar = std::atan(b / std::sqrt(r * r - a * a)) / rad_per_line;
    EXPECT_NEAR(east, equatorial, 3.0);
    EXPECT_NEAR(west, equatorial, 3.0);
    EXPECT_NEAR(north, polar, 10.0);
    EXPECT_NEAR(south, polar, 10.0);
    // The last pixel on the earth lies within a pixel of the limb, which is 81.3
    // degrees from nadir; the ground runs fast there, a degree within the pixel.
    float la = 0, lo = 0, l = nadir_line, e = nadir_elem + static_cast<float>(east);
    ASSERT_EQ(AREA_tran(1, &la, &lo, &l, &e), 0);
    EXPECT_NEAR(great_circle_deg(la, lo, lat, lon), 90.0 - std::asin(a / r) / kD2R, 1.0);
}

TEST(SpinScan, ModeTwoAsTheProgramRunsIt) {
    NavArea g = goes_area();
    AREA_reset();
    AREA_init(&g.area);
    // The ground point of mode 2 is never formed: its result does not depend on
    // the latitude and longitude asked for.
    float lat1 = 30.0f, lon1 = -80.0f, l1 = 0, e1 = 0;
    float lat2 = -20.0f, lon2 = -60.0f, l2 = 0, e2 = 0;
    AREA_tran(2, &lat1, &lon1, &l1, &e1);
    AREA_tran(2, &lat2, &lon2, &l2, &e2);
    EXPECT_FLOAT_EQ(l1, l2);
    EXPECT_FLOAT_EQ(e1, e2);
    // Formed, the point goes to its own pixel; the far side of the earth has none.
    AREA_tran_ground(&lat1, &lon1, &l1, &e1);
    AREA_tran_ground(&lat2, &lon2, &l2, &e2);
    EXPECT_GT(std::fabs(l1 - l2), 1000.0f);
    float lat3 = 0.0f, lon3 = 105.0f, l3 = 0, e3 = 0;
    EXPECT_EQ(AREA_tran_ground(&lat3, &lon3, &l3, &e3), -1);
    EXPECT_EQ(l3, -9999.0f);
}

TEST(SpinScan, ImageDomain) {
    SAT_params_reset();
    NavArea g = goes_area();
    const Domain& d = g.domain();
    EXPECT_EQ(d.proj, 9);
    EXPECT_NEAR(d.plon, -75.0, 0.1);
    EXPECT_NEAR(d.plat, 0.0, 0.1);
    EXPECT_EQ(d.nx, 1911);
    EXPECT_EQ(d.ny, 1821);
    EXPECT_LT(great_circle_deg(d.clat, d.clon, d.plat, d.plon), 1.0);
    // Eight samples of 22.8 microradians seen from the orbit, in 100 km.
    const double pixel = 8 * 20.0 * kD2R / 15287.0 * 421.6;
    EXPECT_NEAR(d.dx, pixel, pixel * 0.03);
    EXPECT_NEAR(d.dy, 8 * 20.0 * kD2R / 14567.0 * 421.6, pixel * 0.03);
    EXPECT_EQ(SAT_params().tran_sat, 1);
}

TEST(SpinScan, SensorCountAndLineOffset) {
    NavArea g = goes_area();
    g.set(68, 800008);  // 8 sensors, 8 scans: 64 lines over the 20 degrees
    g.dir[47] = 100;    // word 47 comes off the first line for this type only
    AREA_reset();
    AREA_init(&g.area);
    float out_line = 0, out_elem = 0;
    AREA_line_elem(1, 1.0f, 1.0f, &out_line, &out_elem);
    EXPECT_FLOAT_EQ(out_line, 1.0f - 100.0f - 1.0f + 8.0f);
    float lat = 0, lon = 0, line = 0, elem = 0;
    AREA_tran(3, &lat, &lon, &line, &elem);
    // The earth fills 17.4 of the 20 degrees: from the nadir line about 28 lines
    // each way are on the earth.
    float la = 0, lo = 0, l = line + 26.0f, e = elem;
    EXPECT_EQ(AREA_tran(1, &la, &lo, &l, &e), 0);
    l = line + 31.0f;
    e = elem;
    EXPECT_EQ(AREA_tran(1, &la, &lo, &l, &e), -1);
}

// ---------------------------------------------------------------------------
// Projected types

int32_t le32(const std::string& d, size_t off) {
    const auto* p = reinterpret_cast<const unsigned char*>(d.data()) + off;
    return static_cast<int32_t>(p[0] | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) |
                                (uint32_t{p[3]} << 24));
}

TEST(ProjectedDomain, RadarCompositeAgainstReference) {
    SAT_params_reset();
    std::string d =
        sat_test::read_file(sat_test::testdata("area/radar_composite_ps_2000137_0859.area"));
    ASSERT_GE(d.size(), 768u);
    NavArea r("PS", le32(d, 32), le32(d, 36), le32(d, 20), le32(d, 24), le32(d, 44), le32(d, 48));
    for (int i = 0; i < 64; ++i) r.dir[i] = le32(d, 4 * i);
    std::memcpy(r.blk.data(), d.data() + 256, 4);
    for (int i = 1; i < 128; ++i) r.blk[i] = le32(d, 256 + 4 * i);
    Domain dom = r.domain();
    EXPECT_EQ(dom.proj, 1);
    EXPECT_FLOAT_EQ(dom.plat, 60.0f);
    EXPECT_FLOAT_EQ(dom.plon, -105.0f);
    EXPECT_FLOAT_EQ(dom.param[0], 60.0f);
    EXPECT_EQ(dom.nx, 640);
    EXPECT_EQ(dom.ny, 350);
    EXPECT_EQ(SAT_params().tran_sat, 0);
    // The audit card: centred on 38:16:44 N, 98:11:51 W.
    EXPECT_LT(great_circle_deg(dom.clat, dom.clon, 38.2789, -98.1975), 0.1);

    std::ifstream in(sat_test::testdata("nav/radar_composite_ps_2000137_0859.ref.csv"));
    std::string text;
    std::getline(in, text);
    MAP_domain(&dom);
    int count = 0;
    double worst = 0.0;
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
        worst = std::fmax(worst, std::fmax(std::fabs(i - col), std::fabs(j - row)));
        ++count;
    }
    EXPECT_EQ(count, 867);
    RecordProperty("worst", std::to_string(worst));
}

// Where the block says the projection's origin lies in satellite coordinates,
// and how far apart satellite elements are in projection units, the built
// domain must put an earth point: origin + projection coordinates / spacing,
// then the image's own line and element rules.
void expect_placement(const Domain& built, const Domain& projection, const NavArea& a,
                      double origin_line, double origin_elem, double spacing,
                      const std::vector<std::pair<float, float>>& points) {
    for (auto [lat, lon] : points) {
        MAP_domain(&projection);
        float x = 0, y = 0;
        ASSERT_EQ(MAP_tran(lat, lon, &x, &y), 1);
        double sat_elem = origin_elem + x / spacing;
        double sat_line = origin_line - y / spacing;
        // Image coordinates as the domain takes its centre (satellite element
        // = first element - 1 + image element * resolution), then grid indices
        // from 0 at the first pixel.
        double e = (sat_elem - a.dir[6] + 1.0) / a.dir[12];
        double l = (sat_line - a.dir[5] + 1.0) / a.dir[11];
        double want_i = e - a.dir[9] / 2 + (a.dir[9] - 1) * 0.5;
        double want_j = l - a.dir[8] / 2 + (a.dir[8] - 1) * 0.5;
        MAP_domain(&built);
        float bx = 0, by = 0, i = 0, j = 0;
        ASSERT_EQ(MAP_tran(lat, lon, &bx, &by), 1);
        MAP_grid_untran(bx, by, &i, &j);
        EXPECT_NEAR(i, want_i, 0.02) << lat << "," << lon;
        EXPECT_NEAR(j, want_j, 0.02) << lat << "," << lon;
    }
}

Domain projection(int proj, float plat, float plon, float p0 = -9999.0f, float p1 = -9999.0f) {
    Domain d;
    DOM_init(&d);
    d.proj = proj;
    d.plat = d.clat = plat;
    d.plon = d.clon = plon;
    d.param[0] = p0;
    d.param[1] = p1;
    d.nx = d.ny = 3;
    d.dx = d.dy = 1.0f;
    return d;
}

TEST(ProjectedDomain, MercatorLambertTangentConeMollweide) {
    {
        NavArea m("MERC", 500, 800, 1001, 2001, 2, 3);
        m.set(4, 1500);     // line of the equator at the normal longitude
        m.set(8, 2800);     // element
        m.set(16, 5000);    // spacing, metres
        m.set(20, 900000);  // 90 W
        m.set(24, 6371200);
        Domain d = m.domain();
        EXPECT_EQ(d.proj, 3);
        EXPECT_FLOAT_EQ(d.plon, -90.0f);
        EXPECT_NEAR(d.dx, 3 * 5000 * 63.713 / 6371200, 1e-6);
        EXPECT_NEAR(d.dy, 2 * 5000 * 63.713 / 6371200, 1e-6);
        EXPECT_EQ(SAT_params().tran_sat, 0);
        expect_placement(d, projection(3, 0.0f, -90.0f), m, 1500, 2800, 5000 * 63.713 / 6371200,
                         {{0.0f, -90.0f}, {10.0f, -85.0f}, {-5.0f, -95.0f}});
    }
    {
        NavArea l("LAMB", 600, 700, 1, 1, 4, 4);
        l.set(4, -2000);    // line of the pole
        l.set(8, 1300);     // element of the pole
        l.set(12, 330000);  // parallels 33 and 45
        l.set(16, 450000);
        l.set(20, 4000);
        l.set(24, 980000);
        l.set(28, 6371200);
        l.set(44, 400000);
        Domain d = l.domain();
        EXPECT_EQ(d.proj, 4);
        EXPECT_FLOAT_EQ(d.plat, 40.0f);
        EXPECT_FLOAT_EQ(d.plon, -98.0f);
        EXPECT_FLOAT_EQ(d.param[0], 33.0f);
        EXPECT_FLOAT_EQ(d.param[1], 45.0f);
        expect_placement(d, projection(4, 40.0f, -98.0f, 33.0f, 45.0f), l, -2000, 1300,
                         4000 * 63.713 / 6371200,
                         {{40.0f, -98.0f}, {35.0f, -90.0f}, {45.0f, -110.0f}});
    }
    {
        NavArea t("TANC", 400, 400, 1, 1, 2, 2);
        t.set(4, -15000000);  // pole at line -1500, element 200 (times 10000)
        t.set(8, 2000000);
        t.set(12, 100000);  // 10 km
        t.set(16, 250000);
        t.set(20, 950000);
        Domain d = t.domain();
        EXPECT_EQ(d.proj, 4);
        EXPECT_FLOAT_EQ(d.param[0], 25.0f);
        EXPECT_FLOAT_EQ(d.param[1], 25.0f);
        EXPECT_FLOAT_EQ(d.plon, -95.0f);
        EXPECT_NEAR(d.dx, 0.2, 1e-6);
        expect_placement(d, projection(4, 25.0f, -95.0f, 25.0f, 25.0f), t, -1500, 200, 0.1,
                         {{25.0f, -95.0f}, {20.0f, -100.0f}});
    }
    {
        // Mollweide takes the element resolution into its spacing.
        NavArea mo("MOLL", 300, 600, 1, 1, 2, 2);
        mo.set(4, 300);
        mo.set(8, 600);
        mo.set(12, 100);  // scale
        mo.set(16, 0);
        mo.set(24, 6371200);
        Domain d = mo.domain();
        EXPECT_EQ(d.proj, 7);
        const double s = 100 * 0.62 / 1000 * 2;
        EXPECT_NEAR(d.dx, s * 2, 1e-6);
        expect_placement(d, projection(7, 0.0f, 0.0f), mo, 300, 600, s,
                         {{0.0f, 0.0f}, {20.0f, 30.0f}});
        std::memcpy(reinterpret_cast<char*>(mo.blk.data()) + 56, "PPMK", 4);
        Domain p = mo.domain();
        EXPECT_NEAR(p.dx, (6371200 * 0.7071 / 1000) / (100 * 380.344) * 4, 1e-5);
        // Only the first two bytes name the type.
        std::memcpy(mo.area.nav_type, "MOXX", 4);
        EXPECT_EQ(mo.domain().proj, 7);
    }
}

TEST(ProjectedDomain, RectangularAndMeteosat) {
    {
        NavArea r("RECT", 181, 361, 1, 1, 1, 1);
        r.set(4, 91);    // line of the reference latitude
        r.set(8, 0);     // latitude 0
        r.set(12, 181);  // element of the reference longitude
        r.set(16, 0);
        r.set(20, 10000);  // one degree, exponent left at 0 so 4
        r.set(24, 5);      // half a degree with exponent 1
        r.set(56, 1);
        Domain d = r.domain();
        EXPECT_EQ(d.proj, 2);
        EXPECT_FLOAT_EQ(d.dx, 1.0f);
        EXPECT_FLOAT_EQ(d.dy, 0.5f);
        // The image centre, line 90 and element 180, lies a line and an element
        // from the reference point; the rule (element - centre) dx + lon0,
        // (line - centre) dy + lat0, taken back with y negated, puts it at
        // longitude +1 and latitude -0.5: mirrored through the reference point.
        EXPECT_NEAR(d.clat, -0.5, 1e-5);
        EXPECT_NEAR(d.clon, 1.0, 1e-5);
        EXPECT_FLOAT_EQ(d.plon, d.clon);
    }
    {
        NavArea m("MSAT", 500, 500, 1001, 1001, 2, 2);
        m.set(12, 10);
        m.set(16, 20);
        m.set(20, 1300);
        m.set(24, -100000);  // sub-longitude 10 E
        Domain d = m.domain();
        EXPECT_EQ(d.proj, 9);
        EXPECT_FLOAT_EQ(d.plon, 10.0f);
        EXPECT_FLOAT_EQ(d.param[0], 421.64f);
        EXPECT_EQ(d.ext, 1);
        EXPECT_NEAR(d.dx, 2 * 0.0264924, 1e-7);
        EXPECT_TRUE(std::isfinite(d.clat) && std::isfinite(d.clon));
        EXPECT_EQ(SAT_params().tran_sat, 0);
    }
}

TEST(ProjectedDomain, NonsenseBlocksGiveNoDomain) {
    struct Case {
        const char* type;
        int offset;
        int32_t value;
    };
    const Case cases[] = {{"PS", 16, 0},         {"PS", 12, 910000},    {"PS", 24, 0},
                          {"MERC", 24, 0},       {"MERC", 16, 0},       {"LAMB", 28, 0},
                          {"LAMB", 44, -950000}, {"LAMB", 12, 1000000}, {"TANC", 12, 0},
                          {"TANC", 16, 999999},  {"MOLL", 12, 0},       {"RECT", 20, 0},
                          {"RECT", 8, 2000000}};
    for (const Case& c : cases) {
        NavArea a(c.type, 100, 100, 1, 1, 1, 1);
        // Sane values first, then one nonsense field.
        a.set(4, 50);
        a.set(8, 50);
        if (!std::strcmp(c.type, "PS")) {
            a.set(12, 600000), a.set(16, 4000), a.set(20, 1050000), a.set(24, 6371200);
        } else if (!std::strcmp(c.type, "MERC")) {
            a.set(16, 4000), a.set(20, 900000), a.set(24, 6371200);
        } else if (!std::strcmp(c.type, "LAMB")) {
            a.set(12, 300000), a.set(16, 600000), a.set(20, 4000), a.set(24, 900000);
            a.set(28, 6371200), a.set(44, 400000);
        } else if (!std::strcmp(c.type, "TANC")) {
            a.set(4, 500000), a.set(8, 500000), a.set(12, 40000), a.set(16, 250000);
        } else if (!std::strcmp(c.type, "MOLL")) {
            a.set(12, 100), a.set(24, 6371200);
        } else {
            a.set(12, 50), a.set(20, 10000), a.set(24, 10000);
        }
        EXPECT_NE(a.domain().proj, -9999) << c.type << " before";
        a.set(c.offset, c.value);
        EXPECT_EQ(a.domain().proj, -9999) << c.type << " " << c.offset << " " << c.value;
    }
}

TEST(ProjectedDomain, GridDomainResourceAndUnknownTypes) {
    SAT_params_reset();
    NavArea a("PS", 100, 100, 1, 1, 1, 1);
    RES_put("grid_domain", "ll,30,-90,61,41,0.5,0.5");
    SAT_params().tran_sat = 1;
    const Domain& d = a.domain();
    EXPECT_EQ(d.proj, 2);
    EXPECT_FLOAT_EQ(d.clat, 30.0f);
    EXPECT_EQ(d.nx, 61);
    EXPECT_EQ(SAT_params().tran_sat, 0);
    RES_reset();

    SAT_params().tran_sat = 1;
    NavArea u("XXXX", 100, 120, 1, 1, 1, 1);
    const Domain& du = u.domain();
    EXPECT_EQ(du.proj, 0);
    EXPECT_EQ(du.nx, 120);
    EXPECT_EQ(du.ny, 100);
    EXPECT_EQ(SAT_params().tran_sat, 1);
    // Nothing to navigate: the transform leaves its outputs alone.
    float lat = 1, lon = 2, line = 3, elem = 4;
    EXPECT_EQ(AREA_tran(1, &lat, &lon, &line, &elem), 0);
    EXPECT_EQ(lat, 1.0f);
    EXPECT_EQ(lon, 2.0f);
    // A block pointer missing for the named type is no domain, not a crash.
    NavArea p("PS", 100, 100, 1, 1, 1, 1);
    p.area.ps = nullptr;
    EXPECT_EQ(p.domain().proj, -9999);
}

// The same files through the AREA reader: the block arrives as the reader hands
// it over, byte order corrected on this host, and gives the same domains.
TEST(ProjectedDomain, FilesThroughTheReader) {
    SAT_params_reset();
    struct Want {
        const char* file;
        int proj;
        double clat, clon, tol;
    };
    for (Want w : {Want{"area/radar_composite_ps_2000137_0859.area", 1, 38.2789, -98.1975, 0.1},
                   Want{"area/goes8_wv_gvar_1998260_0745.area", 9, 25.0, -80.0, 0.3}}) {
        FILE* f = std::fopen(sat_test::testdata(w.file).c_str(), "rb");
        ASSERT_NE(f, nullptr);
        AreaFile area{};
        ASSERT_EQ(SAT_read_AREA(f, &area), 0) << w.file;
        std::fclose(f);
        Image image{};
        image.width = area.dir[9];
        image.height = area.dir[8];
        image.xres = static_cast<float>(area.dir[12]);
        image.yres = static_cast<float>(area.dir[11]);
        AREA_reset();
        AREA_init(&area);
        AREA_calc_domain(&image, &area);
        EXPECT_EQ(image.domain.proj, w.proj) << w.file;
        EXPECT_LT(great_circle_deg(image.domain.clat, image.domain.clon, w.clat, w.clon), w.tol)
            << w.file;
        SAT_free_AREA(&area);
    }
}

}  // namespace
