// Frames of a loop: pixmaps of the window's size, one picture each. Until loops
// are built there are no frames, and the base pixmap (-3) is the only drawable.
#include <X11/Xlib.h>

#include "graphics/graphics.h"

namespace {

constexpr int BASE_FRAME = -3;

struct State {
    int num_images = 0;
    int cur_image = -1;
    int looping = 0;
};
State st;

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
