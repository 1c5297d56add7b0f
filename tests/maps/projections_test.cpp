// Projections: agreement with an independent implementation (the `proj` tool of
// PROJ, on the same sphere) forward and inverse, limits, grids and the map rules.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "env/domains.h"
#include "maps/projections.h"
#include "test_support.h"

namespace {

constexpr double kDeg = 0.017453292519943334;
constexpr double kUnits = 1e-5;  // 100 km per metre
constexpr float kMiss = -9999.0f;
const std::string kSphere = " +R=6371220 +no_defs";
using Floats = std::vector<float>;

struct LatLon {
    double lat, lon;
};

Domain make(const char* text) {
    Domain d;
    EXPECT_EQ(DOM_decode(text, &d), 1) << text;
    return d;
}

Domain use(const char* text) {
    Domain d = make(text);
    MAP_domain(&d);
    return d;
}

Domain sat_domain(float plon, float radius, float tlat2, int ext) {
    Domain d = make("sat,0,0,801,801,0.162,0.162");
    d.plat = 0.0f;
    d.plon = d.clon = plon;
    d.param[0] = radius;
    d.param[1] = tlat2;
    d.ext = ext;
    return d;
}

std::vector<LatLon> grid(double lat0, double lat1, double lon0, double lon1, double step) {
    std::vector<LatLon> pts;
    for (double lat = lat0; lat <= lat1 + 1e-9; lat += step)
        for (double lon = lon0; lon <= lon1 + 1e-9; lon += step) pts.push_back({lat, lon});
    return pts;
}

// Same point within tol degrees; longitude counted along the parallel.
void expect_same_point(float lat, float lon, const LatLon& p, double tol) {
    EXPECT_NEAR(lat, p.lat, tol) << " at " << p.lat << " " << p.lon;
    EXPECT_NEAR(std::remainder(lon - p.lon, 360.0) * std::cos(p.lat * kDeg), 0.0, tol)
        << " at " << p.lat << " " << p.lon;
}

// PROJ's forward tool on lon/lat pairs; "*" (no image) becomes NaN.
std::vector<std::pair<double, double>> proj_forward(const std::string& args,
                                                    const std::vector<LatLon>& pts) {
    sat_test::RunOptions options;
    char line[128];
    for (const LatLon& p : pts) {
        std::snprintf(line, sizeof line, "%.10f %.10f\n", p.lon, p.lat);
        options.input += line;
    }
    auto r =
        sat_test::run_program("/bin/sh", {"-c", "/usr/bin/proj " + args + " -f %.6f"}, options);
    std::vector<std::pair<double, double>> out;
    std::istringstream lines(r.out);
    for (std::string l; std::getline(lines, l);) {
        double x = NAN, y = NAN;
        if (std::sscanf(l.c_str(), "%lf %lf", &x, &y) != 2) x = y = NAN;
        out.emplace_back(x, y);
    }
    return out;
}

#define NEED_PROJ() \
    if (!sat_test::file_exists("/usr/bin/proj")) GTEST_SKIP() << "proj-bin not installed"

// One row per projection branch: the forward against PROJ, and our inverse of
// PROJ's coordinates back to the point.
TEST(ProjectionOracle, MapProjectionsAgreeWithProj) {
    NEED_PROJ();
    // Our southern tangent cone is the textbook one times this constant.
    const double south =
        std::pow(std::tan(32.5 * kDeg) / std::tan(57.5 * kDeg), std::sin(25 * kDeg));
    struct Case {
        const char* domain;
        std::string args;  // PROJ's definition
        double scale;      // our units per metre of PROJ's output
        std::vector<LatLon> pts;
    };
    const Case cases[] = {
        {"ps,40,-100,25,17,1,1", "stere +lat_0=90 +lat_ts=60 +lon_0=-100", kUnits,
         grid(-70, 88, -180, 175, 7.5)},
        {"ps:-90:30,-60,30,25,17,1,1", "stere +lat_0=-90 +lat_ts=-60 +lon_0=30", kUnits,
         grid(-88, 70, -180, 175, 7.5)},
        // Latitude-longitude coordinates are degrees.
        {"ll,0,20,361,181,1,1", "eqc +lon_0=20", 1 / (kDeg * 6371220), grid(-89, 89, -160, 199, 9)},
        {"me,10,-60,25,17,1,1", "merc +lon_0=-60", kUnits, grid(-85, 85, -239, 119, 8.5)},
        {"lamb:90:-95:25:25,35,-95,25,17,1,1", "lcc +lat_0=90 +lat_1=25 +lat_2=25 +lon_0=-95",
         kUnits, grid(-60, 88, -270, 84, 6)},
        {"lamb,45,10,25,17,1,1", "lcc +lat_0=90 +lat_1=30 +lat_2=60 +lon_0=10", kUnits,
         grid(-60, 88, -165, 184, 6)},
        {"lamb:-90:135:-25:-25,-30,135,25,17,1,1",
         "lcc +lat_0=-90 +lat_1=-25 +lat_2=-25 +lon_0=135", kUnits * south,
         grid(-88, 50, 20, 245, 7)},
        // A southern secant cone is the northern one through the mirrored latitudes.
        {"lamb:-90:100:-30:-60,-40,100,25,17,1,1", "lcc +lat_0=90 +lat_1=30 +lat_2=60 +lon_0=100",
         kUnits, grid(-80, 88, -75, 275, 6)},
        {"or,40,-100,25,17,1,1", "ortho +lat_0=40 +lon_0=-100", kUnits, grid(10, 70, -140, -60, 5)},
        {"laz,40,-100,25,17,1,1", "laea +lat_0=40 +lon_0=-100", kUnits, grid(-80, 89, -270, 60, 7)},
        {"laz,90,0,25,17,1,1", "laea +lat_0=90 +lon_0=0", kUnits, grid(-80, 89, -180, 175, 7)},
        // This Mollweide is the textbook one at 1/sqrt(2) of the size.
        {"mo,0,-30,41,21,6.4,6.4", "moll +lon_0=-30", kUnits / std::sqrt(2.0),
         grid(-85, 85, -209, 149, 6.5)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.domain);
        auto ref = proj_forward("+proj=" + c.args + kSphere, c.pts);
        ASSERT_EQ(ref.size(), c.pts.size());
        use(c.domain);
        size_t compared = 0;
        for (size_t i = 0; i < c.pts.size(); ++i) {
            if (std::isnan(ref[i].first)) continue;
            const LatLon& p = c.pts[i];
            float x, y, lat, lon;
            ASSERT_EQ(MAP_tran(float(p.lat), float(p.lon), &x, &y), 1);
            double rx = ref[i].first * c.scale, ry = ref[i].second * c.scale;
            double tol = 5e-5 + 2e-7 * (std::fabs(rx) + std::fabs(ry));  // 5 m and float
            EXPECT_NEAR(x, rx, tol) << p.lat << " " << p.lon;
            EXPECT_NEAR(y, ry, tol) << p.lat << " " << p.lon;
            ASSERT_EQ(MAP_untran(float(rx), float(ry), &lat, &lon), 1);
            expect_same_point(lat, lon, p, 1e-4);
            ++compared;
        }
        EXPECT_GT(compared, c.pts.size() / 3);
    }
}

// The ellipsoid view ("e") gives PROJ's geos scan angles times the orbit radius
// with second parameter 1, their tangents otherwise.
TEST(ProjectionOracle, GeostationaryViewAgreesWithGeos) {
    NEED_PROJ();
    const float plon = -75.2f;
    const double h = double(421.64f) * 1e5 - 6378137.0;
    const std::string lon0 = " +lon_0=" + std::to_string(plon);
    auto pts = grid(-75, 75, plon - 75, plon + 75, 5.0);
    auto ref = proj_forward("+proj=geos +a=6378137 +b=6356752 +h=" + std::to_string(h) + lon0, pts);
    ASSERT_EQ(ref.size(), pts.size());
    Domain scan = sat_domain(plon, 421.64f, 1, 1), plane = sat_domain(plon, 421.64f, 0, 1);
    int compared = 0;
    for (size_t i = 0; i < pts.size(); ++i) {
        if (std::isnan(ref[i].first)) continue;
        const float la = float(pts[i].lat), lo = float(pts[i].lon);
        const double ax = ref[i].first / h, ay = ref[i].second / h;
        float x, y, lat, lon;
        MAP_domain(&scan);
        // The forward's limb is that of the sphere R: right at the edge it may refuse.
        if (MAP_tran(la, lo, &x, &y) != 1) {
            EXPECT_GT(std::hypot(ax, ay), 0.145) << "refused inside the disk";
            continue;
        }
        EXPECT_NEAR(x / 421.64, ax, 2e-7) << la << " " << lo;
        EXPECT_NEAR(y / 421.64, ay, 2e-7) << la << " " << lo;
        ASSERT_EQ(MAP_untran(float(ax * 421.64), float(ay * 421.64), &lat, &lon), 1);
        double arc = std::acos(std::cos(la * kDeg) * std::cos((lo - plon) * kDeg)) / kDeg;
        expect_same_point(lat, lon, pts[i], arc < 60 ? 1e-4 : 1e-2);
        MAP_domain(&plane);
        ASSERT_EQ(MAP_tran(la, lo, &x, &y), 1);
        EXPECT_NEAR(x / 421.64, std::tan(ax), 3e-7);
        EXPECT_NEAR(y / 421.64, std::tan(ay), 3e-7);
        ASSERT_EQ(MAP_untran(x, y, &lat, &lon), 1);
        expect_same_point(lat, lon, pts[i], arc < 60 ? 1e-4 : 1e-2);
        ++compared;
    }
    EXPECT_GT(compared, 200);
}

Floats tran(const Domain& d, float lat, float lon) {
    MAP_domain(&d);
    float x = 5, y = 6;
    int r = MAP_tran(lat, lon, &x, &y);
    return Floats{float(r), x, y};
}
Floats tran(const char* text, float lat, float lon) {
    return tran(make(text), lat, lon);
}

Floats untran(const Domain& d, float x, float y) {
    MAP_domain(&d);
    float lat = 1, lon = 2;
    int r = MAP_untran(x, y, &lat, &lon);
    return Floats{float(r), lat, lon};
}
Floats untran(const char* text, float x, float y) {
    return untran(make(text), x, y);
}

// Charts round-trip through each ordinate branch; the pressure ordinate runs down.
TEST(Projections, ClampsWrapsAndPointsWithoutImage) {
    // Polar stereographic clamps the far hemisphere at 75 rather than refusing.
    EXPECT_EQ(tran("ps,40,-100,25,17,1,1", -80, -40), tran("ps,40,-100,25,17,1,1", -75, -40));
    EXPECT_EQ(tran("ps:-90:0,-60,0,25,17,1,1", 85, 40), tran("ps:-90:0,-60,0,25,17,1,1", 75, 40));
    // 180 and -180 stay, 181 is -179.
    const char* ll = "ll,0,0,361,181,1,1";
    EXPECT_EQ((Floats{tran(ll, 10, 180)[1], tran(ll, 10, -180)[1], tran(ll, 10, 181)[1],
                      tran(ll, 10, -541)[1]}),
              (Floats{180, -180, -179, 179}));
    // Mercator stops at 89.9; Mollweide puts the poles on the central meridian.
    EXPECT_EQ(tran("me,0,0,25,17,1,1", 90, 0), tran("me,0,0,25,17,1,1", 89.9f, 0));
    EXPECT_EQ(tran("mo,0,0,41,21,6.4,6.4", 89.995f, 120)[1], 0.0f);
    EXPECT_TRUE(std::isfinite(tran("mo,0,0,41,21,6.4,6.4", -90, 120)[2]));
    // No image: -9999 in both and 0.
    const Floats none{0, kMiss, kMiss};
    EXPECT_EQ(tran("or,40,-100,25,17,1,1", -40, 80), none);  // far side
    EXPECT_EQ(tran(ll, 10, INFINITY), none);                 // not a longitude
    // Gnomonic has no transform: the caller's variables keep what they held.
    EXPECT_EQ(tran("gn,40,-100,25,17,1,1", 10, 10), (Floats{1, 5, 6}));
    EXPECT_EQ(untran("or,40,-100,25,17,1,1", 70, 0), none);    // off the disk
    EXPECT_EQ(untran("laz,40,-100,25,17,1,1", 130, 0), none);  // beyond 2R
    EXPECT_EQ(untran("mo,0,0,41,21,6.4,6.4", 0, 64), none);    // above the ellipse
    EXPECT_EQ(untran(ll, 200, 5)[2], -160.0f);                 // wrapped
    // The azimuthal centre: the position, but 0.
    EXPECT_EQ(untran("laz,40,-100,25,17,1,1", 0, 0), (Floats{0, 40, -100}));
    // The inverse refuses past scan angles of about asin(b / S) and asin(a / S) times S.
    Domain sat = sat_domain(0.0f, 421.64f, 1, 1);
    EXPECT_EQ(untran(sat, 0, 63.6f)[0], 1);
    EXPECT_EQ(untran(sat, 0, 64.0f), none);
    EXPECT_EQ(untran(sat, 63.9f, 0)[0], 1);
    EXPECT_EQ(untran(sat, 64.2f, 0), none);
    EXPECT_EQ(tran("sat:e:0:-75:421.64:1,0,-75,801,801,0.162,0.162", 0, 100), none);
    float x, y;
    EXPECT_EQ(MAP_domain(nullptr), -1);  // no domain: the identity
    EXPECT_EQ(MAP_get_proj(), ZMT_MISSING);
    EXPECT_EQ(MAP_tran(12.5f, -33.0f, &x, &y), 1);
    EXPECT_TRUE(x == 12.5f && y == -33.0f);
    EXPECT_EQ(MAP_in_grid_domain(1e9f, -1e9f), 1);
}

// Grid corners against PROJ are the AWIPS reader tests'; here the margin.
TEST(Projections, GridDomainMarginAndMissingCells) {
    const Domain d = use("ps,40,-100,25,17,1.5,1.2");
    float lim[4], x, y;
    MAP_get_limits(lim);
    // Inside means within the limits widened by three cells.
    EXPECT_EQ(MAP_in_grid_domain(lim[0] - 2.9f * d.dx, lim[3] + 2.9f * d.dy), 1);
    EXPECT_EQ(MAP_in_grid_domain(lim[0] - 3.1f * d.dx, lim[2]), 0);
    EXPECT_EQ(MAP_in_grid_domain(lim[1], lim[2] - 3.1f * d.dy), 0);
    EXPECT_EQ(MAP_grid_tran(kMiss, 3.0f, &x, &y), -1);
    EXPECT_TRUE(x == kMiss && y == kMiss);
    EXPECT_EQ(MAP_grid_untran(kMiss, 3.0f, &x, &y), -1);
    EXPECT_TRUE(x == kMiss && y == kMiss);
}

TEST(Projections, DirectionAdjustmentFollowsTheMap) {
    // Oracle: a finite step on the earth drawn through the forward transform.
    auto stepped = [](float lat, float lon, float dir) {
        float x0, y0, x1, y1;
        MAP_tran(lat, lon, &x0, &y0);
        MAP_tran(float(lat + 1e-3 * std::cos(dir * kDeg)),
                 float(lon + 1e-3 * std::sin(dir * kDeg) / std::cos(lat * kDeg)), &x1, &y1);
        return std::atan2(x1 - x0, y1 - y0) / kDeg;
    };
    for (const Domain& d : {make("ps,40,-100,25,17,1,1"), make("ps:-90:30,-60,30,25,17,1,1"),
                            make("lamb,40,-100,25,17,1,1"), sat_domain(-75, 421.64f, 1, 1)}) {
        MAP_domain(&d);
        for (const LatLon& p : grid(d.clat - 20, d.clat + 20, d.clon - 30, d.clon + 30, 10)) {
            float x, y;
            ASSERT_EQ(MAP_tran(float(p.lat), float(p.lon), &x, &y), 1);
            for (float dir : {0.0f, 45.0f, 200.0f})
                EXPECT_NEAR(
                    std::remainder(
                        MAP_dir_adj(dir, x, y) - stepped(float(p.lat), float(p.lon), dir), 360.0),
                    0.0, 0.5)
                    << "proj " << d.proj << " at " << p.lat << " " << p.lon << " dir " << dir;
        }
    }
    // At the pole of a polar stereographic map the turn is the longitude.
    use("ps,40,-100,25,17,1,1");
    EXPECT_FLOAT_EQ(MAP_dir_adj(30.0f, 0.0f, 0.0f), 130.0f);
    use("ps:-90:30,-60,30,25,17,1,1");
    EXPECT_FLOAT_EQ(MAP_dir_adj(30.0f, 0.0f, 0.0f), 60.0f);
    Domain sat = sat_domain(-75, 421.64f, 1, 1);
    MAP_domain(&sat);
    EXPECT_EQ(MAP_dir_adj(30.0f, 80.0f, 0.0f), kMiss);  // off the disk
}

}  // namespace
