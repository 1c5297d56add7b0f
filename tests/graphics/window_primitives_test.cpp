// Lines, fills, markers, text and an overlaid image on a real window (an Xvfb of
// the test's own): every lit pixel must be one the world-to-pixel arithmetic
// gives, clipped to the viewport, and read back from the server with XGetImage.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "formats/image.h"
#include "test_support.h"
#include "tests/graphics/text_stroke.h"
#include "tests/support/window_pixels.h"

namespace {

using sat_test::Pixel;
using sat_test::PixelSet;

// World 0..100 on transformation 2; normalised units to pixels.
constexpr double SCALE = sat_test::kWinH - 1;

double exact_x(double x) {
    return (x / 100 * 1.0 + 0.1) * SCALE;
}
double exact_y(double y) {
    return (1.0 - (y / 100 * 0.8 + 0.1)) * SCALE;
}
int px(double x) {
    return static_cast<int>(exact_x(x) + 0.5);
}
int py(double y) {
    return static_cast<int>(exact_y(y) + 0.5);
}

// Viewport in pixels, inclusive.
const int VP_X0 = static_cast<int>(0.1 * SCALE + 0.5);
const int VP_X1 = VP_X0 + static_cast<int>(1.1 * SCALE - VP_X0 + 1.5) - 1;
const int VP_Y0 = static_cast<int>((1.0 - 0.9) * SCALE + 0.5);
const int VP_Y1 = VP_Y0 + static_cast<int>((1.0 - 0.1) * SCALE - VP_Y0 + 1.5) - 1;

class WindowPrimitives : public ::testing::Test {
   protected:
    static void SetUpTestSuite() { sat_test::open_test_window(); }
    static void TearDownTestSuite() { gclose_ws(); }
    void SetUp() override { sat_test::clear_to_red(); }
    static PixelSet lit() { return sat_test::lit(true); }
};

void add_row(PixelSet& s, int row, int from, int to) {
    for (int x = from; x <= to; ++x) s.insert({x, row});
}
void add_col(PixelSet& s, int col, int from, int to) {
    for (int y = from; y <= to; ++y) s.insert({col, y});
}
// A 45 degree line from (x0, y0), n + 1 pixels, stepping dx, dy of +-1.
void add_diag(PixelSet& s, int x0, int y0, int dx, int dy, int n) {
    for (int k = 0; k <= n; ++k) s.insert({x0 + k * dx, y0 + k * dy});
}

PixelSet clipped(const PixelSet& s) {
    PixelSet out;
    for (const Pixel& p : s)
        if (p.first >= VP_X0 && p.first <= VP_X1 && p.second >= VP_Y0 && p.second <= VP_Y1)
            out.insert(p);
    return out;
}

// A row ('r') or column ('c') of pixels from one end to the other, inclusive.
struct PixelRun {
    char dir;
    int at, from, to;
};

struct LineCase {
    const char* name;
    int type;
    float width;
    std::vector<float> points;
    std::vector<PixelRun> runs;
};

TEST_F(WindowPrimitives, LinesAndFillsOfEveryTypeLandOnTheirPixels) {
    std::vector<LineCase> cases = {
        {"solid, runs off the viewport on the left",
         1,
         0,
         {-20, 62, 60, 62},
         {{'r', py(62), VP_X0, px(60)}}},
        {"vertical, off the top", 1, 0, {33, 30, 33, 130}, {{'c', px(33), VP_Y0, py(30)}}},
        {"three-point polyline",
         1,
         0,
         {25, 30, 70, 30, 70, 75},
         {{'r', py(30), px(25), px(70)}, {'c', px(70), py(75), py(30)}}},
    };
    // Dash lists of the line types: on and off runs from the first point.
    const std::vector<std::pair<int, std::vector<int>>> dashes = {
        {2, {6, 6}}, {3, {3, 6}}, {4, {6, 6, 3, 6}}, {5, {2, 2}}};
    for (const auto& [type, list] : dashes) {
        LineCase c{"dashed", type, 0, {10, 30, 90, 30}, {}};
        for (int x = px(10), k = 0; x <= px(90); x += list[k++ % list.size()])
            if (k % 2 == 0)
                c.runs.push_back({'r', py(30), x, std::min(x + list[k % list.size()] - 1, px(90))});
        cases.push_back(c);
    }
    // Lines of width 1 and more cover width pixels across, from the point less
    // half the width, and stop short of the last point (butt caps).
    for (float w : {2.0f, 5.9f}) {
        LineCase c{"wide", 1, w, {10, 62, 60, 62}, {}};
        const int iw = static_cast<int>(w);
        for (int r = 0; r < iw; ++r)
            c.runs.push_back({'r', py(62) - iw / 2 + r, px(10), px(60) - 1});
        cases.push_back(c);
    }
    for (const LineCase& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " type " + std::to_string(c.type) + " width " +
                     std::to_string(c.width));
        gclear_ws();
        ASSERT_EQ(gset_linetype(c.type), 0);
        ASSERT_EQ(gset_linewidth(c.width), 0);
        gpolyline(static_cast<int>(c.points.size() / 2), c.points.data());
        PixelSet want;
        for (const PixelRun& r : c.runs)
            (r.dir == 'r' ? add_row : add_col)(want, r.at, r.from, r.to);
        EXPECT_EQ(lit(), clipped(want));
    }
    gset_linetype(1);
    gset_linewidth(1);

    const float rect[] = {25, 30, 70, 30, 70, 75, 25, 75};
    const float beyond[] = {-30, 30, 70, 30, 70, 140, -30, 140};
    struct Fill {
        int style, pattern;
        const float* points;
        int x0, x1, y0, y1;
    };
    std::vector<Fill> fills = {{1, 1, rect, px(25), px(70), py(75), py(30)},
                               {1, 1, beyond, VP_X0, px(70), VP_Y0, py(30)}};
    for (int p = 0; p < 20; ++p) fills.push_back({2, p, rect, px(25), px(70), py(75), py(30)});
    for (const Fill& c : fills) {
        SCOPED_TRACE("pattern " + std::to_string(c.pattern));
        gclear_ws();
        ASSERT_EQ(gset_fill_int_style(c.style), 0);
        ASSERT_EQ(gset_fill_style_ind(c.pattern), 0);
        gfill_area(4, c.points);
        PixelSet want;
        for (int y = c.y0; y <= c.y1; ++y)
            for (int x = c.x0; x <= c.x1; ++x)
                if (c.style == 1 || gfill_test(c.pattern, x, y)) want.insert({x, y});
        EXPECT_EQ(lit(), want);
    }
    gset_fill_int_style(1);

    // A cleared region empties its corners and what lies between.
    gclear_ws();
    gfill_area(4, rect);
    const float region[4] = {33, 60, 40, 70};  // x1, x2, y1, y2
    gclear_region(region);
    PixelSet left;
    for (int y = py(75); y <= py(30); ++y)
        for (int x = px(25); x <= px(70); ++x)
            if (x < px(33) || x > px(60) || y < py(70) || y > py(40)) left.insert({x, y});
    EXPECT_EQ(lit(), left);
}

TEST_F(WindowPrimitives, MarkersOfEveryTypeAroundThePoint) {
    // Size 1.2 gives 12 pixels and a half size of 6.
    constexpr int h = 6;
    const double cx = exact_x(33) + 0.5, cy = exact_y(62) + 0.5;
    const int x = static_cast<int>(cx), y = static_cast<int>(cy);
    auto plus = [&](PixelSet& s) {
        add_row(s, y, x - h, x + h);
        add_col(s, x, y - h, y + h);
    };
    auto cross = [&](PixelSet& s) {
        add_diag(s, x - h, y - h, 1, 1, 2 * h);
        add_diag(s, x + h, y - h, -1, 1, 2 * h);
    };
    struct Case {
        int type;
        std::function<void(PixelSet&)> exact;            // the whole marker
        std::vector<std::pair<double, double>> corners;  // or just these, all inside the box
    };
    const std::vector<Case> cases = {
        {1,
         [&](PixelSet& s) {
             s.insert({{x, y}, {x + 1, y}, {x, y + 1}, {x + 1, y + 1}});
         },
         {}},
        {2, plus, {}},
        {3, [&](PixelSet& s) { plus(s), cross(s); }, {}},
        {5, cross, {}},
        {6,
         [&](PixelSet& s) {
             add_row(s, y - h, x - h, x + h), add_row(s, y + h, x - h, x + h);
             add_col(s, x - h, y - h, y + h), add_col(s, x + h, y - h, y + h);
         },
         {}},
        {8,
         [&](PixelSet& s) {
             s.insert({x, y});
         },
         {}},
        {4, nullptr, {{-h, 0}, {-0.866 * h, 0.5 * h}, {0, h}, {0.5 * h, -0.866 * h}, {h, 0}}},
        {7, nullptr, {{-h, h}, {h, h}, {0, -h}}},
        {9, nullptr, {{-h, -h}, {h, -h}, {0, h}}},
    };
    ASSERT_EQ(gset_marker_size(1.2f), 0);
    for (const Case& c : cases) {
        SCOPED_TRACE("marker type " + std::to_string(c.type));
        gclear_ws();
        ASSERT_EQ(gset_marker_type(c.type), 0);
        const float point[2] = {33, 62};
        gpolymarker(1, point);
        const PixelSet got = lit();
        if (c.exact) {
            PixelSet want;
            c.exact(want);
            EXPECT_EQ(got, want);
            continue;
        }
        for (const auto& [dx, dy] : c.corners)
            EXPECT_TRUE(got.count({static_cast<int>(cx + dx), static_cast<int>(cy + dy)}))
                << dx << "," << dy;
        for (const Pixel& p : got) {
            EXPECT_LE(std::abs(p.first - x), h + 1);
            EXPECT_LE(std::abs(p.second - y), h + 1);
        }
    }
    gset_marker_type(1);
}

TEST_F(WindowPrimitives, ClampsAndOverlay) {
    // Far coordinates are clamped before they reach the server's 16 bits.
    EXPECT_EQ(xW_p(1e9f), 30000.0);
    EXPECT_EQ(yW_p(1e9f), -30000.0);
    // A box touching the window edge is kept; one wholly beside it is not.
    const float touching[4] = {100, 50, 130, 50}, beside[4] = {100.5f, 50, 130, 50};
    EXPECT_TRUE(gpts_in_win(2, touching));
    EXPECT_FALSE(gpts_in_win(2, beside));

    // An image of values 0 to 3, overlaid with "black" (value 0) transparent, its
    // far edges 10 pixels inside the viewport's: the base shows through value 0.
    const float colours[4][3] = {{0, 0, 0}, {1, 0.5f, 0}, {0.2f, 0.4f, 0.6f}, {0, 1, 1}};
    auto make = [&](Image& im, int w, int h, int shift) {
        IMG_init(&im);
        im.width = im.bytes_per_line = w;
        im.height = h;
        im.depth = im.bits_per_pixel = 8;
        im.num_colors = 4;
        im.colors = static_cast<float*>(std::malloc(sizeof colours));
        std::memcpy(im.colors, colours, sizeof colours);
        im.data = static_cast<unsigned char*>(std::malloc(static_cast<size_t>(w * h)));
        for (int i = 0; i < w * h; ++i)
            im.data[i] = static_cast<unsigned char>((i / 3 + shift) % 4);
    };
    Image base{}, over{};
    make(base, 480, 380, 1);
    make(over, 41, 23, 0);
    const std::vector<unsigned char> values(over.data, over.data + 41 * 23);
    gload_image(&base, 0, 0);
    const auto before =
        sat_test::drawable_pixels(gget_draw_window(), sat_test::kWinW, sat_test::kWinH);
    goverlay_image(&over, "black", -10, -10);
    const auto after =
        sat_test::drawable_pixels(gget_draw_window(), sat_test::kWinW, sat_test::kWinH);
    const int ox = VP_X1 - 10 - 41 + 1, oy = VP_Y1 - 10 - 23 + 1;
    int wrong = 0;
    for (int y = 0; y < sat_test::kWinH; ++y)
        for (int x = 0; x < sat_test::kWinW; ++x) {
            const size_t at = static_cast<size_t>(y * sat_test::kWinW + x);
            unsigned long want = before[at];
            if (x >= ox && x < ox + 41 && y >= oy && y < oy + 23) {
                const int v = values[static_cast<size_t>((y - oy) * 41 + x - ox)];
                if (v != 0)
                    want = static_cast<unsigned long>(colours[v][0] * 255) << 16 |
                           static_cast<unsigned long>(colours[v][1] * 255) << 8 |
                           static_cast<unsigned long>(colours[v][2] * 255);
            }
            wrong += after[at] != want;
        }
    EXPECT_EQ(wrong, 0);
    EXPECT_NE(after, before);
    IMG_free(&base);
    IMG_free(&over);
}

// The box of the pixels unlike the background, as x0, x1, y0, y1.
std::vector<int> ink() {
    std::vector<int> box = {1 << 20, -1, 1 << 20, -1};
    for (const Pixel& p : sat_test::lit())
        box = {std::min(box[0], p.first), std::max(box[1], p.first), std::min(box[2], p.second),
               std::max(box[3], p.second)};
    return box;
}

TEST_F(WindowPrimitives, StrokeTextInksTheBoxOfItsArithmeticAndServerFontsAlign) {
    using namespace text_test;
    sat_test::TempDir dir;
    sat_test::write_file(dir.file("t.fnt"), labelled_font());
    ASSERT_EQ(read_font(dir.file("t.fnt").c_str()), 0);
    sat_test::set_world(0, 1, 0, 1);
    auto pixels = [](const Box& b) {
        return std::vector<int>{
            static_cast<int>(xW_p(b.x0) + 0.5), static_cast<int>(xW_p(b.x1) + 0.5),
            static_cast<int>(yW_p(b.y1) + 0.5), static_cast<int>(yW_p(b.y0) + 0.5)};
    };
    for (const Case& c : cases()) {
        gclear_ws();
        ASSERT_EQ(draw_case(c, 0.5f, 0.5f), 0) << c.name;
        const std::vector<int> want = pixels(world_box(c, 0.5f, 0.5f)), got = ink();
        // One-pixel lines with projecting caps may reach one pixel past an end.
        for (int k = 0; k < 4; ++k) EXPECT_NEAR(got[k], want[k], 1) << c.name << " " << k;
    }

    // A drop shadow falls one and two pixels down and right, in black over a fill.
    const Case& c = cases().front();
    gclear_ws();
    const float area[8] = {0.2f, 0.2f, 0.8f, 0.2f, 0.8f, 0.8f, 0.2f, 0.8f};
    gfill_area(4, area);
    gset_font_drop(3);
    draw_case(c, 0.4f, 0.4f);  // off the half pixel: each step is a whole pixel
    gset_font_drop(0);
    const std::vector<int> box = pixels(world_box(c, 0.4f, 0.4f));
    auto pixel = [](int x, int y) { return sat_test::drawable_pixel(gget_draw_window(), x, y); };
    const unsigned long black = BlackPixel(gget_display(), DefaultScreen(gget_display()));
    EXPECT_EQ(pixel(box[0], box[3]), static_cast<unsigned long>(gget_color_ind(1)));
    EXPECT_EQ(pixel(box[0] + 2, box[3] + 2), black);
    EXPECT_EQ(pixel(box[1] + 2, box[3] + 1), black);
    EXPECT_NE(pixel(box[0] - 1, box[2] - 1), black);

    // A server font's text hangs below the point, left, centred or right of it.
    ASSERT_EQ(read_font("#fixed"), 0);
    const int x = static_cast<int>(xW_p(0.5f) + 0.5), y = static_cast<int>(yW_p(0.5f) + 0.5);
    for (int h : {1, 2, 3}) {
        gclear_ws();
        const int align[2] = {h, 1};
        gset_text_align(align);
        const float at[2] = {0.5f, 0.5f};
        gtext(at, "MMMM");
        const std::vector<int> got = ink();
        ASSERT_GE(got[1], 0) << h;
        EXPECT_GE(got[2], y) << h;
        EXPECT_EQ(got[0] >= x, h == 1) << h;
        EXPECT_EQ(got[0] < x && got[1] > x, h == 2) << h;
        EXPECT_EQ(got[1] <= x, h == 3) << h;
    }
}

}  // namespace
