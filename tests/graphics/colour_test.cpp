// The kernel's colour table on a true-colour window of an Xvfb of the test's own:
// reuse of near colours, read-write cells where the visual has none, the
// background resource, and the print specials.
#include <gtest/gtest.h>
// clang-format off
#include <X11/Xlib.h>
#include <X11/Xutil.h>
// clang-format on

#include <string>
#include <vector>

#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "window_pixels.h"
#include "xserver.h"

namespace {

// On a 24-bit true-colour visual a pixel is its colour, 8 bits a channel.
unsigned long truecolor(float r, float g, float b) {
    auto c = [](float v) {
        return static_cast<unsigned long>(static_cast<unsigned short>(v * 65535.0f) >> 8);
    };
    return c(r) << 16 | c(g) << 8 | c(b);
}

class Colours : public ::testing::Test {
   protected:
    static void SetUpTestSuite() { server_ = new sat_test::Xvfb(24, "800x600"); }
    static void TearDownTestSuite() { delete server_; }
    void SetUp() override {
        ASSERT_FALSE(server_->display().empty());
        RES_reset();
        MESS_reset();
        gopen_gks(nullptr);
    }
    void TearDown() override {
        if (gchk_graphics()) gclose_ws();
        gset_rw_colors(0);
        RES_reset();
    }
    void open() { ASSERT_EQ(gopen_ws(1, server_->display().c_str(), GWS_WIN), 0); }
    static sat_test::Xvfb* server_;
};
sat_test::Xvfb* Colours::server_ = nullptr;

TEST_F(Colours, AnyIndexReusesANearColourAndOnlyANearOne) {
    open();
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
    EXPECT_EQ(gis_valid_colr(-1), 1);
}

TEST_F(Colours, ReadWriteCellsTurnOffWhereTheVisualHasNone) {
    open();
    gset_rw_colors(1);
    MESS_set(1, MESS_DEBUG);
    ::testing::internal::CaptureStdout();
    const float orange[3] = {1.0f, 0.5f, 0.0f}, teal[3] = {0.0f, 0.5f, 0.5f};
    gset_colr_rep(1, 7, orange);
    gset_colr_rep(1, 8, teal);
    const std::string out = ::testing::internal::GetCapturedStdout();
    // One failed attempt, then plain allocation for both.
    EXPECT_NE(out.find("Allocated RW Cells: 0"), std::string::npos) << out;
    EXPECT_EQ(out.find("Stored new RW Cells"), std::string::npos);
    EXPECT_EQ(out.find("Allocated RW Cells: 0"), out.rfind("Allocated RW Cells: 0"));
    EXPECT_EQ(static_cast<unsigned long>(gget_color_ind(7)), truecolor(1.0f, 0.5f, 0.0f));
    EXPECT_EQ(static_cast<unsigned long>(gget_color_ind(8)), truecolor(0.0f, 0.5f, 0.5f));
}

TEST_F(Colours, BackgroundPaintsThePixmapUnlessNone) {
    struct Case {
        const char* background;  // resource, or null
        unsigned long entry;     // pixel of the background entry
        unsigned long painted;   // the base pixmap after the open
    };
    const std::vector<Case> cases = {
        {nullptr, 0x000000, 0x000000},
        {"#3366cc", 0x3366cc, 0x3366cc},
        {"none", 0x000000, 0x000000},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.background ? c.background : "(unset)");
        RES_reset();
        if (c.background) RES_put("background", c.background);
        open();
        EXPECT_EQ(static_cast<unsigned long>(gget_color_ind(-1)), c.entry);
        EXPECT_EQ(gget_back_color(), c.entry);
        EXPECT_EQ(sat_test::drawable_pixel(gget_base_window(), 10, 10), c.painted);
        gclear_ws();  // clears to the background entry whatever the name
        EXPECT_EQ(sat_test::drawable_pixel(gget_base_window(), 10, 10), c.entry);
        gclose_ws();
    }
}

}  // namespace
