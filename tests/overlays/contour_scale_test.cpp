// The contour value scale: classes, cutoffs and their fill colours (a raw plot
// coloured by it is checked on a window in symbols_window_test).
#include "overlays/contour_scale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "env/missing.h"

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

}  // namespace
