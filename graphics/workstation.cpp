// The workstation: opening and closing the one device of the process, the X11
// window with its pixmap, icon and cursors, the device strings of the printing
// devices, the wait at the end of a plot and the X error handlers.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/cursorfont.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"

namespace {

constexpr int NUM_CURSORS = 9;
constexpr int ICON_SIZE = 48;
constexpr int BATCH_DEPTH = 10;  // the depth the printing devices report
constexpr int MAX_X_ERRORS = 25;
constexpr int PIX_MSG_TYPE = 62;  // message_type of the client messages to a window owner

struct State {
    int win_type = 0;                         // workstation type
    int open_graphics = 0;                    // 1 between gopen_ws and gclose_ws
    FILE* err_file = nullptr;                 // gerr_printf speaks only when set
    Display* display = nullptr;               // connection
    int screen = 0;                           // default screen
    Visual* visual = nullptr;                 // root visual
    int depth = 0;                            // root depth, or BATCH_DEPTH
    Window root_window = 0;                   // the window on screen, or the other process's
    Pixmap base_window = 0;                   // pixmap holding the finished picture
    Drawable draw_window = 0;                 // where primitives draw now
    GC root_gc = nullptr;                     // clears, copies and image puts
    int win_width = 640, win_height = 512;    // the plot in device units
    int root_width = 640, root_height = 512;  // the window
    int win_x = 0, win_y = 0;                 // offset of the plot on the device
    unsigned long fore_colr = 0, back_colr = 0;
    unsigned long red_mask = 0, grn_mask = 0, blu_mask = 0;
    int cursor = 0;                             // last cursor code set
    std::array<Cursor, NUM_CURSORS> cursors{};  // by cursor code
    std::string win_title = "X11_Graph";        // at most 59 characters
    std::string prog_name = "X11_Graph";        // at most 19; X defaults name
    std::string geometry;                       // gset_geometry
    int fixed_size = 0, icon = 0;               // size hints, start iconic
    int pix_mode = 0;                           // type 6: 0 plain, 1 clear, 2 new frame, 9 stop
    int Xerror = 0, Xerror_print = 1, num_error = 0;
    int refresh = 0;  // seconds between refresh_CB calls in ghold
    GRefreshFunc refresh_CB = nullptr;
};
State st;

constexpr std::array<unsigned int, NUM_CURSORS> cursor_shapes = {
    XC_X_cursor, XC_left_ptr, XC_fleur, XC_exchange, XC_dot,
    XC_pencil,   XC_tcross,   XC_xterm, XC_watch};

// 48 by 48 icon: a ring, the globe the pictures come from, with an equator.
std::array<unsigned char, ICON_SIZE * ICON_SIZE / 8> make_icon() {
    std::array<unsigned char, ICON_SIZE * ICON_SIZE / 8> bits{};
    for (int y = 0; y < ICON_SIZE; ++y)
        for (int x = 0; x < ICON_SIZE; ++x) {
            const int dx = 2 * x - 47, dy = 2 * y - 47;
            const int r2 = dx * dx + dy * dy;
            const bool ring = r2 >= 40 * 40 && r2 <= 46 * 46;
            const bool equator = (y == 23 || y == 24) && r2 <= 46 * 46;
            if (ring || equator) bits[static_cast<size_t>(y * 6 + x / 8)] |= 1u << (x % 8);
        }
    return bits;
}

// Sizes and offsets from option and geometry texts: truncated, but held to a
// range no page reaches so that absurd values cannot overflow.
int to_int(double v) {
    constexpr double limit = 1e9;
    if (std::isnan(v)) return 0;
    if (v > limit) return static_cast<int>(limit);
    if (v < -limit) return static_cast<int>(-limit);
    return static_cast<int>(v);
}

int truncate_title(std::string& s, size_t limit) {
    if (s.size() > limit) s.resize(limit);
    return 0;
}

int Xerror_handler(Display* display, XErrorEvent* event) {
    st.Xerror = 1;
    if (!st.Xerror_print) return 0;
    char text[80] = "";
    char request[60] = "";
    char number[16];
    XGetErrorText(display, event->error_code, text, sizeof text);
    std::snprintf(number, sizeof number, "%d", event->request_code);
    XGetErrorDatabaseText(display, "XRequest", number, "", request, sizeof request);
    MESS_print(MESS_WARN, "X11 error: %s in %s\n", text, request);
    if (++st.num_error == MAX_X_ERRORS) {
        MESS_print(MESS_ERROR, "X11 error: too many errors\n");
        if (st.win_type == GWS_WIN) gdelete_all_frames();
        std::exit(ZMT_EXIT_GRAPHICS);
    }
    return 0;
}

int XerrorIO_handler(Display*) {
    if (st.win_type == GWS_WIN) gdelete_all_frames();
    MESS_print(MESS_ERROR, "Fatal X11 Error\n");
    std::exit(ZMT_EXIT_GRAPHICS);
}

// The parsed device string, freed on every path.
struct Items {
    int count = 0;
    char** items = nullptr;
    explicit Items(const char* text) {
        if (text) parse_string(text, ',', &count, &items);
    }
    ~Items() {
        if (items) free_parsed_array(count, items);
    }
    Items(const Items&) = delete;
    Items& operator=(const Items&) = delete;
    const char* operator[](int i) const { return i < count ? items[i] : nullptr; }
};

const char* env(const char* name) {
    return std::getenv(name);
}

const char* first_env(const char* a, const char* b) {
    const char* v = env(a);
    return v ? v : env(b);
}

bool nonempty(const char* s) {
    return s && *s;
}

// Panel geometry "P<sx>x<sy>+<ox>+<oy>": a fraction of the device or a place in
// a grid. On the window of another process fractions get the y flip; on the
// printing devices the grid does, since their y runs upward.
bool apply_panel(const char* geom, bool printing) {
    if (geom[0] != 'P' && geom[0] != 'p') return false;
    float sx = 1.0f, sy = 1.0f, ox = 0.0f, oy = 0.0f;
    std::sscanf(geom + 1, "%fx%f+%f+%f", &sx, &sy, &ox, &oy);
    auto grid = [&](bool flip) {
        sx = sx < 1.0f ? 1.0f : (sx > 8.0f ? 8.0f : sx);
        sy = sy < 1.0f ? 1.0f : (sy > 8.0f ? 8.0f : sy);
        ox = ox / sx;
        oy = flip ? 1.0f - (oy + 1.0f) / sy : oy / sy;
        sx = 1.0f / sx;
        sy = 1.0f / sy;
    };
    if (printing) {
        if (sx > 1.0f) grid(true);
    } else if (sx <= 1.0f) {
        oy = 1.0f - (oy + 1.0f) / sy;
    } else {
        grid(false);
    }
    st.win_x = to_int(static_cast<float>(st.win_width) * ox);
    st.win_y = to_int(static_cast<float>(st.win_height) * oy);
    st.win_width = to_int(static_cast<float>(st.win_width) * sx);
    st.win_height = to_int(static_cast<float>(st.win_height) * sy);
    return true;
}

// "%dx%d%d%d"-style sizes and offsets in the device's own unit, factor per value.
void apply_print_geometry(const char* geom, float factor, int offset) {
    int w = 0, h = 0, x = 0, y = 0;
    const int n = std::sscanf(geom, "%dx%d%d%d", &w, &h, &x, &y);
    if (n >= 2) {
        st.win_width = to_int(static_cast<float>(w) * factor);
        st.win_height = to_int(static_cast<float>(h) * factor);
        if (n == 4) {
            st.win_x = to_int(static_cast<float>(x) * factor) + offset;
            st.win_y = to_int(static_cast<float>(y) * factor) + offset;
        }
    } else if (std::sscanf(geom, "%d%d", &x, &y) == 2) {
        st.win_x = to_int(static_cast<float>(x) * factor) + offset;
        st.win_y = to_int(static_cast<float>(y) * factor) + offset;
    }
}

bool open_display(const char* name) {
    XSetErrorHandler(Xerror_handler);
    XSetIOErrorHandler(XerrorIO_handler);
    st.display = XOpenDisplay(nonempty(name) ? name : nullptr);
    if (!st.display) {
        MESS_print(MESS_WARN, "gopen_ws: unable to connect to display\n");
        return false;
    }
    st.screen = DefaultScreen(st.display);
    st.depth = DefaultDepth(st.display, st.screen);
    st.visual = DefaultVisual(st.display, st.screen);
    gset_def_cmap(DefaultColormap(st.display, st.screen));
    return true;
}

void window_geometry(XSizeHints& hints) {
    const char* geom = nullptr;
    if (!st.geometry.empty()) geom = st.geometry.c_str();
    if (!geom) geom = RES_get("geometry");
    if (!geom) geom = XGetDefault(st.display, st.prog_name.c_str(), "geometry");
    if (!geom) return;
    const int mask =
        XParseGeometry(geom, &hints.x, &hints.y, reinterpret_cast<unsigned*>(&hints.width),
                       reinterpret_cast<unsigned*>(&hints.height));
    if ((mask & XValue) && (mask & YValue)) {
        hints.flags |= USPosition;
        if (mask & XNegative) hints.x += DisplayWidth(st.display, st.screen) - hints.width;
        if (mask & YNegative) hints.y += DisplayHeight(st.display, st.screen) - hints.height;
    }
    if ((mask & WidthValue) && (mask & HeightValue)) hints.flags |= USSize;
}

void set_window_properties(const XSizeHints& hints) {
    for (char& c : st.win_title)
        if (c == '_') c = ' ';
    XSizeHints h = hints;
    XSetStandardProperties(st.display, st.root_window, st.win_title.c_str(), st.win_title.c_str(),
                           None, nullptr, 0, &h);
    const char* iconic = XGetDefault(st.display, st.prog_name.c_str(), "iconic");
    if (iconic && std::strcmp(iconic, "on") == 0) st.icon = 1;
    RES_getval("icon", &st.icon, RES_BOOLEAN);
    static const auto icon_bits = make_icon();
    XWMHints wm{};
    wm.flags = InputHint | StateHint | IconPixmapHint;
    wm.input = True;
    wm.initial_state = st.icon ? IconicState : NormalState;
    wm.icon_pixmap = XCreatePixmapFromBitmapData(
        st.display, st.root_window,
        reinterpret_cast<char*>(const_cast<unsigned char*>(icon_bits.data())), ICON_SIZE, ICON_SIZE,
        BlackPixel(st.display, st.screen), WhitePixel(st.display, st.screen), 1);
    XSetWMHints(st.display, st.root_window, &wm);
    XClassHint cls;
    std::string res_name = st.prog_name, res_class = "Zmt";
    cls.res_name = res_name.data();
    cls.res_class = res_class.data();
    XSetClassHint(st.display, st.root_window, &cls);
}

int open_window() {
    st.win_type = GWS_WIN;
    gset_cache(1);
    XSizeHints hints{};
    hints.flags = PPosition | PSize;
    hints.x = 100;
    hints.y = 100;
    hints.width = st.win_width ? st.win_width : 640;
    hints.height = st.win_height ? st.win_height : 512;
    window_geometry(hints);
    if (st.fixed_size) {
        hints.min_width = hints.max_width = hints.width;
        hints.min_height = hints.max_height = hints.height;
        hints.flags |= PMinSize | PMaxSize;
    }
    if (env("zmtinverse")) gset_inverse(1);
    unsigned long background = BlackPixel(st.display, st.screen);
    unsigned long border = WhitePixel(st.display, st.screen);
    if (gget_inverse()) std::swap(background, border);
    st.fore_colr = border;
    st.back_colr = background;

    XSetWindowAttributes attr{};
    attr.background_pixel = background;
    attr.border_pixel = border;
    attr.backing_store = Always;
    attr.colormap = DefaultColormap(st.display, st.screen);
    attr.event_mask = KeyPressMask | KeyReleaseMask | ButtonPressMask | ButtonReleaseMask |
                      EnterWindowMask | LeaveWindowMask | ButtonMotionMask | ExposureMask |
                      StructureNotifyMask | FocusChangeMask;
    st.Xerror_print = 0;
    st.Xerror = 0;
    st.root_window = XCreateWindow(
        st.display, RootWindow(st.display, st.screen), hints.x, hints.y,
        static_cast<unsigned>(hints.width), static_cast<unsigned>(hints.height), 5, CopyFromParent,
        InputOutput, CopyFromParent,
        CWBackPixel | CWBorderPixel | CWBackingStore | CWColormap | CWEventMask, &attr);
    XSync(st.display, False);
    if (st.Xerror || !st.root_window) {
        MESS_print(MESS_WARN, "gopen_ws: unable to open window\n");
        return -1;
    }
    st.Xerror_print = 1;
    set_window_properties(hints);

    st.root_gc = XCreateGC(st.display, st.root_window, 0, nullptr);
    st.base_window =
        XCreatePixmap(st.display, st.root_window, static_cast<unsigned>(hints.width),
                      static_cast<unsigned>(hints.height), static_cast<unsigned>(st.depth));
    st.draw_window = st.base_window;
    XMapWindow(st.display, st.root_window);
    XSync(st.display, False);
    XEvent event;
    XWindowEvent(st.display, st.root_window, ExposureMask | StructureNotifyMask, &event);

    ginit_xcolr();
    XWindowAttributes wa;
    XGetWindowAttributes(st.display, st.root_window, &wa);
    st.win_width = st.root_width = wa.width;
    st.win_height = st.root_height = wa.height;
    st.red_mask = wa.visual->red_mask;
    st.grn_mask = wa.visual->green_mask;
    st.blu_mask = wa.visual->blue_mask;
    XClearWindow(st.display, st.root_window);
    XSetForeground(st.display, st.root_gc, st.back_colr);
    XFillRectangle(st.display, st.base_window, st.root_gc, 0, 0,
                   static_cast<unsigned>(st.root_width), static_cast<unsigned>(st.root_height));
    XSetForeground(st.display, st.root_gc, st.fore_colr);
    // Cursors are made on first use: each one costs the cursor library a theme lookup.
    st.cursors.fill(0);
    XSync(st.display, False);
    return 0;
}

void send_pix_message(int byte) {
    XEvent ev{};
    ev.xclient.type = ClientMessage;
    ev.xclient.window = st.root_window;
    ev.xclient.message_type = PIX_MSG_TYPE;
    ev.xclient.format = 8;
    ev.xclient.data.b[0] = static_cast<char>(byte);
    XSendEvent(st.display, st.root_window, True, 0, &ev);
    XSync(st.display, False);
}

// The window id of a window of another process, read through a
// window-id file when it is not given directly. Empty on failure (reported).
bool read_window_id_word(const char* given, std::string& word) {
    word = given;
    if (word.empty()) {
        MESS_print(MESS_WARN, "gopen_ws: window id not specified\n");
        return false;
    }
    if (std::isdigit(static_cast<unsigned char>(word[0])) || word[0] == '+') return true;
    std::string name = word;
    if (name[0] == 'w' || name[0] == 'W') {
        char buf[40];
        if (name.size() > 1 && std::isdigit(static_cast<unsigned char>(name[1])))
            std::snprintf(buf, sizeof buf, "zmtloop.%d", std::atoi(name.c_str() + 1));
        else
            std::snprintf(buf, sizeof buf, "zmtloop.win");
        name = buf;
    }
    char path[1024];
    FILE_add_path(RES_get("file_path"), name.c_str(), path);
    FILE* f = FILE_open(path, "r");
    if (!f) {
        MESS_print(MESS_WARN, "gopen_ws: unable to open window id file\n");
        return false;
    }
    char text[256] = "";
    const int n = std::fscanf(f, "%255s", text);
    std::fclose(f);
    word = n == 1 ? text : "";
    return true;
}

// The three forms of a window id: "+root:base:WxH[:cmap]", "0xbase:WxH:cmap"
// and "base:WxH:cmap".
bool scan_window_id(const std::string& word, WindowId& out) {
    int w = 0, h = 0, cmap = 0;
    if (word[0] == '+') {
        int root = 0, base = 0;
        out.fields = std::sscanf(word.c_str() + 1, "%d:%d:%dx%d:%d", &root, &base, &w, &h, &cmap);
        out.root = static_cast<XResId>(root);
        out.base = static_cast<XResId>(base);
        if (out.fields == 5) out.colormap = static_cast<XResId>(cmap);
    } else if (word.size() > 1 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X')) {
        unsigned base = 0;
        out.fields = std::sscanf(word.c_str(), "%x:%dx%d:%d", &base, &w, &h, &cmap);
        out.base = base;
    } else {
        int base = 0;
        out.fields = std::sscanf(word.c_str(), "%d:%dx%d:%d", &base, &w, &h, &cmap);
        out.base = static_cast<XResId>(base);
    }
    if (out.fields > 0) {
        out.width = w;
        out.height = h;
    }
    return out.fields > 0 && out.base != 0;
}

void pix_geometry() {
    const char* geom = st.geometry.empty() ? RES_get("geometry") : st.geometry.c_str();
    if (!geom) return;
    if (apply_panel(geom, false)) return;
    int w = 0, h = 0, x = 0, y = 0;
    const int n = std::sscanf(geom, "%dx%d+%d+%d", &w, &h, &x, &y);
    if (n < 2) return;
    st.win_width = w < st.win_width ? w : st.win_width;
    st.win_height = h < st.win_height ? h : st.win_height;
    if (n == 4) {
        st.win_x = x;
        st.win_y = y;
    }
}

int open_pix(const Items& items) {
    st.win_type = GWS_PIX;
    gset_cache(0);
    gset_redraw(0);
    const char* given = items[1];
    if (!given) given = first_env("zmtwindow", "WINDOW");
    if (!given) {
        MESS_print(MESS_WARN, "gopen_ws: window parameters not specified\n");
        return -1;
    }
    st.win_width = 640;
    st.win_height = 512;
    WindowId id;
    if (!gread_window_id(given, &id)) return -1;
    st.root_window = id.root;
    st.base_window = id.base;
    st.root_width = id.width;
    st.root_height = id.height;
    if (id.colormap) gset_user_cmap(id.colormap);
    st.draw_window = st.base_window;
    if (!st.root_window) st.root_window = st.base_window;
    char* name = nullptr;
    if (XFetchName(st.display, st.root_window, &name) && name) {
        st.win_title = name;
        const size_t cut = st.win_title.find(" [");
        if (cut != std::string::npos) st.win_title.resize(cut);
        truncate_title(st.win_title, 59);
        XFree(name);
    }
    st.root_gc = XCreateGC(st.display, st.root_window, 0, nullptr);
    st.back_colr = BlackPixel(st.display, st.screen);
    st.fore_colr = WhitePixel(st.display, st.screen);
    if (gget_inverse()) std::swap(st.back_colr, st.fore_colr);
    if (st.pix_mode == 2) {
        send_pix_message(2);
        char extra[256];
        do {
            ZMT_sleep(0.2f);
            extra[0] = '\0';
            gget_win_title_extra(extra);
        } while (extra[0] == '+');
    }
    ginit_xcolr();
    pix_geometry();
    return 0;
}

// Paper sizes by name: long and short side in inches.
struct Paper {
    const char* name;
    float long_side, short_side;
};
constexpr std::array<Paper, 12> papers = {{{"letter", 11.0f, 8.5f},
                                           {"legal", 14.0f, 8.5f},
                                           {"11x17", 17.0f, 11.0f},
                                           {"a4", 11.69f, 8.26f},
                                           {"a3", 16.54f, 11.69f},
                                           {"a2", 23.39f, 16.54f},
                                           {"a1", 33.11f, 23.39f},
                                           {"b4", 14.33f, 10.12f},
                                           {"b3", 20.27f, 14.33f},
                                           {"b2", 28.66f, 20.27f},
                                           {"b1", 40.55f, 28.66f},
                                           {"ansid", 34.0f, 22.0f}}};

// A paper name or "sz=WxH"; true when the option was one of them.
bool paper_option(const char* opt, float& long_side, float& short_side) {
    if (strnicmp(opt, "sz", 2) == 0 && std::strlen(opt) > 3) {
        std::sscanf(opt + 3, "%fx%f", &long_side, &short_side);
        return true;
    }
    for (const Paper& p : papers)
        if (stricmp(opt, p.name) == 0) {
            long_side = p.long_side;
            short_side = p.short_side;
            return true;
        }
    return false;
}

// Numeric value of a "name=value" option, from its given offset on.
float option_value(const char* opt, size_t offset) {
    return std::strlen(opt) >= offset ? static_cast<float>(std::atof(opt + offset)) : 0.0f;
}

void ps_option(const char* opt, float& long_side, float& short_side) {
    if (stricmp(opt, "port") == 0)
        gps_set_orient(1);
    else if (stricmp(opt, "land") == 0)
        gps_set_orient(0);
    else if (stricmp(opt, "eps") == 0)
        gps_set_EPS(1);
    else if (stricmp(opt, "noeps") == 0)
        gps_set_EPS(0);
    else if (stricmp(opt, "color") == 0) {
        gps_set_colorPS(1);
        gset_inverse(1);
    } else if (stricmp(opt, "gray") == 0)
        gps_set_colorPS(0);
    else if (strnicmp(opt, "scale", 5) == 0)
        gps_set_scale(option_value(opt, 6));
    else if (strnicmp(opt, "lwidth", 6) == 0)
        gps_set_base_width(to_int(option_value(opt, 7)));
    else
        paper_option(opt, long_side, short_side);
}

int open_postscript(const Items& items) {
    gset_cache(0);
    gset_redraw(0);
    st.win_type = GWS_PS;
    const char* name = items[0];
    if (!nonempty(name)) name = first_env("zmtps_print", "PSPRINT");
    if (!name) name = "zmt.ps";
    st.depth = BATCH_DEPTH;
    if (!gps_open_file(name)) {
        gerr_printf("gopen_ws", "unable to open postscript file\n");
        return -1;
    }
    float long_side = 11.0f, short_side = 8.5f;
    gps_init();
    if (const char* params = env("zmtps_param")) {
        Items list(params);
        for (int i = 0; i < list.count; ++i) ps_option(list[i], long_side, short_side);
    }
    for (int i = 1; i < items.count; ++i) ps_option(items[i], long_side, short_side);
    st.win_width = to_int((long_side - 0.5f) * 72.0f);
    st.win_height = to_int((short_side - 0.5f) * 72.0f);
    st.win_x = st.win_y = 0;
    gps_set_size(long_side, short_side);
    gps_init_file();
    const char* geom = RES_get("geometry");
    if (!geom) geom = first_env("zmtps_geometry", "PSGEOMETRY");
    if (geom && !apply_panel(geom, true)) apply_print_geometry(geom, 0.72f, 0);
    return 0;
}

void hpgl_option(const char* opt, const char* env_entry, bool from_env, float& long_side,
                 float& short_side) {
    // In the device string "nopcl" and "lj" are looked for in the environment's
    // list at the same place, so only "pcl" takes effect there.
    const char* pcl_text = from_env ? opt : env_entry;
    if (stricmp(opt, "pcl") == 0)
        ghpgl_set_pcl(1);
    else if (pcl_text && stricmp(pcl_text, "nopcl") == 0)
        ghpgl_set_pcl(0);
    else if (pcl_text && stricmp(pcl_text, "lj") == 0)
        ghpgl_set_pcl(2);
    else if (stricmp(opt, "port") == 0)
        ghpgl_set_rotate(90);
    else if (stricmp(opt, "land") == 0)
        ghpgl_set_rotate(0);
    else if (strnicmp(opt, "scale", 5) == 0)
        ghpgl_set_scale(option_value(opt, 6));
    else if (strnicmp(opt, "lwidth", 6) == 0)
        ghpgl_set_base_width(option_value(opt, 7));
    else if (strnicmp(opt, "rot", 3) == 0)
        ghpgl_set_rotate(to_int(option_value(opt, 4)));
    else if (from_env && strnicmp(opt, "roll", 4) == 0) {
        long_side = option_value(opt, 5);
        short_side = 23.5f;
    } else
        paper_option(opt, long_side, short_side);
}

int open_hpgl(const Items& items) {
    st.win_type = GWS_HPGL;
    gset_cache(0);
    gset_redraw(0);
    const char* name = items[0];
    if (!nonempty(name)) name = env("zmthp_out");
    if (!name) name = "zmt.hpgl";
    st.depth = BATCH_DEPTH;
    if (!ghpgl_open_file(name)) {
        gerr_printf("gopen_ws", "unable to open HPGL file\n");
        return -1;
    }
    float long_side = 10.5f, short_side = 8.0f;
    ghpgl_init();
    Items list(env("zmthp_param"));
    for (int i = 0; i < list.count; ++i) hpgl_option(list[i], list[i], true, long_side, short_side);
    for (int i = 1; i < items.count; ++i)
        hpgl_option(items[i], list[i], false, long_side, short_side);
    st.win_width = to_int((long_side - 0.5f) * 1015.0f);
    st.win_height = to_int((short_side - 0.5f) * 1015.0f);
    st.win_x = st.win_y = 10;
    const char* geom = RES_get("geometry");
    if (!geom) geom = env("zmthp_geometry");
    if (geom && !apply_panel(geom, true)) {
        int w = 0, h = 0, x = 0, y = 0;
        const int n = std::sscanf(geom, "%dx%d+%d+%d", &w, &h, &x, &y);
        if (n >= 2) {
            st.win_width = to_int(static_cast<float>(w) * 10.15f);
            st.win_height = to_int(static_cast<float>(h) * 10.15f);
            if (n == 4) {
                st.win_x = to_int(static_cast<float>(x) * 10.15f) + 10;
                st.win_y = to_int(static_cast<float>(y) * 10.15f) + 10;
            }
        } else if (std::sscanf(geom, "+%d+%d", &x, &y) == 2) {
            st.win_x = to_int(static_cast<float>(x) * 10.15f) + 10;
            st.win_y = to_int(static_cast<float>(y) * 10.15f) + 10;
        }
    }
    ghpgl_init_file();
    return 0;
}

int open_metafile(const char* connection, const Items& items) {
    gset_cache(0);
    gset_redraw(0);
    for (int i = 1; i < items.count; ++i) {
        if (stricmp(items[i], "cgm") == 0)
            gmeta_set_type(1);
        else if (stricmp(items[i], "zmt") == 0)
            gmeta_set_type(0);
    }
    st.win_width = 1000;
    st.win_height = 800;
    st.win_x = st.win_y = 0;
    st.win_type = GWS_META;
    if (const char* geom = RES_get("geometry"))
        if (!apply_panel(geom, true)) apply_print_geometry(geom, 100.0f, 0);
    const char* name = nonempty(connection) ? connection : env("zmtmeta_out");
    if (!name) name = gmeta_get_type() == 1 ? "zmt.cgm" : "zmt.meta";
    st.depth = BATCH_DEPTH;
    if (!gmeta_open_file(name)) {
        gerr_printf("gopen_ws", "unable to open metafile\n");
        return -1;
    }
    gmeta_init_file();
    return 0;
}

int plot_mode_of(int type) {
    switch (type) {
        case GWS_PS:
            return 2;
        case GWS_HPGL:
            return 3;
        case GWS_META:
            return 4;
        default:
            return 0;
    }
}

// One ghold pass over the frames of a running loop.
void loop_step() {
    gset_cursor(3);
    gloop_sleep();
    if (gis_mapped()) gdisplay_frame(ginc_frame(0));
    ZMT_init_time();
    gcheck_event();
}

double now_seconds() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

bool has_window() {
    return st.win_type == GWS_WIN || st.win_type == GWS_PIX;
}

// The connection of an open that failed; an open workstation keeps its connection
// after the close, as a server that resets when its last client leaves would
// otherwise turn away the next one.
void close_display() {
    if (!st.display) return;
    XCloseDisplay(st.display);
    st.display = nullptr;
    st.root_window = st.base_window = st.draw_window = 0;
    st.root_gc = nullptr;
}

}  // namespace

int gread_window_id(const char* given, WindowId* out) {
    *out = WindowId{};
    std::string word;
    if (!read_window_id_word(given, word)) return 0;
    if (word.empty() || !scan_window_id(word, *out)) {
        MESS_print(MESS_WARN, "gopen_ws: window id not specified\n");
        return 0;
    }
    return 1;
}

int gopen_gks(const char* name) {
    if (!name) {
        st.err_file = stderr;
        return 0;
    }
    st.err_file = FILE_create(name, "w", 0);
    return st.err_file ? 0 : 1;
}

int gclose_gks() {
    if (st.err_file && st.err_file != stderr) {
        FILE_commit(st.err_file);
        st.err_file = nullptr;
    }
    return 0;
}

int gerr_printf(const char* function, const char* format, ...) {
    if (!st.err_file) return 0;
    char text[80];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    MESS_print(MESS_WARN, "%s: ", function);
    MESS_print(MESS_WARN, "%s\n", text);
    return 0;
}

int gopen_ws(int, const char* connection, int type) {
    Items items(connection);
    if (type == GWS_PS) {
        const char* printer = env("zmtprint");
        if (printer && stricmp(printer, "hpgl") == 0) type = GWS_HPGL;
    }
    if (type == GWS_WIN || type == GWS_PIX) {
        if (!open_display(items[0])) return -1;
    }
    int status = -1;
    switch (type) {
        case GWS_WIN:
            status = open_window();
            break;
        case GWS_PIX:
            status = open_pix(items);
            break;
        case GWS_PS:
            status = open_postscript(items);
            break;
        case GWS_HPGL:
            status = open_hpgl(items);
            break;
        case GWS_META:
            status = open_metafile(connection, items);
            break;
        default:
            break;
    }
    if (status != 0) {
        close_display();
        return -1;
    }
    st.open_graphics = 1;
    ginit_objs();
    ginit_plot(plot_mode_of(st.win_type));
    gsetup_fonts();
    ginit_background();
    if (st.win_type == GWS_PIX && st.pix_mode == 1) gclear_frame(-3);
    if (has_window()) {
        gsync();
        gcheck_event();
    }
    gset_cursor(8);
    return 0;
}

int gclose_ws() {
    if (!st.open_graphics) return -1;
    if (st.win_type == GWS_WIN && st.display) {
        gdelete_all_frames();
        XUnmapWindow(st.display, st.root_window);
        XDestroyWindow(st.display, st.root_window);
        XFreePixmap(st.display, st.base_window);
        st.root_window = 0;
        st.base_window = 0;
        st.draw_window = 0;
    }
    if (has_window() && st.display) {
        gclose_line();
        gclose_marker();
        gclose_fill();
        gclose_text();
        gdel_fill_pat();
        if (st.root_gc) XFreeGC(st.display, st.root_gc);
        st.root_gc = nullptr;
        if (st.win_type == GWS_WIN && gget_user_cmap()) {
            XFreeColormap(st.display, gget_user_cmap());
            gset_user_cmap(0);
        }
        XSync(st.display, False);
    }
    if (st.win_type == GWS_PIX) {
        if (st.pix_mode == 9)
            send_pix_message(9);
        else {
            st.win_width = st.win_height = st.root_width = st.root_height = 0;
            st.open_graphics = 0;
            return 0;
        }
    }
    st.win_width = st.win_height = st.root_width = st.root_height = 0;
    switch (st.win_type) {
        case GWS_WIN:
            gclear_objs();
            break;
        case GWS_PS:
            gps_close_file();
            break;
        case GWS_HPGL:
            ghpgl_close_file();
            break;
        case GWS_META:
            gmeta_close_file();
            break;
        default:
            break;
    }
    st.open_graphics = 0;
    return 0;
}

int gclear_ws() {
    if (st.win_type != GWS_WIN || !st.display) return 0;
    XSetForeground(st.display, st.root_gc, static_cast<unsigned long>(gget_color_ind(GCOLR_BACK)));
    XFillRectangle(st.display, st.base_window, st.root_gc, 0, 0,
                   static_cast<unsigned>(st.root_width), static_cast<unsigned>(st.root_height));
    XSetForeground(st.display, st.root_gc, st.fore_colr);
    gclear_objs();
    ginit_plot(-1);
    return 0;
}

int ginit_plot(int mode) {
    if (mode == -1) return 0;
    greset_text();
    greset_line();
    greset_marker();
    greset_fill();
    ginit_loop();
    ginit_tran(mode);
    ginit_text(mode);
    ginit_line(mode);
    ginit_marker(mode);
    ginit_fill(mode);
    if (mode == 0) {
        st.Xerror = 0;
        st.Xerror_print = 1;
        if (st.win_type == GWS_PIX) gset_rw_colors(0);
    }
    if (mode > 1) return 0;
    ginit_event(mode);
    if (!st.display) return 0;
    XGCValues values{};
    values.line_width = 0;
    values.line_style = LineSolid;
    values.join_style = JoinBevel;
    for (GC gc : {gget_line_gc(), gget_marker_gc(), gget_fill_gc(), gget_text_gc()})
        if (gc) XChangeGC(st.display, gc, GCLineWidth | GCLineStyle | GCJoinStyle, &values);
    XSync(st.display, False);
    return 0;
}

int gresize_window(int width, int height) {
    if (st.win_type != GWS_WIN || !st.display) return 0;
    if (width > 0) {
        XClearWindow(st.display, st.root_window);
        st.win_width = st.root_width = width;
        st.win_height = st.root_height = height;
        XResizeWindow(st.display, st.root_window, static_cast<unsigned>(width),
                      static_cast<unsigned>(height));
        const Pixmap fresh =
            XCreatePixmap(st.display, st.root_window, static_cast<unsigned>(width),
                          static_cast<unsigned>(height), static_cast<unsigned>(st.depth));
        XCopyArea(st.display, st.base_window, fresh, st.root_gc, 0, 0, static_cast<unsigned>(width),
                  static_cast<unsigned>(height), 0, 0);
        XFreePixmap(st.display, st.base_window);
        st.base_window = st.draw_window = fresh;
    } else {
        XWindowAttributes wa;
        XGetWindowAttributes(st.display, st.root_window, &wa);
        if (wa.width == st.win_width && wa.height == st.win_height) return 0;
        XClearWindow(st.display, st.root_window);
        if (width == -1) {
            const Pixmap fresh =
                XCreatePixmap(st.display, st.root_window, static_cast<unsigned>(wa.width),
                              static_cast<unsigned>(wa.height), static_cast<unsigned>(st.depth));
            XCopyArea(st.display, st.base_window, fresh, st.root_gc, 0, 0,
                      static_cast<unsigned>(st.win_width), static_cast<unsigned>(st.win_height), 0,
                      0);
            XFreePixmap(st.display, st.base_window);
            st.base_window = st.draw_window = fresh;
        }
        st.win_width = st.root_width = wa.width;
        st.win_height = st.root_height = wa.height;
    }
    greset_zoom();
    gdelete_all_frames();
    return 1;
}

int gset_win_size(int width, int height) {
    st.win_width = width;
    st.win_height = height;
    ginit_tran(10);
    return 0;
}

int gupdate_window() {
    if (!st.display || !st.base_window || !st.root_window) return -1;
    XCopyArea(st.display, st.base_window, st.root_window, st.root_gc, 0, 0,
              static_cast<unsigned>(st.root_width), static_cast<unsigned>(st.root_height), 0, 0);
    gsync();
    return 0;
}

int gset_win_title(const char* title) {
    st.win_title = title ? title : "";
    truncate_title(st.win_title, 59);
    if (!st.display || !st.root_window) return -1;
    XStoreName(st.display, st.root_window, st.win_title.c_str());
    XSetIconName(st.display, st.root_window, st.win_title.c_str());
    XSync(st.display, False);
    return 0;
}

int gset_win_title_extra(const char* text) {
    if (!st.display || !st.root_window) return -1;
    const std::string name = nonempty(text) ? st.win_title + " " + text : st.win_title;
    XStoreName(st.display, st.root_window, name.c_str());
    return 0;
}

int gget_win_title_extra(char* buffer) {
    if (!st.display || !st.root_window) return -1;
    char* name = nullptr;
    if (!XFetchName(st.display, st.root_window, &name) || !name) return -1;
    const size_t len = std::strlen(name), own = st.win_title.size();
    if (len > own)
        std::strcpy(buffer, name + own + 1);
    else
        buffer[0] = '\0';
    XFree(name);
    return 0;
}

int gmessage(int, const char* text) {
    gnew_obj(5, 0, static_cast<int>(std::strlen(text)) + 1, text);
    if (st.win_type == GWS_META)
        gmeta_printf("ME %s\n", text);
    else if (st.win_type == GWS_PS)
        gps_printf("%%%%Message: %s\n", text);
    return 0;
}

int ghold() {
    if (st.win_type != GWS_WIN || !st.display) return 0;
    gcheck_event();
    XSync(st.display, False);
    if (gget_looping()) ZMT_init_time();
    gset_input_mode(1);
    double next = now_seconds() + st.refresh;
    int idle = 0;
    while (gget_input_mode()) {
        const bool many = gget_num_images() >= 2;
        if (st.refresh == 0) {
            if (!many) {
                gset_cursor(6);
                gwait_event();
            } else if (!gget_looping()) {
                gset_cursor(4);
                gwait_event();
            } else {
                loop_step();
            }
        } else if (many && gget_looping()) {
            loop_step();
            idle = 0;
        } else {
            gset_cursor(many ? 4 : 6);
            if (idle < 50) {
                ZMT_sleep(0.1f);
                ++idle;
            } else {
                ZMT_sleep(0.5f);
            }
            if (gcheck_event()) idle = 0;
        }
        if (st.refresh && st.refresh_CB && now_seconds() > next) {
            st.refresh_CB();
            next += st.refresh;
        }
    }
    gset_input_mode(0);
    gbell(50);
    gset_cursor(0);
    XSync(st.display, False);
    return 0;
}

int gbell(int percent) {
    if (!has_window() || !st.display) return 0;
    XBell(st.display, percent ? percent : 50);
    XSync(st.display, False);
    return 0;
}

int gsync() {
    if (has_window() && st.display) XSync(st.display, False);
    return 0;
}

int gclear_region(const float rect[4]) {
    if (st.win_type == GWS_META) {
        gmeta_printf("CLR_REG %f %f %f %f\n", rect[0], rect[2], rect[1], rect[3]);
        return 0;
    }
    gnew_obj(25, 0, 4 * static_cast<int>(sizeof(float)), rect);
    if (has_window() && st.display && st.draw_window) {
        // The corner pixels as every primitive finds them, both inside the clear.
        const int x1 = static_cast<int>(xW_p(rect[0]) + 0.5),
                  x2 = static_cast<int>(xW_p(rect[1]) + 0.5);
        const int y1 = static_cast<int>(yW_p(rect[2]) + 0.5),
                  y2 = static_cast<int>(yW_p(rect[3]) + 0.5);
        XSetForeground(st.display, st.root_gc,
                       static_cast<unsigned long>(gget_color_ind(GCOLR_BACK)));
        XFillRectangle(st.display, st.draw_window, st.root_gc, std::min(x1, x2), std::min(y1, y2),
                       static_cast<unsigned>(std::abs(x2 - x1) + 1),
                       static_cast<unsigned>(std::abs(y2 - y1) + 1));
        XSetForeground(st.display, st.root_gc, st.fore_colr);
    } else if (st.win_type == GWS_PS) {
        gps_printf("%%%%CLR\n");
        gps_printf("np\n");
        gps_move(rect[0], rect[2]);
        gps_line(rect[0], rect[3]);
        gps_line(rect[1], rect[3]);
        gps_line(rect[1], rect[2]);
        gps_line(rect[0], rect[2]);
        gps_printf("cp\n");
        gps_set_fill_color(GCOLR_BACK);
        gps_printf("fill\n");
    }
    return 0;
}

int gemergency_close_gks() {
    return 0;
}
int gactivate_ws(int) {
    return 0;
}
int gdeactivate_ws(int) {
    return 0;
}

int gtype_is_WIN() {
    return st.win_type == GWS_WIN;
}
int gtype_is_PIX() {
    return st.win_type == GWS_PIX;
}
int gtype_is_WIN_PIX() {
    return has_window();
}
int gtype_is_META() {
    return st.win_type == GWS_META;
}
int gtype_is_PS() {
    return st.win_type == GWS_PS;
}
int gtype_is_HPGL() {
    return st.win_type == GWS_HPGL;
}

int gchk_graphics() {
    return st.open_graphics;
}

int gchk_open(const char* function) {
    if (st.open_graphics) return 0;
    gerr_printf(function, "GKS not opened\n");
    return -1;
}
int gget_win_depth() {
    return st.depth;
}
int gget_win_size(int* width, int* height) {
    *width = st.win_width;
    *height = st.win_height;
    return 0;
}
int gget_win_offset(int* x, int* y) {
    *x = st.win_x;
    *y = st.win_y;
    return 0;
}
const char* gget_win_title() {
    return st.win_title.c_str();
}
int gget_win_type() {
    return st.win_type;
}
int gset_win_type(int type) {
    st.win_type = type;
    return 0;
}
int gget_cursor_type() {
    return st.cursor;
}

int gset_cursor_type(int code) {
    const int previous = st.cursor;
    st.cursor = code;
    if (code < 0 || code >= NUM_CURSORS || !st.display || !st.root_window) return previous;
    Cursor& id = st.cursors[static_cast<size_t>(code)];
    if (!id && st.win_type == GWS_WIN)
        id = XCreateFontCursor(st.display, cursor_shapes[static_cast<size_t>(code)]);
    if (id) XDefineCursor(st.display, st.root_window, id);
    return previous;
}

int gset_cursor(int code) {
    if (!has_window() || !st.display) return st.cursor;
    const int previous = gset_cursor_type(code);
    XSync(st.display, False);
    return previous;
}

_XDisplay* gget_display() {
    return st.display;
}
int gget_screen() {
    return st.screen;
}
XResId gget_root_window() {
    return st.root_window;
}
XResId gget_base_window() {
    return st.base_window;
}
int gset_base_window(XResId id) {
    st.base_window = id;
    return 0;
}
XResId gget_draw_window() {
    return st.draw_window;
}
int gset_draw_window(XResId id) {
    st.draw_window = id ? id : st.base_window;
    return 0;
}
_XGC* gget_root_gc() {
    return st.root_gc;
}
void* gget_visual() {
    return st.visual;
}
int gset_pix_mode(int mode) {
    st.pix_mode = mode;
    return 0;
}
int gset_prog_name(const char* name) {
    st.prog_name = name ? name : "";
    truncate_title(st.prog_name, 19);
    return 0;
}
const char* gget_prog_name() {
    return st.prog_name.c_str();
}
int gset_geometry(const char* geometry) {
    st.geometry = geometry ? geometry : "";
    truncate_title(st.geometry, 39);
    return 0;
}
int gset_fixed_size(int on) {
    st.fixed_size = on;
    return 0;
}
int gset_iconic(int on) {
    st.icon = on;
    return 0;
}
int gset_refresh_callback(int seconds, GRefreshFunc function) {
    st.refresh = seconds;
    st.refresh_CB = function;
    return 0;
}
