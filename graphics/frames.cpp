// Frames of a loop: pixmaps of the window's size, one picture each, shown in turn
// by the wait loop with a delay of their own. The last frame pauses longer so
// that the end of a loop is visible.
#include <X11/Xlib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "env/messages.h"
#include "graphics/graphics.h"

namespace {

constexpr int LAST_FRAME = -1;
constexpr int CURRENT_FRAME = -2;
constexpr int BASE_FRAME = -3;
constexpr int EVERY_FRAME = -4;  // gset_loop_delay: all but the last

constexpr int MAX_FRAMES = 128;
constexpr int NAME_SIZE = 50;
constexpr int DATA_SIZE = 50;
constexpr float DEFAULT_DELAY = 0.5f;

struct Frame {
    std::array<char, NAME_SIZE> name{};
    std::array<char, DATA_SIZE> data{};  // user data
    int data_length = 0;
    XResId id = 0;  // pixmap, 0 when there is none
    int spare = 0;
    float delay = DEFAULT_DELAY;  // seconds shown
    int state = 1;
};

struct State {
    int num_images = 0;
    int cur_image = -1;
    int loop = 0;
    int looping = 0;
    int loop_direct = 1;               // 0 backward, 1 forward, 2 and 3 the legs of a rocking loop
    float loop_delay = DEFAULT_DELAY;  // delay of every frame but the last
    int loop_title = 1;                // frame number in the window title
    std::array<Frame, MAX_FRAMES> frames{};
};
State st;

// Fixed bounds of the loop (-1: the whole table) and the pause on the last frame.
constexpr int loop_start = -1;
constexpr int loop_end = -1;
constexpr float loop_pause = 1.0f;

bool valid(int n) {
    return n >= 0 && n < MAX_FRAMES;
}

Frame* frame(int n) {
    return valid(n) ? &st.frames[static_cast<size_t>(n)] : nullptr;
}

int resolve(int n) {
    if (n == LAST_FRAME) return st.num_images - 1;
    if (n == CURRENT_FRAME) return st.cur_image;
    return n;
}

// The drawable of a frame number after resolving; the base pixmap for -3.
XResId drawable(int n) {
    if (n == BASE_FRAME) return gget_base_window();
    const Frame* f = frame(n);
    return f ? f->id : 0;
}

bool has_drawing() {
    return gget_display() && gget_draw_window();
}

void free_pixmap(Frame& f) {
    if (f.id && gget_display()) XFreePixmap(gget_display(), f.id);
    f.id = 0;
}

}  // namespace

int ginit_loop() {
    st.loop = 0;
    st.num_images = 0;
    st.cur_image = -1;
    for (Frame& f : st.frames) {
        f.name.fill(0);
        f.spare = 0;
        f.delay = DEFAULT_DELAY;
        f.state = 1;
    }
    return 0;
}

int gcreate_frame(int n) {
    Display* d = gget_display();
    if (!has_drawing()) return 0;
    if (n < 0) n = st.num_images;
    Frame* f = frame(n);
    if (!f) return 0;
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    if (!f->id)
        f->id = XCreatePixmap(d, gget_root_window(), static_cast<unsigned>(w),
                              static_cast<unsigned>(h), static_cast<unsigned>(gget_win_depth()));
    gclear_frame(n);
    if (n > 0) st.frames[static_cast<size_t>(n - 1)].delay = st.loop_delay;
    if (Frame* last = frame(st.num_images)) last->delay = loop_pause;
    XSync(d, False);
    MESS_print(MESS_OUT4, "Created frame: %d-%ld\n", n, static_cast<long>(f->id));
    if (n == st.num_images) ++st.num_images;
    return n;
}

int gselect_frame(int n) {
    gset_redraw(0);
    n = resolve(n);
    if (n == BASE_FRAME)
        gset_draw_window(0);
    else if (const Frame* f = frame(n))
        gset_draw_window(f->id);
    MESS_print(MESS_OUT4, "Selected frame: %d\n", n);
    return 0;
}

int gclear_frame(int n) {
    Display* d = gget_display();
    if (!has_drawing()) return 0;
    const XResId id = drawable(resolve(n));
    if (!id) return 0;
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    XSetForeground(d, gget_root_gc(), gget_back_color());
    XFillRectangle(d, id, gget_root_gc(), 0, 0, static_cast<unsigned>(w), static_cast<unsigned>(h));
    return 0;
}

int gcopy_frame(int to, int from) {
    Display* d = gget_display();
    if (!has_drawing()) return 0;
    to = resolve(to);
    from = resolve(from);
    const XResId target = drawable(to), source = drawable(from);
    if (!target || !source) return 0;
    int x = 0, y = 0, w = 0, h = 0;
    gget_win_offset(&x, &y);
    gget_win_size(&w, &h);
    XCopyArea(d, source, target, gget_root_gc(), x, y, static_cast<unsigned>(w),
              static_cast<unsigned>(h), x, y);
    MESS_print(MESS_OUT4, "Copy frame: %d->%d\n", from, to);
    return 0;
}

int gdisplay_frame(int n) {
    if (!has_drawing()) return 0;
    if (st.cur_image < 0) st.cur_image = 0;
    if (n < 0) n = st.cur_image;
    if (gget_zoom() < 2)
        gcopy_frame(BASE_FRAME, n);
    else
        gzoom(n, -1, -1, -1, 1);
    gupdate_window();
    if (st.loop_title && st.num_images > 0) {
        char extra[16];
        std::snprintf(extra, sizeof extra, "[%d]", n);
        gset_win_title_extra(extra);
    }
    MESS_print(MESS_OUT4, "Display frame: %d\n", n);
    st.cur_image = n;
    return 1;
}

int gdelete_frame(int n) {
    if (!has_drawing()) return 0;
    n = resolve(n);
    if (n >= MAX_FRAMES || n < 0) return 0;
    Frame& f = st.frames[static_cast<size_t>(n)];
    if (n >= st.num_images && n != 0) {
        free_pixmap(f);
        return 1;
    }
    const bool was_last = n == st.num_images - 1;
    const int before = st.num_images;
    // The only frame 0 keeps its pixmap for the next picture.
    if (n != 0 || st.num_images >= 2) free_pixmap(f);
    for (int i = n; i + 1 < st.num_images; ++i)
        st.frames[static_cast<size_t>(i)] = st.frames[static_cast<size_t>(i + 1)];
    if (st.num_images > 0) --st.num_images;
    Frame& unused = st.frames[static_cast<size_t>(std::max(st.num_images, 0))];
    if (st.num_images > 0 || n != 0) unused.id = 0;
    if (was_last && before > 1) {
        st.frames[static_cast<size_t>(st.num_images - 1)].delay = loop_pause;
        unused.delay = st.loop_delay;
    }
    if (st.num_images == 0) {
        st.num_images = 0;
        XClearWindow(gget_display(), gget_root_window());
    }
    if (st.cur_image == st.num_images) --st.cur_image;
    if (st.num_images > 0 && st.cur_image == n) gdisplay_frame(st.cur_image);
    return 1;
}

int gdelete_all_frames() {
    for (Frame& f : st.frames) free_pixmap(f);
    return 0;
}

int gset_looping(int on) {
    st.looping = on;
    if (on == 1) {
        gset_cursor(3);
        MESS_print(MESS_OUT4, "Looping initiated\n");
    } else {
        gset_cursor(4);
        MESS_print(MESS_OUT4, "Looping stopped\n");
    }
    return 0;
}

int gtoggle_loop(int mode) {
    gset_looping(mode == 0 || mode == 1 ? mode : !st.looping);
    gsync();
    return 0;
}

int gget_looping() {
    return st.looping;
}
int gget_num_images() {
    return st.num_images;
}
int gget_cur_frame() {
    return st.cur_image;
}

int ginc_frame(int step) {
    if (st.num_images == 0) return -1;
    int next = 0;
    if (st.cur_image != -1) {
        if (step != 0)
            next = st.cur_image + step;
        else
            next = (st.loop_direct & 1) ? st.cur_image + 1 : st.cur_image - 1;
    }
    MESS_print(MESS_DEBUG, "INC: %d-%d %d-%d\n", st.cur_image, next, st.loop_direct, step);
    const int first = loop_start >= 0 ? loop_start : 0;
    const int last = loop_end >= 0 ? loop_end : st.num_images - 1;
    if (next > last) {
        if (st.loop_direct < 2) return first;
        next = last - 1;
        st.loop_direct = 2;
    }
    if (next < first) {
        if (st.loop_direct < 2) return last;
        next = first + 1;
        st.loop_direct = 3;
    }
    return next;
}

int gloop_sleep() {
    if (st.cur_image < 0 || st.cur_image > st.num_images) return -1;
    for (;;) {
        const float t = ZMT_elapse_time();
        const float delay = st.frames[static_cast<size_t>(st.cur_image)].delay;
        if (t >= delay) return 0;
        const float remaining = delay - t;
        if (remaining > 0.2f) {
            gcheck_event();
            ZMT_sleep(0.2f);
        } else {
            ZMT_sleep(remaining);
        }
        // An event may have ended or shortened the loop.
        if (st.cur_image < 0 || st.cur_image > st.num_images) return -1;
    }
}

XResId gget_frame_id(int n) {
    return drawable(resolve(n));
}

int gset_frame_id(int n, XResId id) {
    n = resolve(n);
    if (n == BASE_FRAME) return gset_base_window(id);
    Frame* f = frame(n);
    if (!f) return -1;
    f->id = id;
    return 0;
}

int gswitch_frame(int a, int b) {
    a = resolve(a);
    b = resolve(b);
    const XResId ida = drawable(a), idb = drawable(b);
    const XResId draw = gget_draw_window();
    gset_frame_id(a, idb);
    gset_frame_id(b, ida);
    // The drawing goes on into the picture it was drawing, wherever it now lives.
    if (draw && draw == ida)
        gset_draw_window(idb == gget_base_window() ? 0 : idb);
    else if (draw && draw == idb)
        gset_draw_window(ida == gget_base_window() ? 0 : ida);
    return 0;
}

int gset_loop_delay(int n, float delay) {
    n = resolve(n);
    if (n == EVERY_FRAME) {
        for (int i = 0; i + 1 < st.num_images; ++i) st.frames[static_cast<size_t>(i)].delay = delay;
        return 0;
    }
    if (valid(n)) st.frames[static_cast<size_t>(n)].delay = delay;
    return 0;
}
float gget_loop_delay() {
    return st.loop_delay;
}
float gget_frame_delay(int n) {
    n = resolve(n);
    return valid(n) ? st.frames[static_cast<size_t>(n)].delay : 0.0f;
}

int ginc_loop_delay(float change) {
    st.loop_delay = std::max(0.0f, st.loop_delay + change);
    for (int i = 0; i + 1 < st.num_images; ++i)
        st.frames[static_cast<size_t>(i)].delay = st.loop_delay;
    MESS_print(MESS_OUT4,
               change <= 0.0f ? "Loop delay decremented to: %2.2f\n"
                              : "Loop delay incremented to: %2.2f\n",
               static_cast<double>(st.loop_delay));
    return 0;
}

int gset_loop_direct(int direction) {
    st.loop_direct = direction;
    return 0;
}
int gget_loop_direct() {
    return st.loop_direct;
}
int gset_loop_title(int on) {
    st.loop_title = on;
    return 1;
}

int gget_image_data(int n, char* buffer) {
    const Frame* f = frame(n);
    if (!f) return -1;
    std::memcpy(buffer, f->data.data(), static_cast<size_t>(f->data_length));
    return f->data_length;
}

int gset_image_data(int n, const char* buffer, int length) {
    Frame* f = frame(n);
    if (!f) return -1;
    f->data_length = std::clamp(length, 0, DATA_SIZE);
    std::memcpy(f->data.data(), buffer, static_cast<size_t>(f->data_length));
    return f->data_length;
}
