// Filled areas and their attributes, the fill patterns and the dither cells. Image
// colouring paints with the patterns and cells, so those stand on their own,
// without a workstation.
#include <X11/Xlib.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "graphics/graphics.h"
#include "graphics/xpoints.h"

namespace {

constexpr int NUM_PATTERNS = 20;
constexpr int STYLE_SOLID = 1;
constexpr int STYLE_PATTERN = 2;

struct State {
    int fill_inter_style = STYLE_SOLID;
    int fill_inter_index = 1;  // pattern
    int fill_color = 1;
    int print_solid = 0;  // fills print solid black; not reset
    GC fill_gc = nullptr;
    std::array<Pixmap, NUM_PATTERNS> fill_pat{};  // 8 by 8 stipples
};
State st;

// 20 patterns of 8 by 8 bits, a byte a row, bit 0 leftmost. 0 and 19 solid,
// 10 empty, 11 to 18 a grey ramp, 1 to 9 hatches.
constexpr std::array<uint8_t, 160> bitmap = {
    0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff,  //
    0xaa, 0x55, 0xaa, 0x55, 0xaa, 0x55, 0xaa, 0x55,  //
    0x55, 0x00, 0x55, 0x00, 0x55, 0x00, 0x55, 0x00,  //
    0x24, 0x11, 0x82, 0x48, 0x42, 0x11, 0x28, 0x84,  //
    0x33, 0x33, 0x00, 0x00, 0xcc, 0xcc, 0x00, 0x00,  //
    0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33, 0x33,  //
    0x03, 0x06, 0x0c, 0x18, 0x30, 0x60, 0xc0, 0x81,  //
    0x81, 0xc0, 0x60, 0x30, 0x18, 0x0c, 0x06, 0x03,  //
    0xff, 0xff, 0x00, 0x00, 0xff, 0xff, 0x00, 0x00,  //
    0xc3, 0x66, 0x3c, 0x18, 0x3c, 0x66, 0xc3, 0x81,  //
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  //
    0x40, 0x10, 0x20, 0x01, 0x00, 0x04, 0x08, 0x02,  //
    0x08, 0xa0, 0x44, 0x11, 0x22, 0x10, 0x81, 0x44,  //
    0x45, 0x28, 0x94, 0x43, 0x50, 0x09, 0x52, 0xa8,  //
    0x19, 0xca, 0x34, 0x1a, 0xe1, 0x32, 0xa5, 0xcc,  //
    0x55, 0xdc, 0x3b, 0xe2, 0x97, 0xaa, 0x65, 0x3e,  //
    0x7a, 0xe5, 0x5f, 0xab, 0xf5, 0xeb, 0x5e, 0xb5,  //
    0xfe, 0xbb, 0xf5, 0x6f, 0xfe, 0xd7, 0xbd, 0xeb,  //
    0xfd, 0xff, 0xef, 0x7f, 0xdf, 0xfe, 0xf7, 0xaf,  //
    0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff,  //
};

// Order in which the cells of a dither cell turn on, in row order.
constexpr std::array<int, 9> tone3_order = {4, 8, 0, 6, 2, 7, 1, 3, 5};
constexpr std::array<int, 25> tone5_order = {12, 0,  22, 8, 16, 14, 2, 24, 18, 6,  10, 4, 20,
                                             7,  15, 13, 1, 21, 19, 5, 3,  17, 23, 9,  11};

}  // namespace

int gfill_test(int pattern, int x, int y) {
    // A negative remainder reaches back into the bytes before the pattern, as the
    // signed rule of C gives; a negative bit number tests no bit.
    int bit = x % 8;
    int index = pattern * 8 + y % 8;
    if (bit < 0 || index < 0 || index >= static_cast<int>(bitmap.size())) return 0;
    return (bitmap[static_cast<size_t>(index)] >> bit) & 1;
}

int DITHER_val(int size, int level, int a, int b) {
    const int* order;
    int cells;
    if (size == 3) {
        order = tone3_order.data();
        cells = 9;
    } else if (size == 5) {
        order = tone5_order.data();
        cells = 25;
    } else {
        return 0;
    }
    if (level < 0) level = 0;
    if (level > cells) level = cells;
    int row = a % size, col = b % size;
    if (row < 0) row += size;
    if (col < 0) col += size;
    const int cell = row * size + col;
    for (int i = 0; i < level; ++i)
        if (order[i] == cell) return 1;
    return 0;
}

namespace {

bool on_window() {
    return gtype_is_WIN_PIX() && gget_display() && st.fill_gc;
}

void set_stipple() {
    const Pixmap pat = st.fill_inter_index >= 0 && st.fill_inter_index < NUM_PATTERNS
                           ? st.fill_pat[static_cast<size_t>(st.fill_inter_index)]
                           : 0;
    if (pat) XSetStipple(gget_display(), st.fill_gc, pat);
}

void window_fill(int count, const float* points) {
    XPoints xp(count, points);
    Display* d = gget_display();
    XFillPolygon(d, gget_draw_window(), st.fill_gc, xp.data, count, Complex, CoordModeOrigin);
    // The edge, so that neighbouring areas leave no gap.
    XDrawLines(d, gget_draw_window(), st.fill_gc, xp.data, count, CoordModeOrigin);
}

void ps_fill(int count, const float* points) {
    gps_printf("%%%%FA:%d\n", count);
    gps_printf("np\n");
    gps_move(points[0], points[1]);
    for (int i = 1; i < count; ++i) gps_line(points[2 * i], points[2 * i + 1]);
    gps_printf("cp\n");
    gps_set_fill_color(st.fill_color);
    gps_printf("fill\n");
}

void hpgl_fill(int count, const float* points) {
    ghpgl_set_fill_color(st.fill_color);
    ghpgl_move(points[0], points[1]);
    ghpgl_printf("PM0;");
    for (int i = 1; i < count; ++i) ghpgl_line(points[2 * i], points[2 * i + 1]);
    ghpgl_printf("PM1;PM2;FP;\n");
}

}  // namespace

int greset_fill() {
    st.fill_inter_style = STYLE_SOLID;
    st.fill_inter_index = 1;
    st.fill_color = 1;
    return 0;
}

int ginit_fill(int mode) {
    if (mode > 1 || !gget_display()) return 0;
    Display* d = gget_display();
    if (mode == 0 || !st.fill_gc) {
        st.fill_gc = XCreateGC(d, gget_root_window(), 0, nullptr);
        for (int i = 0; i < NUM_PATTERNS; ++i)
            st.fill_pat[static_cast<size_t>(i)] = XCreateBitmapFromData(
                d, gget_root_window(),
                reinterpret_cast<const char*>(bitmap.data() + static_cast<size_t>(i) * 8), 8, 8);
    }
    gclip_gc(st.fill_gc);
    XSetFillStyle(d, st.fill_gc, FillSolid);
    return 0;
}

int gdel_fill_pat() {
    if (!gget_display()) return 0;
    for (Pixmap& p : st.fill_pat) {
        if (p) XFreePixmap(gget_display(), p);
        p = 0;
    }
    return 0;
}

int gclose_fill() {
    if (st.fill_gc && gget_display()) XFreeGC(gget_display(), st.fill_gc);
    st.fill_gc = nullptr;
    return 0;
}

int gset_fill_int_style(int style) {
    if (style == st.fill_inter_style) return 0;
    if (gchk_open("gset_fill_int_style") != 0) return -1;
    st.fill_inter_style = style;
    if (gtype_is_META()) {
        gmeta_printf("FA_INT %d\n", style);
        return 0;
    }
    gnew_obj(73, style, 0, nullptr);
    if (on_window()) {
        if (style == STYLE_SOLID) {
            XSetFillStyle(gget_display(), st.fill_gc, FillSolid);
        } else if (style == STYLE_PATTERN) {
            XSetFillStyle(gget_display(), st.fill_gc, FillStippled);
            set_stipple();
        }
    }
    return 0;
}

int gset_fill_style_ind(int index) {
    if (index == st.fill_inter_index) return 0;
    if (gchk_open("gset_fill_style_ind") != 0) return -1;
    if (index > NUM_PATTERNS - 1 || index < 0) {
        gerr_printf("gset_fill_style_ind", "invalid style index: %d\n", index);
        return -1;
    }
    if (gtype_is_META()) {
        gmeta_printf("FA_ST %d\n", index);
        return 0;
    }
    st.fill_inter_index = index;
    gnew_obj(74, index, 0, nullptr);
    if (on_window()) set_stipple();
    return 0;
}

int gset_fill_colr_ind(int index) {
    if (index == st.fill_color) return 0;
    if (gchk_open("gset_fill_colr_ind") != 0) return -1;
    if (gcheck_colr_ind("gset_fill_colr_ind", &index) != 0) return -1;
    st.fill_color = index;
    return gapply_colr_ind(75, "FA_CLR", st.fill_gc, index);
}

int gset_fill_print_solid(int on) {
    st.print_solid = on;
    gnew_obj(76, on, 0, nullptr);
    return 0;
}

int gfill_area(int count, const float* points) {
    if (!gpts_in_win(count, points)) return 0;
    if (gtype_is_META()) {
        gmeta_printf("FA %d ", count);
        for (int i = 0; i < count; ++i) {
            gmeta_printf("%f,%f ", points[2 * i], points[2 * i + 1]);
            if (i % 4 == 3) gmeta_printf("\n   ");
        }
        if (count % 4 != 0) gmeta_printf("\n");
        return 1;
    }
    gnew_obj(70, count, 8 * count, points);
    if (gtype_is_WIN_PIX()) {
        if (on_window() && gget_draw_window()) window_fill(count, points);
    } else if (gtype_is_PS()) {
        if (st.fill_inter_style == STYLE_SOLID && count > 0) ps_fill(count, points);
    } else if (gtype_is_HPGL()) {
        if (count > 0) hpgl_fill(count, points);
    }
    return 0;
}

int gget_fill_colr() {
    return st.fill_color;
}
_XGC* gget_fill_gc() {
    return st.fill_gc;
}
int gget_fill_print_solid() {
    return st.print_solid;
}
