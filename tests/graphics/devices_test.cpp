// The file devices: PostScript pages and images through Ghostscript, the HPGL
// option table and output, text metafiles replayed onto a window to the pixel,
// hostile metafiles, CGM to its end, and stroke text on PostScript and HPGL.
#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "env/colors.h"
#include "env/messages.h"
#include "env/resources.h"
#include "formats/image.h"
#include "graphics/graphics.h"
#include "test_support.h"
#include "tests/graphics/text_stroke.h"
#include "window_pixels.h"

using namespace text_test;

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

const std::string PCL_OPEN = "\033E\033%1B\033&l1O\n";
const std::string PCL_CLOSE = "\033%0A\033E";

// The workstation window every plot here uses: the whole device.
void full_ws_window() {
    float xv = 0, yv = 0;
    ginq_maxview(1, &xv, &yv);
    const float full[4] = {0, xv, 0, yv};
    gset_ws_win(1, full);
}

// Every kind of record, over two transformations.
void scene() {
    full_ws_window();
    const float colours[4][3] = {{1, 1, 1}, {1, 0, 0}, {0, 1, 0}, {0.2f, 0.4f, 1}};
    for (int i = 0; i < 4; ++i) gset_colr_rep(1, i + 1, colours[i]);
    const float vp1[4] = {0.05f, 0.6f, 0.1f, 0.7f}, wn1[4] = {0, 100, 0, 50};
    gset_vp(1, vp1);
    gset_win(1, wn1);
    gsel_norm_tran(1);
    gmessage(1, "scene");
    gset_linetype(2);
    gset_linewidth(2);
    gset_line_colr_ind(2);
    std::vector<float> zigzag;
    for (int i = 0; i < 12; ++i) {
        zigzag.push_back(-5.0f + 10.0f * static_cast<float>(i));
        zigzag.push_back(i % 2 ? 45.0f : 5.0f);
    }
    gpolyline(12, zigzag.data());
    gset_fill_colr_ind(3);
    const float pentagon[10] = {20, 10, 40, 8, 45, 25, 30, 40, 15, 25};
    gfill_area(5, pentagon);
    gset_fill_int_style(2);
    gset_fill_style_ind(5);
    const float box[8] = {60, 5, 95, 5, 95, 30, 60, 30};
    gfill_area(4, box);
    gset_marker_colr_ind(4);
    gset_marker_size(1.5f);
    gset_marker_width(2);
    for (int type : {2, 3, 4, 5, 6, 7, 9}) {
        gset_marker_type(type);
        const float at[2] = {10.0f * static_cast<float>(type), 35};
        gpolymarker(1, at);
    }

    const float vp2[4] = {0.55f, 1.2f, 0.3f, 0.95f}, wn2[4] = {-10, 10, -10, 10};
    gset_vp(2, vp2);
    gset_win(2, wn2);
    gsel_norm_tran(2);
    gset_text_colr_ind(3);
    gset_char_ht(1.5f);
    gset_text_width(2);
    gset_expan(1.2f);
    gset_space(0.3f);
    const int align[2] = {2, 3};
    gset_text_align(align);
    const float up[2] = {0.6f, 0.8f};
    gset_char_up_vec(up);
    const float at[2] = {0, 0};
    gtext(at, "Meta 123");
    gset_linetype(1);
    gset_linewidth(1);
    gset_line_colr_ind(1);
    const float curve[8] = {-12, 4.5f, -4, -6.5f, 4, -6.5f, 12.5f, 3.5f};  // out past both sides
    gpolyline(4, curve);

    gsel_norm_tran(0);
}

// The records of a metafile: everything after its header, or the whole file
// when it has none.
std::string records(const std::string& text) {
    const size_t date = text.find("#CreationDate: ");
    return date == std::string::npos ? text : text.substr(text.find('\n', date) + 1);
}

StrokeFont parse(const std::string& text) {
    StrokeFont font;
    font.length = gparse_font(text.data(), text.size(), &font) == 0 ? font.length : -1;
    return font;
}

std::string repeat(const std::string& word, int times) {
    std::string out;
    for (int i = 0; i < times; ++i) out += word;
    return out;
}

// Device points of the path lines of each text comment, in file order.
std::vector<std::vector<std::pair<float, float>>> text_paths(const std::string& ps) {
    std::vector<std::vector<std::pair<float, float>>> paths;
    std::istringstream in(ps);
    std::string line;
    bool inside = false;
    while (std::getline(in, line)) {
        if (line.rfind("%%", 0) == 0) {
            inside = line.rfind("%%TE:", 0) == 0;
            if (inside) paths.emplace_back();
            continue;
        }
        float a = 0, b = 0;
        char op[4] = "";
        if (inside && std::sscanf(line.c_str(), "%f %f %3s", &a, &b, op) == 3 &&
            (std::strcmp(op, "mv") == 0 || std::strcmp(op, "ln") == 0))
            paths.back().emplace_back(a, b);
    }
    return paths;
}

// The box Ghostscript's bbox device finds inked on the page, in points: x0, x1, y0, y1.
Box ink_box(const std::string& ps) {
    const auto run = sat_test::run_program(
        "/usr/bin/gs",
        {"-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-sDEVICE=bbox", "-sPAPERSIZE=letter", ps});
    Box b{0, 0, 0, 0};
    const size_t at = run.err.find("%%HiResBoundingBox:");
    if (at != std::string::npos)
        std::sscanf(run.err.c_str() + at, "%%%%HiResBoundingBox: %f %f %f %f", &b.x0, &b.y0, &b.x1,
                    &b.y1);
    return b;
}

// The device box of a case's world box at (0.5, 0.5) on a printing device.
Box device_box(const Case& c) {
    const Box w = world_box(c, 0.5f, 0.5f);
    return {static_cast<float>(xW_ps(w.x0)), static_cast<float>(xW_ps(w.x1)),
            static_cast<float>(yW_ps(w.y0)), static_cast<float>(yW_ps(w.y1))};
}

void grow(Box& b, float x, float y) {
    b = {std::min(b.x0, x), std::max(b.x1, x), std::min(b.y0, y), std::max(b.y1, y)};
}

void expect_box(const Box& got, const Box& want, double tolerance, const char* name) {
    EXPECT_NEAR(got.x0, want.x0, tolerance) << name;
    EXPECT_NEAR(got.x1, want.x1, tolerance) << name;
    EXPECT_NEAR(got.y0, want.y0, tolerance) << name;
    EXPECT_NEAR(got.y1, want.y1, tolerance) << name;
}

// Every test runs in a fresh directory, with no device variables of the caller.
class Devices : public ::testing::Test {
   protected:
    void SetUp() override {
        for (const char* v :
             {"PSCOLOR", "zmtps_param", "zmtps_geometry", "PSGEOMETRY", "zmtprint", "zmtps_print",
              "PSPRINT", "zmthp_param", "zmthp_out", "zmthp_geometry", "zmtmeta_out", "zmtredraw"})
            unsetenv(v);
        RES_reset();
        MESS_reset();
        RES_put("file_path", SAT_DATA_DIR);
        char buf[4096];
        old_cwd_ = getcwd(buf, sizeof buf) ? buf : "/";
        ASSERT_EQ(chdir(dir.path().c_str()), 0);
        gopen_gks(nullptr);
        gmeta_set_type(0);
    }
    void TearDown() override {
        if (gchk_graphics()) gclose_ws();
        gclose_gks();
        gps_set_reverse(0);
        gmeta_set_type(0);
        gset_font_list("");
        unsetenv("zmthp_param");
        RES_reset();
        MESS_reset();
        EXPECT_EQ(chdir(old_cwd_.c_str()), 0);
    }
    // Opens, draws nothing, closes; the file and the plot size.
    std::string plot(const char* connection, const char* param, std::pair<int, int>* size) {
        if (param)
            setenv("zmthp_param", param, 1);
        else
            unsetenv("zmthp_param");
        // Rotation and pen width outlive a plot, as in one run of many plots:
        // each case starts as a fresh run does.
        ghpgl_set_rotate(0);
        ghpgl_set_base_width(0.2f);
        EXPECT_EQ(gopen_ws(1, connection, GWS_HPGL), 0);
        gget_win_size(&size->first, &size->second);
        gclose_ws();
        return sat_test::read_file("p.hpgl");
    }
    // The pixels of a fresh window after the metafile is read onto it.
    static std::vector<unsigned long> replayed(const std::string& display, const char* file) {
        EXPECT_EQ(gopen_ws(1, display.c_str(), GWS_WIN), 0);
        full_ws_window();
        EXPECT_EQ(gread_metafile(file), 0);
        std::vector<unsigned long> out = pixels();
        gclose_ws();
        return out;
    }
    static std::vector<unsigned long> pixels() {
        int w = 0, h = 0;
        gget_win_size(&w, &h);
        return sat_test::drawable_pixels(gget_draw_window(), w, h);
    }
    // Opens the PostScript workstation on out; the font list names the fonts by file.
    void open(const std::string& fonts) {
        gset_font_list(fonts.c_str());
        ASSERT_EQ(gopen_ws(1, out.c_str(), GWS_PS), 0);
    }
    std::string close() {
        gclose_ws();
        return sat_test::read_file(out);
    }
    std::string font_file(const std::string& text, const char* name = "t.fnt") {
        sat_test::write_file(dir.file(name), text);
        return dir.file(name);
    }

    sat_test::TempDir dir;
    std::string old_cwd_;
    const std::string out = dir.file("out.ps");
};

// Kernel attributes outlive a workstation, so these tests assume a fresh process
// (as ctest runs them) or this file's order: the replay first.
TEST_F(Devices, MetafileReplayOntoAWindowGivesTheWindowsPixels) {
    static sat_test::Xvfb server(24);  // for the program: Xlib keeps the connection
    ASSERT_FALSE(server.display().empty()) << "Xvfb did not start";
    ASSERT_EQ(gopen_ws(1, server.display().c_str(), GWS_WIN), 0);
    scene();
    const std::vector<unsigned long> original = pixels();
    size_t lit = 0;
    for (unsigned long v : original) lit += v != original[0];
    ASSERT_GT(lit, 2000u);
    gclose_ws();

    ASSERT_EQ(gopen_ws(1, "scene.meta", GWS_META), 0);
    scene();
    gclose_ws();
    ASSERT_EQ(sat_test::read_file("scene.meta").rfind("ZMTMETA\n", 0), 0u);
    EXPECT_EQ(replayed(server.display(), "scene.meta"), original);
}

TEST_F(Devices, PostScriptPaperNamesAndOptionsSizeTurnAndScaleThePage) {
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
        int w = 0, h = 0;
        gget_win_size(&w, &h);
        EXPECT_EQ(w, static_cast<int>((layout.sx - 0.5f) * 72.0f));
        EXPECT_EQ(h, static_cast<int>((layout.sy - 0.5f) * 72.0f));
        const float black[3] = {0, 0, 0}, x1 = w - 1.0f, y1 = h - 1.0f;
        const float page[8] = {0, 0, x1, 0, x1, y1, 0, y1};
        gset_colr_rep(1, 1, black);
        gset_fill_int_style(1);
        gset_fill_colr_ind(1);
        gfill_area(4, page);
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

    // lwidth scales every line: width 2 is 2/3 point wide at lwidth=1, 2 points at 3.
    for (int lwidth : {1, 3}) {
        open_ps(out + kDefaults + "lwidth=" + std::to_string(lwidth));
        gset_linewidth(2);
        const float line[4] = {100, 300, 700, 300};
        gpolyline(2, line);
        ASSERT_EQ(gclose_ws(), 0);
        const Box b = ink_box(out);
        EXPECT_NEAR(b.x1 - b.x0, 2.0 / 3.0 * lwidth, 0.1) << lwidth;
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

TEST_F(Devices, PostScriptAppendedPlotHasNeitherPrologNorTrailerAndPipesAreTheUsers) {
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

TEST_F(Devices, PostScriptImagesFillTheViewportSampleForSample) {
    CLR_read_table(sat_test::datafile("zmt.clr").c_str());
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

TEST_F(Devices, HpglEveryOptionOfTheTableInBothLists) {
    const std::string body = "IN;SP1;PA;\n";
    const std::string pens = "PW0.2;SV;LT;\n";
    struct Case {
        const char* connection;
        const char* param;  // zmthp_param
        std::string start;  // the file's first bytes
        bool wrapped;       // PCL closing bytes at the end
        std::pair<int, int> size;
    } cases[] = {
        {"p.hpgl", nullptr, PCL_OPEN + body + pens, true, {10150, 7612}},
        {"p.hpgl", "nopcl", body + pens, false, {10150, 7612}},
        {"p.hpgl", "NoPcl,pcl", PCL_OPEN + body + pens, true, {10150, 7612}},
        {"p.hpgl", "lj", PCL_OPEN + body + "RO90;\n" + pens, true, {10150, 7612}},
        {"p.hpgl", "lj,port", PCL_OPEN + body + "RO90;\nRO90;\n" + pens, true, {10150, 7612}},
        {"p.hpgl", "rot=180", PCL_OPEN + body + "RO180;\n" + pens, true, {10150, 7612}},
        {"p.hpgl", "rot=45", PCL_OPEN + body + pens, true, {10150, 7612}},
        {"p.hpgl", "lwidth=0.35", PCL_OPEN + body + "PW0.3;SV;LT;\n", true, {10150, 7612}},
        {"p.hpgl", "a4", PCL_OPEN + body + pens, true, {11357, 7876}},
        {"p.hpgl", "SZ=20x10", PCL_OPEN + body + pens, true, {19792, 9642}},
        {"p.hpgl", "roll=30", PCL_OPEN + body + pens, true, {29942, 23345}},
        // The device string: options win over the environment's ...
        {"p.hpgl,port", nullptr, PCL_OPEN + body + "RO90;\n" + pens, true, {10150, 7612}},
        {"p.hpgl,rot=270,b4", "port", PCL_OPEN + body + "RO270;\n" + pens, true, {14037, 9764}},
        {"p.hpgl,lwidth=1", "lwidth=0.5", PCL_OPEN + body + "PW1.0;SV;LT;\n", true, {10150, 7612}},
        // ... but "nopcl" and "lj" are looked for at the same place of the
        // environment's list, and "roll" not at all.
        {"p.hpgl,nopcl", nullptr, PCL_OPEN + body + pens, true, {10150, 7612}},
        {"p.hpgl,lj", "a4", PCL_OPEN + body + pens, true, {11357, 7876}},
        {"p.hpgl,port", "legal,lj", PCL_OPEN + body + "RO90;\n" + pens, true, {13702, 8120}},
        {"p.hpgl,a3", "lj,nopcl", body + pens, false, {10150, 7612}},  // "a3" read as "nopcl"
        {"p.hpgl,roll=30", nullptr, PCL_OPEN + body + pens, true, {10150, 7612}},
    };
    for (const Case& c : cases) {
        std::pair<int, int> size;
        const std::string file = plot(c.connection, c.param, &size);
        const std::string label = std::string(c.connection) + " " + (c.param ? c.param : "-");
        EXPECT_EQ(file.substr(0, c.start.size()), c.start) << label;
        const std::string end = c.wrapped ? "SP;PG;\n" + PCL_CLOSE : "SP;PG;\n";
        EXPECT_EQ(file.substr(file.size() - end.size()), end) << label;
        EXPECT_EQ(size, c.size) << label;
        // The clip of the whole plot, at its offset of 10, 10.
        char clip[64];
        std::snprintf(clip, sizeof clip, "IW 10,10,%d,", size.second + 9);
        EXPECT_NE(file.find(clip), std::string::npos) << label << "\n" << file;
    }
}

TEST_F(Devices, HpglOutputNamesInTheirOrderAppendedPlotsAndUnwritableOutputs) {
    // Outputs that cannot be created fail the open and leave nothing.
    sat_test::write_file("blocker", "");
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(gopen_ws(1, "blocker/out.ps", GWS_PS), -1);
    EXPECT_EQ(gopen_ws(1, "blocker/out.hpgl", GWS_HPGL), -1);
    EXPECT_EQ(gopen_ws(1, "blocker/out.meta", GWS_META), -1);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("gopen_ws: unable to open HPGL file"), std::string::npos) << err;
    EXPECT_NE(err.find("gopen_ws: unable to open metafile"), std::string::npos);
    EXPECT_EQ(gchk_graphics(), 0);
    EXPECT_EQ(sat_test::run_program("/bin/ls", {"-A", "."}).out, "blocker\n");

    setenv("zmthp_out", "env.hpgl", 1);
    ASSERT_EQ(gopen_ws(1, "dev.hpgl", GWS_HPGL), 0);
    gclose_ws();
    ASSERT_EQ(gopen_ws(1, "", GWS_HPGL), 0);
    gclose_ws();
    unsetenv("zmthp_out");
    ASSERT_EQ(gopen_ws(1, "", GWS_HPGL), 0);
    gclose_ws();
    for (const char* name : {"dev.hpgl", "env.hpgl", "zmt.hpgl"})
        EXPECT_TRUE(sat_test::file_exists(name)) << name;
    // The environment's name is the user's: it may be a pipe.
    setenv("zmthp_out", "|cat > piped.hpgl", 1);
    ASSERT_EQ(gopen_ws(1, "", GWS_HPGL), 0);
    gclose_ws();
    unsetenv("zmthp_out");
    EXPECT_EQ(sat_test::read_file("piped.hpgl"), sat_test::read_file("zmt.hpgl"));

    // A second plot on "+name" has neither the start nor the end of a page.
    const std::string first = sat_test::read_file("dev.hpgl");
    ASSERT_EQ(gopen_ws(1, "+dev.hpgl", GWS_HPGL), 0);
    const float line[4] = {0.1f, 0.1f, 0.9f, 0.5f};
    gpolyline(2, line);
    gclose_ws();
    const std::string both = sat_test::read_file("dev.hpgl");
    ASSERT_EQ(both.substr(0, first.size()), first);
    const std::string second = both.substr(first.size());
    EXPECT_EQ(second.rfind("PW0.2;SV;LT;\n", 0), 0u) << second;
    EXPECT_EQ(second.find("IN;"), std::string::npos);
    EXPECT_EQ(second.find("SP;PG;"), std::string::npos);
    EXPECT_EQ(second.find('\033'), std::string::npos);
    EXPECT_NE(second.find("PU"), std::string::npos);
}

TEST_F(Devices, HpglShadesWidthsTypesAndFills) {
    ASSERT_EQ(gopen_ws(1, "d.hpgl,nopcl", GWS_HPGL), 0);
    const float red[3] = {1, 0, 0};
    gset_colr_rep(1, 2, red);  // grey (0.9 r + g + 0.8 b) / 2.7 = 1/3
    static const float pts[6] = {0.1f, 0.1f, 0.5f, 0.5f, 0.9f, 0.1f};
    struct Step {
        void (*apply)();
        const char* written;  // before the pen moves of the step's primitive
    } steps[] = {
        {[] { gset_line_colr_ind(501); }, "PW0.4;\n"},
        {[] { gset_line_colr_ind(503); }, "PW0.2;\nSV1,0;\n"},
        {[] { gset_line_colr_ind(500); }, "SV;\n"},
        {[] { gset_linewidth(0); }, ""},  // a width of 0 draws as 1
        {[] { gset_line_print_bold(3); }, "PW0.6;\n"},
        {[] { gset_linetype(2); }, "LT2,5,1;\n"},
        {[] { gset_linetype(7); }, ""},
        {[] { gset_linetype(1); }, "LT;\n"},
    };
    for (size_t i = 0; i < std::size(steps); ++i) {
        ghpgl_printf("#%zu\n", i);
        steps[i].apply();
        gpolyline(3, pts);
    }
    // Fill shades: a colour's grey, the background twice (white, then the full
    // shade of its grey 0), the solid print fill, and the polygon mode around a fill.
    struct Fill {
        int index;
        int solid;
        const char* written;
    } fills[] = {
        {2, 0, "FT10,67;\n"}, {-1, 0, "FT10,0;\n"}, {-1, 0, "FT10,100;\n"},
        {2, 1, "FT1;\n"},     {2, 0, "FT10,67;\n"}, {2, 0, ""},
    };
    for (const Fill& f : fills) {
        ghpgl_printf("#f\n");
        gset_fill_print_solid(f.solid);
        ghpgl_set_fill_color(f.index);
    }
    ghpgl_printf("#polygon\n");
    char polygon[160];
    std::snprintf(polygon, sizeof polygon, "PU%.0f,%.0f;PM0;PD%.0f,%.0f;PD%.0f,%.0f;PM1;PM2;FP;\n",
                  xW_ps(pts[0]), yW_ps(pts[1]), xW_ps(pts[2]), yW_ps(pts[3]), xW_ps(pts[4]),
                  yW_ps(pts[5]));
    gfill_area(3, pts);
    gclose_ws();

    const std::string file = sat_test::read_file("d.hpgl");
    for (size_t i = 0; i < std::size(steps); ++i) {
        const std::string mark = "#" + std::to_string(i) + "\n";
        const size_t at = file.find(mark);
        ASSERT_NE(at, std::string::npos) << i;
        const size_t from = at + mark.size();
        EXPECT_EQ(file.substr(from, file.find("PU", from) - from), steps[i].written) << i;
    }
    size_t at = 0;
    for (const Fill& f : fills) {
        at = file.find("#f\n", at) + 3;
        EXPECT_EQ(file.substr(at, file.find('#', at) - at), f.written) << f.index;
    }
    const std::string tail = file.substr(file.find("#polygon\n") + 9);
    // "nopcl" in the device string alone leaves the wrapper on.
    EXPECT_EQ(tail, std::string("FT10,100;\n") + polygon + "SP;PG;\n" + PCL_CLOSE);
}

TEST_F(Devices, MetafileHostileFilesGiveMessagesAndReadingGoesOn) {
    struct Case {
        std::string input;    // after the header line
        std::string written;  // records the reading drew, on a text metafile
        const char* message;  // on standard error, or null
    } cases[] = {
        {"FOO 1 2 3\n# PL 2 1,1 2,2\nPL 2 0.5,0.5 1,1\n",
         "PL 2 0.500000,0.500000 1.000000,1.000000 \n", nullptr},
        {"PL 1000000 0.5,0.5 1,1\nTR 1\n", "PL 2 0.500000,0.500000 1.000000,1.000000 \nTR 1\n",
         nullptr},
        {"PL 5 0.5,0.5\nTR 2\n", "TR 2\n", "gpolyline: invalid number of points: 1"},
        {"PL 3 0.1,0.1 0.2,", "", "invalid number of points: 1"},
        {"PL 2 1e39,0 0,0\nTR 1\n", "TR 1\n", "invalid number of points: 0"},
        {"WIN 1 0 0 1e31 1\nVP 1 0 0 0 1\nTR 1\n", "TR 1\n",
         "gread_metafile: value out of range in WIN record"},
        {"CLR 1 5 2.0 0 0\nCLR 1 5 0.5\n", "", "value out of range in CLR record"},
        {"PL_LW nan\nPL_LW 1e9\nTE_EXP 50\nPL_TYPE 4\n", "PL_TYPE 4\n",
         "value out of range in PL_LW record"},
    };
    for (const Case& c : cases) {
        sat_test::write_file("in.meta", "ZMTMETA\n" + c.input);
        ASSERT_EQ(gopen_ws(1, "out.meta", GWS_META), 0);
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(gread_metafile("in.meta"), 0);
        const std::string err = ::testing::internal::GetCapturedStderr();
        gclose_ws();
        EXPECT_EQ(records(sat_test::read_file("out.meta")), c.written) << c.input;
        if (c.message)
            EXPECT_NE(err.find(c.message), std::string::npos) << c.input << "\n" << err;
        else
            EXPECT_EQ(err, "") << c.input;
    }
}

// Big-endian words of a CGM, element by element.
struct CgmElement {
    int cls, id;
    std::string data;
};
std::vector<CgmElement> parse_cgm(const std::string& bytes, std::string& error) {
    std::vector<CgmElement> out;
    size_t at = 0;
    auto word = [&](size_t i) {
        return (static_cast<unsigned char>(bytes[i]) << 8) |
               static_cast<unsigned char>(bytes[i + 1]);
    };
    while (at < bytes.size()) {
        if (at + 2 > bytes.size()) return error = "header cut at " + std::to_string(at), out;
        const int head = word(at);
        at += 2;
        size_t length = static_cast<size_t>(head & 31);
        if (length == 31) {
            if (at + 2 > bytes.size()) return error = "long length cut", out;
            length = static_cast<size_t>(word(at) & 0x7fff);
            at += 2;
        }
        const size_t padded = length + (length & 1);
        if (at + padded > bytes.size())
            return error = "element past the end at " + std::to_string(at), out;
        out.push_back({head >> 12, (head >> 5) & 127, bytes.substr(at, length)});
        at += padded;
    }
    return out;
}

TEST_F(Devices, MetafileCgmParsesToItsEndAndTheLastFormOptionWins) {
    ASSERT_EQ(gopen_ws(1, "plot.cgm,zmt,cgm", GWS_META), 0);
    EXPECT_EQ(gmeta_get_type(), 1);
    scene();
    const float inside[4] = {-5, -5, 5, 5};
    gsel_norm_tran(2);
    const short x0 = static_cast<short>(xW_ps(-5)), y0 = static_cast<short>(yW_ps(-5));
    gpolyline(2, inside);
    gclose_ws();
    std::string error;
    const std::vector<CgmElement> e = parse_cgm(sat_test::read_file("plot.cgm,zmt,cgm"), error);
    ASSERT_EQ(error, "");
    const std::vector<std::pair<int, int>> head = {{0, 1}, {1, 1}, {1, 2}, {1, 11},
                                                   {1, 9}, {2, 6}, {0, 3}, {0, 4}};
    ASSERT_GT(e.size(), head.size() + 1);
    for (size_t i = 0; i < head.size(); ++i)
        EXPECT_EQ(std::make_pair(e[i].cls, e[i].id), head[i]) << i;
    EXPECT_EQ(e[2].data, std::string("\x0aZMTCGM-1.0", 11));
    EXPECT_EQ(e[5].data, std::string("\0\0\0\0\x27\x10\x1f\x40", 8));  // 10000 by 8000
    EXPECT_EQ(std::make_pair(e.back().cls, e.back().id), std::make_pair(0, 5));
    int polylines = 0, clips = 0;
    for (size_t i = head.size(); i + 1 < e.size(); ++i) {
        polylines += e[i].cls == 4 && e[i].id == 1;
        clips += e[i].cls == 3 && e[i].id == 5 && e[i].data.size() == 8;
        EXPECT_TRUE((e[i].cls == 4 && e[i].id == 1) || (e[i].cls == 3 && e[i].id == 5)) << i;
    }
    EXPECT_EQ(polylines, 3);  // the scene's two and the last; text and fills have no CGM form
    EXPECT_GE(clips, 3);      // at open and at each selected viewport
    const std::string& last = e[e.size() - 2].data;
    ASSERT_EQ(last.size(), 8u);
    const std::string first{static_cast<char>(x0 >> 8), static_cast<char>(x0 & 0xff),
                            static_cast<char>(y0 >> 8), static_cast<char>(y0 & 0xff)};
    EXPECT_EQ(last.substr(0, 4), first);

    // The last of "cgm" and "zmt" decides the form.
    ASSERT_EQ(gopen_ws(1, "x,cgm,zmt", GWS_META), 0);
    gclose_ws();
    EXPECT_EQ(sat_test::read_file("x,cgm,zmt").substr(0, 8), "ZMTMETA\n");
}

TEST(StrokeFonts, LabelledAndBareFilesAgreeAndHostileFilesAreRefusedWhole) {
    const StrokeFont labelled = parse(labelled_font());
    const StrokeFont bare = parse(bare_font());
    ASSERT_EQ(labelled.length, 17);
    ASSERT_EQ(bare.length, labelled.length);
    EXPECT_TRUE(std::equal(bare.db.begin(), bare.db.begin() + bare.length, labelled.db.begin()));
    EXPECT_EQ(labelled.index, bare.index);
    EXPECT_EQ(labelled.size['I'], 10);  // the greatest x of a move counts less 128
    EXPECT_EQ(labelled.size[' '], 40);  // a blank is 40 wide with or without a glyph

    const std::string glyphs = "255 128 35 0 140 50 140 254\n";
    std::string no_offsets = bare_font();
    no_offsets.resize(no_offsets.size() - 200);
    const std::vector<std::pair<const char*, std::string>> bad = {
        {"empty", ""},
        {"no_end_of_data", "255 128 35 0 140 50 140"},
        {"offsets_cut_short", no_offsets},
        {"offset_past_data", glyphs + offsets(8, -1)},
        {"offset_far_out", "255 128 35 254\n" + offsets(2147483647, -1)},
        {"glyph_runs_into_end", "255 128 35 0 254\n" + offsets(1, -1)},
        {"byte_above_255", "255 128 35 0 300 254\n" + offsets(1, -1)},
        {"more_than_15000_bytes", "255 " + repeat("10 20 ", 7500) + "254\n" + offsets(1, -1)},
    };
    for (const auto& [name, text] : bad) {
        StrokeFont font;
        font.index.fill(3);
        EXPECT_EQ(gparse_font(text.data(), text.size(), &font), -1) << name;
        EXPECT_EQ(font.length, 0) << name;
        for (int c = 0; c < 256; ++c) ASSERT_EQ(font.index[static_cast<size_t>(c)], -1) << name;
    }
    // The largest font there is room for: 14999 bytes and the end marker.
    const std::string fits = "255 " + repeat("10 20 ", 7499) + "254\n" + offsets(1, -1);
    EXPECT_EQ(parse(fits).length, 15000);
}

TEST_F(Devices, TextEachAlignmentUpVectorAndExpansionStrokesItsBoxInPostScriptAndHpgl) {
    for (const Case& c : cases()) {
        open(font_file(labelled_font()));
        ASSERT_EQ(draw_case(c, 0.5f, 0.5f), 0) << c.name;
        const Box want = device_box(c);
        const auto paths = text_paths(close());
        // '#' is a move and four lines, 'I' a move and one line.
        ASSERT_EQ(paths.size(), 1u) << c.name;
        ASSERT_EQ(paths[0].size(), 7u) << c.name;
        Box got{1e9f, -1e9f, 1e9f, -1e9f};
        for (auto [x, y] : paths[0]) grow(got, x, y);
        expect_box(got, want, 0.011, c.name);
        // Ghostscript inks the same box. Landscape letter turns the plot a quarter,
        // a quarter inch in: device (X, Y) is page point (594 - Y, 18 + X).
        expect_box(ink_box(out), {594 - want.y1, 594 - want.y0, 18 + want.x0, 18 + want.x1}, 1.5,
                   c.name);

        // HPGL pen commands: two moves and five lines, within the same box.
        ASSERT_EQ(gopen_gks(nullptr), 0);
        ASSERT_EQ(gopen_ws(1, dir.file("out.hpgl").c_str(), GWS_HPGL), 0);
        draw_case(c, 0.5f, 0.5f);
        const Box pen_box = device_box(c);
        gclose_ws();
        gclose_gks();
        const std::string hpgl = sat_test::read_file(dir.file("out.hpgl"));
        int moves = 0, lines = 0;
        Box pens{1e9f, -1e9f, 1e9f, -1e9f};
        for (size_t at = hpgl.find('P'); at != std::string::npos; at = hpgl.find('P', at + 1)) {
            float x = 0, y = 0;
            char pen = 0;
            if (std::sscanf(hpgl.c_str() + at, "P%c%f,%f;", &pen, &x, &y) != 3) continue;
            if (pen != 'U' && pen != 'D') continue;
            (pen == 'U' ? moves : lines) += 1;
            grow(pens, x, y);
        }
        EXPECT_EQ(moves, 2) << c.name;
        EXPECT_EQ(lines, 5) << c.name;
        expect_box(pens, pen_box, 0.5, c.name);
    }
}

TEST_F(Devices, TextFontListEntriesMissingAndHostileFontsDrawNothing) {
    const std::string good = font_file(labelled_font(), "good.fnt");
    const std::string cut = font_file(bare_font().substr(0, 120), "cut.fnt");
    const std::string big =
        font_file("255 " + repeat("10 20 ", 7500) + "254\n" + offsets(1, -1), "big.fnt");
    const std::vector<std::string> bad = {cut, dir.file("missing.fnt"), big};
    std::string list = "good " + good + "\n";
    for (size_t i = 0; i < bad.size(); ++i) list += "bad" + std::to_string(i) + " " + bad[i] + "\n";
    sat_test::write_file(dir.file("list.fnl"), list);
    std::string err;
    {
        testing::internal::CaptureStderr();
        open("fi:" + dir.file("list.fnl"));
        EXPECT_EQ(gget_font_index("BAD1"), 3);
        EXPECT_EQ(gget_font_index("nothing"), 1);
        EXPECT_GE(gget_stroke_font().index['#'], 0);
        const float at[2] = {0.5f, 0.5f};
        gset_char_ht(HEIGHT);
        for (int n = 2; n <= 4; ++n) {
            const int rec[2] = {n, 2};
            EXPECT_EQ(gset_fontprec(rec), -1) << n;
            EXPECT_EQ(gget_stroke_font().index['#'], -1) << n;
            gtext(at, "# I");
            const int back[2] = {1, 2};
            ASSERT_EQ(gset_fontprec(back), 0);
            gtext(at, "#");
        }
        // A number past the list is kept, and the font in use stays.
        const int past[2] = {9, 2};
        EXPECT_EQ(gset_fontprec(past), -1);
        gtext(at, "#");
        err = testing::internal::GetCapturedStderr();
    }
    const auto paths = text_paths(close());
    // Only the good font's '#' ever draws; the refused fonts draw nothing at all.
    ASSERT_EQ(paths.size(), 7u);
    for (size_t i = 0; i < paths.size(); ++i)
        EXPECT_EQ(paths[i].size(), i % 2 || i == 6 ? 5u : 0u) << i;
    for (const std::string& file : bad)
        EXPECT_NE(err.find("read_font: unable to load font file: " + file + "\n"),
                  std::string::npos)
            << file << err;
    EXPECT_NE(err.find("gset_fontprec: invalid font id: 9"), std::string::npos);
}

}  // namespace
