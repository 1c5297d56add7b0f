// The contour value scale: classes, cutoffs and their fill colours, and a raw
// point plot coloured by it on a window of the test's own Xvfb.
#include <cmath>
#include <limits>
#include <set>
#include <string>

#include "env/domains.h"
#include "env/missing.h"
#include "env/resources.h"
#include "maps/projections.h"
#include "overlays/contour_scale.h"
#include "overlays/raw_plot.h"
#include "test_support.h"
#include "tests/support/window_pixels.h"

namespace {

constexpr float NONE = ZMT_FMISSING;

TEST(ContourScale, ClassesCutoffsAndColours) {
    struct Case {
        float base, interval, low, high;
        int first, last;  // fill colours, 0, 0 for the table's
        float value;
        int status, klass, color;
    } cases[] = {
        // Class edges: a value on an edge opens the class above it.
        {0, 10, NONE, NONE, 3, 6, 0.0f, 0, 0, 3},
        {0, 10, NONE, NONE, 3, 6, 10.0f, 0, 1, 4},
        {0, 10, NONE, NONE, 3, 6, -0.001f, 0, -1, 3},  // below the colours: the first
        {0, 10, NONE, NONE, 3, 6, 1e30f, 0, 1000000000, 6},
        {NONE, 10, NONE, NONE, 3, 6, 12.0f, 0, 1, 4},  // no base counts as 0
        // Cutoffs hold their own value.
        {5, 10, 5, 20, 3, 6, 4.99f, CONT_BEYOND, 0, 0},
        {5, 10, 5, 20, 3, 6, 5.0f, 0, 0, 3},
        {5, 10, 5, 20, 3, 6, 20.0f, 0, 1, 4},
        {5, 10, 5, 20, 3, 6, 20.01f, CONT_BEYOND, 0, 0},
        {0, NONE, 5, NONE, 3, 6, 1.0f, CONT_BEYOND, 0, 0},  // beyond even without a step
        // No usable step, or no number: no class, and no division by zero.
        {0, 0, NONE, NONE, 3, 6, 5.0f, -1, 0, 0},
        {0, NONE, NONE, NONE, 3, 6, 5.0f, -1, 0, 0},
        {0, 10, NONE, NONE, 3, 6, NONE, -1, 0, 0},
        {0, 10, NONE, NONE, 3, 6, std::numeric_limits<float>::quiet_NaN(), -1, 0, 0},
        // Without a fill range in the colour table, the basic colours 1 to 15.
        {0, 10, NONE, NONE, 0, 0, 25.0f, 0, 2, 3},
        {0, 10, NONE, NONE, 0, 0, 999.0f, 0, 99, 15},
    };
    for (const Case& c : cases) {
        const std::string at = std::to_string(c.value) + " base " + std::to_string(c.base) +
                               " step " + std::to_string(c.interval);
        CONT_init();
        CONT_set_base(c.base);
        CONT_set_intrvl(c.interval);
        CONT_set_cutoff(c.low, c.high);
        CONT_set_fill_colors(c.first, c.last);
        int klass = -7;
        float low = 0, high = 0;
        ASSERT_EQ(CONT_get_values(c.value, &klass, &low, &high), c.status) << at;
        if (c.status != 0) continue;
        EXPECT_EQ(klass, c.klass) << at;
        if (std::abs(c.klass) < 1000) {
            EXPECT_LE(low, c.value) << at;
            EXPECT_GT(high, c.value) << at;
        }
        Attrib a;
        ATTRIB_init(&a);
        ASSERT_EQ(CONT_get_fill_attrib(klass, &a), 0) << at;
        EXPECT_EQ(a.color, c.color) << at;
    }
    // An empty range colours nothing; the type outlives a reset.
    CONT_set_fill_colors(5, 4);
    Attrib a;
    ATTRIB_init(&a);
    EXPECT_EQ(CONT_get_fill_attrib(0, &a), -1);
    EXPECT_EQ(a.color, ZMT_MISSING);
    CONT_set_type(7);
    CONT_init();
    EXPECT_EQ(CONT_get_type(), 7);
}

// Pixel values lit in a 9 by 9 box around a point of the plain world 0..100.
std::set<unsigned long> colours_near(float x, float y) {
    const double scale = sat_test::kWinH - 1;
    const int px = static_cast<int>((0.1 + x / 100.0) * scale + 0.5);
    const int py = static_cast<int>((1.0 - (0.1 + 0.8 * y / 100.0)) * scale + 0.5);
    XImage* im = XGetImage(gget_display(), gget_draw_window(), 0, 0, sat_test::kWinW,
                           sat_test::kWinH, AllPlanes, ZPixmap);
    const unsigned long back = static_cast<unsigned long>(gget_color_ind(-1));
    std::set<unsigned long> out;
    for (int dy = -4; dy <= 4; dy++)
        for (int dx = -4; dx <= 4; dx++)
            if (unsigned long p = XGetPixel(im, px + dx, py + dy); p != back) out.insert(p);
    XDestroyImage(im);
    return out;
}

TEST(ContourScaleWindow, RawPointsTakeTheirClassColour) {
    sat_test::open_test_window();
    sat_test::TempDir dir;
    sat_test::write_file(dir.file("p.raw"),
                         "W points\nlabel\n!Two classes\nid lat lon n $\n"
                         "A 20 50 -5\nB 40 50 5\nC 60 50 15\nD 80 50 25\n");
    RES_put("raw_path", dir.path().c_str());
    Domain none;
    DOM_init(&none);
    MAP_domain(&none);

    // The base resource: ">" cuts below, "<" above, a bare number cuts nothing.
    struct Case {
        const char* base;
        int drawn;
    } cases[] = {{">0", 3}, {"<20", 3}, {"10", 4}};
    for (const Case& c : cases) {
        RES_put("con_base", c.base);
        RES_put("con_interval", "10");
        gclear_ws();
        ASSERT_EQ(RAW_plot_file("p.raw:mk=plus", nullptr), 0);
        EXPECT_EQ(RAW_plot_count(), c.drawn) << c.base;
    }

    // From base 0 by 10: 5 in class 0 (colour 1, white), 15 in class 1 (colour 2,
    // red); -5 below the cutoff is not drawn.
    RES_put("con_base", ">0");
    gclear_ws();
    ASSERT_EQ(RAW_plot_file("p.raw:mk=plus", nullptr), 0);
    EXPECT_TRUE(colours_near(20, 50).empty());
    const std::set<unsigned long> first = colours_near(40, 50), second = colours_near(60, 50);
    EXPECT_EQ(first, std::set<unsigned long>{static_cast<unsigned long>(gget_color_ind(1))});
    EXPECT_EQ(second, std::set<unsigned long>{static_cast<unsigned long>(gget_color_ind(2))});
    gclose_ws();
    RES_reset();
}

}  // namespace
