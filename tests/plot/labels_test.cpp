// The plot layer in the process: overlay stacks and the `label` resource where
// PLT_labels draws on a PostScript page; the device a plot opens; the zoom box's
// refusals (its domain is checked in graphics/events_window_test).
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "env/domains.h"
#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "maps/map_draw.h"
#include "maps/projections.h"
#include "plot/plot.h"
#include "plot/plot_internal.h"
#include "test_support.h"

namespace {

// The texts drawn on the page and their world positions.
using Page = std::map<std::string, std::pair<float, float>>;

void program_labels() {
    PLT_label_up_left("Title");
    PLT_set_overlay(1);
    PLT_label_up_left("Second");
    PLT_label_low_right("Lower");
    PLT_set_overlay(0);
    PLT_label_up_right("Date");
}

class PlotLabels : public ::testing::Test {
   protected:
    void SetUp() override {
        reset();
        FLAG_set(2, 0);
    }
    void TearDown() override {
        if (gchk_graphics()) GPH_end(1);
        reset();
    }
    static void reset() {
        RES_reset();
        MESS_reset();
        PLT_init_labels();
        PLT_set_overlay(0);
        PLT_set_overlay_base(0);
        PLT_set_num_overlay(0);
        PLT_set_label_type(0);
        PLT_set_view_offset(0.04f);
        PLT_set_view_offsets(0.0f, 0.0f, 0.04f, 0.04f);
        GPH_set_view_size(1.0f, 1.0f, 0.0f, 0.0f);
        plt_set_full_lab(0);
    }
    // The resources keep pointers into the command line, which lives with the test.
    void decode(std::vector<std::string> args) {
        args.insert(args.begin(), "sat");
        line = std::move(args);
        argv.clear();
        for (auto& a : line) argv.push_back(a.data());
        argv.push_back(nullptr);
        static const int keyed[] = {46, 69, 86, 0};
        static const int positional[] = {50, 0};
        RES_init(static_cast<int>(argv.size()) - 1, argv.data(), keyed, positional);
    }
    // Opens a 1.5 to 1 plot on a PostScript page, sets the program's labels, draws
    // them and closes.
    Page draw(std::vector<std::string> args) {
        args.insert(args.begin(), {"-de", "ps," + dir.file("page.ps")});
        decode(args);
        EXPECT_EQ(PLT_open(1.5f), 0);
        PLT_get_view(view);
        program_labels();
        EXPECT_EQ(PLT_labels(), 0);
        PLT_close();
        Page drawn;
        std::istringstream in(sat_test::read_file(dir.file("page.ps")));
        std::string line;
        while (std::getline(in, line)) {
            float x, y;
            char text[100] = "";
            if (std::sscanf(line.c_str(), "%%%%TE:%f %f %99[^\n]", &x, &y, text) == 3)
                drawn[text] = {x, y};
        }
        border = sat_test::read_file(dir.file("page.ps")).find("%%PL:5") != std::string::npos;
        return drawn;
    }

    sat_test::TempDir dir;
    std::vector<std::string> line;
    std::vector<char*> argv;
    float view[4] = {0, 0, 0, 0};
    bool border = false;
};

int zooms = 0;

int record(Domain*) {
    ++zooms;
    return 0;
}

}  // namespace

TEST_F(PlotLabels, ProgramLabelsStackAndTheResourceReplacesAPosition) {
    // Two overlays in use: each position is a stack of two lines.
    Page page = draw({"-pp", "over=0:2"});
    for (const char* text : {"Title", "Second", "Date", "Lower"}) ASSERT_EQ(page.count(text), 1u);
    const auto [title_x, title_y] = page["Title"];
    // Overlay 1 stands one line above overlay 0, upper labels above the picture.
    EXPECT_GT(page["Second"].second, title_y);
    EXPECT_GT(title_y, view[3]);
    EXPECT_NEAR(title_x, view[0] + 0.01f * (view[1] - view[0]), 1e-5);
    EXPECT_NEAR(page["Date"].first, view[1] - 0.01f * (view[1] - view[0]), 1e-5);
    EXPECT_FLOAT_EQ(page["Date"].second, title_y);
    EXPECT_LT(page["Lower"].second, view[2]);
    EXPECT_TRUE(border);
    reset();
    page = draw({"-pp", "over=0:2", "-la", "ul:User_label,ur3:Third_%%"});
    EXPECT_EQ(page.count("User label"), 1u);
    EXPECT_EQ(page.count("Title"), 0u);
    // A replaced position shows its one line: overlay 1 of it is not drawn.
    EXPECT_EQ(page.count("Second"), 0u);
    EXPECT_STREQ(PLT_get_label(0, 1), "");  // closing emptied every label
    // ur3 went to overlay 3 and raised the count of overlays to 3, so the
    // rows are three lines each and overlay 3 itself lies past them.
    for (const auto& [text, at] : page) EXPECT_EQ(text.find("Third"), std::string::npos);
    EXPECT_EQ(page.count("Date"), 1u);
    EXPECT_EQ(page.count("Lower"), 1u);
}

TEST_F(PlotLabels, DeviceStringChoosesTheWorkstationAndASecondBeginOpensNothing) {
    const std::string hpgl = dir.file("plot.hpgl");
    decode({"-de", "q," + hpgl});
    int id = 0, type = 0;
    float rect[4] = {0, 0, 0.04f, 0.04f};
    GPH_setup(&id, &type, 1.5f, rect);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(type, GWS_HPGL);
    int again = GWS_PS;
    const std::string other = dir.file("other.ps");
    EXPECT_EQ(GPH_begin(&id, other.c_str(), &again), 0);
    EXPECT_EQ(gget_win_type(), GWS_HPGL);
    GPH_end(id);
    EXPECT_TRUE(sat_test::file_exists(hpgl));
    EXPECT_FALSE(sat_test::file_exists(other));
    // Ending gives flag 2 back the type asked for, here the second begin's.
    EXPECT_EQ(FLAG_get(2), GWS_PS);
}

TEST(PlotZoom, ClicksWithoutABoxAndOtherEvents) {
    MESS_reset();
    MESS_set(0, 0);
    Domain map{};
    ASSERT_EQ(DOM_decode("lamb,40,-95,641,481,0.08,0.08", &map), 1);
    MAP_setup(&map);
    PLT_set_zoom_func(record);
    float x1, y1, x2, y2;
    MAP_tran(35.0f, -100.0f, &x1, &y1);
    MAP_tran(42.0f, -90.0f, &x2, &y2);
    // A release on the press's column is refused and leaves the box open.
    PLT_plot_zoom("B1-P-Shft", x1, y1);
    EXPECT_EQ(PLT_plot_zoom("B1-R", x1, y2), -1);
    EXPECT_EQ(zooms, 0);
    EXPECT_EQ(PLT_plot_zoom("B1-R-Shft", x2, y2), 0);
    EXPECT_EQ(zooms, 1);
    // Any other event between press and release closes the box.
    PLT_plot_zoom("B1-P-Shft", x1, y1);
    PLT_plot_zoom("B2-P", x1, y1);
    PLT_plot_zoom("B1-R", x2, y2);
    EXPECT_EQ(zooms, 1);
    MESS_reset();
}
