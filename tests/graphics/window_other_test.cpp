// A window and pixmap owned by another client (here a second connection of the
// test, on an Xvfb of its own): the workstation finds them by every form of the
// window id, draws into that pixmap, and refuses what names none.
#include <gtest/gtest.h>
// clang-format off
#include <X11/Xlib.h>
#include <X11/Xutil.h>
// clang-format on

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "test_support.h"
#include "xserver.h"

namespace {

class OtherWindow : public ::testing::Test {
   protected:
    void SetUp() override {
        ASSERT_FALSE(server_.display().empty());
        owner_ = XOpenDisplay(server_.display().c_str());
        ASSERT_NE(owner_, nullptr);
        const int screen = DefaultScreen(owner_);
        window_ = XCreateSimpleWindow(owner_, RootWindow(owner_, screen), 0, 0, 640, 512, 0, 0, 0);
        XStoreName(owner_, window_, "owner plot [3]");
        pixmap_ = XCreatePixmap(owner_, window_, 640, 512,
                                static_cast<unsigned>(DefaultDepth(owner_, screen)));
        GC gc = XCreateGC(owner_, pixmap_, 0, nullptr);
        XSetForeground(owner_, gc, BlackPixel(owner_, screen));
        XFillRectangle(owner_, pixmap_, gc, 0, 0, 640, 512);
        XFreeGC(owner_, gc);
        XSync(owner_, False);
        RES_reset();
        MESS_reset();
        unsetenv("zmtwindow");
        unsetenv("WINDOW");
        gopen_gks(nullptr);
    }
    void TearDown() override {
        if (gchk_graphics()) gclose_ws();
        XCloseDisplay(owner_);
        RES_reset();
    }
    // Lit pixels of the owner's pixmap.
    int lit_in_pixmap(int row, int x0, int x1) {
        XImage* im = XGetImage(owner_, pixmap_, 0, 0, 640, 512, AllPlanes, ZPixmap);
        int n = 0;
        for (int x = x0; x <= x1; ++x) n += XGetPixel(im, x, row) != 0;
        XDestroyImage(im);
        return n;
    }
    std::string plus_form() const {
        return "+" + std::to_string(window_) + ":" + std::to_string(pixmap_) + ":640x512";
    }

    sat_test::Xvfb server_{24, "800x600"};
    sat_test::TempDir dir_;
    Display* owner_ = nullptr;
    Window window_ = 0;
    Pixmap pixmap_ = 0;
};

TEST_F(OtherWindow, EveryFormOfTheWindowIdDrawsIntoTheOwnersPixmap) {
    char hex[40];
    std::snprintf(hex, sizeof hex, "0x%lx:640x512:99", pixmap_);
    sat_test::write_file(dir_.file("zmtloop.3"), plus_form() + "\n");
    sat_test::write_file(dir_.file("mywin"), plus_form() + " trailing words\n");
    struct Case {
        std::string item;   // the window id in the device string
        const char* title;  // the title taken over
        bool silent;        // no X error on the way
    };
    const std::vector<Case> cases = {
        {plus_form(), "owner plot", true},
        {"w3", "owner plot", true},     // zmtloop.3 on the file path
        {"mywin", "owner plot", true},  // any other name is the file itself
        {hex, "", false},               // no window: the name is asked of the pixmap
    };
    RES_put("file_path", dir_.path().c_str());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.item);
        ::testing::internal::CaptureStderr();
        ASSERT_EQ(gopen_ws(1, (server_.display() + "," + c.item).c_str(), GWS_PIX), 0);
        const std::string err = ::testing::internal::GetCapturedStderr();
        if (c.silent) {
            EXPECT_EQ(err, "");
        }
        EXPECT_EQ(gget_win_type(), GWS_PIX);
        EXPECT_EQ(gget_base_window(), pixmap_);
        EXPECT_EQ(gget_draw_window(), pixmap_);
        EXPECT_EQ(gget_user_cmap(), 0u);  // the colormap field of the short forms is not used
        if (c.silent) {
            EXPECT_STREQ(gget_win_title(), c.title);
        }
        const float white[3] = {1, 1, 1};
        gset_colr_rep(1, 1, white);
        gset_line_colr_ind(1);
        const float line[4] = {0.25f, 0.6f, 0.75f, 0.6f};
        gpolyline(2, line);
        gsync();
        // Normalised 0.25 to 0.75 across a 640 by 512 device kept in aspect.
        const int row = static_cast<int>((1.0 - 0.6) * 511 + 0.5);
        const int x0 = static_cast<int>(0.25 * 511 + 0.5), x1 = static_cast<int>(0.75 * 511 + 0.5);
        EXPECT_EQ(lit_in_pixmap(row, x0, x1), x1 - x0 + 1);
        EXPECT_EQ(lit_in_pixmap(row - 1, x0, x1), 0);
        gclose_ws();
        EXPECT_EQ(gchk_graphics(), 0);
        gset_inverse(0);
        GC gc = XCreateGC(owner_, pixmap_, 0, nullptr);
        XFillRectangle(owner_, pixmap_, gc, 0, 0, 640, 512);  // the owner keeps its pixmap
        XFreeGC(owner_, gc);
        XSync(owner_, False);
    }
}

TEST_F(OtherWindow, WindowIdsThatNameNoWindowAreRefused) {
    RES_put("file_path", dir_.path().c_str());
    struct Case {
        std::string connection;
        const char* message;
    };
    const std::vector<Case> cases = {
        {server_.display(), "gopen_ws: window parameters not specified"},
        {server_.display() + ",,x", "gopen_ws: window id not specified"},
        {server_.display() + ",w7", "gopen_ws: unable to open window id file"},
        {server_.display() + ",0x0:640x512", "gopen_ws: window id not specified"},
        {server_.display() + ",+1", "gopen_ws: window id not specified"},
    };
    for (const Case& c : cases) {
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(gopen_ws(1, c.connection.c_str(), GWS_PIX), -1) << c.connection;
        const std::string err = ::testing::internal::GetCapturedStderr();
        EXPECT_NE(err.find(c.message), std::string::npos) << c.connection << ": " << err;
    }
    // The environment stands in for a missing item.
    setenv("zmtwindow", plus_form().c_str(), 1);
    EXPECT_EQ(gopen_ws(1, server_.display().c_str(), GWS_PIX), 0);
    EXPECT_EQ(gget_root_window(), window_);
    unsetenv("zmtwindow");
}

}  // namespace
