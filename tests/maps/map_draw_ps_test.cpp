// Map lines in PostScript: the lattice of crosses drawn to a PostScript file,
// rendered by Ghostscript, lands where PROJ puts the nodes.
#include "env/colors.h"
#include "env/domains.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "map_draw_support.h"
#include "tests/support/window_dump.h"

namespace {

using namespace sat_test;

class MapPositionsPS : public testing::TestWithParam<ProjCase> {};

TEST_P(MapPositionsPS, CrossesLandWherePROJPutsThem) {
    const ProjCase& c = GetParam();
    TempDir dir;
    const std::string ps = dir.file("map.ps");
    RES_put("file_path", SAT_DATA_DIR);
    CLR_read_table(nullptr);
    gps_set_orient(1);
    int id = 1, type = GWS_PS;
    ASSERT_EQ(GPH_begin(&id, ps.c_str(), &type), 0);
    Domain domain;
    ASSERT_GT(DOM_decode(c.domain, &domain), 0);
    float rect[4] = {0, 0, 0, 0};
    GPH_reset(&id, &type, static_cast<float>(DOM_aspect(&domain)), rect);
    MAP_setup(&domain);
    Attrib line;
    ATTRIB_init(&line);
    ATTRIB_parse("black", &line);
    GPH_line_attr(&line);
    std::vector<std::pair<float, float>> nodes;
    ASSERT_EQ(draw_map_bytes(binary_map(lattice(c, &nodes))), 0);
    const auto world = proj_positions(c, nodes);
    ASSERT_EQ(world.size(), nodes.size());
    std::vector<std::pair<double, double>> device;
    for (auto [x, y] : world)
        device.push_back({xW_ps(static_cast<float>(x)), yW_ps(static_cast<float>(y))});
    float lim[4];
    MAP_get_limits(lim);
    const double x0 = xW_ps(lim[0]), x1 = xW_ps(lim[1]), y0 = yW_ps(lim[2]), y1 = yW_ps(lim[3]);
    GPH_end(id);
    // The plot's origin on the page, from the prolog.
    const std::string text = read_file(ps);
    ASSERT_EQ(text.find(" rotate"), std::string::npos) << "a portrait page";
    const size_t at = text.find(" inch translate");
    ASSERT_NE(at, std::string::npos);
    float ox = 0, oy = 0;
    ASSERT_EQ(std::sscanf(text.c_str() + text.rfind('\n', at) + 1, "%f inch %f inch", &ox, &oy), 2);
    for (auto& [x, y] : device) x += ox * 72, y += oy * 72;
    // 4 pixels to the PostScript unit, on a page large enough for any panel.
    const std::string ppm = dir.file("map.ppm");
    auto r =
        run_program("/usr/bin/gs", {"-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-sDEVICE=ppmraw",
                                    "-r288", "-dDEVICEWIDTHPOINTS=900", "-dDEVICEHEIGHTPOINTS=900",
                                    "-dFIXEDMEDIA", "-sOutputFile=" + ppm, ps});
    ASSERT_EQ(r.code, 0) << r.err;
    std::string bytes = read_file(ppm);
    if (bytes.compare(3, 1, "#") == 0) bytes.erase(3, bytes.find('\n', 3) - 2);  // gs's comment
    const Ppm g = parse_ppm(bytes);
    ASSERT_GT(g.width, 0);
    int inside = 0;
    for (size_t n = 0; n < nodes.size(); ++n) {
        auto [dx, dy] = device[n];
        if (dx < x0 + ox * 72 + 3 || dx > x1 + ox * 72 - 3 || dy < y0 + oy * 72 + 3 ||
            dy > y1 + oy * 72 - 3)
            continue;
        // The ink of the cross around the node, in device units.
        const double px = dx * 4, py = g.height - dy * 4;
        double sx = 0, sy = 0;
        int count = 0;
        for (int y = static_cast<int>(py) - 24; y <= static_cast<int>(py) + 24; ++y)
            for (int x = static_cast<int>(px) - 24; x <= static_cast<int>(px) + 24; ++x)
                if (x >= 0 && y >= 0 && x < g.width && y < g.height && g.at(x, y, 0) < 128)
                    sx += x, sy += y, ++count;
        ASSERT_GT(count, 0) << c.name << " nothing drawn at " << nodes[n].first << ","
                            << nodes[n].second;
        EXPECT_NEAR(sx / count / 4, dx, 1.0)
            << c.name << " " << nodes[n].first << "," << nodes[n].second;
        EXPECT_NEAR((g.height - sy / count) / 4, dy, 1.0)
            << c.name << " " << nodes[n].first << "," << nodes[n].second;
        ++inside;
    }
    EXPECT_GE(inside, 12) << c.name;
}

INSTANTIATE_TEST_SUITE_P(Domains, MapPositionsPS, testing::ValuesIn(proj_cases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
