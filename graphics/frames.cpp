// Frames of a loop: pixmaps of the window's size, one picture each. Until loops
// are built there are no frames, and the base pixmap (-3) is the only drawable.
#include <X11/Xlib.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "graphics/graphics.h"

namespace {

constexpr int BASE_FRAME = -3;

constexpr int MAX_FRAMES = 128;
constexpr int DATA_SIZE = 50;

struct Frame {
    std::array<char, DATA_SIZE> data{};  // user data
    int data_length = 0;
    float delay = 0.5f;  // seconds shown
};

struct State {
    int num_images = 0;
    int cur_image = -1;
    int looping = 0;
    int loop_direct = 1;      // 0 backward, 1 forward, 2 and 3 the legs of a rocking loop
    float loop_delay = 0.5f;  // delay of every frame but the last
    int loop_title = 1;       // frame number in the window title
    std::array<Frame, MAX_FRAMES> frames{};
};
State st;

bool valid(int n) {
    return n >= 0 && n < MAX_FRAMES;
}

// The drawable of a frame number; only the base pixmap exists yet.
XResId frame_drawable(int n) {
    return n == BASE_FRAME || n == -2 || n == -1 ? gget_base_window() : 0;
}

}  // namespace

int ginit_loop() {
    st.num_images = 0;
    st.cur_image = -1;
    return 0;
}

int gcreate_frame(int) {
    return 0;
}
int gselect_frame(int) {
    return 0;
}

int gclear_frame(int n) {
    Display* d = gget_display();
    if (!d || !gget_draw_window()) return 0;
    const XResId id = frame_drawable(n);
    if (!id) return 0;
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    XSetForeground(d, gget_root_gc(), gget_back_color());
    XFillRectangle(d, id, gget_root_gc(), 0, 0, static_cast<unsigned>(w), static_cast<unsigned>(h));
    return 0;
}

int gcopy_frame(int, int) {
    return 0;
}
int gdisplay_frame(int) {
    return 0;
}
int gdelete_frame(int) {
    return 0;
}
int gdelete_all_frames() {
    return 0;
}
int gset_looping(int on) {
    st.looping = on;
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
int ginc_frame(int) {
    return st.num_images ? 0 : -1;
}
int gloop_sleep() {
    return -1;
}
XResId gget_frame_id(int n) {
    return frame_drawable(n);
}

int gset_frame_id(int, XResId) {
    return 0;
}
int gswitch_frame(int, int) {
    return 0;
}

int gtoggle_loop(int mode) {
    gset_looping(mode == 0 || mode == 1 ? mode : !st.looping);
    gsync();
    return 0;
}

int gset_loop_delay(int n, float delay) {
    if (n == -1) n = st.num_images - 1;
    if (n == -2) n = st.cur_image;
    if (n == -4) {
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
    return valid(n) ? st.frames[static_cast<size_t>(n)].delay : 0.0f;
}

int ginc_loop_delay(float change) {
    st.loop_delay = std::max(0.0f, st.loop_delay + change);
    for (int i = 0; i + 1 < st.num_images; ++i)
        st.frames[static_cast<size_t>(i)].delay = st.loop_delay;
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
    if (!valid(n)) return -1;
    const Frame& f = st.frames[static_cast<size_t>(n)];
    std::memcpy(buffer, f.data.data(), static_cast<size_t>(f.data_length));
    return f.data_length;
}

int gset_image_data(int n, const char* buffer, int length) {
    if (!valid(n)) return -1;
    Frame& f = st.frames[static_cast<size_t>(n)];
    f.data_length = std::clamp(length, 0, DATA_SIZE);
    std::memcpy(f.data.data(), buffer, static_cast<size_t>(f.data_length));
    return f.data_length;
}
