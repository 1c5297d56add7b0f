// The running program on an Xvfb of the test's own, driven by xdotool and read
// back with xwd and netpbm: the coloured counts at depths 24, 16 and 8; a loop of
// three files, keys, buttons and per-frame GIFs; Alt-z, Shift-drag zoom, Alt-u,
// Alt-v and a resize. With no X server the run ends with exit code 4.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
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
#include "xvfb.h"

namespace {

using Clock = std::chrono::steady_clock;

const sat_test::Xvfb& server() {
    static sat_test::Xvfb x(24, "1280x1024");
    return x;
}

std::string sh(const std::string& command, const std::string& display) {
    sat_test::RunOptions options;
    options.env["DISPLAY"] = display;
    options.timeout_seconds = 30;
    std::string out = sat_test::run_program("/bin/sh", {"-c", command}, options).out;
    while (!out.empty() && out.back() == '\n') out.pop_back();
    return out;
}

void pause_ms(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

using sat_test::Ppm;

bool same(const Ppm& a, const Ppm& b) {
    return a.width == b.width && a.height == b.height && a.samples == b.samples;
}

// Pixels that differ between two pictures of one size.
long differing(const Ppm& a, const Ppm& b) {
    long n = 0;
    for (size_t i = 0; i < a.samples.size() && a.samples.size() == b.samples.size(); i += 3)
        n += !std::equal(&a.samples[i], &a.samples[i] + 3, &b.samples[i]);
    return n;
}

// One sat run in the background, its output in a file of the directory.
class SatRun {
   public:
    SatRun(const std::string& display, const sat_test::TempDir& dir,
           const std::vector<std::string>& args)
        : dir_(dir), display_(display) {
        pid_ = fork();
        if (pid_ == 0) {
            if (chdir(dir.path().c_str()) != 0) _exit(126);
            const int out = open(dir.file("out.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            const int in = open("/dev/null", O_RDONLY);
            dup2(in, 0);
            dup2(out, 1);
            dup2(out, 2);
            setenv("DISPLAY", display.c_str(), 1);
            setenv("HOME", dir.path().c_str(), 1);
            const std::string log = "mess,+fi=" + dir.file("log.txt");
            std::vector<char*> argv{const_cast<char*>(SAT_BIN), const_cast<char*>("-me"),
                                    const_cast<char*>(log.c_str())};
            for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
            argv.push_back(nullptr);
            execv(SAT_BIN, argv.data());
            _exit(127);
        }
    }
    ~SatRun() {
        if (pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    // Messages go to a log that is flushed at every line.
    std::string output() const { return sat_test::read_file(dir_.file("log.txt")); }
    // The exit code after Return, or -1 if the run did not end.
    int end() {
        key("Return");
        int status = 0;
        for (int i = 0; i < 100; ++i) {
            if (waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
            }
            pause_ms(50);
        }
        return -1;
    }
    // The window, once the program has one whose title starts with the prefix.
    bool find_window(const std::string& title_prefix) {
        for (int i = 0; i < 150 && window_.empty(); ++i) {
            window_ = sh("xdotool search --name '^" + title_prefix + "' 2>/dev/null | head -1");
            if (window_.empty()) pause_ms(100);
        }
        return !window_.empty();
    }
    std::string sh(const std::string& command) const { return ::sh(command, display_); }
    std::string title() const { return sh("xdotool getwindowname " + window_ + " 2>/dev/null"); }
    void key(const std::string& keys) const {
        sh("xdotool key --window " + window_ + " " + keys);
        pause_ms(150);
    }
    Ppm picture() const { return sat_test::xwd_window(display_, window_); }
    // The picture once two dumps in a row agree and show something.
    Ppm settled() const {
        Ppm last;
        for (int i = 0; i < 80; ++i) {
            pause_ms(150);
            const Ppm p = picture();
            if (p.width > 0 && same(p, last) &&
                std::any_of(p.samples.begin(), p.samples.end(), [](int v) { return v != 0; }))
                return p;
            last = p;
        }
        return Ppm{};
    }
    // Waits until the output holds the text, after the position given.
    bool wait_output(const std::string& text, size_t from = 0) const {
        for (int i = 0; i < 100; ++i) {
            const std::string out = output();
            if (out.size() > from && out.find(text, from) != std::string::npos) return true;
            pause_ms(100);
        }
        return false;
    }
    const std::string& window() const { return window_; }

   private:
    const sat_test::TempDir& dir_;
    std::string display_;
    pid_t pid_ = -1;
    std::string window_;
};

const std::string radar() {
    return sat_test::testdata("area/radar_composite_ps_2000137_0859.area");
}

// Three native images of the radar composite on three domains, written through
// the PostScript device so that no window is held.
void make_run(const sat_test::TempDir& dir) {
    for (const char* d : {"us", "mw", "ne"}) {
        const std::string name(d);
        sat_test::RunOptions options;
        options.cwd = dir.path();
        const auto r =
            sat_test::run_sat({"-fp", SAT_DATA_DIR, "-de", "ps," + dir.file(name + ".ps"), "-pd",
                               name, "-of", "img," + dir.file(name + ".img"), radar()},
                              options);
        ASSERT_EQ(r.code, 0) << r.out << r.err;
    }
}

// The title's frame number, or -1.
int frame_of(const std::string& title) {
    int n = -1;
    const size_t at = title.find('[');
    if (at != std::string::npos) std::sscanf(title.c_str() + at, "[%d]", &n);
    return n;
}

TEST(EventsWindow, RunLoopsInOrderStepsByKeyAndDumpsEachFrame) {
    ASSERT_FALSE(server().display().empty());
    sat_test::TempDir dir;
    make_run(dir);
    SatRun run(server().display(), dir,
               {"-fp", SAT_DATA_DIR, "-inp", "img", "us.img", "mw.img", "ne.img"});
    ASSERT_TRUE(run.find_window("sat \\[2\\]")) << run.output();

    // Watch the title for a while: frames come in order, the last one longest.
    std::vector<std::pair<int, double>> shown;  // frame, seconds it stayed
    auto since = Clock::now();
    int current = frame_of(run.title());
    for (auto start = Clock::now(); Clock::now() - start < std::chrono::milliseconds(4200);) {
        pause_ms(40);
        const int f = frame_of(run.title());
        if (f == current) continue;
        const auto now = Clock::now();
        shown.emplace_back(current, std::chrono::duration<double>(now - since).count());
        since = now;
        current = f;
    }
    ASSERT_GE(shown.size(), 4u);
    for (size_t i = 1; i < shown.size(); ++i) {
        EXPECT_EQ(shown[i].first, (shown[i - 1].first + 1) % 3);
        // The first entry was seen part way through.
        if (i + 1 < shown.size()) {
            EXPECT_NEAR(shown[i].second, shown[i].first == 2 ? 1.0 : 0.5, 0.25)
                << "frame " << shown[i].first;
        }
    }

    // Button 2 stops the loop; Alt-] and Alt-[ step through the frames.
    run.sh("xdotool mousemove --window " + run.window() + " 200 200 click 2");
    pause_ms(700);
    const int stopped = frame_of(run.title());
    pause_ms(1100);
    ASSERT_EQ(frame_of(run.title()), stopped);
    std::map<int, Ppm> frames;
    for (int i = 0; i < 3; ++i) {
        frames[frame_of(run.title())] = run.picture();
        run.key("alt+bracketright");
    }
    EXPECT_EQ(frame_of(run.title()), stopped);
    ASSERT_EQ(frames.size(), 3u);
    EXPECT_FALSE(same(frames[0], frames[1]));
    EXPECT_FALSE(same(frames[1], frames[2]));
    run.key("alt+bracketleft");
    EXPECT_EQ(frame_of(run.title()), (stopped + 2) % 3);
    EXPECT_TRUE(same(run.picture(), frames[(stopped + 2) % 3]));

    // Looping again (Alt-l), Alt-g writes one GIF a frame.
    run.key("alt+l");
    const size_t mark = run.output().size();
    run.key("alt+g");
    ASSERT_TRUE(run.wait_output("Creating GIF files:", mark)) << run.output();
    ASSERT_TRUE(run.wait_output("sat-02.gif", mark));
    for (int i = 0; i < 3; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "sat-%2.2d.gif", i);
        const Ppm gif = sat_test::parse_ppm(run.sh("giftopnm " + dir.file(name) + " 2>/dev/null"));
        EXPECT_TRUE(same(gif, frames[i])) << name;
    }
    EXPECT_EQ(run.end(), 0);
}

TEST(EventsWindow, ZoomByKeyAndRubberBandLocationAndResize) {
    ASSERT_FALSE(server().display().empty());
    sat_test::TempDir dir;
    // "full": the plot fills the window, so its middle is the domain's centre.
    SatRun run(server().display(), dir, {"-fp", SAT_DATA_DIR, "-pd", "us", "-pp", "full", radar()});
    ASSERT_TRUE(run.find_window("sat")) << run.output();
    const Ppm first = run.settled();
    ASSERT_GT(first.width, 0) << run.output();
    const int w = first.width, h = first.height;

    // Alt-z at a pointer near the top-left: twice the size, pulled in to the edge.
    run.sh("xdotool mousemove --window " + run.window() + " 40 30");
    run.key("alt+z");
    const Ppm zoomed = run.settled();
    ASSERT_EQ(zoomed.width, w);
    int wrong = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 3; ++c) wrong += zoomed.at(x, y, c) != first.at(x / 2, y / 2, c);
    EXPECT_EQ(wrong, 0);
    run.key("alt+u");
    EXPECT_TRUE(same(run.settled(), first));

    // Alt-v: the location under the pointer, its plot coordinates and pixel.
    const std::string win = run.window();
    struct Where {
        float lat, lon, x, y, px, py;
    };
    auto location = [&](int x, int y, Where* at) {
        run.sh("xdotool mousemove --window " + win + " " + std::to_string(x) + " " +
               std::to_string(y));
        const size_t from = run.output().size();
        run.key("alt+v");
        if (!run.wait_output("Pixel:", from)) return false;
        const std::string out = run.output();
        return std::sscanf(out.c_str() + out.find("Lat:", from),
                           "Lat: %f Lon: %f XY: %f %f Pixel: %f %f", &at->lat, &at->lon, &at->x,
                           &at->y, &at->px, &at->py) == 6;
    };
    // Three pointers across the window; PROJ takes each plot position back to
    // the earth on the display's sphere, which must agree to the printed 0.01.
    const int points[3][2] = {{5, 7}, {w / 2, h / 2}, {w - 9, h - 4}};
    Where at[3];
    std::string xy;
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(location(points[i][0], points[i][1], &at[i])) << run.output();
        EXPECT_FLOAT_EQ(at[i].px, static_cast<float>(points[i][0]));
        EXPECT_FLOAT_EQ(at[i].py, static_cast<float>(points[i][1]));
        xy += std::to_string(at[i].x * 1e5) + " " + std::to_string(at[i].y * 1e5) + "\n";
    }
    sat_test::write_file(dir.file("xy"), xy);
    const auto proj = sat_test::run_program(
        "/usr/bin/python3",
        {"-c",
         "import sys, pyproj\n"
         "t = pyproj.Transformer.from_crs('+proj=stere +lat_0=90 +lat_ts=60 +lon_0=-97 "
         "+R=6371220', '+proj=lonlat +R=6371220')\n"
         "for line in open(sys.argv[1]):\n"
         "    print('%.6f %.6f' % t.transform(*map(float, line.split())))\n",
         dir.file("xy")});
    ASSERT_EQ(proj.code, 0) << proj.err;
    const char* p = proj.out.c_str();
    for (int i = 0; i < 3; ++i) {
        double lon = 0, lat = 0;
        int used = 0;
        ASSERT_EQ(std::sscanf(p, "%lf %lf%n", &lon, &lat, &used), 2) << proj.out;
        p += used;
        // Printed to 0.01, from plot coordinates printed to 0.01 (1 km).
        EXPECT_NEAR(at[i].lat, lat, 0.015) << i;
        EXPECT_NEAR(at[i].lon, lon, 0.015) << i;
    }
    // The plot coordinates follow the pointer at one cell a pixel, and the middle
    // of the window is the domain's centre (39 N 97 W) within a pixel.
    const float dx = (at[2].x - at[0].x) / static_cast<float>(points[2][0] - points[0][0]);
    const float dy = (at[0].y - at[2].y) / static_cast<float>(points[2][1] - points[0][1]);
    EXPECT_NEAR(dx, dy, 0.0002f);
    EXPECT_NEAR(at[1].x - at[0].x, dx * static_cast<float>(points[1][0] - points[0][0]), 0.02f);
    EXPECT_NEAR(at[1].lat, 39.0f, 0.1f);
    EXPECT_NEAR(at[1].lon, -97.0f, 0.15f);

    // A Shift-drag with button 1 zooms to the boxed domain, centred on the box's
    // centre; Alt-u goes back to the first domain.
    Where box_centre{};
    ASSERT_TRUE(location((w / 3 + w / 2) / 2, (h / 3 + h / 2) / 2, &box_centre));
    const float clat = box_centre.lat, clon = box_centre.lon;
    size_t mark = run.output().size();
    run.sh("xdotool mousemove --window " + win + " " + std::to_string(w / 3) + " " +
           std::to_string(h / 3) + " keydown shift mousedown 1 mousemove --window " + win + " " +
           std::to_string(w / 2) + " " + std::to_string(h / 2) + " mouseup 1 keyup shift");
    ASSERT_TRUE(run.wait_output("New domain:", mark)) << run.output().substr(mark);
    const std::string domain = run.output().substr(run.output().find("New domain:", mark));
    float dlat = 0, dlon = 0;
    ASSERT_EQ(std::sscanf(domain.c_str() + domain.find(','), ",%f,%f", &dlat, &dlon), 2) << domain;
    EXPECT_NEAR(dlat, clat, 0.1f) << domain;
    EXPECT_NEAR(dlon, clon, 0.1f) << domain;
    pause_ms(300);
    const Ppm boxed = run.settled();
    EXPECT_EQ(boxed.width, w);
    const long changed = differing(boxed, first);
    EXPECT_GT(changed, w * h / 20);
    mark = run.output().size();
    run.key("alt+u");
    ASSERT_TRUE(run.wait_output("Original domain:", mark)) << run.output().substr(mark);
    pause_ms(300);
    // The first domain again: the centre the run began with, and a picture
    // nearer the first than the boxed one (the first domain is printed alone).
    const std::string out = run.output();
    const size_t plot = out.find("\npstereo:"), back = out.find("Original domain:", mark);
    ASSERT_NE(plot, std::string::npos) << out;
    const std::string first_domain = out.substr(plot + 1, out.find('\n', plot + 1) - plot - 1);
    const std::string back_domain = out.substr(back + 16, out.find('\n', back) - back - 16);
    EXPECT_EQ(back_domain.substr(back_domain.find(',')),
              first_domain.substr(first_domain.find(',')));
    EXPECT_LT(differing(run.settled(), first), changed);

    // A resize replots at the new size.
    run.sh("xdotool windowsize " + win + " 700 500");
    pause_ms(500);
    const Ppm resized = run.settled();
    EXPECT_EQ(resized.width, 700);
    EXPECT_EQ(resized.height, 500);
    EXPECT_GT(differing(resized, Ppm{700, 500, 255, std::vector<int>(700 * 500 * 3)}), 0);
    EXPECT_EQ(run.end(), 0);
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
    SatRun run(server.display(), dir,
               {"-fp", SAT_DATA_DIR, "-dr", "data", "-of", "img," + counts, radar()});
    ASSERT_TRUE(run.find_window("sat$")) << run.output();
    const Ppm win = run.settled();
    EXPECT_EQ(run.end(), 0) << "Return did not end the hold";
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
    const auto r = sat_test::run_sat({radar()}, options);
    EXPECT_EQ(r.code, 4);
    EXPECT_NE(r.err.find("gopen_ws: unable to connect to display\n"), std::string::npos) << r.err;
    EXPECT_EQ(sat_test::run_program("/bin/ls", {"-A", dir.path()}).out, "");
}

}  // namespace
