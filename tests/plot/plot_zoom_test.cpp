// The zoom box's refusals and the replot, resize and refresh callbacks handed the
// map domain; the box's domain itself is checked in graphics/events_window_test.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "env/domains.h"
#include "env/messages.h"
#include "maps/map_draw.h"
#include "maps/projections.h"
#include "plot/plot.h"

namespace {

std::vector<Domain> calls;

int record(Domain* domain) {
    calls.push_back(*domain);
    return 0;
}

class PlotZoom : public ::testing::Test {
   protected:
    void SetUp() override {
        MESS_reset();
        MESS_set(0, 0);
        calls.clear();
        ASSERT_EQ(DOM_decode("lamb,40,-95,641,481,0.08,0.08", &map), 1);
        MAP_setup(&map);
        MAP_get_domain(&map);
        PLT_set_zoom_func(record);
        PLT_set_resize_func(record);
        PLT_set_refresh_func(0, record);
        // A box or zoom another test left behind is closed and undone.
        PLT_plot_zoom("none", 0, 0);
        PLT_plot_zoom("u-Alt", 0, 0);
        MAP_setup(&map);
        calls.clear();
    }
    void TearDown() override { MESS_reset(); }
    Domain map{};
};

}  // namespace

TEST_F(PlotZoom, ClicksWithoutABoxAndOtherEvents) {
    float x1, y1, x2, y2;
    MAP_tran(35.0f, -100.0f, &x1, &y1);
    MAP_tran(42.0f, -90.0f, &x2, &y2);
    // A release on the press's column is refused and leaves the box open.
    PLT_plot_zoom("B1-P-Shft", x1, y1);
    EXPECT_EQ(PLT_plot_zoom("B1-R", x1, y2), -1);
    EXPECT_TRUE(calls.empty());
    EXPECT_EQ(PLT_plot_zoom("B1-R-Shft", x2, y2), 0);
    EXPECT_EQ(calls.size(), 1u);
    // Any other event between press and release closes the box.
    PLT_plot_zoom("B1-P-Shft", x1, y1);
    PLT_plot_zoom("B2-P", x1, y1);
    PLT_plot_zoom("B1-R", x2, y2);
    EXPECT_EQ(calls.size(), 1u);
}

TEST_F(PlotZoom, ReplotResizeAndRefreshHandOverTheMapDomain) {
    EXPECT_EQ(PLT_plot_zoom("r-Alt", 0, 0), 0);
    EXPECT_EQ(PLT_plot_resize("size"), 0);
    EXPECT_EQ(PLT_plot_resize("sizes"), 0);
    EXPECT_EQ(PLT_plot_refresh(), 0);
    ASSERT_EQ(calls.size(), 3u);
    for (const Domain& d : calls) {
        EXPECT_FLOAT_EQ(d.clat, map.clat);
        EXPECT_FLOAT_EQ(d.dx, map.dx);
        EXPECT_EQ(d.nx, map.nx);
    }
    // A replot does not count as a zoom: there is no original view to go back to.
    PLT_plot_zoom("u-Alt", 0, 0);
    EXPECT_EQ(calls.size(), 3u);
}
