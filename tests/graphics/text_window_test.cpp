// Stroke text on the window: the pixels read back from the picture by
// XGetImage lie where the text arithmetic puts each case, for every alignment,
// up vector and expansion; drop shadows and X server fonts land beside them.
// gtest first: Xlib's macros (None, Bool) would break its templates.
#include <gtest/gtest.h>
// clang-format off
#include <X11/Xlib.h>
#include <X11/Xutil.h>
// clang-format on

#include <cstdlib>
#include <string>
#include <vector>

#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "test_support.h"
#include "tests/graphics/text_stroke.h"
#include "tests/support/window_pixels.h"
#include "tests/support/xvfb.h"

using namespace text_test;

namespace {

struct PixelBox {
    int x0 = 1 << 20, x1 = -1, y0 = 1 << 20, y1 = -1;
    bool empty() const { return x1 < 0; }
};

class WindowText : public ::testing::Test {
   protected:
    static void SetUpTestSuite() { server = new sat_test::Xvfb(24, "1024x768"); }
    static void TearDownTestSuite() {
        delete server;
        server = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(!server->display().empty()) << "no Xvfb";
        RES_reset();
        MESS_reset();
        font = dir.file("t.fnt");
        sat_test::write_file(font, labelled_font());
        gset_font_list(font.c_str());
        ASSERT_EQ(gopen_gks(nullptr), 0);
        ASSERT_EQ(gopen_ws(1, server->display().c_str(), GWS_WIN), 0);
    }
    void TearDown() override {
        if (gchk_graphics()) {
            gclose_ws();
            gclose_gks();
        }
        gset_font_list("");
        RES_reset();
    }
    // Clears the picture to the background.
    void clear() { gclear_ws(); }
    // The pixels of the picture that differ from the background, and their box.
    PixelBox ink(std::vector<unsigned long>* colours = nullptr) {
        int w = 0, h = 0;
        gget_win_size(&w, &h);
        const auto all = sat_test::drawable_pixels(gget_base_window(), w, h);
        PixelBox box;
        for (int y = 0; y < h && !all.empty(); ++y)
            for (int x = 0; x < w; ++x) {
                const unsigned long p = all[static_cast<size_t>(y * w + x)];
                if (p == all[0]) continue;
                box = {std::min(box.x0, x), std::max(box.x1, x), std::min(box.y0, y),
                       std::max(box.y1, y)};
                if (colours) colours->push_back(p);
            }
        return box;
    }

    static sat_test::Xvfb* server;
    sat_test::TempDir dir;
    std::string font;
};

sat_test::Xvfb* WindowText::server = nullptr;

// The pixel box of a world box, as the window's y runs down.
PixelBox pixels(const Box& b) {
    PixelBox p;
    p.x0 = static_cast<int>(xW_p(b.x0) + 0.5);
    p.x1 = static_cast<int>(xW_p(b.x1) + 0.5);
    p.y0 = static_cast<int>(yW_p(b.y1) + 0.5);
    p.y1 = static_cast<int>(yW_p(b.y0) + 0.5);
    return p;
}

}  // namespace

TEST_F(WindowText, EachCaseInksTheBoxOfItsArithmetic) {
    for (const Case& c : cases()) {
        clear();
        ASSERT_EQ(draw_case(c, 0.5f, 0.5f), 0) << c.name;
        const PixelBox want = pixels(world_box(c, 0.5f, 0.5f));
        const PixelBox got = ink();
        ASSERT_FALSE(got.empty()) << c.name;
        // One-pixel lines with projecting caps may reach one pixel past an end.
        EXPECT_NEAR(got.x0, want.x0, 1) << c.name;
        EXPECT_NEAR(got.x1, want.x1, 1) << c.name;
        EXPECT_NEAR(got.y0, want.y0, 1) << c.name;
        EXPECT_NEAR(got.y1, want.y1, 1) << c.name;
    }
}

TEST_F(WindowText, DropShadowFallsDownAndRightInBlack) {
    const float white[3] = {1.0f, 1.0f, 1.0f};
    const float grey[3] = {0.5f, 0.5f, 0.5f};
    gset_colr_rep(1, 1, white);
    gset_colr_rep(1, 2, grey);
    gset_text_colr_ind(1);
    const Case& c = cases().front();
    clear();
    gset_fill_colr_ind(2);
    const float area[8] = {0.2f, 0.2f, 0.8f, 0.2f, 0.8f, 0.8f, 0.2f, 0.8f};
    gfill_area(4, area);
    // Off the half pixel, so that each step of the shadow is a whole pixel.
    gset_font_drop(3);
    draw_case(c, 0.4f, 0.4f);
    gset_font_drop(0);
    const PixelBox box = pixels(world_box(c, 0.4f, 0.4f));
    auto pixel = [](int x, int y) { return sat_test::drawable_pixel(gget_base_window(), x, y); };
    Display* d = gget_display();
    const unsigned long black = BlackPixel(d, DefaultScreen(d));
    const unsigned long text = static_cast<unsigned long>(gget_color_ind(1));
    // The box's lower left corner in white, its shadow one and two pixels down
    // and right in black, and nothing up and left of it.
    EXPECT_EQ(pixel(box.x0, box.y1), text);
    EXPECT_EQ(pixel(box.x0 + 2, box.y1 + 2), black);
    EXPECT_EQ(pixel(box.x1 + 2, box.y1 + 1), black);
    EXPECT_NE(pixel(box.x0 - 2, box.y0 - 2), black);
    EXPECT_NE(pixel(box.x0 - 1, box.y0 - 1), black);
}

TEST_F(WindowText, ServerFontTextStandsAtItsAlignment) {
    ASSERT_EQ(read_font("#fixed"), 0);
    for (int h : {1, 2, 3}) {
        clear();
        const int align[2] = {h, 1};
        gset_text_align(align);
        const float at[2] = {0.5f, 0.5f};
        gtext(at, "MMMM");
        const PixelBox got = ink();
        ASSERT_FALSE(got.empty()) << h;
        const int x = static_cast<int>(xW_p(0.5f) + 0.5);
        const int y = static_cast<int>(yW_p(0.5f) + 0.5);
        // Top aligned: the glyphs hang below the point.
        EXPECT_GE(got.y0, y) << h;
        // Left, centred or right of the point.
        EXPECT_EQ(got.x0 >= x, h == 1) << h;
        EXPECT_EQ(got.x0 < x && got.x1 > x, h == 2) << h;
        EXPECT_EQ(got.x1 <= x, h == 3) << h;
    }
}
