// Images on real windows of several depths (an Xvfb of the test's own for each):
// the window, dumped by xwd and decoded by netpbm's xwdtopnm, shows each image
// value in the colour of its table entry, at the visual's precision, placed at
// the viewport's corner; an overlay lets its transparent colour through.
#include <gtest/gtest.h>
// clang-format off
#include <X11/Xlib.h>
#include <X11/Xutil.h>
// clang-format on

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "formats/image.h"
#include "graphics/graphics.h"
#include "test_support.h"
#include "tests/support/window_dump.h"
#include "xserver.h"

namespace {

using sat_test::Ppm;

Ppm dump_window(const std::string& display) {
    return sat_test::xwd_window(display, std::to_string(gget_root_window()));
}

// A colour-mapped image of distinct colours, rows padded by one byte.
struct TestImage {
    Image image{};
    std::vector<unsigned char> values;  // before the kernel recolours them
    TestImage(int width, int height, int colours, int seed) {
        IMG_init(&image);
        image.width = width;
        image.height = height;
        image.depth = 8;
        image.bits_per_pixel = 8;
        image.bytes_per_line = width + 1;
        image.num_colors = colours;
        image.colors =
            static_cast<float*>(std::malloc(sizeof(float) * 3 * static_cast<size_t>(colours)));
        for (int i = 0; i < colours; ++i) {
            image.colors[3 * i] = static_cast<float>(i) / static_cast<float>(colours - 1);
            image.colors[3 * i + 1] =
                static_cast<float>((i * 7 + seed) % colours) / static_cast<float>(colours - 1);
            image.colors[3 * i + 2] =
                static_cast<float>((i * 13 + 2 * seed) % colours) / static_cast<float>(colours - 1);
        }
        image.colors[0] = image.colors[1] = image.colors[2] = 0.0f;  // value 0 is black
        const size_t size = static_cast<size_t>(image.bytes_per_line) * static_cast<size_t>(height);
        image.data = static_cast<unsigned char*>(std::malloc(size));
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < image.bytes_per_line; ++x)
                image.data[y * image.bytes_per_line + x] =
                    static_cast<unsigned char>(((x / 3) * 5 + y * (seed + 1)) % colours);
        values.assign(image.data, image.data + size);
    }
    ~TestImage() { IMG_free(&image); }
    int value(int x, int y) const {
        return values[static_cast<size_t>(y * image.bytes_per_line + x)];
    }
    float channel(int v, int c) const { return image.colors[3 * v + c]; }
};

// One server a depth, shared by the tests of the program.
std::string display_of(int depth) {
    static std::map<int, std::unique_ptr<sat_test::Xvfb>> servers;
    auto& server = servers[depth];
    if (!server) server = std::make_unique<sat_test::Xvfb>(depth);
    EXPECT_FALSE(server->display().empty()) << "Xvfb did not start";
    return server->display();
}

void open_kernel(const std::string& display) {
    gopen_gks(nullptr);
    ASSERT_EQ(gopen_ws(1, display.c_str(), GWS_WIN), 0);
    float xv = 0, yv = 0;
    ginq_maxview(1, &xv, &yv);
    const float full[4] = {0, xv, 0, yv};
    gset_ws_win(1, full);
    const float vp[4] = {0.1f, 1.1f, 0.1f, 0.9f};
    gset_vp(2, vp);
    gset_win(2, vp);
    gsel_norm_tran(2);
}

class WindowImage : public ::testing::TestWithParam<int> {};

TEST_P(WindowImage, WindowShowsTheImageColoursAtTheViewportCorner) {
    const int depth = GetParam();
    const std::string display = display_of(depth);
    open_kernel(display);
    ASSERT_EQ(gget_win_depth(), depth);
    short vp[4];
    gget_xviewport(vp);

    TestImage base(301, 203, 64, 0), over(41, 23, 16, 3);
    over.image.byte_order = 0;  // its bytes said to run low first
    gload_image(&base.image, 0, 0);
    // From the right and bottom: its far edges 10 pixels inside the viewport's.
    goverlay_image(&over.image, "black", -10, -10);
    gupdate_window();
    const Ppm win = dump_window(display);
    ASSERT_EQ(win.width, 640);
    ASSERT_EQ(win.height, 512);

    const int ox = vp[0] + vp[2] - over.image.width - 10,
              oy = vp[1] + vp[3] - over.image.height - 10;
    int mismatches = 0, through = 0;
    auto check = [&](const TestImage& img, int v, int wx, int wy) {
        for (int c = 0; c < 3; ++c)
            if (sat_test::dumped_channel(win, wx, wy, c, depth) !=
                    sat_test::window_channel(img.channel(v, c), depth, c) &&
                ++mismatches < 10)
                ADD_FAILURE() << "pixel " << wx << "," << wy << " value " << v << " channel " << c;
    };
    for (int y = 0; y < base.image.height; ++y)
        for (int x = 0; x < base.image.width; ++x)
            check(base, base.value(x, y), vp[0] + x, vp[1] + y);
    for (int y = 0; y < over.image.height; ++y)
        for (int x = 0; x < over.image.width; ++x) {
            const int v = over.value(x, y);
            if (v != 0)
                check(over, v, ox + x, oy + y);
            else
                ++through;  // black lets the background through
        }
    EXPECT_GT(through, 0);
    EXPECT_EQ(mismatches, 0);
    // Outside the image the viewport keeps the background.
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(win.at(vp[0] + base.image.width, vp[1], c), 0);
        EXPECT_EQ(win.at(vp[0], vp[1] + base.image.height, c), 0);
        EXPECT_EQ(win.at(vp[0] - 1, vp[1], c), 0);
    }

    // The window read back holds the same picture as the dump.
    Image back{};
    ASSERT_EQ(gget_image(&back), 1);
    EXPECT_EQ(back.width, 640);
    EXPECT_EQ(back.depth, depth);
    IMG_free(&back);
    gclose_ws();
}

INSTANTIATE_TEST_SUITE_P(Depths, WindowImage, ::testing::Values(24, 16, 8));

// Real colour-mapped rasters of other programs, read by the program's readers and
// put on a true-colour window, against the PNGs those files were checked with.
TEST(WindowRasters, RealFilesShowTheirExpectedColours) {
    const std::string display = display_of(24);
    open_kernel(display);
    short vp[4];
    gget_xviewport(vp);
    struct Case {
        const char* file;
        const char* expected;
        int x;  // offset in the viewport
    };
    const std::vector<Case> cases = {
        {"raster/idx7x5.gif", "raster/idx7x5.expected.png", 0},
        {"raster/pseudo8_7x5.xwd", "raster/pseudo8_7x5.expected.png", 20}};
    for (const Case& c : cases) {
        Image image{};
        IMG_init(&image);
        ASSERT_EQ(gread_image_file(sat_test::testdata(c.file).c_str(), &image), 1) << c.file;
        gload_image(&image, c.x, 0);
        IMG_free(&image);
    }
    gupdate_window();
    const Ppm win = dump_window(display);
    ASSERT_EQ(win.width, 640);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        const Ppm want = sat_test::parse_ppm(
            sat_test::run_program("/usr/bin/pngtopnm", {sat_test::testdata(c.expected)}).out);
        ASSERT_EQ(want.width, 7);
        ASSERT_EQ(want.height, 5);
        for (int y = 0; y < want.height; ++y)
            for (int x = 0; x < want.width; ++x)
                for (int k = 0; k < 3; ++k)
                    EXPECT_EQ(win.at(vp[0] + c.x + x, vp[1] + y, k) * want.maxval / win.maxval,
                              want.at(x, y, k))
                        << x << "," << y;
    }
    gclose_ws();
}

}  // namespace
