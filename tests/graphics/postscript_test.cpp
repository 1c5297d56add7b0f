// PostScript output rendered by Ghostscript: the page of each paper and way of
// turning and scaling it, images sample for sample, appended plots, and pipes
// only where the user named them.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "env/colors.h"
#include "env/resources.h"
#include "formats/image.h"
#include "graphics/graphics.h"
#include "test_support.h"

namespace {

using RGB = std::array<int, 3>;
const RGB kWhite{255, 255, 255};
// Every setting named, so that a row does not inherit the one before it.
const std::string kDefaults = ",letter,land,noeps,gray,scale=1,lwidth=1,";

// Paper long and short side in inches, orientation, EPS, scale.
struct Layout {
    float sx = 11.0f, sy = 8.5f;
    bool port = false, eps = false;
    float scale = 1.0f;
};

// Where a device point lands on the page, in points with y up.
std::array<double, 2> page_of(double x, double y, const Layout& l = {}) {
    x *= l.scale;
    y *= l.scale;
    const double top = std::round((l.eps ? l.sy : l.sy - 0.25f) * 100.0) / 100.0 * 72.0;
    if (l.port) return l.eps ? std::array{x, y} : std::array{x + 18.0, y + 18.0};
    return l.eps ? std::array{top - y, x} : std::array{top - y, x + 18.0};
}

// Ghostscript, called directly. An EPS file uses a dictionary and "saveobj" that
// its includer supplies.
std::string gs(const std::string& args, const std::string& ps, bool eps) {
    const std::string cmd = "gs -q -dSAFER -dBATCH -dNOPAUSE -dFIXEDMEDIA " + args +
                            (eps ? " -c '30 dict begin /saveobj save def' -f '" : " '") + ps +
                            "' 2>&1";
    std::string out;
    if (FILE* p = popen(cmd.c_str(), "r")) {
        char buf[512];
        while (std::fgets(buf, sizeof buf, p)) out += buf;
        pclose(p);
    }
    return out;
}

// A page rendered on letter paper at 72 dpi; the pixel of a page point.
struct Raster {
    png_image info{};
    std::vector<uint8_t> rgb;
    RGB at(std::array<double, 2> p) const {
        const long c = std::lround(std::floor(p[0])),
                   r = info.height - 1 - std::lround(std::floor(p[1]));
        if (c < 0 || r < 0 || c >= info.width || r >= info.height) return {-1, -1, -1};
        const uint8_t* v = &rgb[(r * info.width + c) * 3];
        return {v[0], v[1], v[2]};
    }
};

Raster render(const std::string& ps) {
    Raster r;
    EXPECT_EQ(gs("-sDEVICE=png16m -r72 -g612x792 -sOutputFile='" + ps + ".png'", ps, false), "");
    r.info.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&r.info, (ps + ".png").c_str())) {
        r.info.format = PNG_FORMAT_RGB;
        r.rgb.resize(PNG_IMAGE_SIZE(r.info));
        png_image_finish_read(&r.info, nullptr, r.rgb.data(), 0, nullptr);
    }
    return r;
}

// Opens the PostScript workstation with world coordinates in device units.
void open_ps(const std::string& device) {
    ASSERT_EQ(gopen_ws(1, device.c_str(), GWS_PS), 0);
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    const float d = static_cast<float>(w - 1);
    const float ws[4] = {0.0f, 1.0f, 0.0f, (h - 1) / d}, wn[4] = {0.0f, d, 0.0f, h - 1.0f};
    gset_ws_win(1, ws);
    gset_vp(1, ws);
    gset_win(1, wn);
    gsel_norm_tran(1);
}

void fill_rect(float x0, float y0, float x1, float y1, int colour) {
    float p[8] = {x0, y0, x1, y0, x1, y1, x0, y1};
    gset_fill_int_style(1);
    gset_fill_colr_ind(colour);
    gfill_area(4, p);
}

void set_colour(int index, float r, float g, float b) {
    const float rgb[3] = {r, g, b};
    gset_colr_rep(1, index, rgb);
}

class PostScript : public ::testing::Test {
   protected:
    void SetUp() override {
        for (const char* v : {"PSCOLOR", "zmtps_param", "zmtps_geometry", "PSGEOMETRY", "zmtprint",
                              "zmtps_print", "PSPRINT"})
            unsetenv(v);
        CLR_read_table(sat_test::datafile("zmt.clr").c_str());
    }
    void TearDown() override {
        if (gchk_graphics()) gclose_ws();
        gps_set_reverse(0);
    }
    sat_test::TempDir dir;
    const std::string out = dir.file("out.ps");
};

TEST_F(PostScript, PaperNamesAndOptionsSizeTurnAndScaleThePage) {
    // One row for each way the prolog turns, moves and scales the page, and one
    // for each paper name.
    const std::vector<std::pair<std::string, Layout>> rows = {
        {"", {}},
        {"PORT", {11.0f, 8.5f, true}},
        {"eps", {11.0f, 8.5f, false, true}},
        {"eps,port", {11.0f, 8.5f, true, true}},
        {"b3,eps", {20.27f, 14.33f, false, true}},
        {"eps,noeps,scale=0.5", {11.0f, 8.5f, false, false, 0.5f}},
        {"port,scale=1.5", {11.0f, 8.5f, true, false, 1.5f}},
        {"LEGAL", {14.0f, 8.5f}},
        {"11x17", {17.0f, 11.0f}},
        {"a4", {11.69f, 8.26f}},
        {"a3", {16.54f, 11.69f}},
        {"a2", {23.39f, 16.54f}},
        {"a1", {33.11f, 23.39f}},
        {"b4", {14.33f, 10.12f}},
        {"b2", {28.66f, 20.27f}},
        {"b1", {40.55f, 28.66f}},
        {"ansid", {34.0f, 22.0f}},
        {"sz=10x5", {10.0f, 5.0f}},
        {"bogus", {}},
    };
    for (const auto& [options, layout] : rows) {
        SCOPED_TRACE(options);
        open_ps(out + kDefaults + options);
        set_colour(1, 0.0f, 0.0f, 0.0f);
        int w = 0, h = 0;
        gget_win_size(&w, &h);
        EXPECT_EQ(w, static_cast<int>((layout.sx - 0.5f) * 72.0f));
        EXPECT_EQ(h, static_cast<int>((layout.sy - 0.5f) * 72.0f));
        fill_rect(0.0f, 0.0f, w - 1.0f, h - 1.0f, 1);
        ASSERT_EQ(gclose_ws(), 0);

        const std::string text = sat_test::read_file(out);
        EXPECT_TRUE(text.starts_with(layout.eps ? "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 "
                                                : "%!PS-Adobe-1.0\n%%Title"));
        // The declared EPS box is fixed, upright or turned, whatever the paper.
        const char* box_line = layout.port ? "Box: 0 0 756 576\n" : "Box: 0 0 576 756\n";
        EXPECT_TRUE(!layout.eps || text.find(box_line) != std::string::npos);
        const auto a = page_of(0, 0, layout), b = page_of(w - 1, h - 1, layout);
        std::array<double, 4> box{};
        const std::string found =
            gs("-sDEVICE=bbox -dDEVICEWIDTHPOINTS=4000 -dDEVICEHEIGHTPOINTS=4000", out, layout.eps);
        const size_t at = found.find("%%HiResBoundingBox:");
        ASSERT_NE(at, std::string::npos) << found;
        std::sscanf(found.c_str() + at, "%%%%HiResBoundingBox: %lf %lf %lf %lf", &box[0], &box[1],
                    &box[2], &box[3]);
        const std::array<double, 4> want{std::min(a[0], b[0]), std::min(a[1], b[1]),
                                         std::max(a[0], b[0]), std::max(a[1], b[1])};
        for (int k = 0; k < 4; ++k) EXPECT_NEAR(box[k], want[k], 0.6) << k;
    }

    // The environment's options first, the device string's win; a geometry in
    // panels (y runs upward on paper) or in hundredths of an inch.
    struct Placed {
        const char* options;
        const char* param;  // zmtps_param
        const char* geometry;
        std::array<int, 4> size_offset;
    } placed[] = {
        {"", "a3", nullptr, {1154, 805, 0, 0}},
        {",a4", "a3", nullptr, {805, 558, 0, 0}},
        {"", "", "P2x2+1+0", {378, 288, 378, 288}},
        {"", "", "500x400+10+20", {360, 288, 7, 14}},
    };
    for (const Placed& p : placed) {
        SCOPED_TRACE(p.options);
        setenv("zmtps_param", p.param, 1);
        RES_reset();
        if (p.geometry) RES_put("geometry", p.geometry);
        ASSERT_EQ(gopen_ws(1, (out + p.options).c_str(), GWS_PS), 0);
        std::array<int, 4> got{};
        gget_win_size(&got[0], &got[1]);
        gget_win_offset(&got[2], &got[3]);
        EXPECT_EQ(got, p.size_offset);
        ASSERT_EQ(gclose_ws(), 0);
    }
    RES_reset();
}

TEST_F(PostScript, AppendedPlotHasNeitherPrologNorTrailerAndPipesAreTheUsers) {
    open_ps(out + kDefaults);
    ASSERT_EQ(gclose_ws(), 0);
    const std::string plot = "%%ZMT Plot: " + std::string(gget_win_title()) + "\n";
    const std::string first = sat_test::read_file(out);
    EXPECT_TRUE(first.ends_with("%%End of plot\nsaveobj restore\nshowpage\nend\n%%EOF\n"));

    open_ps("+" + out + kDefaults + "color");
    ASSERT_EQ(gclose_ws(), 0);
    const std::string both = sat_test::read_file(out);
    EXPECT_EQ(both.find("%!PS"), both.rfind("%!PS"));
    EXPECT_EQ(both.find("showpage"), both.rfind("showpage"));
    EXPECT_EQ(both.find("0 0 0 setrgbcolor\n1 dot lw\n[] 0 setdash\n" + plot), first.size());
    EXPECT_TRUE(both.ends_with("%%End of plot\n"));
    // Nothing but the finished file is left behind.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);

    // A device string the user did not type never reaches a shell; the user's
    // own output variable may name a command.
    EXPECT_EQ(gopen_ws(1, ("|touch " + dir.file("ran")).c_str(), GWS_PS), -1);
    EXPECT_FALSE(sat_test::file_exists(dir.file("ran")));
    setenv("zmtps_print", ("|cat > " + out).c_str(), 1);
    open_ps(kDefaults);
    ASSERT_EQ(gclose_ws(), 0);
    const std::string text = sat_test::read_file(out);
    EXPECT_TRUE(text.starts_with("%!PS-Adobe-1.0\n") && text.ends_with("%%EOF\n"));
}

TEST_F(PostScript, ImagesFillTheViewportSampleForSample) {
    // The radar composite's counts: 640 elements by 350 lines of raw bytes.
    const std::string area =
        sat_test::read_file(sat_test::testdata("area/radar_composite_ps_2000137_0859.area"));
    std::vector<uint8_t> radar(area.begin() + 768, area.begin() + 768 + 640 * 350);
    // Named colours, and one whose channels are no whole steps of 1/255.
    const int odd = CLR_add("pstest", 0.5f, 0.3f, 0.7f);
    std::vector<uint8_t> ramp(120 * 90);
    for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = i % 10 ? (i * 7 + i / 120) % 96 : odd;
    struct Row {
        std::string options;
        std::vector<uint8_t>* pixels;
        int width, height;
        float x0, x1, y0, y1;  // viewport, device units, placed about the middle
        int x, y;              // shift of the image
        Layout layout;
    };
    const std::vector<Row> rows = {
        {"", &radar, 640, 350, 10, 700, 30, 545, -25, -40, {}},
        {"color,a4,port", &ramp, 120, 90, 0, 150, 228, 329, 0, -5, {11.69f, 8.26f, true}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.options + " shift " + std::to_string(row.x) + "," + std::to_string(row.y));
        open_ps(out + kDefaults + row.options);
        int w = 0, h = 0;
        gget_win_size(&w, &h);
        const float d = w - 1.0f, vp[4] = {row.x0 / d, row.x1 / d, row.y0 / d, row.y1 / d},
                    wn[4] = {row.x0, row.x1, row.y0, row.y1};
        gset_vp(1, vp);
        gset_win(1, wn);
        Image image{};
        image.width = image.bytes_per_line = row.width;
        image.height = row.height;
        image.depth = image.bits_per_pixel = 8;
        image.data = row.pixels->data();
        short v[4];
        gget_xviewport(v);
        gload_image(&image, row.x, row.y);
        ASSERT_EQ(gclose_ws(), 0);

        const Raster r = render(out);
        int wrong = 0;
        // Row 0 at the top. The clip path cuts the top row and right column in half.
        for (int j = 1; j < v[3]; ++j) {
            for (int i = 0; i + 1 < v[2]; ++i) {
                const int c = i + row.x, l = j + row.y;
                RGB want = kWhite;
                if (c >= 0 && l >= 0 && c < row.width && l < row.height) {
                    const int s = (*row.pixels)[l * row.width + c];
                    want = {s, s, s};
                    float cr, cg, cb;
                    if (row.options.starts_with("color") && CLR_get_rgb(s, &cr, &cg, &cb) == 0)
                        want = {int(cr * 255.0f), int(cg * 255.0f), int(cb * 255.0f)};
                }
                const RGB got = r.at(page_of(v[0] + i + 0.5, v[1] + v[3] - j - 0.5, row.layout));
                if (got != want && ++wrong < 4)
                    ADD_FAILURE() << i << "," << j << ": " << got[0] << " not " << want[0];
            }
        }
        EXPECT_EQ(wrong, 0);
        EXPECT_EQ(r.at(page_of(v[0] - 1.5, v[1] + 1.5, row.layout)), kWhite);
    }

    // A record whose lines hold fewer bytes than its width: its 1000 bytes are
    // written, and nothing past them is read (though more lie there).
    std::vector<uint8_t> few(2000, 0x7E);
    Image packed{};
    packed.width = 100;
    packed.height = 20;
    packed.bytes_per_line = 50;
    packed.data = few.data();
    open_ps(out + kDefaults);
    gload_image(&packed, 0, 0);
    ASSERT_EQ(gclose_ws(), 0);
    const std::string text = sat_test::read_file(out);
    size_t samples = 0;
    for (size_t at = text.find("7E"); at != std::string::npos; at = text.find("7E", at + 2))
        ++samples;
    EXPECT_EQ(samples, 1000u);
}

}  // namespace
