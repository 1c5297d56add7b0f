// The whole run on a window at depths 24, 16 and 8: the window, dumped by xwd
// and decoded by xwdtopnm, holds the enhancement's colour of every remapped count
// of a real AREA file from the viewport's corner on. With no X server, exit 4.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "app/sat.h"
#include "app/sat_color.h"
#include "app/sat_params.h"
#include "env/colors.h"
#include "env/messages.h"
#include "env/resources.h"
#include "formats/image.h"
#include "test_support.h"
#include "tests/support/window_dump.h"
#include "xserver.h"

namespace {

const std::string area_file() {
    return sat_test::testdata("area/radar_composite_ps_2000137_0859.area");
}

using sat_test::Ppm;

std::string shell(const std::string& display, const std::string& command) {
    sat_test::RunOptions options;
    options.env["DISPLAY"] = display;
    options.timeout_seconds = 20;
    return sat_test::run_program("/bin/sh", {"-c", command}, options).out;
}

// The window named "sat" as xwd and xwdtopnm give it, once two dumps in a row
// agree and show something: the plot has finished and sat holds the window.
Ppm settled_window(const std::string& display, std::string& window) {
    Ppm last;
    for (int i = 0; i < 100; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        window = shell(display, "xdotool search --name '^sat$' 2>/dev/null | head -1");
        while (!window.empty() && window.back() == '\n') window.pop_back();
        if (window.empty()) continue;
        Ppm now = sat_test::xwd_window(display, window);
        const bool drawn =
            std::any_of(now.samples.begin(), now.samples.end(), [](int v) { return v != 0; });
        if (drawn && now.samples == last.samples) return now;
        last = std::move(now);
    }
    return last;
}

// The counts the run wrote, coloured as the run colours them.
bool coloured_counts(const std::string& name, Image& image) {
    IMG_init(&image);
    if (IMG_read_zmt(name.c_str(), &image) != 1) return false;
    RES_reset();
    MESS_reset();
    MESS_set(0, MESS_WARN);
    SAT_params_reset();
    SAT_color_reset();
    FLAG_set(14, SAT_AREA);
    RES_put("file_path", SAT_DATA_DIR);
    CLR_clear_table();
    CLR_read_table(nullptr);
    SAT_color_setup();
    return SAT_color_image(&image) == 0;
}

class SatWindow : public ::testing::TestWithParam<int> {};

TEST_P(SatWindow, WindowHoldsTheColouredRemappedCounts) {
    const int depth = GetParam();
    sat_test::Xvfb server(depth);
    ASSERT_FALSE(server.display().empty());
    sat_test::TempDir dir;
    const std::string counts = dir.file("counts.img");

    const pid_t pid = fork();
    if (pid == 0) {
        const std::string display = "DISPLAY=" + server.display(), home = "HOME=" + dir.path();
        char* envp[] = {const_cast<char*>("PATH=/usr/bin:/bin"), const_cast<char*>(display.c_str()),
                        const_cast<char*>(home.c_str()), nullptr};
        const std::string of = "img," + counts;
        if (!freopen("/dev/null", "r", stdin) || !freopen("/dev/null", "w", stdout)) _exit(126);
        execle(SAT_BIN, SAT_BIN, "-fp", SAT_DATA_DIR, "-dr", "data", "-of", of.c_str(),
               area_file().c_str(), static_cast<char*>(nullptr), envp);
        _exit(127);
    }
    std::string window;
    const Ppm win = settled_window(server.display(), window);
    shell(server.display(), "xdotool key --window " + window + " Return 2>/dev/null");
    int status = -1;
    for (int i = 0; i < 50 && waitpid(pid, &status, WNOHANG) == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (!WIFEXITED(status) && kill(pid, SIGKILL) == 0) waitpid(pid, nullptr, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "Return did not end the hold";
    ASSERT_EQ(win.width, 640);
    ASSERT_EQ(win.height, 512);

    Image image{};
    ASSERT_TRUE(coloured_counts(counts, image));
    ASSERT_EQ(image.width, 640);
    // The viewport's corner: the one row at which the whole picture, less its
    // outermost ring where the frame is drawn, matches.
    int found = 0, at_row = -1;
    for (int oy = 0; oy + image.height <= win.height; ++oy) {
        bool all = true;
        for (int y = 1; all && y + 1 < image.height; ++y)
            for (int x = 1; all && x + 1 < image.width; ++x) {
                const int v = image.data[y * image.bytes_per_line + x];
                for (int c = 0; all && c < 3; ++c)
                    all = sat_test::dumped_channel(win, x, oy + y, c, depth) ==
                          sat_test::window_channel(image.colors[3 * v + c], depth, c);
            }
        if (all) {
            ++found;
            at_row = oy;
        }
    }
    EXPECT_EQ(found, 1) << "the picture matches at " << found << " rows, the last " << at_row;
    IMG_free(&image);
}

INSTANTIATE_TEST_SUITE_P(Depths, SatWindow, ::testing::Values(24, 16, 8));

TEST(SatNoServer, EndsWithExitFourAndLeavesNoFile) {
    sat_test::TempDir dir;
    sat_test::RunOptions options;
    options.cwd = dir.path();
    const auto r = sat_test::run_sat({area_file()}, options);
    EXPECT_EQ(r.code, 4);
    EXPECT_NE(r.err.find("gopen_ws: unable to connect to display\n"), std::string::npos) << r.err;
    EXPECT_EQ(sat_test::run_program("/bin/ls", {"-A", dir.path()}).out, "");
}

}  // namespace
