// Projections: round trips, agreement with an independent implementation (the
// `proj` tool of PROJ on the same sphere), limits, grids and the Part's own rules.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "env/domains.h"
#include "maps/projections.h"
#include "test_support.h"

namespace {

constexpr double kDeg = 0.017453292519943334;
constexpr double kR = 6371220.0;  // metres, the system's sphere
constexpr float kMiss = -9999.0f;

Domain make(const char* text) {
    Domain d;
    EXPECT_EQ(DOM_decode(text, &d), 1) << text;
    return d;
}

Domain sat_domain(float plon, float radius, float tlat2, int ext) {
    Domain d;
    DOM_init(&d);
    d.proj = 9;
    d.plat = 0.0f;
    d.plon = plon;
    d.param[0] = radius;
    d.param[1] = tlat2;
    d.ext = ext;
    d.clat = 0.0f;
    d.clon = plon;
    d.nx = d.ny = 801;
    d.dx = d.dy = 0.162f;
    return d;
}

double lon_diff(double a, double b) {
    return std::remainder(a - b, 360.0);
}

struct LatLon {
    double lat, lon;
};

std::vector<LatLon> grid(double lat0, double lat1, double lon0, double lon1, double step) {
    std::vector<LatLon> pts;
    for (double lat = lat0; lat <= lat1 + 1e-9; lat += step)
        for (double lon = lon0; lon <= lon1 + 1e-9; lon += step) pts.push_back({lat, lon});
    return pts;
}

// Forward and back over the points; every point must have an image.
void expect_round_trip(const Domain& d, const std::vector<LatLon>& pts, double tol = 1e-4) {
    MAP_domain(&d);
    int checked = 0;
    for (const LatLon& p : pts) {
        float x, y, lat, lon;
        ASSERT_EQ(MAP_tran(static_cast<float>(p.lat), static_cast<float>(p.lon), &x, &y), 1)
            << p.lat << " " << p.lon;
        ASSERT_EQ(MAP_untran(x, y, &lat, &lon), 1) << p.lat << " " << p.lon;
        EXPECT_NEAR(lat, p.lat, tol) << "proj " << d.proj << " at " << p.lat << " " << p.lon;
        // Longitude as a distance along the parallel: near a pole it hardly matters.
        EXPECT_NEAR(lon_diff(lon, p.lon) * std::cos(p.lat * kDeg), 0.0, tol)
            << "proj " << d.proj << " at " << p.lat << " " << p.lon;
        ++checked;
    }
    EXPECT_GT(checked, 10);
}

// Points within an angular distance of a centre: the valid area of the azimuthal
// views, away from the limb where a float coordinate no longer pins the point down.
std::vector<LatLon> near(double clat, double clon, double max_deg, double step,
                         double max_lat = 89.5) {
    std::vector<LatLon> pts;
    for (const LatLon& p : grid(-max_lat, max_lat, clon - 180, clon + 179, step)) {
        double c = std::sin(clat * kDeg) * std::sin(p.lat * kDeg) +
                   std::cos(clat * kDeg) * std::cos(p.lat * kDeg) * std::cos((p.lon - clon) * kDeg);
        if (c >= std::cos(max_deg * kDeg)) pts.push_back(p);
    }
    return pts;
}

// ------------------------------------------------------------- the oracle

bool have_proj() {
    return sat_test::file_exists("/usr/bin/proj");
}

// Runs PROJ's forward tool on lon/lat pairs; "*" (no image) becomes NaN.
std::vector<std::pair<double, double>> proj_forward(const std::string& args,
                                                    const std::vector<LatLon>& pts) {
    sat_test::TempDir dir;
    std::string in;
    char line[128];
    for (const LatLon& p : pts) {
        std::snprintf(line, sizeof line, "%.10f %.10f\n", p.lon, p.lat);
        in += line;
    }
    sat_test::write_file(dir.file("in.txt"), in);
    std::string cmd = "/usr/bin/proj " + args + " -f %.6f " + dir.file("in.txt");
    std::vector<std::pair<double, double>> out;
    FILE* pipe = popen(cmd.c_str(), "r");
    if (!pipe) return out;
    char buf[256];
    while (std::fgets(buf, sizeof buf, pipe)) {
        double x = NAN, y = NAN;
        if (std::sscanf(buf, "%lf %lf", &x, &y) != 2) x = y = NAN;
        out.emplace_back(x, y);
    }
    pclose(pipe);
    return out;
}

struct OracleCase {
    const char* name;
    Domain domain;
    std::string args;  // PROJ definition on the same sphere
    double scale;      // projection units of the system per metre of PROJ's output
    std::vector<LatLon> pts;
};

// Forward against PROJ, and our inverse of PROJ's coordinates back to the points.
void expect_agrees_with_proj(const OracleCase& c, double tol_units = 5e-5) {
    auto ref = proj_forward(c.args, c.pts);
    ASSERT_EQ(ref.size(), c.pts.size()) << c.name;
    MAP_domain(&c.domain);
    int compared = 0;
    for (size_t i = 0; i < c.pts.size(); ++i) {
        if (std::isnan(ref[i].first)) continue;
        const LatLon& p = c.pts[i];
        float x, y;
        ASSERT_EQ(MAP_tran(static_cast<float>(p.lat), static_cast<float>(p.lon), &x, &y), 1)
            << c.name;
        double rx = ref[i].first * c.scale, ry = ref[i].second * c.scale;
        double tol = tol_units + 2e-7 * (std::fabs(rx) + std::fabs(ry));
        EXPECT_NEAR(x, rx, tol) << c.name << " x at " << p.lat << " " << p.lon;
        EXPECT_NEAR(y, ry, tol) << c.name << " y at " << p.lat << " " << p.lon;

        float lat, lon;
        ASSERT_EQ(MAP_untran(static_cast<float>(rx), static_cast<float>(ry), &lat, &lon), 1)
            << c.name;
        EXPECT_NEAR(lat, p.lat, 1e-4) << c.name << " inverse at " << p.lat << " " << p.lon;
        EXPECT_NEAR(lon_diff(lon, p.lon) * std::cos(p.lat * kDeg), 0.0, 1e-4)
            << c.name << " inverse at " << p.lat << " " << p.lon;
        ++compared;
    }
    EXPECT_GT(compared, static_cast<int>(c.pts.size() / 3)) << c.name;
}

const std::string kSphere = " +R=6371220 +no_defs";
constexpr double kUnits = 1e-5;  // 100 km per metre

TEST(ProjectionOracle, TextbookProjectionsAgreeWithProj) {
    if (!have_proj()) GTEST_SKIP() << "proj-bin not installed";
    std::vector<OracleCase> cases = {
        {"pstereo north", make("ps,40,-100,25,17,1,1"),
         "+proj=stere +lat_0=90 +lat_ts=60 +lon_0=-100" + kSphere, kUnits,
         grid(-70, 88, -180, 175, 7.5)},
        {"pstereo north, true at 45", make("ps:90:-80:45,40,-80,25,17,1,1"),
         "+proj=stere +lat_0=90 +lat_ts=45 +lon_0=-80" + kSphere, kUnits,
         grid(-60, 88, -180, 175, 9.5)},
        {"pstereo south", make("ps:-90:30,-60,30,25,17,1,1"),
         "+proj=stere +lat_0=-90 +lat_ts=-60 +lon_0=30" + kSphere, kUnits,
         grid(-88, 70, -180, 175, 7.5)},
        {"latlon", make("ll,0,20,361,181,1,1"), "+proj=eqc +lon_0=20" + kSphere, 1.0 / (kDeg * kR),
         grid(-89, 89, -160, 199, 9.0)},
        {"mercator", make("me,10,-60,25,17,1,1"), "+proj=merc +lon_0=-60" + kSphere, kUnits,
         grid(-85, 85, -239, 119, 8.5)},
        {"lambert tangent", make("lamb:90:-95:25:25,35,-95,25,17,1,1"),
         "+proj=lcc +lat_0=90 +lat_1=25 +lat_2=25 +lon_0=-95" + kSphere, kUnits,
         grid(-60, 88, -270, 84, 6.0)},
        {"lambert secant", make("lamb,45,10,25,17,1,1"),
         "+proj=lcc +lat_0=90 +lat_1=30 +lat_2=60 +lon_0=10" + kSphere, kUnits,
         grid(-60, 88, -165, 184, 6.0)},
        {"orthographic", make("or,40,-100,25,17,1,1"),
         "+proj=ortho +lat_0=40 +lon_0=-100" + kSphere, kUnits, near(40, -100, 70, 5.0, 88)},
        {"orthographic equatorial", make("or,0,150,25,17,1,1"),
         "+proj=ortho +lat_0=0 +lon_0=150" + kSphere, kUnits, near(0, 150, 70, 5.0, 88)},
        {"lambert azimuthal", make("laz,40,-100,25,17,1,1"),
         "+proj=laea +lat_0=40 +lon_0=-100" + kSphere, kUnits, grid(-80, 89, -270, 60, 7.0)},
        {"lambert azimuthal polar", make("laz,90,0,25,17,1,1"),
         "+proj=laea +lat_0=90 +lon_0=0" + kSphere, kUnits, grid(-80, 89, -180, 175, 7.0)},
    };
    for (const OracleCase& c : cases) {
        SCOPED_TRACE(c.name);
        expect_agrees_with_proj(c);
    }
}

// This Mollweide is the textbook one drawn at 1/sqrt(2) of the size (x = 2/pi R
// lon cos t, y = R sin t), so that the whole earth fits a box of 2R by 4R.
TEST(ProjectionOracle, MollweideIsTheTextbookOneScaledDown) {
    if (!have_proj()) GTEST_SKIP() << "proj-bin not installed";
    OracleCase c{"mollweide", make("mo,0,-30,41,21,6.4,6.4"), "+proj=moll +lon_0=-30" + kSphere,
                 kUnits / std::sqrt(2.0), grid(-89, 89, -209, 149, 6.5)};
    expect_agrees_with_proj(c);
}

// The geostationary view: with the ellipsoid ("e") and the second parameter 1 the
// coordinates are scan angles times the orbit radius, the geometry PROJ calls geos
// with its default sweep; PROJ's unit is the angle times the height above the
// surface. With another second parameter they are tangents of the same angles.
TEST(ProjectionOracle, GeostationaryViewAgreesWithGeos) {
    if (!have_proj()) GTEST_SKIP() << "proj-bin not installed";
    for (float plon : {-75.2f, 0.0f, 140.7f}) {
        const double radius_m = static_cast<double>(421.64f) * 1e5;
        const double h = radius_m - 6378137.0;
        std::string args = "+proj=geos +h=" + std::to_string(h) +
                           " +a=6378137 +b=6356752 +lon_0=" + std::to_string(plon) + " +no_defs";
        auto pts = grid(-75, 75, plon - 75, plon + 75, 5.0);
        auto ref = proj_forward(args, pts);
        ASSERT_EQ(ref.size(), pts.size());

        Domain scan = sat_domain(plon, 421.64f, 1.0f, 1);
        Domain plane = sat_domain(plon, 421.64f, 0.0f, 1);
        int compared = 0;
        for (size_t i = 0; i < pts.size(); ++i) {
            if (std::isnan(ref[i].first)) continue;
            double ax = ref[i].first / h, ay = ref[i].second / h;  // scan angles
            float x, y, lat, lon;
            MAP_domain(&scan);
            // Our limb test uses the sphere, PROJ's the ellipsoid: points right at
            // the edge may be refused by one and not the other.
            if (MAP_tran(static_cast<float>(pts[i].lat), static_cast<float>(pts[i].lon), &x, &y) !=
                1) {
                EXPECT_GT(std::hypot(ax, ay), 0.145) << "refused well inside the disk";
                continue;
            }
            EXPECT_NEAR(x / 421.64, ax, 2e-7) << pts[i].lat << " " << pts[i].lon;
            EXPECT_NEAR(y / 421.64, ay, 2e-7) << pts[i].lat << " " << pts[i].lon;
            ASSERT_EQ(MAP_untran(static_cast<float>(ax * 421.64), static_cast<float>(ay * 421.64),
                                 &lat, &lon),
                      1);
            // Toward the limb a float coordinate spans more and more of the earth.
            double arc =
                std::acos(std::cos(pts[i].lat * kDeg) * std::cos((pts[i].lon - plon) * kDeg)) /
                kDeg;
            double tol = arc < 60 ? 1e-4 : 1e-2;
            EXPECT_NEAR(lat, pts[i].lat, tol);
            EXPECT_NEAR(lon_diff(lon, pts[i].lon) * std::cos(pts[i].lat * kDeg), 0.0, tol);

            MAP_domain(&plane);
            ASSERT_EQ(
                MAP_tran(static_cast<float>(pts[i].lat), static_cast<float>(pts[i].lon), &x, &y),
                1);
            EXPECT_NEAR(x / 421.64, std::tan(ax), 3e-7);
            EXPECT_NEAR(y / 421.64, std::tan(ay), 3e-7);
            ++compared;
        }
        EXPECT_GT(compared, 200);
    }
}

// On the sphere the forward transform is still PROJ's geos; the inverse of this
// projection is not its exact inverse (it follows a straight ray through the plane
// and meets the equatorial radius, not R), so only the forward is compared here.
TEST(ProjectionOracle, SphericalGeostationaryForward) {
    if (!have_proj()) GTEST_SKIP() << "proj-bin not installed";
    const double radius_m = static_cast<double>(421.61f) * 1e5;
    const double h = radius_m - kR;
    std::string args = "+proj=geos +h=" + std::to_string(h) + " +lon_0=-75" + kSphere;
    auto pts = grid(-70, 70, -145, -5, 5.0);
    auto ref = proj_forward(args, pts);
    ASSERT_EQ(ref.size(), pts.size());
    Domain d = sat_domain(-75.0f, kMiss, 1.0f, 0);  // default orbit radius 421.61
    MAP_domain(&d);
    int compared = 0;
    for (size_t i = 0; i < pts.size(); ++i) {
        if (std::isnan(ref[i].first)) continue;
        float x, y;
        if (MAP_tran(static_cast<float>(pts[i].lat), static_cast<float>(pts[i].lon), &x, &y) != 1)
            continue;
        EXPECT_NEAR(x / 421.61, ref[i].first / h, 2e-7);
        EXPECT_NEAR(y / 421.61, ref[i].second / h, 2e-7);
        ++compared;
    }
    EXPECT_GT(compared, 200);
}

// Southern Lambert: the multiplier takes tan(45 - tlat1/2) with the signed true
// latitude, so the cone is the textbook one scaled by a constant,
// (tan(45 + |t|/2) / tan(45 - |t|/2))^-n; the shape (conformal, true angles) holds.
TEST(ProjectionOracle, SouthernLambertIsTextbookTimesConstant) {
    if (!have_proj()) GTEST_SKIP() << "proj-bin not installed";
    Domain d = make("lamb:-90:135:-25:-25,-30,135,25,17,1,1");
    auto pts = grid(-88, 50, 20, 245, 7.0);
    auto ref = proj_forward("+proj=lcc +lat_0=-90 +lat_1=-25 +lat_2=-25 +lon_0=135" + kSphere, pts);
    ASSERT_EQ(ref.size(), pts.size());
    const double n = std::sin(25 * kDeg);
    const double k = std::pow(std::tan((45 - 12.5) * kDeg) / std::tan((45 + 12.5) * kDeg), n);
    MAP_domain(&d);
    for (size_t i = 0; i < pts.size(); ++i) {
        if (std::isnan(ref[i].first)) continue;
        float x, y;
        ASSERT_EQ(MAP_tran(static_cast<float>(pts[i].lat), static_cast<float>(pts[i].lon), &x, &y),
                  1);
        double rx = ref[i].first * kUnits * k, ry = ref[i].second * kUnits * k;
        double tol = 5e-5 + 2e-7 * (std::fabs(rx) + std::fabs(ry));
        EXPECT_NEAR(x, rx, tol) << pts[i].lat << " " << pts[i].lon;
        EXPECT_NEAR(y, ry, tol) << pts[i].lat << " " << pts[i].lon;
    }
}

// Southern Lambert through two true latitudes: the cone constant comes out
// negative, and the map is the northern cone through the mirrored latitudes.
TEST(ProjectionOracle, SouthernSecantLambertIsTheMirroredCone) {
    if (!have_proj()) GTEST_SKIP() << "proj-bin not installed";
    OracleCase c{"southern secant", make("lamb:-90:100:-30:-60,-40,100,25,17,1,1"),
                 "+proj=lcc +lat_0=90 +lat_1=30 +lat_2=60 +lon_0=100" + kSphere, kUnits,
                 grid(-80, 88, -75, 275, 6.0)};
    expect_agrees_with_proj(c);
}

// ------------------------------------------------------------- round trips

TEST(Projections, EveryProjectionRoundTrips) {
    expect_round_trip(make("ps,40,-100,25,17,1,1"), grid(-74, 89.5, -180, 180, 2.5));
    expect_round_trip(make("ps:-90:10,-60,10,25,17,1,1"), grid(-89.5, 74, -180, 180, 2.5));
    expect_round_trip(make("ll,0,0,361,181,1,1"), grid(-90, 90, -180, 180, 2.5));
    expect_round_trip(make("me,0,-100,25,17,1,1"), grid(-89, 89, -180, 179, 2.5));
    expect_round_trip(make("lamb,40,-100,25,17,1,1"), grid(-80, 89, -279, 79, 2.5));
    expect_round_trip(make("lamb:-90:100:-25:-25,-40,100,25,17,1,1"), grid(-89, 80, -79, 279, 2.5));
    expect_round_trip(make("lamb:-90:100:-30:-60,-40,100,25,17,1,1"), grid(-80, 89, -79, 279, 2.5));
    // Orthographic latitudes come from an arcsine, which loses its grip at the poles.
    expect_round_trip(make("or,40,-100,25,17,1,1"), near(40, -100, 70, 2.5, 88));
    expect_round_trip(make("or,-20,60,25,17,1,1"), near(-20, 60, 70, 2.5, 88));
    // Mollweide to 85 degrees: nearer the poles the meridians crowd together.
    expect_round_trip(make("mo,0,0,41,21,6.4,6.4"), grid(-85, 85, -179, 179, 2.5));
    expect_round_trip(make("laz,40,-100,25,17,1,1"), near(40, -100, 150, 2.5));
    expect_round_trip(make("laz,-90,0,25,17,1,1"), near(-90, 0, 150, 2.5));
    // The geostationary views up to 60 degrees of arc from the sub-point.
    for (float tlat2 : {1.0f, 0.0f}) {
        expect_round_trip(sat_domain(-75.2f, 421.64f, tlat2, 1), near(0, -75.2, 60, 2.5));
        expect_round_trip(sat_domain(140.7f, kMiss, tlat2, 1), near(0, 140.7, 60, 2.5));
    }
}

TEST(Projections, GraphDomainsRoundTrip) {
    struct Case {
        const char* text;
        std::vector<LatLon> pts;
    } cases[] = {
        {"xy,10,1000,100,50,20,500", {{10, 1000}, {15, 1100}, {30, 1500}, {-3, 900}}},
        {"cat,0,0,10,10,5,5", {{1, 1}, {2.5, 4}}},
        {"xp,10,1000,100,50,20,500", {{10, 1000}, {15, 1100}, {30, 1500}}},
        {"xlogp,-40,1000,25,17,80,900", {{-40, 1000}, {20, 500}, {0, 100}}},
        {"hodo,0,0,25,17,20,20", {{30, 2}, {200, 15}, {359, 1}}},
        {"stuve,-40,1000,25,17,80,900", {{-40, 1000}, {20, 500}}},
        {"ema,-40,1000,25,17,80,900", {{-40, 1000}, {20, 500}}},
        {"rteph,-40,1000,25,17,80,900", {{-40, 1000}, {20, 500}, {15, 850}}},
        {"pixel,0,0,640,480,1,1", {{10, 20}, {639, 479}}},
        {"skewt,-40,1000,25,17,80,900", {{-40, 1000}, {20, 500}}},
        {"teph,-40,1000,25,17,80,900", {{-40, 1000}, {20, 500}}},
    };
    for (const Case& c : cases) {
        Domain d = make(c.text);
        MAP_domain(&d);
        for (const LatLon& p : c.pts) {
            float x, y, a, b;
            ASSERT_EQ(MAP_tran(static_cast<float>(p.lat), static_cast<float>(p.lon), &x, &y), 1);
            ASSERT_EQ(MAP_untran(x, y, &a, &b), 1);
            EXPECT_NEAR(a, p.lat, 1e-3 * (1 + std::fabs(p.lat))) << c.text;
            EXPECT_NEAR(b, p.lon, 1e-3 * (1 + std::fabs(p.lon))) << c.text;
        }
    }
}

TEST(Projections, GraphTransformsAsGiven) {
    float x, y;
    Domain xy = make("xy,10,1000,100,50,20,500");
    MAP_domain(&xy);
    float lim[4];
    MAP_get_limits(lim);
    EXPECT_FLOAT_EQ(lim[0], 10.0f);
    EXPECT_FLOAT_EQ(lim[1], 110.0f);
    EXPECT_FLOAT_EQ(lim[2], 1000.0f);
    EXPECT_FLOAT_EQ(lim[3], 1050.0f);
    MAP_tran(30.0f, 1500.0f, &x, &y);  // the far corner of the data range
    EXPECT_FLOAT_EQ(x, 110.0f);
    EXPECT_FLOAT_EQ(y, 1050.0f);

    Domain xp = make("xp,10,1000,100,50,20,500");
    MAP_domain(&xp);
    MAP_get_limits(lim);
    EXPECT_FLOAT_EQ(lim[2], -1000.0f);
    EXPECT_FLOAT_EQ(lim[3], -950.0f);
    float y2;
    MAP_tran(10.0f, 1100.0f, &x, &y);
    MAP_tran(10.0f, 1200.0f, &x, &y2);
    EXPECT_LT(y2, y);  // the ordinate runs downwards

    Domain px = make("pixel,0,0,640,480,1,1");
    MAP_domain(&px);
    MAP_tran(12.0f, 34.0f, &x, &y);
    EXPECT_EQ(x, 12.0f);
    EXPECT_EQ(y, -34.0f);

    Domain hodo = make("hodo,0,0,25,17,20,20");
    MAP_domain(&hodo);
    MAP_tran(90.0f, 10.0f, &x, &y);
    EXPECT_NEAR(x, 10.0f, 1e-5);
    EXPECT_NEAR(y, 0.0f, 1e-5);
    float a, b;
    MAP_untran(0.0f, 0.0f, &a, &b);
    EXPECT_EQ(a, 0.0f);
    MAP_untran(-1.0f, 0.0f, &a, &b);
    EXPECT_FLOAT_EQ(a, 270.0f);

    Domain logp = make("xlogp,-40,1000,25,17,80,900");
    MAP_domain(&logp);
    MAP_tran(5.0f, 1000.0f, &x, &y);
    EXPECT_FLOAT_EQ(y, static_cast<float>(-std::log(1000.0)));

    Domain stuve = make("stuve,-40,1000,25,17,80,900");
    MAP_domain(&stuve);
    MAP_tran(5.0f, 1000.0f, &x, &y);
    EXPECT_NEAR(y, -std::pow(1000.0, 0.285714), 1e-4);

    // Rotated tephigram: y is the log of the potential temperature.
    Domain rteph = make("rteph,-40,1000,25,17,80,900");
    MAP_domain(&rteph);
    MAP_tran(20.0f, 500.0f, &x, &y);
    EXPECT_NEAR(y, std::log(293.15 * std::pow(2.0, 0.285714)), 1e-5);
}

TEST(Projections, MissingDomainIsTheIdentity) {
    EXPECT_EQ(MAP_domain(nullptr), -1);
    EXPECT_EQ(MAP_get_proj(), DOM_MISSING);
    float x, y, a, b;
    EXPECT_EQ(MAP_tran(12.5f, -33.0f, &x, &y), 1);
    EXPECT_EQ(x, 12.5f);
    EXPECT_EQ(y, -33.0f);
    EXPECT_EQ(MAP_untran(1.0f, 2.0f, &a, &b), 1);
    EXPECT_EQ(a, 1.0f);
    EXPECT_EQ(b, 2.0f);
    EXPECT_EQ(MAP_in_grid_domain(1e9f, -1e9f), 1);
}

// ------------------------------------------------------------ the Part's rules

TEST(Projections, ClampsAndWraps) {
    float x, y, x2, y2;
    // Far hemisphere of a polar stereographic map: clamped at 75, not refused.
    Domain ps = make("ps,40,-100,25,17,1,1");
    MAP_domain(&ps);
    EXPECT_EQ(MAP_tran(-80.0f, -40.0f, &x, &y), 1);
    MAP_tran(-75.0f, -40.0f, &x2, &y2);
    EXPECT_EQ(x, x2);
    EXPECT_EQ(y, y2);
    Domain pss = make("ps:-90:0,-60,0,25,17,1,1");
    MAP_domain(&pss);
    MAP_tran(85.0f, 40.0f, &x, &y);
    MAP_tran(75.0f, 40.0f, &x2, &y2);
    EXPECT_EQ(x, x2);
    EXPECT_EQ(y, y2);

    // Longitudes: 180 and -180 stay, 181 is -179.
    Domain ll = make("ll,0,0,361,181,1,1");
    MAP_domain(&ll);
    MAP_tran(10.0f, 180.0f, &x, &y);
    EXPECT_EQ(x, 180.0f);
    MAP_tran(10.0f, -180.0f, &x, &y);
    EXPECT_EQ(x, -180.0f);
    MAP_tran(10.0f, 181.0f, &x, &y);
    EXPECT_EQ(x, -179.0f);
    MAP_tran(10.0f, 900.0f, &x, &y);
    EXPECT_EQ(x, 180.0f);
    MAP_tran(10.0f, -541.0f, &x, &y);
    EXPECT_EQ(x, 179.0f);
    float lat, lon;
    MAP_untran(200.0f, 5.0f, &lat, &lon);
    EXPECT_EQ(lon, -160.0f);

    // Mercator stops at 89.9.
    Domain me = make("me,0,0,25,17,1,1");
    MAP_domain(&me);
    MAP_tran(90.0f, 0.0f, &x, &y);
    MAP_tran(89.9f, 0.0f, &x2, &y2);
    EXPECT_EQ(y, y2);
    EXPECT_TRUE(std::isfinite(y));

    // Mollweide puts the poles on the central meridian.
    Domain mo = make("mo,0,0,41,21,6.4,6.4");
    MAP_domain(&mo);
    MAP_tran(89.995f, 120.0f, &x, &y);
    EXPECT_EQ(x, 0.0f);
    EXPECT_NEAR(y, 63.7122f, 1e-3);
    MAP_tran(-90.0f, 120.0f, &x, &y);
    EXPECT_EQ(x, 0.0f);
    EXPECT_TRUE(std::isfinite(y));

    // Non-finite input has no image instead of looping.
    EXPECT_EQ(MAP_tran(10.0f, INFINITY, &x, &y), 0);
    EXPECT_EQ(x, kMiss);
    EXPECT_EQ(MAP_tran(NAN, 10.0f, &x, &y), 0);
}

TEST(Projections, PointsWithoutImage) {
    float x = 1, y = 2, lat = 3, lon = 4;
    Domain orth = make("or,40,-100,25,17,1,1");
    MAP_domain(&orth);
    EXPECT_EQ(MAP_tran(-40.0f, 80.0f, &x, &y), 0);  // far side
    EXPECT_EQ(x, kMiss);
    EXPECT_EQ(y, kMiss);
    EXPECT_EQ(MAP_untran(70.0f, 0.0f, &lat, &lon), 0);  // off the disk
    EXPECT_EQ(lat, kMiss);
    EXPECT_EQ(lon, kMiss);

    Domain laz = make("laz,40,-100,25,17,1,1");
    MAP_domain(&laz);
    EXPECT_EQ(MAP_untran(130.0f, 0.0f, &lat, &lon), 0);
    // The centre itself: position given, but 0 returned.
    EXPECT_EQ(MAP_untran(0.0f, 0.0f, &lat, &lon), 0);
    EXPECT_EQ(lat, 40.0f);
    EXPECT_EQ(lon, -100.0f);

    Domain mo = make("mo,0,0,41,21,6.4,6.4");
    MAP_domain(&mo);
    EXPECT_EQ(MAP_untran(0.0f, 64.0f, &lat, &lon), 0);
    EXPECT_EQ(lat, kMiss);

    Domain sat = sat_domain(-75.0f, 421.64f, 1.0f, 1);
    MAP_domain(&sat);
    EXPECT_EQ(MAP_tran(0.0f, 100.0f, &x, &y), 0);  // behind the earth
    EXPECT_EQ(x, kMiss);
    EXPECT_EQ(MAP_untran(70.0f, 0.0f, &lat, &lon), 0);  // beside the disk
    EXPECT_EQ(lon, kMiss);

    // Gnomonic has no transform: the caller's variables keep what they held.
    Domain gn = make("gn,40,-100,25,17,1,1");
    MAP_domain(&gn);
    x = 5.0f;
    y = 6.0f;
    EXPECT_EQ(MAP_tran(10.0f, 10.0f, &x, &y), 1);
    EXPECT_EQ(x, 5.0f);
    EXPECT_EQ(y, 6.0f);
}

// The forward refuses at the limb of the sphere R, the inverse where the ray
// misses the ellipsoid, and the two limbs differ: the forward accepts points just
// behind the ellipsoid's limb (its equatorial radius is above R), which the
// inverse, meeting the ellipsoid first, takes to the visible side; and the
// inverse's edge is where m turns negative.
TEST(Projections, SatLimbTestsDoNotMeet) {
    Domain sat = sat_domain(0.0f, 421.64f, 1.0f, 1);
    MAP_domain(&sat);
    // Scan angles of the limb: asin(b / S) and asin(a / S) times S, about 63.8 and 64.0.
    float lat, lon;
    EXPECT_EQ(MAP_untran(0.0f, 63.6f, &lat, &lon), 1);
    EXPECT_EQ(MAP_untran(0.0f, 64.0f, &lat, &lon), 0);
    EXPECT_EQ(MAP_untran(63.9f, 0.0f, &lat, &lon), 1);
    EXPECT_EQ(MAP_untran(64.2f, 0.0f, &lat, &lon), 0);

    bool moved = false;
    for (float lon = 80.0f; lon < 82.0f; lon += 0.01f) {
        float x, y, lat, back;
        if (MAP_tran(0.0f, lon, &x, &y) != 1) break;
        if (MAP_untran(x, y, &lat, &back) == 1 && std::fabs(back - lon) > 0.05f) moved = true;
    }
    EXPECT_TRUE(moved);
}

// Without the ellipsoid the inverse is not the forward's exact inverse (see the
// spherical oracle test): exact at the sub-point, a fraction of a degree away.
TEST(Projections, SphericalSatInverseIsApproximate) {
    Domain sat = sat_domain(-75.0f, 421.64f, 1.0f, 0);
    MAP_domain(&sat);
    float x, y, lat, lon;
    MAP_tran(0.0f, -75.0f, &x, &y);
    MAP_untran(x, y, &lat, &lon);
    EXPECT_NEAR(lat, 0.0f, 1e-5);
    EXPECT_NEAR(lon, -75.0f, 1e-5);
    double worst = 0;
    for (const LatLon& p : grid(-60, 60, -135, -15, 5)) {
        if (MAP_tran(static_cast<float>(p.lat), static_cast<float>(p.lon), &x, &y) != 1) continue;
        if (MAP_untran(x, y, &lat, &lon) != 1) continue;
        worst = std::max(worst, std::fabs(lat - p.lat));
    }
    EXPECT_GT(worst, 1e-3);
    EXPECT_LT(worst, 1.0);
}

TEST(Projections, DefaultOrbitConstantsMatchTheRadius) {
    // An unset radius uses the tabled 421.61 and its tabled powers; computing the
    // powers from 421.61 must give bit-identical transforms.
    Domain a = sat_domain(-75.0f, kMiss, 0.0f, 0);
    Domain b = sat_domain(-75.0f, 421.61f, 0.0f, 0);
    for (const LatLon& p : grid(-60, 60, -130, -20, 10)) {
        float xa, ya, xb, yb, la, oa, lb, ob;
        MAP_domain(&a);
        MAP_tran(static_cast<float>(p.lat), static_cast<float>(p.lon), &xa, &ya);
        MAP_untran(xa, ya, &la, &oa);
        MAP_domain(&b);
        MAP_tran(static_cast<float>(p.lat), static_cast<float>(p.lon), &xb, &yb);
        MAP_untran(xa, ya, &lb, &ob);
        EXPECT_EQ(xa, xb);
        EXPECT_EQ(ya, yb);
        EXPECT_EQ(la, lb);
        EXPECT_EQ(oa, ob);
    }
}

TEST(Projections, LambertScaleOnlyInMapFactor) {
    Domain a = make("lamb:90:-95:25:25,35,-95,25,17,1,1");
    Domain b = make("lamb:90:-95:25:25:3.5,35,-95,25,17,1,1");
    float xa, ya, xb, yb;
    MAP_domain(&a);
    MAP_tran(40.0f, -80.0f, &xa, &ya);
    MAP_domain(&b);
    MAP_tran(40.0f, -80.0f, &xb, &yb);
    EXPECT_EQ(xa, xb);
    EXPECT_EQ(ya, yb);
    EXPECT_EQ(MAP_factor(40.0f), 3.5f);

    Domain ps = make("ps,40,-100,25,17,1,1");
    MAP_domain(&ps);
    EXPECT_NEAR(MAP_factor(60.0f), 1.0f, 1e-4);  // true at 60
    EXPECT_NEAR(MAP_factor(90.0f), 0.933f, 1e-6);
    Domain me = make("me,0,0,25,17,1,1");
    MAP_domain(&me);
    EXPECT_EQ(MAP_factor(60.0f), 1.0f);
}

TEST(Projections, LambertDefaultTrueLatitudes) {
    // No parameters: true at 30 and 60.
    Domain a = make("lamb,40,-100,25,17,1,1");
    Domain b = make("lamb:40:-100:30:60,40,-100,25,17,1,1");
    float xa, ya, xb, yb;
    MAP_domain(&a);
    MAP_tran(50.0f, -70.0f, &xa, &ya);
    MAP_domain(&b);
    MAP_tran(50.0f, -70.0f, &xb, &yb);
    EXPECT_EQ(xa, xb);
    EXPECT_EQ(ya, yb);
}

// ------------------------------------------------------------ limits and grids

TEST(Projections, GridCentreIsMapCentre) {
    for (const char* text :
         {"ps,40,-100,25,17,1.5,1.2", "me,10,20,30,21,0.5,0.7", "lamb,45,10,40,30,1,1",
          "or,40,-100,41,41,1,1", "ll,0,0,361,181,1,1", "mo,0,0,41,21,6.4,6.4"}) {
        Domain d = make(text);
        MAP_domain(&d);
        float lim[4], cx, cy, x, y, i, j, lat, lon;
        MAP_get_limits(lim);
        MAP_tran_center(&cx, &cy);
        EXPECT_NEAR(lim[1] - lim[0], (d.nx - 1) * d.dx, 1e-3) << text;
        EXPECT_NEAR(lim[3] - lim[2], (d.ny - 1) * d.dy, 1e-3) << text;
        EXPECT_EQ(MAP_grid_tran((d.nx - 1) * 0.5f, (d.ny - 1) * 0.5f, &x, &y), 1);
        EXPECT_NEAR(x, cx, 1e-4) << text;
        EXPECT_NEAR(y, cy, 1e-4) << text;
        MAP_untran(x, y, &lat, &lon);
        EXPECT_NEAR(lat, d.clat, 1e-3) << text;
        // Upper left is grid (0, 0) and the y axis of the grid runs down.
        MAP_grid_tran(0, 0, &x, &y);
        EXPECT_EQ(x, lim[0]);
        EXPECT_EQ(y, lim[3]);
        MAP_grid_untran(lim[1], lim[2], &i, &j);
        EXPECT_NEAR(i, d.nx - 1, 1e-3);
        EXPECT_NEAR(j, d.ny - 1, 1e-3);
    }
    float x, y;
    EXPECT_EQ(MAP_grid_tran(kMiss, 3.0f, &x, &y), -1);
    EXPECT_EQ(x, kMiss);
    EXPECT_EQ(y, kMiss);
    EXPECT_EQ(MAP_grid_untran(kMiss, 3.0f, &x, &y), -1);
    EXPECT_EQ(y, kMiss);
}

TEST(Projections, InGridDomainWidensByThreeCells) {
    Domain d = make("ps,40,-100,25,17,1,2");
    MAP_domain(&d);
    float lim[4];
    MAP_get_limits(lim);
    EXPECT_EQ(MAP_in_grid_domain(lim[0] - 2.9f, lim[2]), 1);
    EXPECT_EQ(MAP_in_grid_domain(lim[0] - 3.1f, lim[2]), 0);
    EXPECT_EQ(MAP_in_grid_domain(lim[1] + 2.9f, lim[3] + 5.9f), 1);
    EXPECT_EQ(MAP_in_grid_domain(lim[1], lim[3] + 6.1f), 0);
}

TEST(Projections, DomainTranGoesThroughTheEarthAndRestores) {
    Domain ps = make("ps,40,-100,25,17,1,1");
    Domain ll = make("ll,0,0,361,181,1,1");
    Domain cur = make("me,0,0,25,17,1,1");
    MAP_domain(&ps);
    float x, y;
    MAP_tran(45.0f, -90.0f, &x, &y);
    MAP_domain(&cur);
    float ox, oy;
    EXPECT_EQ(MAP_domain_tran(&ps, &ll, x, y, &ox, &oy), 1);
    EXPECT_NEAR(ox, -90.0f, 1e-4);
    EXPECT_NEAR(oy, 45.0f, 1e-4);
    EXPECT_EQ(MAP_get_proj(), 3);
    Domain after;
    MAP_get_domain(&after);
    EXPECT_EQ(DOM_comp(&after, &cur), 1);

    // The same domain copies, even where the point is off any map.
    Domain ps2 = make("ps:40:-100,40,-100,25,17,1,1");
    EXPECT_EQ(MAP_domain_tran(&ps, &ps2, 1e6f, -1e6f, &ox, &oy), 1);
    EXPECT_EQ(ox, 1e6f);
    EXPECT_EQ(oy, -1e6f);

    // No image on the way: -9999 and 0.
    Domain orth = make("or,40,-100,25,17,1,1");
    EXPECT_EQ(MAP_domain_tran(&orth, &ll, 200.0f, 0.0f, &ox, &oy), 0);
    EXPECT_EQ(ox, kMiss);
}

// The cached state of a domain that comes back must be what a fresh computation
// gives, including after MAP_proj and MAP_coord have changed the current one.
TEST(Projections, SwitchingDomainsIsExact) {
    Domain a = make("lamb:90:-95:25:25,35,-95,25,17,1,1");
    Domain b = sat_domain(-75.0f, 421.64f, 1.0f, 1);
    Domain c = make("ps:-90:30,-60,30,25,17,1,1");
    Domain e = make("or,10,10,25,17,1,1");
    Domain f = make("xy,10,1000,100,50,20,500");
    auto probe = [](const Domain& d, float lat, float lon) {
        MAP_domain(&d);
        float x, y, la, lo, lim[4];
        MAP_tran(lat, lon, &x, &y);
        MAP_untran(x * 0.9f, y * 0.9f, &la, &lo);
        MAP_get_limits(lim);
        return std::vector<float>{x, y, la, lo, lim[0], lim[1], lim[2], lim[3]};
    };
    auto ra = probe(a, 30.0f, -80.0f);
    auto rb = probe(b, 30.0f, -80.0f);
    auto rc = probe(c, -30.0f, 50.0f);
    auto re = probe(e, 20.0f, 20.0f);
    auto rf = probe(f, 15.0f, 1200.0f);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(probe(b, 30.0f, -80.0f), rb);
        EXPECT_EQ(probe(a, 30.0f, -80.0f), ra);
        EXPECT_EQ(probe(f, 15.0f, 1200.0f), rf);
        EXPECT_EQ(probe(c, -30.0f, 50.0f), rc);
        EXPECT_EQ(probe(e, 20.0f, 20.0f), re);
        MAP_coord(10.0f, 10.0f);
        MAP_proj(2);
    }
    // MAP_proj and MAP_coord act directly, keep the limits and the rest.
    MAP_domain(&a);
    float lim[4];
    MAP_get_limits(lim);
    MAP_proj(2);
    MAP_coord(0.0f, 50.0f);
    float x, y, lim2[4];
    MAP_tran(10.0f, 60.0f, &x, &y);
    EXPECT_EQ(x, 10.0f);
    EXPECT_EQ(y, 10.0f);
    MAP_get_limits(lim2);
    EXPECT_EQ(std::vector<float>(lim, lim + 4), std::vector<float>(lim2, lim2 + 4));
    EXPECT_EQ(MAP_get_clat(), 35.0f);
    EXPECT_EQ(MAP_get_clon(), -95.0f);
    const Domain* cur = MAP_get_domain();
    EXPECT_EQ(cur->plon, 50.0f);
}

// ---------------------------------------------------------------- directions

// A direction at a point against a finite step on the earth drawn through the
// forward transform.
float stepped_direction(float lat, float lon, float dir) {
    float x0, y0, x1, y1;
    const double step = 1e-3;
    MAP_tran(lat, lon, &x0, &y0);
    MAP_tran(static_cast<float>(lat + step * std::cos(dir * kDeg)),
             static_cast<float>(lon + step * std::sin(dir * kDeg) / std::cos(lat * kDeg)), &x1,
             &y1);
    return static_cast<float>(std::atan2(x1 - x0, y1 - y0) / kDeg);
}

TEST(Projections, DirectionAdjustmentFollowsTheMap) {
    struct Case {
        Domain d;
        float tol;
    } cases[] = {
        {make("ps,40,-100,25,17,1,1"), 0.5f},
        {make("ps:-90:30,-60,30,25,17,1,1"), 0.5f},
        {make("lamb,40,-100,25,17,1,1"), 0.5f},
        {sat_domain(-75.0f, 421.64f, 1.0f, 1), 0.5f},
    };
    for (const Case& c : cases) {
        MAP_domain(&c.d);
        for (const LatLon& p :
             grid(c.d.clat - 20, c.d.clat + 20, c.d.clon - 30, c.d.clon + 30, 10)) {
            if (std::fabs(p.lat) > 80) continue;
            float x, y;
            ASSERT_EQ(MAP_tran(static_cast<float>(p.lat), static_cast<float>(p.lon), &x, &y), 1);
            for (float dir : {0.0f, 45.0f, 200.0f}) {
                float got = MAP_dir_adj(dir, x, y);
                float want =
                    stepped_direction(static_cast<float>(p.lat), static_cast<float>(p.lon), dir);
                EXPECT_NEAR(std::remainder(got - want, 360.0f), 0.0f, c.tol)
                    << "proj " << c.d.proj << " at " << p.lat << " " << p.lon << " dir " << dir;
            }
        }
    }
    // At the pole of a polar stereographic map the longitude is the turn.
    Domain pn = make("ps,40,-100,25,17,1,1");
    MAP_domain(&pn);
    EXPECT_FLOAT_EQ(MAP_dir_adj(30.0f, 0.0f, 0.0f), 130.0f);
    Domain psouth = make("ps:-90:30,-60,30,25,17,1,1");
    MAP_domain(&psouth);
    EXPECT_FLOAT_EQ(MAP_dir_adj(30.0f, 0.0f, 0.0f), 60.0f);
    // Off the disk of a satellite view there is no direction.
    Domain sat = sat_domain(-75.0f, 421.64f, 1.0f, 1);
    MAP_domain(&sat);
    EXPECT_EQ(MAP_dir_adj(30.0f, 80.0f, 0.0f), kMiss);
    // Other projections keep the direction.
    Domain me = make("me,0,0,25,17,1,1");
    MAP_domain(&me);
    EXPECT_EQ(MAP_dir_adj(123.0f, 5.0f, 5.0f), 123.0f);
    MAP_set_plot_limit(3);
    EXPECT_EQ(MAP_get_plot_limit(), 3);
}

}  // namespace
