// The whole run on a window: sat shows a real AREA file, remapped and coloured,
// in a window of an Xvfb of the test's own; the window, dumped by xwd and decoded
// by xwdtopnm, holds the enhancement's colour of every remapped count from the
// viewport's corner on. With no X server the run ends at once with exit code 4.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
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
#include "xserver.h"

namespace {

const std::string area_file() {
    return sat_test::testdata("area/radar_composite_ps_2000137_0859.area");
}

struct Ppm {
    int width = 0, height = 0, maxval = 0;
    std::vector<int> samples;
    int at(int x, int y, int c) const {
        return samples[static_cast<size_t>((y * width + x) * 3 + c)];
    }
};

Ppm parse_ppm(const std::string& bytes) {
    Ppm p;
    if (bytes.compare(0, 2, "P6") != 0) return p;
    size_t pos = 2;
    auto number = [&] {
        while (pos < bytes.size() && std::isspace(static_cast<unsigned char>(bytes[pos]))) ++pos;
        int v = 0;
        while (pos < bytes.size() && std::isdigit(static_cast<unsigned char>(bytes[pos])))
            v = v * 10 + (bytes[pos++] - '0');
        return v;
    };
    p.width = number();
    p.height = number();
    p.maxval = number();
    ++pos;
    const size_t wide = p.maxval > 255 ? 2 : 1;
    const size_t n = static_cast<size_t>(p.width) * static_cast<size_t>(p.height) * 3;
    if (bytes.size() < pos + n * wide) return Ppm{};
    p.samples.resize(n);
    for (size_t i = 0; i < n; ++i) {
        const auto* b = reinterpret_cast<const unsigned char*>(bytes.data() + pos + i * wide);
        p.samples[i] = wide == 2 ? b[0] << 8 | b[1] : b[0];
    }
    return p;
}

std::string shell(const std::string& display, const std::string& command) {
    sat_test::RunOptions options;
    options.env["DISPLAY"] = display;
    options.timeout_seconds = 20;
    return sat_test::run_program("/bin/sh", {"-c", command}, options).out;
}

// The window named "sat" as xwd and xwdtopnm give it, once two dumps in a row
// agree and show something: the plot has finished and sat holds the window.
Ppm settled_window(const std::string& display, const std::string& dir, std::string& window) {
    Ppm last;
    std::string last_bytes;
    for (int i = 0; i < 100; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        window = shell(display, "xdotool search --name '^sat$' 2>/dev/null | head -1");
        while (!window.empty() && window.back() == '\n') window.pop_back();
        if (window.empty()) continue;
        shell(display,
              "xwd -nobdrs -silent -id " + window + " | xwdtopnm > " + dir + "/w.ppm 2>/dev/null");
        const std::string bytes = sat_test::read_file(dir + "/w.ppm");
        const bool drawn = bytes.find_first_not_of('\0', 20) != std::string::npos;
        if (drawn && bytes == last_bytes) return parse_ppm(bytes);
        last_bytes = bytes;
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
    const Ppm win = settled_window(server.display(), dir.path(), window);
    shell(server.display(), "xdotool key --window " + window + " Return 2>/dev/null");
    int status = 0;
    for (int i = 0; i < 50 && waitpid(pid, &status, WNOHANG) == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (waitpid(pid, &status, WNOHANG) == 0) {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        ADD_FAILURE() << "Return did not end the hold";
    } else {
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    ASSERT_EQ(win.width, 640);
    ASSERT_EQ(win.height, 512);

    Image image{};
    ASSERT_TRUE(coloured_counts(counts, image));
    ASSERT_EQ(image.width, 640);
    // The bits of each channel the visual holds: 8 on true colour at depth 24 and
    // in the cells of the 8-bit colormap, 5, 6, 5 at depth 16.
    const std::vector<int> bits =
        depth == 16 ? std::vector<int>{5, 6, 5} : std::vector<int>{8, 8, 8};
    // True colour truncates each channel to its bits; a colormap cell keeps the
    // top 8 bits of the 16-bit value it was asked for.
    auto expect = [&](int v, int c) {
        const float f = image.colors[3 * v + c];
        if (depth == 8) return static_cast<int>(f * 65535.0f) >> 8;
        return static_cast<int>(static_cast<float>((1 << bits[static_cast<size_t>(c)]) - 1) * f);
    };
    auto seen = [&](int x, int y, int c) {
        const int max = (1 << bits[static_cast<size_t>(c)]) - 1;
        return static_cast<int>(
            std::lround(static_cast<double>(win.at(x, y, c)) * max / win.maxval));
    };
    // The viewport's corner: the one row at which the whole picture, less its
    // outermost ring where the frame is drawn, matches.
    int found = 0, at_row = -1;
    for (int oy = 0; oy + image.height <= win.height; ++oy) {
        bool all = true;
        for (int y = 1; all && y + 1 < image.height; ++y)
            for (int x = 1; all && x + 1 < image.width; ++x) {
                const int v = image.data[y * image.bytes_per_line + x];
                for (int c = 0; all && c < 3; ++c) all = seen(x, oy + y, c) == expect(v, c);
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
