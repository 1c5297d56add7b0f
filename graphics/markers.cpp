// Polymarkers and their attributes. Markers are drawn as short device-unit
// polylines of the marker's shape around each point.
#include <X11/Xlib.h>

#include <array>
#include <vector>

#include "graphics/graphics.h"

namespace {

constexpr float MARKER_UNITS = 10.0f;  // device units per unit of marker size

struct State {
    int marker_color = 1;
    int marker_type = 1;
    float marker_width = 1.0f;
    float marker_height = 10.0f;
    GC mark_gc = nullptr;
};
State st;

struct DevPoint {
    double x, y;
};

bool on_window() {
    return gtype_is_WIN_PIX() && gget_display() && st.mark_gc;
}

// Draws device points: a point for one, a polyline for more.
void mark_draw(const std::vector<DevPoint>& pts) {
    const int count = static_cast<int>(pts.size());
    if (gtype_is_WIN_PIX()) {
        if (!on_window() || !gget_draw_window()) return;
        std::array<XPoint, 13> xp{};
        for (int i = 0; i < count; ++i) {
            xp[static_cast<size_t>(i)].x = static_cast<short>(pts[static_cast<size_t>(i)].x);
            xp[static_cast<size_t>(i)].y = static_cast<short>(pts[static_cast<size_t>(i)].y);
        }
        if (count == 1)
            XDrawPoint(gget_display(), gget_draw_window(), st.mark_gc, xp[0].x, xp[0].y);
        else
            XDrawLines(gget_display(), gget_draw_window(), st.mark_gc, xp.data(), count,
                       CoordModeOrigin);
    } else if (gtype_is_PS()) {
        gps_printf("np\n");
        gps_move_abs(pts[0].x, pts[0].y);
        for (int i = 1; i < count; ++i)
            gps_line_abs(pts[static_cast<size_t>(i)].x, pts[static_cast<size_t>(i)].y);
        gps_printf("stroke\n");
    } else if (gtype_is_HPGL()) {
        ghpgl_move_abs(pts[0].x, pts[0].y);
        for (int i = 1; i < count; ++i)
            ghpgl_line_abs(pts[static_cast<size_t>(i)].x, pts[static_cast<size_t>(i)].y);
        ghpgl_printf("\n");
    }
}

void draw_marker(double x, double y, double size) {
    const double h = static_cast<int>(size * 0.5);
    const int type = st.marker_type;
    if (type == 8) mark_draw({{x, y}});
    switch (type) {
        case 1:
            mark_draw({{x, y}, {x + 1, y}, {x + 1, y + 1}, {x, y + 1}, {x, y}});
            break;
        case 2:
            mark_draw({{x - h, y}, {x + h, y}});
            mark_draw({{x, y + h}, {x, y - h}});
            break;
        case 3:
            mark_draw({{x - h, y}, {x + h, y}});
            mark_draw({{x - h, y - h}, {x + h, y + h}});
            mark_draw({{x, y + h}, {x, y - h}});
            mark_draw({{x + h, y - h}, {x - h, y + h}});
            break;
        case 4: {
            static constexpr std::array<std::array<double, 2>, 13> circle = {{{-1, 0},
                                                                              {-0.866, 0.5},
                                                                              {-0.5, 0.866},
                                                                              {0, 1},
                                                                              {0.5, 0.866},
                                                                              {0.866, 0.5},
                                                                              {1, 0},
                                                                              {0.866, -0.5},
                                                                              {0.5, -0.866},
                                                                              {0, -1},
                                                                              {-0.5, -0.866},
                                                                              {-0.866, -0.5},
                                                                              {-1, 0}}};
            std::vector<DevPoint> pts;
            for (const auto& c : circle) pts.push_back({x + c[0] * h, y + c[1] * h});
            mark_draw(pts);
            break;
        }
        case 5:
            mark_draw({{x - h, y - h}, {x + h, y + h}});
            mark_draw({{x + h, y - h}, {x - h, y + h}});
            break;
        case 6:
            mark_draw(
                {{x - h, y + h}, {x + h, y + h}, {x + h, y - h}, {x - h, y - h}, {x - h, y + h}});
            break;
        case 7:
            mark_draw({{x - h, y + h}, {x + h, y + h}, {x, y - h}, {x - h, y + h}});
            break;
        case 9:
            mark_draw({{x - h, y - h}, {x + h, y - h}, {x, y + h}, {x - h, y - h}});
            break;
        default:
            break;
    }
}

}  // namespace

int greset_marker() {
    st.marker_color = 1;
    st.marker_type = 1;
    st.marker_width = 1.0f;
    st.marker_height = 10.0f;
    return 0;
}

int ginit_marker(int mode) {
    if (mode > 1 || !gget_display()) return 0;
    Display* d = gget_display();
    if (mode == 0 || !st.mark_gc) st.mark_gc = XCreateGC(d, gget_base_window(), 0, nullptr);
    gclip_gc(st.mark_gc);
    return 0;
}

int gclose_marker() {
    if (st.mark_gc && gget_display()) XFreeGC(gget_display(), st.mark_gc);
    st.mark_gc = nullptr;
    return 0;
}

int gset_marker_type(int type) {
    if (gchk_open("gset_marker_type") != 0) return -1;
    if (type == st.marker_type) return 0;
    st.marker_type = type;
    if (gtype_is_META()) {
        gmeta_printf("PM_TYPE %d\n", type);
        return 0;
    }
    gnew_obj(43, type, 0, nullptr);
    return 0;
}

int gset_marker_size(float size) {
    if (gchk_open("gset_marker_size") != 0) return -1;
    if (size < 0.0f) {
        gerr_printf("gset_marker_size", "invalid marker size: %f\n", size);
        return -1;
    }
    if (size == st.marker_height) return 0;
    st.marker_height = size;
    if (gtype_is_META()) {
        gmeta_printf("PM_SIZE %f\n", size);
        return 0;
    }
    gnew_obj(44, 0, static_cast<int>(sizeof(float)), &size);
    return 0;
}

int gset_marker_colr_ind(int index) {
    if (gchk_open("gset_marker_colr_ind") != 0) return -1;
    if (gcheck_colr_ind("gset_marker_colr_ind", &index) != 0) return -1;
    if (index == st.marker_color) return 0;
    st.marker_color = index;
    return gapply_colr_ind(45, "PM_CLR", st.mark_gc, index);
}

int gset_marker_width(float width) {
    if (gchk_open("gset_marker_width") != 0) return -1;
    if (width < 0.0f) {
        gerr_printf("gset_marker_width", "invalid marker width: %f\n", width);
        return -1;
    }
    if (width == st.marker_width) return 0;
    if (width == 0.0f && gtype_is_PS()) width = 1.0f;
    st.marker_width = width;
    if (gtype_is_META()) {
        gmeta_printf("PM_WDTH %f\n", width);
        return 0;
    }
    gnew_obj(46, 0, static_cast<int>(sizeof(float)), &width);
    if (on_window()) {
        XGCValues v{};
        v.line_width = static_cast<int>(width);
        XChangeGC(gget_display(), st.mark_gc, GCLineWidth, &v);
    }
    return 0;
}

int gpolymarker(int count, const float* points) {
    if (gchk_open("gpolyline") != 0) return -1;
    if (gtype_is_META()) {
        // Every record repeats the first point: the pointer does not advance.
        gmeta_printf("PM %d ", count);
        for (int i = 0; i < count; ++i) {
            gmeta_printf("%f,%f ", points[0], points[1]);
            if (i % 4 == 3) gmeta_printf("\n   ");
        }
        if (count % 4 != 0) gmeta_printf("\n");
        return 1;
    }
    gnew_obj(40, count, 8 * count, points);
    double size = MARKER_UNITS * st.marker_height;
    if (gtype_is_PS()) {
        size *= 0.72;
        gps_printf("%%%%PM:%d\n", count);
        gps_set_width(st.marker_color, st.marker_width);
        gps_set_color(st.marker_color);
        gps_set_type(1);
    } else if (gtype_is_HPGL()) {
        size *= 10.15;
        ghpgl_set_width(st.marker_color, st.marker_width);
        ghpgl_set_color(st.marker_color);
        ghpgl_set_type(1);
    }
    const bool window = gtype_is_WIN_PIX();
    const int drop = gget_font_drop();
    for (int i = 0; i < count; ++i) {
        const float wx = points[2 * i], wy = points[2 * i + 1];
        const double x = window ? xW_p(wx) + 0.5 : xW_ps(wx);
        const double y = window ? yW_p(wy) + 0.5 : yW_ps(wy);
        if (drop && on_window()) {
            Display* d = gget_display();
            XSetForeground(d, st.mark_gc, BlackPixel(d, gget_screen()));
            for (int k = 0; k < drop; ++k) draw_marker(x + k, y + k, size);
            XSetForeground(d, st.mark_gc,
                           static_cast<unsigned long>(gget_color_ind(st.marker_color)));
        }
        draw_marker(x, y, size);
    }
    return 0;
}

int gget_marker_colr() {
    return st.marker_color;
}
_XGC* gget_marker_gc() {
    return st.mark_gc;
}
