// Map drawing on a window of the test's own Xvfb: positions against PROJ, seams,
// long records, the choice of list, and broken map files and lists.
#include <cmath>
#include <string>
#include <vector>

#include "env/colors.h"
#include "env/domains.h"
#include "env/messages.h"
#include "env/resources.h"
#include "map_draw_support.h"

// Xlib last: its macros (None, Bool, Status) would break the headers above.
#include "tests/support/window_pixels.h"

namespace {

using namespace sat_test;

// One 1000 by 800 window for the program, on a server that goes with it.
class XvfbEnvironment : public testing::Environment {
   public:
    void SetUp() override {
        static Xvfb server(24);
        ASSERT_FALSE(server.display().empty()) << "no X server could be started";
        setenv("DISPLAY", server.display().c_str(), 1);
        RES_put("geometry", "1000x800");
        gset_win_size(1000, 800);
        RES_put("file_path", SAT_DATA_DIR);
        CLR_read_table(nullptr);
        int id = 1, type = GWS_WIN;
        GPH_begin(&id, nullptr, &type);
        float rect[4] = {0, 0, 0, 0};
        GPH_reset(&id, &type, 0.0f, rect);
        FLAG_setplot(8, 1);
    }
};

const testing::Environment* const xvfb = testing::AddGlobalTestEnvironment(new XvfbEnvironment);

struct Pixels {
    int width = 1000, height = 800;
    std::vector<unsigned long> rgb;
    unsigned long at(int x, int y) const { return rgb[static_cast<size_t>(y) * width + x]; }
};

Pixels grab() {
    gupdate_window();
    XSync(gget_display(), False);
    Pixels p;
    p.rgb = drawable_pixels(gget_draw_window(), p.width, p.height);
    EXPECT_EQ(p.rgb.size(), 1000u * 800u);
    return p;
}

// The drawn pixels: those that differ from the background in the corner.
std::vector<std::pair<int, int>> drawn(const Pixels& p) {
    std::vector<std::pair<int, int>> out;
    for (int y = 0; y < p.height; ++y)
        for (int x = 0; x < p.width; ++x)
            if (p.at(x, y) != p.at(0, 0)) out.push_back({x, y});
    return out;
}

void clear_and_setup(const char* domain_text) {
    Domain domain;
    ASSERT_GT(DOM_decode(domain_text, &domain), 0) << domain_text;
    gclear_ws();
    int id = 1, type = GWS_WIN;
    float rect[4] = {0, 0, 0, 0};
    GPH_panel(id, type, static_cast<float>(DOM_aspect(&domain)), rect);
    MAP_setup(&domain);
    Attrib line;
    ATTRIB_init(&line);
    ATTRIB_parse("white", &line);
    GPH_line_attr(&line);
}

class MapPositions : public testing::TestWithParam<ProjCase> {};

// Each node of the lattice is a small cross; its drawn pixels centre within one
// pixel of where PROJ puts the node, and nothing is drawn elsewhere.
TEST_P(MapPositions, CrossesLandWherePROJPutsThem) {
    const ProjCase& c = GetParam();
    clear_and_setup(c.domain);
    std::vector<std::pair<float, float>> nodes;
    ASSERT_EQ(draw_map_bytes(binary_map(lattice(c, &nodes))), 0);
    const auto pixels = drawn(grab());
    const auto world = proj_positions(c, nodes);
    ASSERT_EQ(world.size(), nodes.size());
    int inside = 0;
    std::vector<bool> claimed(pixels.size());
    short vp[4];
    gget_xviewport(vp);
    auto in_view = [&](double x, double y) {
        return x > vp[0] + 8 && y > vp[1] + 8 && x < vp[0] + vp[2] - 8 && y < vp[1] + vp[3] - 8;
    };
    for (size_t n = 0; n < nodes.size(); ++n) {
        const double px = xW_p(static_cast<float>(world[n].first));
        const double py = yW_p(static_cast<float>(world[n].second));
        if (!in_view(px, py)) continue;
        double sx = 0, sy = 0;
        int count = 0;
        for (size_t k = 0; k < pixels.size(); ++k) {
            if (std::abs(pixels[k].first - px) <= 6 && std::abs(pixels[k].second - py) <= 6) {
                sx += pixels[k].first, sy += pixels[k].second, ++count;
                claimed[k] = true;
            }
        }
        ASSERT_GT(count, 0) << c.name << " nothing drawn at " << nodes[n].first << ","
                            << nodes[n].second;
        EXPECT_NEAR(sx / count, px, 1.0)
            << c.name << " node " << nodes[n].first << "," << nodes[n].second;
        EXPECT_NEAR(sy / count, py, 1.0)
            << c.name << " node " << nodes[n].first << "," << nodes[n].second;
        ++inside;
    }
    EXPECT_GE(inside, 12) << c.name;
    for (size_t k = 0; k < pixels.size(); ++k) {
        const auto [x, y] = pixels[k];
        if (in_view(x, y)) {
            EXPECT_TRUE(claimed[k]) << c.name << " stray pixel " << x << "," << y;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Domains, MapPositions, testing::ValuesIn(proj_cases),
                         [](const auto& info) { return std::string(info.param.name); });

// A parallel crossing the seam splits: the old piece runs on to the edge, the new
// one starts at the point itself; nothing runs across the picture.
TEST(MapDraw, SeamCrossingsSplitWithoutCrossingThePicture) {
    const char* domains[] = {"latlon,0,0,721,361,0.5,0.5", "merc,0,0,801,601,0.5,0.5",
                             "moll,0,0,801,401,0.32,0.32"};
    for (const char* text : domains) {
        clear_and_setup(text);
        std::vector<std::pair<float, float>> line;
        for (float lon = 150; lon <= 210; lon += 3)
            line.push_back({30, lon > 180 ? lon - 360 : lon});
        ASSERT_EQ(draw_map_bytes(text_map({line})), 0) << text;
        const auto pixels = drawn(grab());
        ASSERT_FALSE(pixels.empty()) << text;
        short vp[4];
        gget_xviewport(vp);
        float x, y;
        MAP_tran(30, -177, &x, &y);
        const double first_new = xW_p(x), mid = vp[0] + vp[2] / 2.0;
        int leftmost = vp[0] + vp[2], rightmost = 0;
        for (auto [px, py] : pixels) {
            EXPECT_FALSE(std::abs(px - mid) < vp[2] / 4) << text << " pixel " << px << "," << py;
            leftmost = std::min(leftmost, px), rightmost = std::max(rightmost, px);
        }
        EXPECT_NEAR(leftmost, first_new, 1.0) << text;
        MAP_tran(30, 180, &x, &y);
        const double edge = std::min(xW_p(x), vp[0] + vp[2] - 1.0);
        EXPECT_GE(rightmost, edge - 1.0) << text << ": the old piece reaches the edge";
    }
}

// 1201 points, more than the 1000 the reader keeps on the stack, draw as one line.
TEST(MapDraw, LongRecordDrawsWhole) {
    clear_and_setup("us");
    std::vector<std::pair<float, float>> line;
    for (int i = 0; i <= 1200; ++i)
        line.push_back({40.0f, -120.0f + 0.05f * static_cast<float>(i)});
    ASSERT_EQ(draw_map_bytes(binary_map({line})), 0);
    const Pixels p = grab();
    for (float lon : {-119.9f, -100.0f, -75.0f}) {
        float x, y;
        MAP_tran(40.0f, lon, &x, &y);
        const int px = static_cast<int>(xW_p(x)), py = static_cast<int>(yW_p(y));
        bool hit = false;
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx) hit |= p.at(px + dx, py + dy) != p.at(0, 0);
        EXPECT_TRUE(hit) << "lon " << lon;
    }
}

// Warnings of one MAP_draw, with map_file set to `list` (empty: unset).
std::string draw_list(const char* domain_text, const char* list, int mask = 6) {
    clear_and_setup(domain_text);
    RES_put("map_file", list);
    testing::internal::CaptureStderr();
    MAP_draw(mask);
    return testing::internal::GetCapturedStderr();
}

TEST(MapDraw, DefaultListFollowsTheDomainAndStays) {
    const struct {
        const char* domain;
        const char* list;
    } cases[] = {
        {"lamb,40,-100,500,400,0.1,0.1", "zmt.map"},                 // 40 N 100 W, height 40
        {"lamb,40,100,500,400,0.1,0.1", "cont.map,country.map"},     // 40 N 100 E
        {"lamb,40,-100,500,400,0.2,0.2", "cont.map,country.map"},    // height 80
        {"latlon,20,-100,200,100,0.2,0.2", "cont.map,country.map"},  // south of 25 N
    };
    for (const auto& c : cases) {
        MAP_reset();
        EXPECT_EQ(draw_list(c.domain, ""), "") << c.domain;
        EXPECT_STREQ(MAP_get_name(), c.list) << c.domain;
        EXPECT_GT(drawn(grab()).size(), 5000u) << c.domain << ": the shipped maps draw";
    }
    draw_list("lamb,40,-100,500,400,0.1,0.1", "");
    EXPECT_STREQ(MAP_get_name(), "cont.map,country.map") << "the first choice stands for the run";
}

// The map entries a pass tries at 40 N 100 W (scale 40), by the missing-file warnings.
TEST(MapDraw, RegionBlocksScaleFiltersAndSidesSelect) {
    const struct {
        const char* list;
        int mask;
        const char* tried;
    } cases[] = {
        {"[20,60,-130,-60,100],a.map,[],b.map", 6, "a.map"},
        {"[20,60,60,130,100],a.map,[],b.map", 6, "b.map"},
        {"[60,20,-60,-130,30],a.map,[],b.map", 6, "b.map"},  // scale 40 > 30
        {"c.map,[20,60,-130,-60],a.map,[0,10,0,10],d.map", 6, "c.map a.map"},
        {"s+30:a.map,s+50:b.map,s-50:c.map,s-30:d.map", 6, "a.map c.map"},
        {">30<50:a.map,>30<35:b.map,<50>30:c.map,<35:d.map,>39:e.map", 6, "a.map c.map e.map"},
        {"s+30:<50:x.map,s+30:<35:y.map", 6, "x.map"},
        {"-under.map,+over.map,plain.map", 1, "under.map"},
        {"-under.map,+over.map,plain.map", 6, "over.map plain.map"},
    };
    for (const auto& c : cases) {
        MAP_reset();
        const std::string err = draw_list("lamb,40,-100,500,400,0.1,0.1", c.list, c.mask);
        std::string tried;
        for (size_t at = 0; (at = err.find("Map file not found: ", at)) != std::string::npos;) {
            at += 20;
            std::string path = err.substr(at, err.find('\n', at) - at);
            tried += (tried.empty() ? "" : " ") + path.substr(path.rfind('/') + 1);
        }
        EXPECT_EQ(tried, c.tried) << c.list << " mask " << c.mask;
    }
}

TEST(MapDraw, BrokenMapFilesEndCleanly) {
    clear_and_setup("us");
    const std::vector<std::vector<std::pair<float, float>>> good = {
        {{40, -100}, {41, -99}, {42, -98}}};
    const std::string bin = binary_map(good), text = text_map(good);
    const float nan = std::nanf(""), huge = 3.0e38f;
    const struct {
        const char* name;
        std::string bytes;
        int result;
    } cases[] = {
        {"binary cut in the points", bin.substr(0, 30), -1},
        {"binary cut in the header", bin.substr(0, 10), -1},
        {"text cut in the points", text.substr(0, text.find("41")), -1},
        {"count 65535 with three points", std::string("\xff\xff", 2) + bin.substr(2), -1},
        {"text count 65535", "65535 0 0 0 0 1\n1 2\n3 4\n", -1},
        {"no end record", bin.substr(0, bin.size() - 2), 0},
        {"empty file", "", 0},
        {"text header then binary", "3 0 0 0 0 1\n" + bin, -1},
        {"binary then text", bin.substr(0, bin.size() - 2) + text, -1},
        {"NaN and huge points",
         binary_map(
             {{{nan, -100}, {40, nan}, {huge, huge}, {-huge, 1e30f}, {40, -100}, {41, -99}}}),
         0},
    };
    for (const auto& c : cases) EXPECT_EQ(draw_map_bytes(c.bytes), c.result) << c.name;
    MAP_domain(nullptr);
    EXPECT_EQ(draw_map_bytes(bin), 1) << "no map projection";
}

TEST(MapDraw, BadListsAreReported) {
    MAP_reset();
    TempDir dir;
    sat_test::write_file(dir.file("list"),
                         "[20,60,-130,-60\n  gone.map  \n[]\nlost.map\n[1,2,3,4\n");
    const struct {
        std::string list;
        std::string message;
    } cases[] = {
        {"fi:" + dir.file("missing.lst"),
         "MAP_draw: Unable to open map list file: " + dir.file("missing.lst")},
        {"fi:" + dir.file("list"), "MAP_process: Map file not found: " SAT_DATA_DIR "/gone.map"},
        {"[20,60,-130,-60,,nowhere.map,[,[[,]", ""},
        {"std:red", "MAP_process: Map file not found: std\n"},  // never standard input
        {"lalo:0:0,lalo:abc,im:,if:::,mf:,rf:,s+:,>:,<<:,:red,-,+", ""},
    };
    for (const auto& c : cases) {
        const std::string err = draw_list("lamb,40,-100,500,400,0.1,0.1", c.list.c_str());
        if (c.message.empty())
            EXPECT_EQ(err.find("not found: nowhere"), std::string::npos) << c.list;
        else
            EXPECT_NE(err.find(c.message), std::string::npos) << c.list << "\n" << err;
    }
}

}  // namespace
