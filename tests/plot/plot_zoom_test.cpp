// The zoom box's refusals; the box's domain itself is checked on a real window in
// graphics/events_window_test.
#include <gtest/gtest.h>

#include "env/domains.h"
#include "env/messages.h"
#include "maps/map_draw.h"
#include "maps/projections.h"
#include "plot/plot.h"

namespace {

int zooms = 0;

int record(Domain*) {
    ++zooms;
    return 0;
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

}  // namespace
