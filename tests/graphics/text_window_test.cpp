// Stroke text on the window: the pixels read back from the picture by
// XGetImage lie where the text arithmetic puts each case, for every alignment,
// up vector and expansion; drop shadows and X server fonts land beside them.
#include <cstdlib>
#include <string>
#include <vector>

#include "env/messages.h"
#include "env/resources.h"
#include "test_support.h"
#include "tests/graphics/text_stroke.h"
#include "tests/support/window_pixels.h"

using namespace text_test;

namespace {

struct PixelBox {
    int x0 = 1 << 20, x1 = -1, y0 = 1 << 20, y1 = -1;
    bool empty() const { return x1 < 0; }
};

// The pixels of the picture that differ from the background, and their box.
PixelBox ink() {
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    const auto all = sat_test::drawable_pixels(gget_base_window(), w, h);
    PixelBox box;
    for (int y = 0; y < h && !all.empty(); ++y)
        for (int x = 0; x < w; ++x)
            if (all[static_cast<size_t>(y * w + x)] != all[0])
                box = {std::min(box.x0, x), std::max(box.x1, x), std::min(box.y0, y),
                       std::max(box.y1, y)};
    return box;
}

// The pixel box of a world box, as the window's y runs down.
PixelBox pixels(const Box& b) {
    PixelBox p;
    p.x0 = static_cast<int>(xW_p(b.x0) + 0.5);
    p.x1 = static_cast<int>(xW_p(b.x1) + 0.5);
    p.y0 = static_cast<int>(yW_p(b.y1) + 0.5);
    p.y1 = static_cast<int>(yW_p(b.y0) + 0.5);
    return p;
}

TEST(WindowText, CasesInkTheirBoxesShadowsFallAndServerFontsAlign) {
    sat_test::Xvfb server(24, "1024x768");
    ASSERT_FALSE(server.display().empty()) << "no Xvfb";
    RES_reset();
    MESS_reset();
    sat_test::TempDir dir;
    const std::string font = dir.file("t.fnt");
    sat_test::write_file(font, labelled_font());
    gset_font_list(font.c_str());
    ASSERT_EQ(gopen_gks(nullptr), 0);
    ASSERT_EQ(gopen_ws(1, server.display().c_str(), GWS_WIN), 0);

    for (const Case& c : cases()) {
        gclear_ws();
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

    // A drop shadow falls down and right in black, over a grey fill.
    const float white[3] = {1.0f, 1.0f, 1.0f}, grey[3] = {0.5f, 0.5f, 0.5f};
    gset_colr_rep(1, 1, white);
    gset_colr_rep(1, 2, grey);
    gset_text_colr_ind(1);
    const Case& c = cases().front();
    gclear_ws();
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
    EXPECT_EQ(pixel(box.x0, box.y1), static_cast<unsigned long>(gget_color_ind(1)));
    EXPECT_EQ(pixel(box.x0 + 2, box.y1 + 2), black);
    EXPECT_EQ(pixel(box.x1 + 2, box.y1 + 1), black);
    EXPECT_NE(pixel(box.x0 - 2, box.y0 - 2), black);
    EXPECT_NE(pixel(box.x0 - 1, box.y0 - 1), black);

    // A server font's text hangs below the point, left, centred or right of it.
    ASSERT_EQ(read_font("#fixed"), 0);
    const int x = static_cast<int>(xW_p(0.5f) + 0.5), y = static_cast<int>(yW_p(0.5f) + 0.5);
    for (int h : {1, 2, 3}) {
        gclear_ws();
        const int align[2] = {h, 1};
        gset_text_align(align);
        const float at[2] = {0.5f, 0.5f};
        gtext(at, "MMMM");
        const PixelBox got = ink();
        ASSERT_FALSE(got.empty()) << h;
        EXPECT_GE(got.y0, y) << h;
        EXPECT_EQ(got.x0 >= x, h == 1) << h;
        EXPECT_EQ(got.x0 < x && got.x1 > x, h == 2) << h;
        EXPECT_EQ(got.x1 <= x, h == 3) << h;
    }
    gclose_ws();
    gclose_gks();
    gset_font_list("");
}

}  // namespace
