// The kernel on windows of an Xvfb of the test's own: zoom replicates every pixel
// at depths 24, 16 and 8; frames step, rock, pause and survive deletion; client
// messages; the rubber band's limits; a run of exposes answered once.
#include <gtest/gtest.h>
// clang-format off
#include <X11/Xlib.h>
#include <X11/Xutil.h>
// clang-format on

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "graphics/graphics.h"
#include "window_pixels.h"

namespace {

void open_kernel(const std::string& display) {
    gopen_gks(nullptr);
    ASSERT_EQ(gopen_ws(1, display.c_str(), GWS_WIN), 0);
}

// A picture of random pixel values across the whole depth.
void fill_random(XResId drawable, int w, int h, int depth, unsigned seed) {
    XImage* im = XGetImage(gget_display(), drawable, 0, 0, static_cast<unsigned>(w),
                           static_cast<unsigned>(h), AllPlanes, ZPixmap);
    ASSERT_NE(im, nullptr);
    std::mt19937 rng(seed);
    const unsigned long mask = depth >= 32 ? 0xffffffffUL : (1UL << depth) - 1;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) XPutPixel(im, x, y, rng() & mask);
    XPutImage(gget_display(), drawable, gget_root_gc(), im, 0, 0, 0, 0, static_cast<unsigned>(w),
              static_cast<unsigned>(h));
    XDestroyImage(im);
    XSync(gget_display(), False);
}

// The left edge of the run that a zoom by f about c shows, as an independent
// statement of the window's rule: centred, pulled in at either edge.
int expected_edge(int c, int size, int f) {
    int edge = c - (size / f) / 2;
    if (edge < 0) edge = 0;
    if (edge + size / f > size) edge = size - (size + 1) / f;
    return edge;
}

void expect_replicated(const std::vector<unsigned long>& before,
                       const std::vector<unsigned long>& after, int w, int h, int left, int top,
                       int f) {
    int wrong = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (after[static_cast<size_t>(y * w + x)] !=
                before[static_cast<size_t>((top + y / f) * w + left + x / f)])
                ++wrong;
    EXPECT_EQ(wrong, 0) << "factor " << f << " at " << left << "," << top;
}

class Zoom : public ::testing::TestWithParam<int> {};

TEST_P(Zoom, ReplicatesEveryPixelAndGivesThePictureBack) {
    sat_test::Xvfb server(GetParam(), "800x600");
    ASSERT_FALSE(server.display().empty());
    open_kernel(server.display());
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    const int depth = gget_win_depth();
    fill_random(gget_base_window(), w, h, depth, 7u + static_cast<unsigned>(depth));
    const auto original = sat_test::drawable_pixels(gget_base_window(), w, h);

    // Doubled about a point near the right edge: pulled in to the edge.
    ASSERT_EQ(gzoom(-3, w - 3, h / 2, -2, 0), 1);
    EXPECT_EQ(gget_zoom(), 2);
    expect_replicated(original, sat_test::drawable_pixels(gget_base_window(), w, h), w, h,
                      expected_edge(w - 3, w, 2), expected_edge(h / 2, h, 2), 2);

    ASSERT_EQ(gunzoom(), 1);
    EXPECT_EQ(gget_zoom(), 1);
    EXPECT_EQ(sat_test::drawable_pixels(gget_base_window(), w, h), original);

    // The largest factor refuses any further step and leaves the picture alone.
    ASSERT_EQ(gzoom(-3, w / 2, h / 2, 1024, 0), 1);
    const auto biggest = sat_test::drawable_pixels(gget_base_window(), w, h);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(gzoom(-3, w / 2, h / 2, -2, 0), 0);
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("gzoom: Cannot zoom past 1024x"),
              std::string::npos);
    EXPECT_EQ(gget_zoom(), 1024);
    EXPECT_EQ(sat_test::drawable_pixels(gget_base_window(), w, h), biggest);
    gunzoom();
    EXPECT_EQ(sat_test::drawable_pixels(gget_base_window(), w, h), original);

    gclose_ws();
}

INSTANTIATE_TEST_SUITE_P(Depths, Zoom, ::testing::Values(24, 16, 8));

void paint(int frame, unsigned long pixel) {
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    XSetForeground(gget_display(), gget_root_gc(), pixel);
    XFillRectangle(gget_display(), gget_frame_id(frame), gget_root_gc(), 0, 0,
                   static_cast<unsigned>(w), static_cast<unsigned>(h));
    XSync(gget_display(), False);
}

void send_client_message(const std::string& display, char byte) {
    Display* other = XOpenDisplay(display.c_str());
    ASSERT_NE(other, nullptr);
    XEvent ev{};
    ev.xclient.type = ClientMessage;
    ev.xclient.window = gget_root_window();
    ev.xclient.message_type = 62;
    ev.xclient.format = 8;
    ev.xclient.data.b[0] = byte;
    XSendEvent(other, gget_root_window(), True, 0, &ev);
    XSync(other, False);
    XCloseDisplay(other);
    XSync(gget_display(), False);
    gcheck_event();
}

// What the plot layer's callback was given.
struct Call {
    int kind;
    std::string text;
};
std::vector<Call> calls;
int record(int kind, const char* text, float, float) {
    calls.push_back({kind, text});
    return 0;
}

XEvent pointer_event(int type, int x, int y, unsigned state, unsigned button) {
    XEvent ev{};
    ev.type = type;
    ev.xbutton.display = gget_display();
    ev.xbutton.window = gget_root_window();
    ev.xbutton.x = x;
    ev.xbutton.y = y;
    ev.xbutton.state = state;
    ev.xbutton.button = button;
    return ev;
}

TEST(FramesAndEvents, LoopStepsRocksPausesSurvivesDeletionAndBandsAndExposesAnswer) {
    sat_test::Xvfb server(24, "320x240");
    ASSERT_FALSE(server.display().empty());
    open_kernel(server.display());
    const unsigned long colour[4] = {0x110000, 0x002200, 0x000033, 0x444444};
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(gcreate_frame(-1), i);
        paint(i, colour[i]);
    }
    EXPECT_EQ(gget_num_images(), 3);
    // The last frame pauses a second, the others the loop delay.
    EXPECT_FLOAT_EQ(gget_frame_delay(1), 0.5f);
    EXPECT_FLOAT_EQ(gget_frame_delay(2), 1.0f);
    ginc_loop_delay(-0.3f);
    EXPECT_FLOAT_EQ(gget_frame_delay(0), 0.2f);
    EXPECT_FLOAT_EQ(gget_frame_delay(2), 1.0f);

    // Forward wraps; displaying copies the frame into the window.
    struct Step {
        int direct, from, expect_frame, expect_direct;
    };
    const Step steps[] = {{1, 2, 0, 1}, {1, 0, 1, 1}, {0, 0, 2, 0},
                          {3, 2, 1, 2}, {2, 0, 1, 3}, {3, 1, 2, 3}};
    for (const Step& s : steps) {
        gset_loop_direct(s.direct);
        gdisplay_frame(s.from);
        EXPECT_EQ(sat_test::drawable_pixel(gget_root_window(), 0, 0), colour[s.from]);
        EXPECT_EQ(ginc_frame(0), s.expect_frame) << s.direct << " from " << s.from;
        EXPECT_EQ(gget_loop_direct(), s.expect_direct);
    }

    // Deleting the last frame hands the pause to the new last; the middle one
    // moves the later frames down.
    gdisplay_frame(2);
    EXPECT_EQ(gdelete_frame(-1), 1);
    EXPECT_EQ(gget_num_images(), 2);
    EXPECT_FLOAT_EQ(gget_frame_delay(1), 1.0f);
    EXPECT_EQ(gget_cur_frame(), 1);
    EXPECT_EQ(gdelete_frame(0), 1);
    EXPECT_EQ(gget_num_images(), 1);
    EXPECT_EQ(sat_test::drawable_pixel(gget_frame_id(0), 0, 0), colour[1]);
    // A client asks for frames: the first takes the base picture, the next starts
    // a copy; message 9 ends the wait for input.
    ginit_loop();
    gdelete_all_frames();
    paint(-3, colour[3]);
    send_client_message(server.display(), 2);
    EXPECT_EQ(gget_num_images(), 1);
    EXPECT_EQ(gget_looping(), 1);
    EXPECT_EQ(sat_test::drawable_pixel(gget_frame_id(0), 0, 0), colour[3]);
    send_client_message(server.display(), 2);
    EXPECT_EQ(gget_num_images(), 2);
    EXPECT_EQ(sat_test::drawable_pixel(gget_frame_id(0), 0, 0), colour[3]);
    gset_input_mode(1);
    send_client_message(server.display(), 9);
    EXPECT_FALSE(gget_input_mode());

    gset_mouse_callback(record);
    gset_input_mode(1);

    // A rectangle band limited to a box: the release is clamped into it.
    const float box[4] = {0.25f, 0.25f, 0.5f, 0.5f};
    gset_rubber_band_limits(box);
    gset_rubber_band(2);
    const int x1 = static_cast<int>(xW_p(0.25f) + 0.5), x2 = static_cast<int>(xW_p(0.5f) + 0.5);
    const int y1 = static_cast<int>(yW_p(0.25f) + 0.5), y2 = static_cast<int>(yW_p(0.5f) + 0.5);
    calls.clear();
    XEvent press = pointer_event(ButtonPress, x1 + 5, y2 + 5, Mod1Mask, Button1);
    gprocess_x11_event(&press);
    XEvent move = pointer_event(MotionNotify, 2, 3, Mod1Mask, 0);
    gprocess_x11_event(&move);
    EXPECT_EQ(gget_line_gc_func(), GXxor);
    XEvent release = pointer_event(ButtonRelease, 1000, -50, Mod1Mask | ShiftMask, Button1);
    EXPECT_EQ(gprocess_x11_event(&release), 1);
    EXPECT_EQ(gget_line_gc_func(), GXcopy);
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].text, "B1-P-Alt");
    EXPECT_EQ(calls[1].kind, 3);
    EXPECT_EQ(calls[1].text, "B1-R-Alt-Shft");
    // The band is drawn for good on the window: its far corner is where it was clamped.
    const int right = std::max(x1, x2), top = std::min(y1, y2);
    EXPECT_NE((sat_test::drawable_pixel(gget_root_window(), right, top) & 0xffffff), 0u);
    // A run of exposes is answered once, also across a resize notice; any
    // other event ends the run.
    auto scribble = [] {
        XSetForeground(gget_display(), gget_root_gc(), 0x123456);
        XFillRectangle(gget_display(), gget_root_window(), gget_root_gc(), 0, 0, 4, 4);
        XSync(gget_display(), False);
    };
    auto send = [](int type) {
        XEvent ev{};
        ev.type = type;
        ev.xany.window = gget_root_window();
        if (type == ConfigureNotify) ev.xconfigure.window = 1;
        gprocess_x11_event(&ev);
        XSync(gget_display(), False);
    };
    const unsigned long clean = (sat_test::drawable_pixel(gget_base_window(), 0, 0) & 0xffffff);
    send(FocusIn);
    scribble();
    send(Expose);
    EXPECT_EQ((sat_test::drawable_pixel(gget_root_window(), 0, 0) & 0xffffff), clean);
    scribble();
    send(ConfigureNotify);
    send(Expose);
    EXPECT_EQ((sat_test::drawable_pixel(gget_root_window(), 0, 0) & 0xffffff), 0x123456u);
    send(FocusOut);
    send(Expose);
    EXPECT_EQ((sat_test::drawable_pixel(gget_root_window(), 0, 0) & 0xffffff), clean);
    gset_mouse_callback(nullptr);
    gclose_ws();
}

}  // namespace
