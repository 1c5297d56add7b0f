// The kernel's colour table on a true-colour window of an Xvfb of the test's own:
// reuse of near colours, the print specials, and the background resource.
#include <string>
#include <vector>

#include "env/messages.h"
#include "env/resources.h"
#include "window_pixels.h"

namespace {

// On a 24-bit true-colour visual a pixel is its colour, 8 bits a channel.
unsigned long truecolor(float r, float g, float b) {
    auto c = [](float v) {
        return static_cast<unsigned long>(static_cast<unsigned short>(v * 65535.0f) >> 8);
    };
    return c(r) << 16 | c(g) << 8 | c(b);
}

TEST(Colours, NearColoursAreReusedAndTheBackgroundPaintsUnlessNone) {
    sat_test::Xvfb server(24, "800x600");
    ASSERT_FALSE(server.display().empty());
    RES_reset();
    MESS_reset();
    gopen_gks(nullptr);
    ASSERT_EQ(gopen_ws(1, server.display().c_str(), GWS_WIN), 0);
    // Entries 0 to 9, all far apart: black, greens, grey at 5, white at 9.
    for (int i = 0; i <= 9; ++i) {
        const float rgb[3] = {0.1f * static_cast<float>(i), 0.9f, 0.2f};
        gset_colr_rep(1, i, rgb);
    }
    const float black[3] = {0, 0, 0}, grey[3] = {0.5f, 0.5f, 0.5f}, white[3] = {1, 1, 1};
    gset_colr_rep(1, 0, black);
    gset_colr_rep(1, 5, grey);
    gset_colr_rep(1, 9, white);
    // A near colour takes over the last entry it is near to, below the highest
    // index used (its pixel stays); any other colour gets the next new index.
    struct Case {
        float r, g, b;
        int index;  // the entry that ends up holding the colour
    };
    const std::vector<Case> cases = {
        {1.0f, 1.0f, 0.999f, 10},   // near white, but 9 is the highest index
        {0.5f, 0.504f, 0.503f, 5},  // 0.007 from grey
        {0.01f, 0.0f, 0.0f, 11},    // exactly 0.01 from black is not near
        {0.0f, 0.0f, 0.009f, 0},    // 0.009 from black
        {1.0f, 1.0f, 1.0f, 10},     // near 9 and 10: the last wins
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.r) + " " + std::to_string(c.g) + " " + std::to_string(c.b));
        const long before = gget_color_ind(c.index);
        EXPECT_EQ(static_cast<unsigned long>(galloc_colr(-1, c.r, c.g, c.b)),
                  truecolor(c.r, c.g, c.b));
        float r = 0, g = 0, b = 0;
        gget_color_rgb(c.index, &r, &g, &b);
        EXPECT_EQ(r, c.r);
        EXPECT_EQ(g, c.g);
        EXPECT_EQ(b, c.b);
        if (before >= 0)
            EXPECT_EQ(gget_color_ind(c.index), before);
        else
            EXPECT_EQ(static_cast<unsigned long>(gget_color_ind(c.index)),
                      truecolor(c.r, c.g, c.b));
    }
    EXPECT_EQ(gget_color_ind(12), -1);
    // The specials draw on a window in colour 1 and have no entry of their own.
    EXPECT_EQ(gset_colr_rep(1, 503, grey), 0);
    EXPECT_EQ(gget_color_ind(503), -1);
    EXPECT_EQ(gis_valid_colr(509), 0);
    gclose_ws();

    // "none" leaves the pixmap unpainted, but clearing uses the entry.
    for (const char* background : {"#3366cc", "none"}) {
        SCOPED_TRACE(background);
        RES_put("background", background);
        ASSERT_EQ(gopen_ws(1, server.display().c_str(), GWS_WIN), 0);
        const unsigned long entry = background[0] == '#' ? 0x3366cc : 0;
        EXPECT_EQ(static_cast<unsigned long>(gget_color_ind(-1)), entry);
        EXPECT_EQ(sat_test::drawable_pixel(gget_base_window(), 10, 10), entry);
        gclear_ws();
        EXPECT_EQ(sat_test::drawable_pixel(gget_base_window(), 10, 10), entry);
        gclose_ws();
    }
    RES_reset();
}

}  // namespace
