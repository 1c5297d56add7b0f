// A kernel window of 640 by 512 on an Xvfb of the program's own, transformation 2
// on the viewport 0.1..1.1 by 0.1..0.9, colour 1 white and 2 red; its pixels are
// read back with XGetImage.
#pragma once

// gtest before Xlib, whose macros (None, Bool) it would trip over.
#include <gtest/gtest.h>
// clang-format off
#include <X11/Xlib.h>
#include <X11/Xutil.h>
// clang-format on

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "graphics/graphics.h"
#include "tests/support/xvfb.h"

namespace sat_test {

using Pixel = std::pair<int, int>;  // column, row
using PixelSet = std::set<Pixel>;
constexpr int kWinW = 640, kWinH = 512;

inline void set_world(float x0, float x1, float y0, float y1) {
    const float wn[4] = {x0, x1, y0, y1};
    gset_win(2, wn);
    gsel_norm_tran(2);
}

// Opens the window once for the program; the server goes with the program.
inline void open_test_window() {
    static Xvfb server(24);
    ASSERT_FALSE(server.display().empty()) << "Xvfb did not start";
    gopen_gks(nullptr);
    ASSERT_EQ(gopen_ws(1, server.display().c_str(), GWS_WIN), 0);
    float xv = 0, yv = 0;
    ginq_maxview(1, &xv, &yv);
    const float full[4] = {0, xv, 0, yv}, vp[4] = {0.1f, 1.1f, 0.1f, 0.9f};
    gset_ws_win(1, full);
    gset_vp(2, vp);
    set_world(0, 100, 0, 100);
    const float white[3] = {1, 1, 1}, red[3] = {1, 0, 0};
    gset_colr_rep(1, 1, white);
    gset_colr_rep(1, 2, red);
}

// The pixels of the drawing pixmap that are not the background (with `only_red`,
// each must be colour 2).
inline PixelSet lit(bool only_red = false) {
    XImage* im =
        XGetImage(gget_display(), gget_draw_window(), 0, 0, kWinW, kWinH, AllPlanes, ZPixmap);
    PixelSet out;
    const unsigned long back = static_cast<unsigned long>(gget_color_ind(-1));
    const unsigned long red = static_cast<unsigned long>(gget_color_ind(2));
    for (int y = 0; y < kWinH; ++y)
        for (int x = 0; x < kWinW; ++x)
            if (const unsigned long p = XGetPixel(im, x, y); p != back) {
                EXPECT_TRUE(!only_red || p == red) << x << "," << y;
                out.insert({x, y});
            }
    XDestroyImage(im);
    return out;
}

// Draws the next case in red from a cleared window.
inline void clear_to_red() {
    gclear_ws();
    gset_line_colr_ind(2);
    gset_fill_colr_ind(2);
    gset_marker_colr_ind(2);
}

// Every pixel of a drawable, row by row; empty when the server gives none.
inline std::vector<unsigned long> drawable_pixels(XResId drawable, int w, int h) {
    XImage* im = XGetImage(gget_display(), drawable, 0, 0, static_cast<unsigned>(w),
                           static_cast<unsigned>(h), AllPlanes, ZPixmap);
    std::vector<unsigned long> out;
    if (!im) return out;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) out.push_back(XGetPixel(im, x, y));
    XDestroyImage(im);
    return out;
}

// One pixel of a drawable, or all ones when it cannot be read.
inline unsigned long drawable_pixel(XResId drawable, int x, int y) {
    XImage* im = XGetImage(gget_display(), drawable, x, y, 1, 1, AllPlanes, ZPixmap);
    const unsigned long p = im ? XGetPixel(im, 0, 0) : ~0UL;
    if (im) XDestroyImage(im);
    return p;
}

}  // namespace sat_test
