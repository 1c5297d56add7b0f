// Wind barbs, weather symbols and raw file plots, checked on the pixels of a window.
#include <cmath>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "env/domains.h"
#include "env/resources.h"
#include "maps/projections.h"
#include "overlays/cities.h"
#include "overlays/raw_plot.h"
#include "overlays/symbols.h"
#include "test_support.h"
#include "tests/support/window_pixels.h"

namespace {

using sat_test::lit;
using sat_test::Pixel;
using sat_test::PixelSet;

constexpr int WIN_W = sat_test::kWinW, WIN_H = sat_test::kWinH;
constexpr double SCALE = WIN_H - 1;  // normalised to pixels
// Pixel of a fraction 0..1 of the world window.
double pixel_x(double fx) {
    return (0.1 + fx) * SCALE;
}
double pixel_y(double fy) {
    return (1.0 - (0.1 + 0.8 * fy)) * SCALE;
}

class SymbolsWindow : public ::testing::Test {
   protected:
    static void SetUpTestSuite() { sat_test::open_test_window(); }
    static void TearDownTestSuite() { gclose_ws(); }
    void SetUp() override {
        sat_test::set_world(0, 100, 0, 100);
        sat_test::clear_to_red();
        gset_linetype(1);
        gset_linewidth(0);
    }
    void TearDown() override {
        WX_reset();
        CTY_free();
        RES_reset();
    }
};

// Runs of lit rows in one column, as (first, last) pairs from the top.
std::vector<std::pair<int, int>> runs_in_column(const PixelSet& s, int column) {
    std::vector<std::pair<int, int>> runs;
    for (int y = 0; y < WIN_H; ++y) {
        if (!s.count({column, y})) continue;
        if (!runs.empty() && runs.back().second == y - 1)
            runs.back().second = y;
        else
            runs.push_back({y, y});
    }
    return runs;
}

TEST_F(SymbolsWindow, BarbsHaveHalfBarbsBarbsAndFlagsWhereTheyBelong) {
    // A north wind: the staff runs up from (50, 20), feathers go right. A column a
    // tenth of the staff across meets a barb from fraction f at f + 0.024, a flag
    // from f + 0.024 to f + 0.12.
    const float x = 50, y = 20, length = 60;
    struct Case {
        float speed;
        double reach;  // how far the feathers reach to the side, in staff lengths
        std::vector<std::pair<double, double>> feathers;  // fractions where the column meets
    } cases[] = {
        {2, 0, {}},
        {5, 0.25, {{0.904, 0.904}}},
        {10, 0.5, {{0.904, 0.904}}},
        {50, 0.5, {{0.904, 1.0}}},
        {65, 0.5, {{0.904, 1.0}, {0.784, 0.784}, {0.664, 0.664}}},
    };
    const int staff = static_cast<int>(pixel_x(x / 100.0) + 0.5);
    const int column = static_cast<int>(pixel_x((x + 0.1 * length) / 100.0) + 0.5);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.speed);
        gclear_ws();
        ASSERT_EQ(WIND_barb(x, y, 0, c.speed, length, 0), 0);
        PixelSet s = lit();
        // The staff: its column lit from the point to the end.
        for (double f : {0.05, 0.5, 0.95})
            EXPECT_TRUE(s.count({staff, static_cast<int>(pixel_y((y + f * length) / 100.0) + 0.5)}))
                << f;
        int right = staff;
        for (const Pixel& p : s) right = std::max(right, p.first);
        EXPECT_NEAR(right, pixel_x((x + c.reach * length) / 100.0), 1.5);
        auto runs = runs_in_column(s, column);
        ASSERT_EQ(runs.size(), c.feathers.size());
        for (size_t i = 0; i < runs.size(); ++i) {
            // Runs come from the top, feathers from the end of the staff.
            const auto [from, to] = c.feathers[i];
            EXPECT_NEAR(runs[i].first, pixel_y((y + to * length) / 100.0), 1.5) << i;
            EXPECT_NEAR(runs[i].second, pixel_y((y + from * length) / 100.0), 1.5) << i;
        }
    }
    // Missing or calm winds draw nothing.
    gclear_ws();
    EXPECT_EQ(WIND_barb(x, y, -9999, 10, length, 0), -1);
    EXPECT_EQ(WIND_barb(x, y, 0, 0, length, 0), -1);
    EXPECT_EQ(WIND_vect(x, y, 0, -9999, 1, 1), -1);
    EXPECT_EQ(WIND_track(x, y, 0, 0, 1, 4), -1);
    EXPECT_TRUE(lit().empty());
}

// Projects with pyproj: x and y in metres of a spherical earth of the map's radius.
std::pair<double, double> pyproj(const std::string& proj, double lat, double lon) {
    char script[512];
    std::snprintf(script, sizeof script,
                  "import pyproj\n"
                  "t = pyproj.Transformer.from_crs('+proj=lonlat +R=6371220', '%s +R=6371220')\n"
                  "print('%%.3f %%.3f' %% t.transform(%.8f, %.8f))\n",
                  proj.c_str(), lon, lat);
    auto r = sat_test::run_program("/usr/bin/python3", {"-c", script});
    double x = NAN, y = NAN;
    std::sscanf(r.out.c_str(), "%lf %lf", &x, &y);
    return {x, y};
}

TEST_F(SymbolsWindow, WeatherSymbolStandsOnItsStation) {
    Domain d;
    ASSERT_EQ(DOM_decode("ps,38.9,-77,41,31,0.2,0.2", &d), 1);
    MAP_domain(&d);
    float limits[4];
    MAP_get_limits(limits);
    sat_test::set_world(limits[0], limits[1], limits[2], limits[3]);
    ASSERT_GT(CTY_store("sao.cty", CTY_STORE_LOC, &d, 10), 10);
    const std::string proj = "+proj=stere +lat_0=90 +lat_ts=60 +lon_0=-77";
    const auto centre = pyproj(proj, 38.9, -77.0);
    ASSERT_FALSE(std::isnan(centre.first));
    const double half_x = (limits[1] - limits[0]) / 2, half_y = (limits[3] - limits[2]) / 2;
    const float size = 0.4f;  // 40 km: a circle of 0.35 size around the centre
    CityXY rec{};
    ASSERT_EQ(CTY_search("KDCA", &rec), 1);
    GPH_text_align(2, 3);
    ASSERT_EQ(WX_symb(rec.x, rec.y, "00", size), 1);
    PixelSet s = lit();
    ASSERT_FALSE(s.empty());
    int left = WIN_W, right = 0, top = WIN_H, bottom = 0;
    for (const Pixel& p : s) {
        left = std::min(left, p.first), right = std::max(right, p.first);
        top = std::min(top, p.second), bottom = std::max(bottom, p.second);
    }
    const auto at = pyproj(proj, 38.8521, -77.037697);            // KDCA as OurAirports has it
    const double wx = (at.first - centre.first) * 1e-5 + half_x;  // 100 km units
    const double wy = (at.second - centre.second) * 1e-5 + half_y;
    EXPECT_NEAR((left + right) / 2.0, pixel_x(wx / (2 * half_x)), 1.0);
    EXPECT_NEAR((top + bottom) / 2.0, pixel_y(wy / (2 * half_y)), 1.0);
    EXPECT_EQ(WX_symb(0, 0, "", size), 0);
    EXPECT_EQ(WX_symb(0, 0, " 61", size), 0);
    EXPECT_EQ(WX_symb(0, 0, "nosuch", size), 0);
    EXPECT_EQ(WX_symb_count(), 100);
}

// Pixel values lit in a 9 by 9 box around a point of the plain world 0..100.
std::set<unsigned long> colours_near(float x, float y) {
    const int px = static_cast<int>(pixel_x(x / 100.0) + 0.5);
    const int py = static_cast<int>(pixel_y(y / 100.0) + 0.5);
    const auto all = sat_test::drawable_pixels(gget_draw_window(), WIN_W, WIN_H);
    const unsigned long back = static_cast<unsigned long>(gget_color_ind(-1));
    std::set<unsigned long> out;
    for (int dy = -4; dy <= 4; dy++)
        for (int dx = -4; dx <= 4; dx++)
            if (unsigned long p = all[(py + dy) * WIN_W + px + dx]; p != back) out.insert(p);
    return out;
}

TEST_F(SymbolsWindow, RawPlotHonoursSkipLimitsAndClasses) {
    // 1000 points on a 40 by 25 grid of the plain world, the value of each its number.
    sat_test::TempDir dir;
    std::string text = "W points\nlabel\n!Grid\nid lat lon n $\n";
    auto where = [](int i) {
        return std::make_pair(2.0f + (i % 40) * 2.4f, 4.0f + (i / 40) * 3.8f);
    };
    for (int i = 0; i < 1000; i++) {
        char line[64];
        std::snprintf(line, sizeof line, "P%d %.2f %.2f %d\n", i, where(i).first, where(i).second,
                      i);
        text += line;
    }
    sat_test::write_file(dir.file("grid.raw"), text);
    sat_test::write_file(
        dir.file("p.raw"),
        "W\nlabel\n!\nid lat lon n $\nA 20 50 -5\nB 40 50 5\nC 60 50 15\nD 80 50 10\n");
    RES_put("raw_path", dir.path().c_str());
    Domain none;
    DOM_init(&none);
    MAP_domain(&none);
    ASSERT_EQ(RAW_plot_file("grid.raw:mk=plus:sk=3:mn=100:mx=899", nullptr), 0);
    int expected = 0;
    PixelSet s = lit();
    for (int i = 0; i < 1000; i++) {
        bool drawn = i % 3 == 0 && i >= 100 && i <= 899;
        expected += drawn;
        int px = static_cast<int>(pixel_x(where(i).first / 100.0) + 0.5);
        int py = static_cast<int>(pixel_y(where(i).second / 100.0) + 0.5);
        bool any = false;
        for (int dx = -1; dx <= 1; dx++)
            for (int dy = -1; dy <= 1; dy++) any = any || s.count({px + dx, py + dy});
        EXPECT_EQ(any, drawn) << i;
    }
    EXPECT_EQ(RAW_plot_count(), expected);
    // Contour classes from base 0 by 10, cut below 0: 5 in class 0 (white), 15 and 10
    // (an edge opens the class above) in class 1 (red); -5 is not drawn.
    RES_put("con_base", ">0");
    RES_put("con_interval", "10");
    gclear_ws();
    ASSERT_EQ(RAW_plot_file("p.raw:mk=plus", nullptr), 0);
    EXPECT_EQ(RAW_plot_count(), 3);
    EXPECT_TRUE(colours_near(20, 50).empty());
    EXPECT_EQ(colours_near(40, 50),
              std::set<unsigned long>{static_cast<unsigned long>(gget_color_ind(1))});
    const std::set<unsigned long> red{static_cast<unsigned long>(gget_color_ind(2))};
    EXPECT_EQ(colours_near(60, 50), red);
    EXPECT_EQ(colours_near(80, 50), red);
    RES_put("con_base", "<10");  // cut above: 15 goes
    ASSERT_EQ(RAW_plot_file("p.raw:mk=plus", nullptr), 0);
    EXPECT_EQ(RAW_plot_count(), 3);
}

TEST_F(SymbolsWindow, HostileSymbolFiles) {
    // 150 entries (100 kept), a run of 50 points, words that are no pairs, no last "$".
    sat_test::TempDir dir;
    std::string text;
    for (int e = 0; e < 150; e++) {
        char name[8];
        std::snprintf(name, sizeof name, "s%03d\n", e);
        text += name;
        if (e == 1) {
            for (int k = 0; k <= 50; k++) text += std::to_string(k / 50.0) + ",0.5 ";
            text += "L\n";
        }
        text += "0,0 1,1 junk 2,x F 1e40,1 0.5,0.5 L\n$\n";
    }
    text += "last 0,0 1,0";
    sat_test::write_file(dir.file("bad.smb"), text);
    ASSERT_EQ(WX_symb_file(dir.file("bad.smb").c_str()), 0);
    EXPECT_EQ(WX_symb_file(dir.file("bad.smb").c_str()), -1);  // already in use
    GPH_text_align(1, 4);
    EXPECT_EQ(WX_symb(10, 50, "S001", 80), 1);
    EXPECT_EQ(WX_symb_count(), 100);
    EXPECT_EQ(WX_symb(10, 50, "s120", 80), 0);
    // The long run is one unbroken line across the symbol's width.
    PixelSet s = lit();
    const int row = static_cast<int>(pixel_y(0.9) + 0.5);
    int from = static_cast<int>(pixel_x(0.1) + 0.5), to = static_cast<int>(pixel_x(0.9) + 0.5);
    for (int x = from; x <= to; x++) EXPECT_TRUE(s.count({x, row}) || s.count({x, row - 1})) << x;
}

}  // namespace
