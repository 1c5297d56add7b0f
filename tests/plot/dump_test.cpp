// Plot dumps (GIF plain, interlaced, transparent; PNG; XWD) decode with giflib and
// netpbm to the pixels xwd reads from the window; names follow the keys.
#include "plot/dump.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "formats/gif.h"
#include "formats/xwd.h"
#include "graphics/graphics.h"
#include "tests/formats/gif_png_xwd_oracle.h"
#include "xvfb.h"

namespace {

using namespace raster_test;
using sat_test::read_file;

// A window with a picture of many colours in its viewport, framed by background.
void draw_window(const std::string& display) {
    gopen_gks(nullptr);
    ASSERT_EQ(gopen_ws(1, display.c_str(), GWS_WIN), 0);
    float xv = 0, yv = 0;
    ginq_maxview(1, &xv, &yv);
    const float full[4] = {0, xv, 0, yv}, vp[4] = {0.1f, 0.9f, 0.1f, 0.9f};
    gset_ws_win(1, full);
    gset_vp(2, vp);
    gset_win(2, vp);
    gsel_norm_tran(2);
    Held picture;
    Rgb unused;
    make_picture(Layout::Mapped8Padded, 301, 203, 60, picture.get(), &unused);
    gload_image(picture.get(), 0, 0);
    gupdate_window();
}

Rgb window_by_xwd(const std::string& display) {
    sat_test::RunOptions options;
    options.env["DISPLAY"] = display;
    const std::string id = std::to_string(gget_root_window());
    return decode_pnm(sat_test::run_program("/bin/sh",
                                            {"-c", "xwd -nobdrs -silent -id " + id + " | xwdtopnm"},
                                            options)
                          .out);
}

// Whether a dump shows the window's colours: GIF and PNG shift a 16-bit window's
// channels up where xwdtopnm scales them; an 8-bit colour map's fractions are
// truncated where xwdtopnm rounds, and taken as full above 0.99.
bool same_colours(const Rgb& dump, const Rgb& window, int depth) {
    if (depth == 24 || dump.width != window.width || dump.height != window.height)
        return dump == window;
    for (size_t i = 0; i < dump.rgb.size(); i++) {
        const int d = dump.rgb[i], w = window.rgb[i];
        if (depth == 8 && std::abs(d - w) > 1 && !(d == 255 && w >= 252)) return false;
        if (depth == 16) {
            const int bits = i % 3 == 1 ? 6 : 5, max = (1 << bits) - 1;
            if (d >> (8 - bits) != (w * max + 127) / 255) return false;
        }
    }
    return true;
}

class Dump : public ::testing::TestWithParam<int> {};

// Runs the body in `dir`, where relative dump names land; closes the workstation
// before its server goes.
struct Scene {
    char home[4096];
    explicit Scene(const std::string& dir) {
        if (!getcwd(home, sizeof home) || chdir(dir.c_str()) != 0) std::abort();
    }
    ~Scene() {
        gclose_ws();
        GIF_interlace(0);
        GIF_transparent(0);
        PLT_reset_dump();
        if (chdir(home) != 0) std::abort();
    }
};

TEST_P(Dump, FilesDecodeToTheWindowPixelsReadByXwd) {
    const int depth = GetParam();
    sat_test::Xvfb server(depth);
    ASSERT_FALSE(server.display().empty());
    sat_test::TempDir dir;
    Scene scene(dir.path());
    draw_window(server.display());
    const Rgb window = window_by_xwd(server.display());
    ASSERT_GT(window.width, 0);
    // An 8-bit window dumps to PNG in the colour of its first pixel.
    Rgb flat = window;
    for (size_t i = 3; i < flat.rgb.size(); i++) flat.rgb[i] = flat.rgb[i % 3];
    const struct {
        int type;
        const char* name;  // the convention, with the frame key
        const char* file;  // what it becomes with no frames
        const char* tool;
        int interlace;
    } cases[] = {
        {PLT_DUMP_GIF, "%i.gif", "win.gif", "giftopnm", 0},
        {PLT_DUMP_GIF, "inter_%i.gif", "inter_win.gif", "giftopnm", 1},
        {PLT_DUMP_PNG, "%i.png", "win.png", "pngtopam", 0},
        {PLT_DUMP_XWD, "%i.xwd", "win.xwd", "xwdtopnm", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        GIF_interlace(c.interlace);
        PLT_set_dump(c.type, c.name);
        EXPECT_EQ(PLT_dump(-2), 0);
        const Rgb got = oracle(c.tool, c.file);
        if (c.type == PLT_DUMP_XWD && depth != 8)
            EXPECT_EQ(got, window);
        else
            EXPECT_TRUE(
                same_colours(got, c.type == PLT_DUMP_PNG && depth == 8 ? flat : window, depth))
                << got << " against " << window;
    }
    GIF_interlace(0);

    // Transparency: giftopnm's alpha is clear exactly on the background's colour.
    GIF_transparent(1);
    PLT_set_dump(PLT_DUMP_GIF, "%p.gif");
    EXPECT_EQ(PLT_dump(-2), 0);
    std::string named = std::string(gget_win_title()) + ".gif";
    std::replace(named.begin(), named.end(), ' ', '_');  // as file names take blanks
    oracle("giftopnm", named, {"--alphaout=alpha.pgm"});
    const Rgb alpha = decode_pnm(read_file("alpha.pgm"));
    ASSERT_EQ(alpha.width, window.width);
    int clear = 0;
    for (int y = 0; y < window.height; y++)
        for (int x = 0; x < window.width; x++) {
            const bool background = std::memcmp(window.at(x, y), window.at(0, 0), 3) == 0;
            clear += alpha.at(x, y)[0] == 0;
            ASSERT_EQ(alpha.at(x, y)[0], background ? 0 : 255) << x << "," << y;
        }
    EXPECT_GT(clear, 0);

    // "img" without a name writes the native format to "zmt.xwd"; no dump, no file.
    PLT_set_dump(PLT_DUMP_IMG, "");
    EXPECT_EQ(PLT_dump(-2), 0);
    EXPECT_EQ(read_file("zmt.xwd").substr(0, 7), "ZMTIMG\n");
    PLT_set_dump(PLT_DUMP_NONE, "none.gif");
    EXPECT_EQ(PLT_dump(-2), -1);
    EXPECT_FALSE(sat_test::file_exists("none.gif"));
}

INSTANTIATE_TEST_SUITE_P(Depths, Dump, ::testing::Values(24, 16, 8));

TEST(DumpRun, ProgramNamesItsDumpsFromPlotParametersAndOutputFiles) {
    sat_test::Xvfb server(24, "1024x768");
    ASSERT_FALSE(server.display().empty());
    sat_test::TempDir dir;
    sat_test::RunOptions options;
    options.env["DISPLAY"] = server.display();
    options.cwd = dir.path();
    const std::string radar = sat_test::testdata("area/radar_composite_ps_2000137_0859.area");
    const struct {
        std::vector<std::string> args;
        const char* file;
        const char* tool;
    } cases[] = {
        {{"-pp", "gif:" + dir.file("%i_%p.gif")}, "win_sat.gif", "giftopnm"},
        {{"-of", "png:" + dir.file("out_%i.png")}, "out_win.png", "pngtopam"},
        {{"-pp", "xwd"}, "zmt.xwd", "xwdtopnm"},
    };
    Rgb first;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        auto args = c.args;
        args.push_back(radar);
        const auto r = sat_test::run_sat(args, options);
        EXPECT_EQ(r.code, 0) << r.err;
        const Rgb got = oracle(c.tool, dir.file(c.file));
        ASSERT_GT(got.width, 0);
        if (first.width == 0) first = got;
        EXPECT_TRUE(got == first);
    }
}

}  // namespace
