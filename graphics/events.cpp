// Window events: exposes are answered from the pixmap, a resize is passed to the
// plot layer, the fixed key commands (quit, dumps, zoom, frame stepping and loop
// speed) are handled here, the rubber band follows the pointer, and keys and
// buttons go on to the plot layer's callback with their modifiers. A process that
// draws into this window's pixmap asks for frames through client messages.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "formats/gif.h"
#include "formats/xwd.h"
#include "graphics/graphics.h"
#include "graphics/objects.h"

namespace {

constexpr int MODE_IDLE = 0;
constexpr int MODE_WAIT = 1;
constexpr int MODE_KEY = 2;
constexpr int MODE_QUIT = 3;

constexpr short NO_POINT = -9999;
constexpr int BAND_LINE = 1;
constexpr int BAND_ANCHORED = 3;
constexpr int FUNC_COPY = GXcopy;
constexpr int FUNC_XOR = GXxor;

constexpr int CURSOR_BUSY = 8;
constexpr int CURSOR_CALLBACK = 1;

constexpr char MSG_NEW_FRAME = 2;
constexpr char MSG_STOP = 9;

struct State {
    int user_event = 0;  // the last event came from the user
    int Expose_cnt = 0;  // 1 after an expose was answered, until another kind of event
    int mapped = 0, focused = 0;
    GMouseFunc mouse_CB = nullptr;
    int input_mode = MODE_IDLE;          // 0 idle, 1 waiting in ghold, 2 a key was seen, 3 quit
    int rubber_band = 0;                 // 0 off, 1 line, 3 anchored lines, else a rectangle
    int rubber_band_con = 0;             // anchored lines: 1 only y moves, 2 only x moves
    int rubber_band_num = 0;             // points of the anchored lines
    short lim[4] = {NO_POINT, 0, 0, 0};  // x1, y1, x2, y2 in pixels
    short pts[5][2] = {};                // the band's points in window pixels
    int pt_ind = 0;                      // a button was pressed in this run
    int Xserver = 0;                     // the server named in XSERVER
};
State st;

bool handles_events() {
    return gtype_is_WIN() && gget_cache() && gget_display();
}

void call_back(int kind, const char* text, float x, float y) {
    if (!st.mouse_CB) return;
    const int previous = gset_cursor(CURSOR_CALLBACK);
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

// ---- Dumps of the window by key ----------------------------------------------

struct DumpKind {
    const char* upper;  // "GIF" or "XWD"
    const char* extension;
    int (*dump)(const char* name);
};
const DumpKind GIF_KIND = {"GIF", "gif", GIF_dump};
const DumpKind XWD_KIND = {"XWD", "xwd", XWD_dump};

void dump_name(const DumpKind& kind, int frame, char* path) {
    char title[8] = {};
    std::snprintf(title, sizeof title, "%.5s", gget_win_title() ? gget_win_title() : "");
    fill_string(title, ' ', '_');
    char name[64];
    if (frame < 0)
        std::snprintf(name, sizeof name, "%.5s.%s", title, kind.extension);
    else
        std::snprintf(name, sizeof name, "%.5s-%2.2d.%s", title, frame, kind.extension);
    FILE_add_path(RES_get("image_path"), name, path);
}

bool dump_one(const DumpKind& kind, int frame, bool report) {
    char path[1024];
    dump_name(kind, frame, path);
    if (!kind.dump(path)) {
        MESS_print(MESS_WARN, "gprocess_x11_event: Unable to write %s file: %s\n", kind.upper,
                   path);
        return false;
    }
    if (report) MESS_print(MESS_MESS, "%s\n", path);
    MESS_print(MESS_MESS, "Created %s file: %s\n", kind.upper, path);
    return true;
}

void dump_window(const DumpKind& kind) {
    const int cursor = gget_cursor_type();
    gset_cursor(CURSOR_BUSY);
    const int n = gget_num_images();
    if (n < 2) {
        dump_one(kind, -1, false);
    } else if (!gget_looping()) {
        const int cur = gget_cur_frame();
        gselect_frame(cur);
        dump_one(kind, cur, false);
    } else {
        MESS_print(MESS_MESS, "Creating %s files:\n", kind.upper);
        for (int i = 0; i < n; ++i) {
            gselect_frame(i);
            if (!dump_one(kind, i, true)) break;
        }
    }
    gset_cursor(cursor);
}

// ---- Keys -----------------------------------------------------------------

struct Pointer {
    int x = 0, y = 0;
};

Pointer pointer() {
    ::Window root = 0, child = 0;
    int rx = 0, ry = 0;
    Pointer p;
    unsigned mask = 0;
    XQueryPointer(gget_display(), gget_root_window(), &root, &child, &rx, &ry, &p.x, &p.y, &mask);
    return p;
}

void step_or_faster() {
    if (!gget_looping()) {
        gdisplay_frame(ginc_frame(1));
        return;
    }
    ginc_loop_delay(gget_loop_delay() > 0.11f ? -0.1f : -0.05f);
}

void step_back_or_slower() {
    if (!gget_looping()) {
        gdisplay_frame(ginc_frame(-1));
        return;
    }
    ginc_loop_delay(gget_loop_delay() >= 0.09f ? 0.1f : 0.05f);
}

void write_metafile() {
    const int cursor = gget_cursor_type();
    gset_cursor(CURSOR_BUSY);
    gobj_print_meta(1, "");
    gset_cursor(cursor);
}

// An Alt key command; false when the callback is not to be called.
bool alt_command(char key) {
    switch (key) {
        case 'q':
            st.input_mode = MODE_QUIT;
            return true;
        case 'm':
            write_metafile();
            return true;
        case 'g':
            dump_window(GIF_KIND);
            return true;
        case 'x':
            dump_window(XWD_KIND);
            return true;
        case 'd':
            gdelete_frame(-2);
            return true;
        case 'z': {
            const Pointer p = pointer();
            gzoom(-2, p.x, p.y, -2, 0);
            return true;
        }
        case 'u': {
            const bool zoomed = gget_zoom() >= 2;
            gunzoom();
            return !zoomed;
        }
        case 'l':
            gtoggle_loop(-1);
            return true;
        case ']':
            step_or_faster();
            return true;
        case '[':
            step_back_or_slower();
            return true;
        default:
            return true;
    }
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
    bool call = true;
    if (key == XK_Return || key == XK_KP_Enter) {
        st.input_mode = MODE_QUIT;
        name = "Ret";
    } else if (alt) {
        call = alt_command(text[0]);
    }
    if (!call) return;
    const Pointer p = pointer();
    call_back(2, with_suffixes(name, event.state).c_str(), world_x(p.x), world_y(p.y));
}

// ---- The rubber band ----------------------------------------------------------

bool point_set(const short p[2]) {
    return p[0] != NO_POINT;
}

short clamp_to(int v, short a, short b) {
    if (st.lim[0] == NO_POINT) return static_cast<short>(v);
    return static_cast<short>(
        std::clamp(v, static_cast<int>(std::min(a, b)), static_cast<int>(std::max(a, b))));
}

void draw_band() {
    const XResId win = gget_root_window();
    if (st.rubber_band == BAND_LINE) {
        gxline(win, st.pts[0], st.pts[1]);
    } else if (st.rubber_band == BAND_ANCHORED) {
        gxline(win, st.pts[0], st.pts[1]);
        if (st.rubber_band_num > 2) gxline(win, st.pts[0], st.pts[2]);
    } else {
        gxrect(win, st.pts[0], st.pts[1]);
    }
}

void erase_band() {
    if (point_set(st.pts[1])) draw_band();
}

void move_band(int x, int y) {
    if (st.rubber_band == BAND_ANCHORED) {
        if (st.rubber_band_con != 1) st.pts[0][0] = clamp_to(x, st.lim[0], st.lim[2]);
        if (st.rubber_band_con != 2) st.pts[0][1] = clamp_to(y, st.lim[1], st.lim[3]);
    } else {
        st.pts[1][0] = clamp_to(x, st.lim[0], st.lim[2]);
        st.pts[1][1] = clamp_to(y, st.lim[1], st.lim[3]);
    }
}

void to_xor() {
    if (gget_line_gc_func() == FUNC_COPY) gset_line_gc_func(FUNC_XOR);
}

void motion(XEvent* event) {
    while (XCheckTypedEvent(gget_display(), MotionNotify, event)) {
    }
    if (!st.rubber_band || st.pt_ind <= 0) return;
    to_xor();
    erase_band();
    move_band(event->xmotion.x, event->xmotion.y);
    draw_band();
    gsync();
}

// ---- Buttons ----------------------------------------------------------------

int button_number(unsigned button) {
    return button >= 1 && button <= 3 ? static_cast<int>(button) : 1;
}

void button_press(XButtonEvent& event) {
    if (!(event.state & Mod1Mask)) {
        if (event.button == Button1)
            step_back_or_slower();
        else if (event.button == Button2)
            gtoggle_loop(-1);
        else if (event.button == Button3)
            step_or_faster();
    }
    st.pts[0][0] = static_cast<short>(event.x);
    st.pts[0][1] = static_cast<short>(event.y);
    st.pts[1][0] = st.pts[1][1] = NO_POINT;
    st.pt_ind = 1;
    char text[8];
    std::snprintf(text, sizeof text, "B%d-P", button_number(event.button));
    call_back(3, with_suffixes(text, event.state).c_str(), world_x(event.x), world_y(event.y));
}

void button_release(XButtonEvent& event) {
    st.user_event = 1;
    st.pt_ind = 1;
    int x = event.x, y = event.y;
    char text[8];
    std::snprintf(text, sizeof text, "B%d-R", button_number(event.button));
    if (st.rubber_band) {
        to_xor();
        erase_band();
        gset_line_gc_func(FUNC_COPY);
        move_band(x, y);
        draw_band();
        if (st.rubber_band == BAND_ANCHORED) {
            x = st.pts[0][0];
            y = st.pts[0][1];
        }
        st.rubber_band = 0;
        st.lim[0] = NO_POINT;
        gsync();
    }
    call_back(3, with_suffixes(text, event.state).c_str(), world_x(x), world_y(y));
}

// ---- Client messages of a process drawing into this window ---------------------

void new_frame() {
    gset_win_title_extra("+");
    const int n = gget_num_images();
    if (n == 0) {
        gcreate_frame(0);
        gset_looping(1);
        gswitch_frame(0, -3);
    } else {
        gcreate_frame(-1);
        gcopy_frame(n, n - 1);
        gswitch_frame(n, n - 1);
        gclear_frame(n);
        gsync();
    }
}

void client_message(const XClientMessageEvent& event) {
    if (event.data.b[0] == MSG_STOP) st.input_mode = MODE_QUIT;
    if (event.data.b[0] == MSG_NEW_FRAME) new_frame();
    // The waiting client reads the title: an empty extra lets it go on.
    gset_win_title_extra("");
}

void expose() {
    if (st.Expose_cnt != 0) return;
    st.Expose_cnt = 1;
    gupdate_window();
}

void configure(const XConfigureEvent& event) {
    if (event.window != gget_root_window()) return;
    if (gresize_window(-1, -1) == 0) return;
    ginit_plot(1);
    call_back(2, "size", static_cast<float>(event.width), static_cast<float>(event.height));
}

}  // namespace

int ginit_event(int mode) {
    st.rubber_band = st.rubber_band_con = st.rubber_band_num = 0;
    st.lim[0] = NO_POINT;
    if (mode == 0) st.input_mode = MODE_IDLE;
    const char* server = std::getenv("XSERVER");
    st.Xserver = server && std::strcmp(server, "AIX_3005") == 0;
    // The map of a new window is awaited at its open, before events come here.
    XWindowAttributes wa;
    if (gtype_is_WIN() && gget_display() && gget_root_window() &&
        XGetWindowAttributes(gget_display(), gget_root_window(), &wa))
        st.mapped = wa.map_state != IsUnmapped;
    return 1;
}

int gprocess_x11_event(_XEvent* event) {
    if (!handles_events()) return 0;
    st.user_event = 0;
    if (event->type != Expose && event->type != ConfigureNotify) st.Expose_cnt = 0;
    switch (event->type) {
        case Expose:
            expose();
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
            configure(event->xconfigure);
            break;
        case ClientMessage:
            client_message(event->xclient);
            break;
        case KeyPress:
            key_press(event->xkey);
            break;
        case ButtonPress:
            button_press(event->xbutton);
            break;
        case ButtonRelease:
            button_release(event->xbutton);
            break;
        case MotionNotify:
            motion(event);
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
    const int n = std::clamp(count, 0, 5);
    for (int i = 0; i < n; ++i) {
        st.pts[i][0] = static_cast<short>(xW_p(points[2 * i]) + 0.5);
        st.pts[i][1] = static_cast<short>(yW_p(points[2 * i + 1]) + 0.5);
    }
    st.rubber_band_num = count;
    st.rubber_band_con = constraint;
    return 0;
}
