// PostScript output, rendered by Ghostscript: the page layout of every paper size
// and option, lines of every dash type and width, fills in grey and colour, images
// where the viewport puts them, appended plots and outputs that cannot be opened.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <dirent.h>
#include <string>
#include <vector>

#include "env/colors.h"
#include "env/files.h"
#include "formats/image.h"
#include "graphics/graphics.h"
#include "test_support.h"

using sat_test::TempDir;

namespace {

// Options that put every setting of the device back to its default, so that a
// row of a table does not inherit the one before it.
const std::string kDefaults = "letter,land,noeps,gray,scale=1,lwidth=1";

// Paper long and short side, orientation, EPS and scale of a page.
struct Layout {
    float sx = 11.0f, sy = 8.5f;
    bool port = false, eps = false;
    float scale = 1.0f;
};

struct Point {
    double x, y;
};

// Where a device point lands on the page (points, y up) under the prolog.
Point page_of(double x, double y, const Layout& l) {
    x *= l.scale;
    y *= l.scale;
    // The prolog prints the translation with two decimals.
    auto inch2 = [](double v) { return std::round(v * 100.0) / 100.0 * 72.0; };
    if (l.port) return l.eps ? Point{x, y} : Point{x + 18.0, y + 18.0};
    return l.eps ? Point{inch2(l.sy) - y, x} : Point{inch2(l.sy - 0.25f) - y, x + 18.0};
}

// A Ghostscript rendering: RGB, top row first, at `dpi`.
struct Raster {
    int width = 0, height = 0;
    double dpi = 72.0;
    std::vector<uint8_t> rgb;
    std::array<int, 3> at(int col, int row) const {
        if (col < 0 || row < 0 || col >= width || row >= height) return {-1, -1, -1};
        const size_t i = (static_cast<size_t>(row) * width + col) * 3;
        return {rgb[i], rgb[i + 1], rgb[i + 2]};
    }
    // The pixel under a page point.
    std::array<int, 3> at_page(Point p) const {
        const double k = dpi / 72.0;
        return at(static_cast<int>(std::floor(p.x * k)),
                  height - 1 - static_cast<int>(std::floor(p.y * k)));
    }
};

std::string quote(const std::string& s) {
    return "'" + s + "'";
}

// The EPS prolog defines neither the dictionary nor saveobj that its trailer
// uses; an including document supplies them.
std::string gs_input(const std::string& ps, bool eps) {
    return (eps ? "-c '30 dict begin /saveobj save def' -f " : "") + quote(ps);
}

Raster render(const std::string& ps, double width_pt, double height_pt, bool eps = false,
              double dpi = 72.0) {
    const std::string png = ps + ".png";
    char size[128];
    std::snprintf(size, sizeof size, "-dDEVICEWIDTHPOINTS=%.0f -dDEVICEHEIGHTPOINTS=%.0f", width_pt,
                  height_pt);
    const std::string cmd = "gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=png16m -dFIXEDMEDIA -r" +
                            std::to_string(static_cast<int>(dpi)) + " " + size +
                            " -sOutputFile=" + quote(png) + " " + gs_input(ps, eps) + " 2>&1";
    Raster r;
    r.dpi = dpi;
    if (std::system(cmd.c_str()) != 0) return r;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, png.c_str())) return r;
    image.format = PNG_FORMAT_RGB;
    r.rgb.resize(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, r.rgb.data(), 0, nullptr)) return Raster{};
    r.width = static_cast<int>(image.width);
    r.height = static_cast<int>(image.height);
    return r;
}

// Ghostscript's bounding box of the marks: llx, lly, urx, ury.
std::array<double, 4> bbox(const std::string& ps, bool eps) {
    const std::string cmd =
        "gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=bbox -dFIXEDMEDIA "
        "-dDEVICEWIDTHPOINTS=4000 -dDEVICEHEIGHTPOINTS=4000 " +
        gs_input(ps, eps) + " 2>&1";
    std::array<double, 4> box{-1, -1, -1, -1};
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return box;
    char line[256];
    while (std::fgets(line, sizeof line, p))
        std::sscanf(line, "%%%%HiResBoundingBox: %lf %lf %lf %lf", &box[0], &box[1], &box[2],
                    &box[3]);
    pclose(p);
    return box;
}

size_t count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

// The names in a directory, hidden temporaries included.
std::vector<std::string> entries(const std::string& path) {
    std::vector<std::string> names;
    if (DIR* d = opendir(path.c_str())) {
        while (dirent* e = readdir(d)) {
            const std::string name = e->d_name;
            if (name != "." && name != "..") names.push_back(name);
        }
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Opens the PostScript workstation and makes world coordinates device units.
int open_ps(const std::string& device) {
    if (gopen_ws(1, device.c_str(), GWS_PS) != 0) return -1;
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    const float ratio = static_cast<float>(h - 1) / static_cast<float>(w - 1);
    const float ws[4] = {0.0f, 1.0f, 0.0f, ratio};
    const float wn[4] = {0.0f, static_cast<float>(w - 1), 0.0f, static_cast<float>(h - 1)};
    gset_ws_win(1, ws);
    gset_vp(1, ws);
    gset_win(1, wn);
    gsel_norm_tran(1);
    return 0;
}

// A viewport in device units of the transformation opened by open_ps.
void set_viewport(float x0, float x1, float y0, float y1) {
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    const float d = static_cast<float>(w - 1);
    const float vp[4] = {x0 / d, x1 / d, y0 / d, y1 / d};
    const float wn[4] = {x0, x1, y0, y1};
    gset_vp(1, vp);
    gset_win(1, wn);
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
    TempDir dir;
};

TEST_F(PostScript, PaperNamesAndOptionsSizeTurnAndScaleThePage) {
    struct Row {
        std::string options;
        Layout layout;
    };
    const std::vector<Row> rows = {
        {"", {11.0f, 8.5f}},
        {"legal", {14.0f, 8.5f}},
        {"11x17", {17.0f, 11.0f}},
        {"a4", {11.69f, 8.26f}},
        {"A3", {16.54f, 11.69f}},
        {"a2", {23.39f, 16.54f}},
        {"a1", {33.11f, 23.39f}},
        {"b4", {14.33f, 10.12f}},
        {"b3", {20.27f, 14.33f}},
        {"b2", {28.66f, 20.27f}},
        {"b1", {40.55f, 28.66f}},
        {"ansid", {34.0f, 22.0f}},
        {"sz=9x7", {9.0f, 7.0f}},
        {"unknown,legal,letter", {11.0f, 8.5f}},
        {"PORT", {11.0f, 8.5f, true}},
        {"a4,port", {11.69f, 8.26f, true}},
        {"port,land", {11.0f, 8.5f}},
        {"eps", {11.0f, 8.5f, false, true}},
        {"eps,port", {11.0f, 8.5f, true, true}},
        {"a3,eps", {16.54f, 11.69f, false, true}},
        {"eps,noeps", {11.0f, 8.5f}},
        {"scale=0.5", {11.0f, 8.5f, false, false, 0.5f}},
        {"port,scale=1.5", {11.0f, 8.5f, true, false, 1.5f}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.options);
        const std::string out = dir.file("page.ps");
        ASSERT_EQ(open_ps(out + "," + kDefaults + "," + row.options), 0);
        set_colour(1, 0.0f, 0.0f, 0.0f);
        int w = 0, h = 0;
        gget_win_size(&w, &h);
        EXPECT_EQ(w, static_cast<int>((row.layout.sx - 0.5f) * 72.0f));
        EXPECT_EQ(h, static_cast<int>((row.layout.sy - 0.5f) * 72.0f));
        fill_rect(0.0f, 0.0f, static_cast<float>(w - 1), static_cast<float>(h - 1), 1);
        ASSERT_EQ(gclose_ws(), 0);

        const std::string text = sat_test::read_file(out);
        EXPECT_EQ(text.rfind(row.layout.eps ? "%!PS-Adobe-3.0 EPSF-3.0\n" : "%!PS-Adobe-1.0\n", 0),
                  0u);
        const Point a = page_of(0, 0, row.layout), b = page_of(w - 1, h - 1, row.layout);
        const std::array<double, 4> box = bbox(out, row.layout.eps);
        EXPECT_NEAR(box[0], std::min(a.x, b.x), 0.6);
        EXPECT_NEAR(box[1], std::min(a.y, b.y), 0.6);
        EXPECT_NEAR(box[2], std::max(a.x, b.x), 0.6);
        EXPECT_NEAR(box[3], std::max(a.y, b.y), 0.6);
        // The declared box is fixed: the plot of a letter page fits it when upright.
        if (row.layout.eps) {
            const char* declared =
                row.layout.port ? "%%BoundingBox: 0 0 756 576\n" : "%%BoundingBox: 0 0 576 756\n";
            EXPECT_NE(text.find(declared), std::string::npos);
        }
    }
}

TEST_F(PostScript, PrologAndTrailerOfANewFileAndAnAppendedPlot) {
    const std::string out = dir.file("two.ps");
    ASSERT_EQ(open_ps(out + "," + kDefaults), 0);
    ASSERT_EQ(gclose_ws(), 0);
    std::string first = sat_test::read_file(out);
    const size_t stamp = first.find("%%CreationDate: ");
    ASSERT_NE(stamp, std::string::npos);
    first.erase(stamp, first.find('\n', stamp) + 1 - stamp);
    const std::string title = "%%ZMT Plot: " + std::string(gget_win_title()) + "\n";
    const std::string body = "%%Title: ZMT Graphics Display: " + std::string(gget_win_title()) +
                             "\n%%Creator: ZMT Postscript Processor-2.0\n%%EndComments\n"
                             "%%Postscript initialization\n30 dict begin\n/saveobj save def\n"
                             "/inch {72 mul} def\n/dot {.33 mul} def\n/mv {moveto} def\n"
                             "/ln {lineto} def\n/lw {setlinewidth} def\n/np {newpath} def\n"
                             "/cp {closepath} def\n90 rotate\n.25 inch -8.25 inch translate\n"
                             "0 setgray\n2 setlinejoin\n1 dot lw\n[] 0 setdash\n%%Begin plot\n" +
                             title;
    EXPECT_EQ(first.substr(0, first.find(title) + title.size()), "%!PS-Adobe-1.0\n" + body);
    EXPECT_TRUE(first.ends_with("%%End of plot\nsaveobj restore\nshowpage\nend\n%%EOF\n"));

    // A second plot appended in colour: no prolog, no trailer of its own.
    ASSERT_EQ(open_ps("+" + out + "," + kDefaults + ",color"), 0);
    ASSERT_EQ(gclose_ws(), 0);
    const std::string both = sat_test::read_file(out);
    EXPECT_EQ(count(both, "%!PS"), 1u);
    EXPECT_EQ(count(both, "showpage"), 1u);
    EXPECT_EQ(count(both, "%%End of plot\n"), 2u);
    EXPECT_NE(both.find("%%EOF\n0 0 0 setrgbcolor\n1 dot lw\n[] 0 setdash\n" + title),
              std::string::npos);
    EXPECT_TRUE(both.ends_with("%%End of plot\n"));
    // Nothing but the finished file is left behind.
    EXPECT_EQ(entries(dir.path()), std::vector<std::string>{"two.ps"});
}

TEST_F(PostScript, OutputsThatCannotBeOpenedAndPipes) {
    // A path through a plain file cannot be created.
    sat_test::write_file(dir.file("plain"), "x");
    EXPECT_EQ(gopen_ws(1, (dir.file("plain") + "/out.ps," + kDefaults).c_str(), GWS_PS), -1);
    EXPECT_EQ(gps_printf("np\n"), 0);
    EXPECT_EQ(gps_close_file(), -1);
    EXPECT_EQ(entries(dir.path()), std::vector<std::string>{"plain"});

    // The user's command receives the whole plot.
    const std::string spooled = dir.file("spooled.ps");
    ASSERT_EQ(open_ps("|cat > " + spooled), 0);
    ASSERT_EQ(gclose_ws(), 0);
    const std::string text = sat_test::read_file(spooled);
    EXPECT_EQ(text.rfind("%!PS-Adobe-1.0\n", 0), 0u);
    EXPECT_EQ(text.substr(text.size() - 6), "%%EOF\n");
}

TEST_F(PostScript, LinesOfEveryDashTypeWidthAndColour) {
    // Dash patterns in device units, from the start of the line: on, off, ...
    const std::vector<std::vector<double>> dashes = {{}, {6, 6}, {3, 6}, {6, 6, 3, 6}, {2, 2}};
    struct Row {
        std::string options;
        int colour;  // 1 red; specials 500 to 508
        int type;
        float width;
        int bold;       // print bold factor
        double points;  // expected line width in points
        std::array<int, 3> colour_out;
    };
    const std::vector<Row> rows = {
        {"", 1, 1, 4.0f, 1, 0.33 * 4, {0, 0, 0}},
        {"", 1, 2, 4.0f, 1, 0.33 * 4, {0, 0, 0}},
        {"", 1, 3, 4.0f, 1, 0.33 * 4, {0, 0, 0}},
        {"", 1, 4, 4.0f, 1, 0.33 * 4, {0, 0, 0}},
        {"", 1, 5, 4.0f, 1, 0.33 * 4, {0, 0, 0}},
        {"color", 1, 1, 4.0f, 1, 0.33 * 4, {255, 0, 0}},
        {"lwidth=3.7", 1, 1, 2.0f, 1, 0.33 * 6, {0, 0, 0}},
        {"", 1, 1, 2.0f, 3, 0.33 * 6, {0, 0, 0}},
        {"", 501, 1, 3.0f, 1, 0.33 * 6, {0, 0, 0}},
        {"lwidth=2", 502, 1, 1.0f, 1, 0.33 * 8, {0, 0, 0}},
        {"color", 505, 2, 2.0f, 1, 0.33 * 8, {255, 255, 255}},
        {"", 507, 1, 2.0f, 1, 0.33 * 4, {179, 179, 179}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.options + " colour " + std::to_string(row.colour) + " type " +
                     std::to_string(row.type));
        const std::string out = dir.file("line.ps");
        ASSERT_EQ(open_ps(out + "," + kDefaults + "," + row.options), 0);
        set_colour(1, 1.0f, 0.0f, 0.0f);
        set_colour(2, 0.5f, 0.5f, 0.5f);
        if (row.colour_out[0] == 255) fill_rect(90, 280, 710, 320, 2);  // white on grey
        gset_line_print_bold(row.bold);
        gset_linetype(row.type);
        gset_linewidth(row.width);
        gset_line_colr_ind(row.colour);
        float line[4] = {100.0f, 300.0f, 700.0f, 300.0f};
        gpolyline(2, line);
        gset_line_print_bold(1);
        ASSERT_EQ(gclose_ws(), 0);

        const Layout layout;
        const double dpi = 288.0;
        const Raster r = render(out, 612, 792, false, dpi);
        ASSERT_GT(r.width, 0);
        // Across the line at a point on a dash: the run of line-coloured pixels.
        auto is_line = [&](std::array<int, 3> c) {
            return std::abs(c[0] - row.colour_out[0]) + std::abs(c[1] - row.colour_out[1]) +
                       std::abs(c[2] - row.colour_out[2]) <
                   40;
        };
        const Point mid = page_of(101.5, 300, layout);
        int thick = 0;
        for (int d = -40; d <= 40; ++d)
            if (is_line(r.at_page({mid.x + d * 72.0 / dpi, mid.y}))) ++thick;
        EXPECT_NEAR(thick, row.points * dpi / 72.0, 1.6);
        // Along the line: every dash on and every gap off, at their middles.
        const std::vector<double>& dash = dashes[static_cast<size_t>(row.type - 1)];
        double period = 0;
        for (double v : dash) period += v;
        for (double start = 100; start < 690 && !dash.empty(); start += period) {
            double at = start;
            for (size_t k = 0; k < dash.size() && at + dash[k] < 700; ++k) {
                const bool on = k % 2 == 0;
                EXPECT_EQ(is_line(r.at_page(page_of(at + dash[k] / 2, 300, layout))), on)
                    << "at device x " << at + dash[k] / 2;
                at += dash[k];
            }
        }
        for (double x = 105; dash.empty() && x < 700; x += 7)
            EXPECT_TRUE(is_line(r.at_page(page_of(x, 300, layout)))) << x;
        // Nothing beyond the ends of the line.
        EXPECT_FALSE(is_line(r.at_page(page_of(97, 300, layout))));
        EXPECT_FALSE(is_line(r.at_page(page_of(703, 300, layout))));
    }
}

TEST_F(PostScript, FillsTakeTheGreyOrColourOfTheirEntry) {
    struct Row {
        std::string options;
        bool reverse, solid;
        float rgb[3];
        std::array<int, 3> expect;
    };
    auto grey = [](float r, float g, float b, bool rev) {
        const double level = (0.9 * r + g + 0.8 * b) / 2.7;
        const int v = static_cast<int>(std::lround((rev ? 1.0 - level : level) * 255.0));
        return std::array<int, 3>{v, v, v};
    };
    const std::vector<Row> rows = {
        {"", false, false, {1.0f, 0.0f, 0.0f}, grey(1, 0, 0, false)},
        {"", false, false, {0.2f, 0.6f, 0.9f}, grey(0.2f, 0.6f, 0.9f, false)},
        {"", true, false, {0.2f, 0.6f, 0.9f}, grey(0.2f, 0.6f, 0.9f, true)},
        {"", false, true, {1.0f, 1.0f, 0.0f}, {0, 0, 0}},
        {"color", false, false, {0.2f, 0.6f, 0.9f}, {51, 153, 230}},
        {"gray,color", false, true, {1.0f, 0.5f, 0.0f}, {255, 128, 0}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.options + (row.reverse ? " reverse" : "") + (row.solid ? " solid" : ""));
        const std::string out = dir.file("fill.ps");
        gps_set_reverse(row.reverse ? 1 : 0);
        ASSERT_EQ(open_ps(out + "," + kDefaults + "," + row.options), 0);
        gset_fill_print_solid(row.solid ? 1 : 0);
        set_colour(3, row.rgb[0], row.rgb[1], row.rgb[2]);
        fill_rect(100, 100, 300, 200, 3);
        const float hole_rect[4] = {150, 200, 120, 180};
        gclear_region(hole_rect);  // a hole of background
        gset_fill_print_solid(0);
        ASSERT_EQ(gclose_ws(), 0);
        const Raster r = render(out, 612, 792);
        ASSERT_GT(r.width, 0);
        const Layout layout;
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(r.at_page(page_of(120.5, 150.5, layout))[k],
                        row.expect[static_cast<size_t>(k)], 2);
        const std::array<int, 3> hole = r.at_page(page_of(175.5, 150.5, layout));
        EXPECT_EQ(hole, (row.solid && !row.options.ends_with("color")
                             ? std::array<int, 3>{0, 0, 0}
                             : std::array<int, 3>{255, 255, 255}));
    }
}

// The radar composite's counts: 640 elements by 350 lines of raw bytes.
Image radar_image(std::vector<unsigned char>& pixels) {
    const std::string area =
        sat_test::read_file(sat_test::testdata("area/radar_composite_ps_2000137_0859.area"));
    Image image{};
    image.width = 640;
    image.height = 350;
    image.depth = 8;
    image.bits_per_pixel = 8;
    image.bytes_per_line = 640;
    pixels.assign(area.begin() + 768, area.begin() + 768 + 640 * 350);
    image.data = pixels.data();
    return image;
}

TEST_F(PostScript, ImagesFillTheViewportSampleForSample) {
    std::vector<unsigned char> radar;
    Image real = radar_image(radar);
    // Colour images show colour table entries: values spread over the named colours.
    // and one whose channels are not whole steps of 1/255, which truncate.
    const int odd = CLR_add("pstest", 0.5f, 0.3f, 0.7f);
    ASSERT_GT(odd, 0);
    std::vector<unsigned char> ramp(120 * 90);
    for (size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<unsigned char>(i % 10 == 0 ? odd : (i * 7 + i / 120) % 96);
    Image coloured = real;
    coloured.width = 120;
    coloured.height = 90;
    coloured.bytes_per_line = 120;
    coloured.data = ramp.data();

    struct Row {
        std::string options;
        Image* image;
        std::array<float, 4> viewport;  // device x0, x1, y0, y1
        int x, y;                       // shift of the image
    };
    const std::vector<Row> rows = {
        {"", &real, {50, 689, 100, 475}, 0, 0},
        {"", &real, {20, 419.6f, 150, 425}, 130, 60},
        {"", &real, {10, 700, 5, 500}, -25, -40},  // off the middle: partly clipped
        {"color", &coloured, {200, 330, 230, 345}, -4, 3},
        {"color,a4,port", &coloured, {0, 150, 228, 329}, 0, -5},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.options + " shift " + std::to_string(row.x) + "," + std::to_string(row.y));
        const std::string out = dir.file("image.ps");
        ASSERT_EQ(open_ps(out + "," + kDefaults + "," + row.options), 0);
        set_viewport(row.viewport[0], row.viewport[1], row.viewport[2], row.viewport[3]);
        short vp[4];
        gget_xviewport(vp);
        gload_image(row.image, row.x, row.y);
        ASSERT_EQ(gclose_ws(), 0);

        const bool colour = row.options.starts_with("color");
        Layout layout;
        if (row.options.ends_with("port")) layout = {11.69f, 8.26f, true};
        const Raster r = render(out, 612, 842);
        ASSERT_GT(r.width, 0);
        const Image& im = *row.image;
        int wrong = 0, image_samples = 0;
        // The image takes the window's viewport, whose rows count from the top of
        // the plot, while the clip path is the viewport counted from the bottom:
        // the image shows only where the two overlap.
        const std::array<float, 4>& clip = row.viewport;
        for (int j = 0; j < vp[3]; ++j) {
            for (int i = 0; i < vp[2]; ++i) {
                const int c = i + row.x, l = j + row.y;
                // Image row 0 at the top of the viewport.
                const double x = vp[0] + i + 0.5, y = vp[1] + vp[3] - j - 0.5;
                // Pixels that the clip edge cuts are painted by either rule.
                auto inside = [](double v, double lo, double hi) {
                    return v - 0.5 >= lo ? (v + 0.5 <= hi ? 1 : (v - 0.5 >= hi ? 0 : -1))
                                         : (v + 0.5 <= lo ? 0 : -1);
                };
                const int ix = inside(x, clip[0] - 0.1, clip[1] + 0.1);
                const int iy = inside(y, clip[2] - 0.1, clip[3] + 0.1);
                if ((ix < 0 && iy != 0) || (iy < 0 && ix != 0)) continue;
                const bool shown = ix == 1 && iy == 1;
                std::array<int, 3> want{255, 255, 255};
                if (shown && c >= 0 && l >= 0 && c < im.width && l < im.height) {
                    const int v = im.data[l * im.width + c];
                    ++image_samples;
                    want = {v, v, v};
                    if (colour) {
                        float rr, gg, bb;
                        CLR_get_rgb(v, &rr, &gg, &bb);
                        want = {static_cast<int>(rr * 255.0f), static_cast<int>(gg * 255.0f),
                                static_cast<int>(bb * 255.0f)};
                    }
                }
                const Point p = page_of(x, y, layout);
                if (r.at_page(p) != want && ++wrong < 5)
                    ADD_FAILURE() << "sample " << i << "," << j << " is " << r.at_page(p)[0] << ","
                                  << r.at_page(p)[1] << "," << r.at_page(p)[2] << " want "
                                  << want[0] << "," << want[1] << "," << want[2];
            }
        }
        EXPECT_EQ(wrong, 0);
        EXPECT_GT(image_samples, 5000);
        // Just outside the viewport: nothing drawn.
        EXPECT_EQ(r.at_page(page_of(vp[0] - 1.5, vp[1] + 1.5, layout)),
                  (std::array<int, 3>{255, 255, 255}));
        EXPECT_EQ(r.at_page(page_of(vp[0] + vp[2] + 1.5, vp[1] + 1.5, layout)),
                  (std::array<int, 3>{255, 255, 255}));
    }
}

}  // namespace
