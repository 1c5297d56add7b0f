// The plot of a real AREA file through the program: on a private Xvfb, labels in
// the band, the border, "fullab", "full" and a panel read off the window's pixels;
// without a display, the same border and labels in PostScript.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "test_support.h"
#include "window_dump.h"
#include "xvfb.h"

namespace {

const std::string area = "area/radar_composite_ps_2000137_0859.area";

// A grab of the plot window by xwd: white (label and border) pixels and any ink.
struct Picture : sat_test::Ppm {
    bool is(int x, int y, int v) const {
        return at(x, y, 0) == v && at(x, y, 1) == v && at(x, y, 2) == v;
    }
    // White pixels in the rectangle x0 <= x < x1, y0 <= y < y1.
    int whites(int x0, int x1, int y0, int y1) const {
        int n = 0;
        for (int y = std::max(0, y0); y < std::min(height, y1); ++y)
            for (int x = std::max(0, x0); x < std::min(width, x1); ++x) n += is(x, y, 255);
        return n;
    }
    // Rows that are white over at least 90 % of the given columns: the border's sides.
    std::vector<int> border_rows(int x0, int x1) const {
        std::vector<int> rows;
        for (int y = 0; y < height; ++y)
            if (whites(x0, x1, y, y + 1) * 10 >= (x1 - x0) * 9) rows.push_back(y);
        return rows;
    }
    // Bounding box of everything not black: x0, x1, y0, y1.
    std::vector<int> ink_box() const {
        std::vector<int> box = {width, -1, height, -1};
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                if (!is(x, y, 0))
                    box = {std::min(box[0], x), std::max(box[1], x), std::min(box[2], y),
                           std::max(box[3], y)};
        return box;
    }
};

// Runs sat on the real file with the options, grabs its settled picture and ends
// the hold with Return, which the run must end with 0.
Picture plot(const std::string& display, std::vector<std::string> options) {
    static int runs = 0;
    Picture picture;
    const std::string title = "plottest" + std::to_string(++runs);
    options.insert(options.begin(), {"-ti", title});
    options.push_back(sat_test::testdata(area));
    sat_test::RunOptions run;
    run.env["DISPLAY"] = display;
    run.timeout_seconds = 60;
    sat_test::RunResult result;
    std::atomic<bool> done{false};
    std::thread child([&] {
        result = sat_test::run_sat(options, run);
        done = true;
    });
    std::string w;
    Picture last;
    for (int i = 0; i < 200; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (w.empty())
            w = sat_test::run_program("/bin/sh",
                                      {"-c", "xdotool search --name '^" + title +
                                                 "$' 2>/dev/null | head -1 | tr -d '\\n'"},
                                      run)
                    .out;
        if (w.empty()) continue;
        Picture now{sat_test::xwd_window(display, w)};
        if (now.width > 0 && now.ink_box()[1] >= 0 && now.samples == last.samples) {
            picture = now;
            break;
        }
        last = now;
    }
    // A key before the hold begins does not end it: Return again until the run ends.
    for (int i = 0; i < 40 && !w.empty() && !done; ++i) {
        sat_test::run_program("/usr/bin/xdotool", {"key", "--window", w, "Return"}, run);
        for (int j = 0; j < 10 && !done; ++j)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    child.join();
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_GT(picture.width, 0) << "no picture in window " << w << ": " << result.err;
    return picture;
}

}  // namespace

TEST(PlotWindow, LabelsBorderFullabFullAndAPanel) {
    const sat_test::Xvfb server(24, "1024x768");
    const std::string& display = server.display();
    ASSERT_FALSE(display.empty());
    const Picture p = plot(display, {});
    ASSERT_GT(p.width, 0);
    const int w = p.width;
    // A 1.5 to 1 picture across the 640 by 512 window: the border's top and bottom.
    const std::vector<int> rows = p.border_rows(0, w);
    ASSERT_GE(rows.size(), 2u);
    const int top = rows.front(), bottom = rows.back();
    EXPECT_NEAR(bottom - top, w / 1.5, 3);
    // Title upper left, date upper right, nothing between them, in the band.
    EXPECT_GT(p.whites(0, w / 4, 0, top), 20);
    EXPECT_GT(p.whites(3 * w / 4, w, 0, top), 60);
    EXPECT_EQ(p.whites(w / 4, 3 * w / 4, 0, top), 0);
    // No text of the labels reaches into the picture below the border's top.
    EXPECT_EQ(p.whites(2, w / 4, top + 2, top + 20), 0);
    // The picture itself holds the image, which is not white.
    size_t image = 0;
    for (int y = top + 2; y < bottom - 1; ++y)
        for (int x = 2; x < w - 2; ++x) image += !p.is(x, y, 0) && !p.is(x, y, 255);
    EXPECT_GT(image, 1000u);

    // The user's label takes the title's place: a long one reaches past the title.
    const Picture user = plot(display, {"-la", "ul:Labels_of_the_user_here"});
    ASSERT_GT(user.width, 0);
    EXPECT_GT(user.whites(w / 4, w / 2, 0, top), 20);
    EXPECT_GT(user.whites(3 * w / 4, w, 0, top), 60);

    // "fullab": the labels inside the border.
    const Picture inside = plot(display, {"-pp", "fullab"});
    ASSERT_GT(inside.width, 0);
    const std::vector<int> in_rows = inside.border_rows(0, w);
    ASSERT_FALSE(in_rows.empty());
    const int in_top = in_rows.front();
    EXPECT_EQ(inside.whites(0, w, 0, in_top), 0);
    EXPECT_GT(inside.whites(0, w / 4, in_top + 2, in_top + 30), 20);
    EXPECT_GT(inside.whites(3 * w / 4, w, in_top + 2, in_top + 30), 60);

    // In a window of the picture's proportion only the margins frame the border.
    const Picture framed = plot(display, {"-ge", "601x401"});
    const Picture full = plot(display, {"-pp", "full", "-ge", "601x401"});
    ASSERT_GT(framed.width, 0);
    ASSERT_GT(full.width, 0);
    const std::vector<int> framed_rows = framed.border_rows(0, framed.width);
    const std::vector<int> full_rows = full.border_rows(0, full.width);
    ASSERT_FALSE(framed_rows.empty());
    ASSERT_FALSE(full_rows.empty());
    EXPECT_NEAR(framed_rows.front(), 0.04 * 400, 2);
    EXPECT_LE(full_rows.front(), 1);
    EXPECT_GE(full_rows.back(), full.height - 2);

    // A panel of 2x2+1+0 is the upper right quarter.
    const Picture panel = plot(display, {"-pp", "vp_size=2x2+1+0"});
    ASSERT_GT(panel.width, 0);
    const std::vector<int> box = panel.ink_box();
    EXPECT_GE(box[0], panel.width / 2 - 1);
    EXPECT_LE(box[3], panel.height / 2 + 1);
    // Labels and border fill that quarter: the date near its right edge.
    EXPECT_GT(panel.whites(7 * panel.width / 8, panel.width, 0, panel.height / 2), 30);
}

// Without a display: the border, title, date and user's label as PostScript text
// comments with their strokes; hostile panel and overlay values end cleanly.
TEST(PlotPostScript, BorderAndLabelsWithoutADisplayAndHostileParameters) {
    sat_test::TempDir dir;
    const std::string ps = dir.file("plot.ps");
    auto run =
        sat_test::run_sat({"-de", "ps," + ps, "-la", "ll:lower_left", sat_test::testdata(area)});
    ASSERT_EQ(run.code, 0) << run.err;
    const std::string text = sat_test::read_file(ps);
    const size_t border = text.find("%%PL:5");
    const size_t title = text.find("%%TE:", border);
    ASSERT_NE(border, std::string::npos);
    ASSERT_NE(title, std::string::npos);
    EXPECT_NE(text.find(" MDR", title), std::string::npos);
    EXPECT_NE(text.find(" 0859Z 16 MAY 00\nnp\n"), std::string::npos);
    EXPECT_NE(text.find(" lower left\nnp\n"), std::string::npos);
    for (const char* pp :
         {"vp_size=nanxinf+1+1", "vp_size=1e38x1e38+1e38+0", "over=-2147483648:5"}) {
        run = sat_test::run_sat({"-de", "ps," + ps, "-pp", pp, sat_test::testdata(area)});
        EXPECT_EQ(run.code, 0) << pp << run.err;
        EXPECT_EQ(run.err.find("runtime error"), std::string::npos) << pp << run.err;
    }
}
