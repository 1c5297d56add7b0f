// Three-axis navigation against reference locations of a real GOES-8 sector and the
// edge of a full disk carrying the same navigation. The stream-header reader is off in
// the program (formats/unisys.cpp) and only fuzzed (fuzz/navigation_fuzz.cpp).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

#include "formats/area.h"
#include "navigation/area_nav.h"
#include "navigation/gvar.h"
#include "test_support.h"

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kD2R = kPi / 180.0;

// A GVAR file through the AREA reader, its navigation loaded.
struct GvarArea {
    AreaFile area{};
    explicit GvarArea(const char* rel) {
        FILE* f = std::fopen(sat_test::testdata(rel).c_str(), "rb");
        if (!f) throw std::runtime_error(rel);
        int status = SAT_read_AREA(f, &area);
        std::fclose(f);
        if (status != 0 || !area.gvar) throw std::runtime_error(rel);
        load();
    }
    GvarArea(const GvarArea&) = delete;
    ~GvarArea() { SAT_free_AREA(&area); }
    void load() {
        AREA_reset();
        AREA_init(&area);
    }
};

// The reference library's earth is WGS-84, the navigation's 6378.388 km with a squared
// axis ratio of 1.0067391845079678: this moves a reference point along the ray from
// the satellite (equator, 75 W, 42164.365 km out) onto the navigation's surface.
void to_navigation_ellipsoid(double& lat, double& lon) {
    const double a84 = 6378.137, f84 = 1.0 / 298.257223563, sat_lon = -75.0 * kD2R;
    const double e2 = f84 * (2.0 - f84);
    double phi = lat * kD2R, lam = lon * kD2R;
    double n = a84 / std::sqrt(1.0 - e2 * std::sin(phi) * std::sin(phi));
    double p[3] = {n * std::cos(phi) * std::cos(lam), n * std::cos(phi) * std::sin(lam),
                   n * (1.0 - e2) * std::sin(phi)};
    double s[3] = {42164.365 * std::cos(sat_lon), 42164.365 * std::sin(sat_lon), 0.0};
    const double a = 6378.388, b = a / std::sqrt(1.0067391845079678);
    double d[3] = {p[0] - s[0], p[1] - s[1], p[2] - s[2]};
    double qa = (d[0] * d[0] + d[1] * d[1]) / (a * a) + d[2] * d[2] / (b * b);
    double qb = 2.0 * ((s[0] * d[0] + s[1] * d[1]) / (a * a) + s[2] * d[2] / (b * b));
    double qc = (s[0] * s[0] + s[1] * s[1]) / (a * a) + s[2] * s[2] / (b * b) - 1.0;
    double t = (-qb - std::sqrt(qb * qb - 4.0 * qa * qc)) / (2.0 * qa);
    double q[3] = {s[0] + t * d[0], s[1] + t * d[1], s[2] + t * d[2]};
    lon = std::atan2(q[1], q[0]) / kD2R;
    lat = std::atan((a * a) / (b * b) * q[2] / std::hypot(q[0], q[1])) / kD2R;
}

double great_circle_deg(double lat1, double lon1, double lat2, double lon2) {
    double c = std::sin(lat1 * kD2R) * std::sin(lat2 * kD2R) +
               std::cos(lat1 * kD2R) * std::cos(lat2 * kD2R) * std::cos((lon1 - lon2) * kD2R);
    return std::acos(std::fmin(1.0, std::fmax(-1.0, c))) / kD2R;
}

// The forward transform takes the imager's lines with an offset of 2.5 where the
// inverse takes 4.5: a satellite line L of the inverse is line L - 2 of the forward.
constexpr float kForwardShift = 2.0f;

const char* kSector = "area/goes8_wv_gvar_1998260_0745.area";
const char* kFullDisk = "area/goes8_fulldisk_gvar_synthetic.area";

TEST(GvarReference, BothDirectionsMatchReference) {
    GvarArea g(kSector);
    // Image time 1998 day 260 07:45:14.372 and the epoch 10:00, minutes apart.
    EXPECT_NEAR(GVAR_nav().epoch - GVAR_nav().img_time, 134.76047, 1e-4);
    float lat = 0, lon = 0, line = 0, elem = 0;
    EXPECT_EQ(AREA_tran(3, &lat, &lon, &line, &elem), 0);
    EXPECT_NEAR(lat, 0.0, 1e-4);
    EXPECT_NEAR(lon, -75.0, 1e-3);

    std::ifstream in(sat_test::testdata("nav/goes8_wv_gvar_1998260_0745.ref.csv"));
    std::string text;
    std::getline(in, text);
    int count = 0;
    double raw_sat = 0, raw_earth = 0, worst_sat = 0, worst_earth = 0;
    auto worse = [](double& w, double a, double b) { w = std::fmax(w, std::fmax(a, b)); };
    while (std::getline(in, text)) {
        double row, col, ln, el, rlat, rlon;
        if (std::sscanf(text.c_str(), "%lf,%lf,%lf,%lf,%lf,%lf", &row, &col, &ln, &el, &rlat,
                        &rlon) != 6)
            continue;
        ++count;
        lat = static_cast<float>(rlat), lon = static_cast<float>(rlon);
        ASSERT_EQ(AREA_tran(2, &lat, &lon, &line, &elem), 0);
        worse(raw_sat, std::fabs(line - ln), std::fabs(elem - el));
        line = static_cast<float>(ln) - kForwardShift, elem = static_cast<float>(el);
        ASSERT_EQ(AREA_tran(1, &lat, &lon, &line, &elem), 0);
        worse(raw_earth, std::fabs(lat - rlat), std::fabs(lon - rlon));
        double la = rlat, lo = rlon;
        to_navigation_ellipsoid(la, lo);
        EXPECT_NEAR(lat, la, 0.005) << row << "," << col;
        EXPECT_NEAR(lon, lo, 0.005) << row << "," << col;
        worse(worst_earth, std::fabs(lat - la), std::fabs(lon - lo));
        lat = static_cast<float>(la), lon = static_cast<float>(lo);
        AREA_tran(2, &lat, &lon, &line, &elem);
        EXPECT_NEAR(line, ln, 0.1) << row << "," << col;
        EXPECT_NEAR(elem, el, 0.1) << row << "," << col;
        worse(worst_sat, std::fabs(line - ln), std::fabs(elem - el));
    }
    EXPECT_EQ(count, 867);
    // Without moving the reference to the navigation's ellipsoid the two differ by
    // a fraction of a pixel, growing away from the sub-satellite point.
    EXPECT_LT(raw_sat, 0.25);
    EXPECT_LT(worst_sat, 0.02);
    EXPECT_LT(raw_earth, 0.006);
    EXPECT_LT(worst_earth, 2e-4);
}

// Round trips on the disk are the reference test's; here what lies beyond the limb.
TEST(GvarFullDisk, LimbHiddenSideAndLatitudeBounds) {
    GvarArea g(kFullDisk);
    // A ray that misses the earth is not refused: it gives the point under its closest
    // approach, 90 degrees less its angle from nadir away. Here 6 degrees north and 9
    // east of nadir by the nominal steps of 28 and 16 microradians.
    float nadir_line = 0, nadir_elem = 0;
    ASSERT_EQ(earth2sat(0.0f, -75.0f, &nadir_line, &nadir_elem), 0);
    float line = nadir_line - kForwardShift - static_cast<float>(6.0 * kD2R / 28e-6);
    float elem = nadir_elem + static_cast<float>(9.0 * kD2R / 16e-6);
    float lat = 0, lon = 0;
    AREA_tran(1, &lat, &lon, &line, &elem);
    EXPECT_NEAR(great_circle_deg(lat, lon, 0.0, -75.0), 90.0 - std::hypot(6.0, 9.0), 0.5);
    // The visible limb at the equator is 81.3 degrees from nadir; latitudes up
    // to the poles pass the bounds, latitudes beyond are refused.
    const struct {
        float lat, lon;
        int status;
    } points[] = {{10.0f, 105.0f, -1}, {0.0f, -75.0f + 81.6f, -1}, {0.0f, -75.0f + 80.5f, 0},
                  {81.0f, -75.0f, 0},  {90.1f, 0.0f, -1},          {NAN, 0.0f, -1}};
    for (const auto& p : points) {
        line = elem = 0;
        EXPECT_EQ(earth2sat(p.lat, p.lon, &line, &elem), p.status) << p.lat << "," << p.lon;
        if (p.status) {
            EXPECT_EQ(line, -9999.0f) << p.lat << "," << p.lon;
        }
    }
}

}  // namespace
