// Window events: exposes are answered from the pixmap, a resize is passed to the
// plot layer, Return (or Alt-q) ends the wait of ghold, and keys and buttons go
// to the plot layer's callback with their modifiers.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "graphics/graphics.h"
#include "graphics/objects.h"

namespace {

constexpr int MODE_IDLE = 0;
constexpr int MODE_WAIT = 1;
constexpr int MODE_KEY = 2;
constexpr int MODE_QUIT = 3;

struct State {
    int user_event = 0;  // the last event came from the user
    int Expose_cnt = 0;  // an expose was answered
    int mapped = 0, focused = 0;
    GMouseFunc mouse_CB = nullptr;
    int input_mode = MODE_IDLE;
    int rubber_band = 0;  // 0 off, 1 line, 3 anchored lines, else a rectangle
    int rubber_band_con = 0;
    int rubber_band_num = 0;
    short lim[4] = {-9999, 0, 0, 0};  // x1, y1, x2, y2 in pixels; -9999 none
    short pts[5][2] = {};             // the band's points in window pixels
    int zoom = 1;                     // pixel zoom factor
    int zoom_x = 0, zoom_y = 0;
};
State st;

bool handles_events() {
    return gtype_is_WIN() && gget_cache() && gget_display();
}

void call_back(int kind, const char* text, float x, float y) {
    if (!st.mouse_CB) return;
    const int previous = gset_cursor(1);
    st.mouse_CB(kind, text, x, y);
    gset_cursor(previous);
}

// The modifier suffixes of a key or button text.
std::string with_suffixes(std::string text, unsigned state) {
    if (state & Mod1Mask) text += "-Alt";
    if (state & ShiftMask) text += "-Shft";
    if (state & ControlMask) text += "-Cntrl";
    return text;
}

// World coordinates of a window pixel of the selected transformation.
float world_x(int x) {
    return static_cast<float>(xp_W(static_cast<float>(xZ_p(static_cast<float>(x)))));
}
float world_y(int y) {
    return static_cast<float>(yp_W(static_cast<float>(yZ_p(static_cast<float>(y)))));
}

void key_press(XKeyEvent& event) {
    st.user_event = 1;
    if (st.input_mode != MODE_WAIT && st.input_mode != MODE_KEY) return;
    if (st.input_mode == MODE_WAIT) st.input_mode = MODE_KEY;
    char text[80] = {};
    KeySym key = 0;
    XLookupString(&event, text, sizeof text - 1, &key, nullptr);
    const bool alt = event.state & Mod1Mask;
    std::string name = text;
    if (key == XK_Return || key == XK_KP_Enter) {
        st.input_mode = MODE_QUIT;
        name = "Ret";
    } else if (alt && text[0] == 'q') {
        st.input_mode = MODE_QUIT;
    } else if (alt && text[0] == 'm') {
        const int cursor = gget_cursor_type();
        gset_cursor(8);
        gobj_print_meta(1, "");
        gset_cursor(cursor);
    }
    ::Window root = 0, child = 0;
    int rx = 0, ry = 0, x = event.x, y = event.y;
    unsigned mask = 0;
    XQueryPointer(gget_display(), gget_root_window(), &root, &child, &rx, &ry, &x, &y, &mask);
    call_back(2, with_suffixes(name, event.state).c_str(), world_x(x), world_y(y));
}

void button(XButtonEvent& event, bool press) {
    if (!press) st.user_event = 1;
    const int number = event.button >= 1 && event.button <= 3 ? static_cast<int>(event.button) : 1;
    char text[8];
    std::snprintf(text, sizeof text, "B%d-%c", number, press ? 'P' : 'R');
    call_back(3, with_suffixes(text, event.state).c_str(), world_x(event.x), world_y(event.y));
}

}  // namespace

int ginit_event(int mode) {
    st.rubber_band = st.rubber_band_con = st.rubber_band_num = 0;
    st.lim[0] = -9999;
    if (mode == 0) st.input_mode = MODE_IDLE;
    return 1;
}

int gprocess_x11_event(_XEvent* event) {
    if (!handles_events()) return 0;
    st.user_event = 0;
    if (event->type != Expose && event->type != ConfigureNotify) st.Expose_cnt = 0;
    switch (event->type) {
        case Expose:
            if (st.Expose_cnt == 0) {
                st.Expose_cnt = 1;
                gupdate_window();
            }
            break;
        case UnmapNotify:
            st.mapped = 0;
            break;
        case MapNotify:
            st.mapped = 1;
            break;
        case FocusOut:
            st.focused = 0;
            break;
        case FocusIn:
            st.focused = 1;
            break;
        case ConfigureNotify:
            if (event->xconfigure.window != gget_root_window()) break;
            if (gresize_window(-1, -1) == 0) break;
            ginit_plot(1);
            call_back(2, "size", static_cast<float>(event->xconfigure.width),
                      static_cast<float>(event->xconfigure.height));
            break;
        case KeyPress:
            key_press(event->xkey);
            break;
        case ButtonPress:
            button(event->xbutton, true);
            break;
        case ButtonRelease:
            button(event->xbutton, false);
            break;
        default:
            break;
    }
    return st.user_event;
}

int gwait_event() {
    if (!handles_events()) return 0;
    int n = 0;
    XEvent event;
    do {
        XNextEvent(gget_display(), &event);
        n += gprocess_x11_event(&event);
    } while (XPending(gget_display()));
    return n;
}

int gcheck_event() {
    if (!handles_events()) return 0;
    int n = 0;
    XEvent event;
    while (XPending(gget_display())) {
        XNextEvent(gget_display(), &event);
        n += gprocess_x11_event(&event);
    }
    return n;
}

int gset_mouse_callback(GMouseFunc function) {
    st.mouse_CB = function;
    return 1;
}
int gis_mapped() {
    return st.mapped;
}
int gset_input_mode(int mode) {
    st.input_mode = mode == 1 ? MODE_WAIT : MODE_IDLE;
    return 0;
}
int gget_input_mode() {
    return st.input_mode != MODE_QUIT;
}
int greset_zoom() {
    st.zoom = 1;
    st.zoom_x = st.zoom_y = 0;
    return 0;
}
int gget_zoom() {
    return st.zoom;
}
double xZ_p(float x) {
    return static_cast<double>(x) / st.zoom + st.zoom_x;
}
double yZ_p(float y) {
    return static_cast<double>(y) / st.zoom + st.zoom_y;
}

int gzoom(int, int, int, int, int) {
    return 0;
}
int gunzoom() {
    return 0;
}

int gset_rubber_band(int type) {
    st.rubber_band = type;
    return 1;
}

int gset_rubber_band_limits(const float points[4]) {
    st.lim[0] = static_cast<short>(xW_p(points[0]) + 0.5);
    st.lim[1] = static_cast<short>(yW_p(points[1]) + 0.5);
    st.lim[2] = static_cast<short>(xW_p(points[2]) + 0.5);
    st.lim[3] = static_cast<short>(yW_p(points[3]) + 0.5);
    return 0;
}

int gset_rubber_band_points(const float* points, int count, int constraint) {
    const int n = count < 0 ? 0 : (count > 5 ? 5 : count);
    for (int i = 0; i < n; ++i) {
        st.pts[i][0] = static_cast<short>(xW_p(points[2 * i]) + 0.5);
        st.pts[i][1] = static_cast<short>(yW_p(points[2 * i + 1]) + 0.5);
    }
    st.rubber_band_num = count;
    st.rubber_band_con = constraint;
    return 0;
}
