// Polylines and their attributes: colour, type (dash), width, print boldness and
// the GC function rubber bands use.
#include <X11/Xlib.h>

#include <array>

#include "graphics/graphics.h"
#include "graphics/xpoints.h"

namespace {

struct State {
    int line_color = 1;
    int line_type = 1;
    float line_width = 1.0f;
    int print_bold = 1;  // width multiplier on printers; not reset
    int line_gc_function = GXcopy;
    GC line_gc = nullptr;
};
State st;

// Dash lists of line types 2 to 5.
struct Dash {
    std::array<char, 4> list;
    int count;
};
constexpr std::array<Dash, 4> dashes = {
    {{{6, 6, 0, 0}, 2}, {{3, 6, 0, 0}, 2}, {{6, 6, 3, 6}, 4}, {{2, 2, 0, 0}, 2}}};

bool on_window() {
    return gtype_is_WIN_PIX() && gget_display() && st.line_gc;
}

void text_meta_points(int count, const float* points) {
    for (int i = 0; i < count; ++i) {
        gmeta_printf("%f,%f ", points[2 * i], points[2 * i + 1]);
        if (i % 4 == 3 && i != count - 1) gmeta_printf("\n   ");
    }
    gmeta_printf("\n");
}

void window_polyline(int count, const float* points) {
    XPoints xp(count, points);
    XDrawLines(gget_display(), gget_draw_window(), st.line_gc, xp.data, count, CoordModeOrigin);
}

void ps_polyline(int count, const float* points) {
    gps_printf("%%%%PL:%d\n", count);
    gps_set_width(st.line_color, st.line_width);
    gps_set_color(st.line_color);
    gps_set_type(st.line_type);
    gps_printf("np\n");
    gps_move(points[0], points[1]);
    for (int i = 1; i < count; ++i) gps_line(points[2 * i], points[2 * i + 1]);
    gps_printf("stroke\n");
}

void hpgl_polyline(int count, const float* points) {
    ghpgl_set_width(st.line_color, st.line_width);
    ghpgl_set_color(st.line_color);
    ghpgl_set_type(st.line_type);
    ghpgl_move(points[0], points[1]);
    for (int i = 1; i < count; ++i) {
        ghpgl_line(points[2 * i], points[2 * i + 1]);
        if (i % 10 == 9) ghpgl_printf("\n");
    }
    ghpgl_printf("\n");
}

void set_x_line_type(int type) {
    XGCValues v{};
    v.line_style = type == 1 ? LineSolid : LineOnOffDash;
    XChangeGC(gget_display(), st.line_gc, GCLineStyle, &v);
    if (type >= 2 && type <= 5) {
        const Dash& d = dashes[static_cast<size_t>(type - 2)];
        XSetDashes(gget_display(), st.line_gc, 0, d.list.data(), d.count);
    }
}

}  // namespace

int greset_line() {
    st.line_color = 1;
    st.line_type = 1;
    st.line_width = 1.0f;
    st.line_gc_function = GXcopy;
    return 0;
}

int ginit_line(int mode) {
    if (mode > 1 || !gget_display()) return 0;
    Display* d = gget_display();
    if (mode == 0 || !st.line_gc) st.line_gc = XCreateGC(d, gget_root_window(), 0, nullptr);
    gclip_gc(st.line_gc);
    XSetFunction(d, st.line_gc, GXcopy);
    return 0;
}

int gclose_line() {
    if (st.line_gc && gget_display()) XFreeGC(gget_display(), st.line_gc);
    st.line_gc = nullptr;
    return 0;
}

int gset_linetype(int type) {
    if (gchk_open("gset_linetype") != 0) return -1;
    if (type < 0) {
        gerr_printf("gset_linetype", "invalid line type: %d\n", type);
        return -1;
    }
    if (type == st.line_type) return 0;
    st.line_type = type;
    if (gtype_is_META()) {
        gmeta_printf("PL_TYPE %d\n", type);
        return 0;
    }
    gnew_obj(33, type, 0, nullptr);
    if (on_window()) set_x_line_type(type);
    return 0;
}

int gset_linewidth(float width) {
    if (gchk_open("gset_linewidth") != 0) return -1;
    if (width < 0.0f) {
        gerr_printf("gset_linewidth", "invalid line width: %f\n", width);
        return -1;
    }
    if (width == st.line_width) return 0;
    if (width == 0.0f && gtype_is_PS()) width = 1.0f;
    st.line_width = width;
    if (gtype_is_META()) {
        gmeta_printf("PL_LW %f\n", width);
        return 0;
    }
    gnew_obj(34, 0, static_cast<int>(sizeof(float)), &width);
    if (on_window()) {
        XGCValues v{};
        v.line_width = static_cast<int>(width);
        XChangeGC(gget_display(), st.line_gc, GCLineWidth, &v);
    }
    return 0;
}

int gset_line_colr_ind(int index) {
    if (gchk_open("gset_line_colr_ind") != 0) return -1;
    if (gcheck_colr_ind("gset_line_colr_ind", &index) != 0) return -1;
    if (index == st.line_color) return 0;
    st.line_color = index;
    return gapply_colr_ind(35, "PL_CLR", st.line_gc, index);
}

int gset_line_print_bold(int factor) {
    if (factor < 1) factor = 1;
    st.print_bold = factor;
    gnew_obj(36, factor, 0, nullptr);
    return 0;
}

int gset_line_gc_func(int function) {
    st.line_gc_function = function;
    if (on_window()) XSetFunction(gget_display(), st.line_gc, function);
    return 0;
}

int gpolyline(int count, const float* points) {
    if (gchk_open("gpolyline") != 0) return -1;
    if (count < 2) {
        gerr_printf("gpolyline", "invalid number of points: %d\n", count);
        return -1;
    }
    if (!gpts_in_win(count, points)) return 0;
    if (gtype_is_META()) {
        if (gmeta_get_type() == 1) {
            gcgm_control(4, 1, 31, count * 4);
            for (int i = 0; i < count; ++i) gcgm_point(points[2 * i], points[2 * i + 1]);
            return 1;
        }
        gmeta_printf("PL %d ", count);
        text_meta_points(count, points);
        return 1;
    }
    if (gtype_is_WIN_PIX()) {
        gnew_obj(30, count, 8 * count, points);
        if (on_window() && gget_draw_window()) window_polyline(count, points);
    } else if (gtype_is_PS()) {
        ps_polyline(count, points);
    } else if (gtype_is_HPGL()) {
        hpgl_polyline(count, points);
    }
    return 0;
}

int gxline(XResId drawable, const short p1[2], const short p2[2]) {
    if (!on_window()) return 0;
    XDrawLine(gget_display(), drawable, st.line_gc, p1[0], p1[1], p2[0], p2[1]);
    return 0;
}

int gxrect(XResId drawable, const short p1[2], const short p2[2]) {
    if (!on_window()) return 0;
    const short x = p1[0] < p2[0] ? p1[0] : p2[0], y = p1[1] < p2[1] ? p1[1] : p2[1];
    const int w = p1[0] < p2[0] ? p2[0] - p1[0] : p1[0] - p2[0];
    const int h = p1[1] < p2[1] ? p2[1] - p1[1] : p1[1] - p2[1];
    XDrawRectangle(gget_display(), drawable, st.line_gc, x, y, static_cast<unsigned>(w),
                   static_cast<unsigned>(h));
    return 0;
}

int gget_line_colr() {
    return st.line_color;
}
_XGC* gget_line_gc() {
    return st.line_gc;
}
int gget_line_gc_func() {
    return st.line_gc_function;
}
int gget_line_print_bold() {
    return st.print_bold;
}
