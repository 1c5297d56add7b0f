// sat against a loop window of another process (tests/tools/loop_peer).
#include <gtest/gtest.h>
// clang-format off
#include <X11/Xlib.h>
#include <X11/Xutil.h>
// clang-format on
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "test_support.h"
#include "xvfb.h"

namespace {

const std::string radar() {
    return sat_test::testdata("area/radar_composite_ps_2000137_0859.area");
}

std::string peer_bin() {
    std::string bin = SAT_BIN;
    return bin.substr(0, bin.rfind('/')) + "/tests/loop_peer";
}

// A queue key of this test run's own.
int queue_key() {
    return 0x5a70000 + static_cast<int>(getpid() % 0xffff);
}

// The peer process with one resource, its output in peer.txt. Stopped (SIGSTOP), it
// keeps its queue but answers nothing.
struct Peer {
    const sat_test::TempDir& dir;
    pid_t pid = -1;
    unsigned long pixmap = 0;
    Peer(const std::string& display, const sat_test::TempDir& d, const std::string& resource)
        : dir(d) {
        const std::string key = std::to_string(queue_key());
        pid = fork();
        if (pid == 0) {
            const int out = open(dir.file("peer.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(out, 1);
            setenv("DISPLAY", display.c_str(), 1);
            execl(peer_bin().c_str(), "loop_peer", dir.path().c_str(), key.c_str(), "640x480",
                  resource.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        for (int i = 0; i < 100 && output().find("ready") == std::string::npos; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        std::sscanf(output().c_str(), "ready %lu", &pixmap);
    }
    ~Peer() {
        if (pid > 0) {
            kill(pid, SIGCONT);
            kill(pid, SIGTERM);
            waitpid(pid, nullptr, 0);
        }
    }
    std::string output() const { return sat_test::read_file(dir.file("peer.txt")); }
    // True once the peer has ended by itself.
    bool ended() {
        for (int i = 0; i < 50 && waitpid(pid, nullptr, WNOHANG) != pid; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        const bool gone = kill(pid, 0) != 0;
        if (gone) pid = -1;
        return gone;
    }
};

sat_test::RunResult sat(const std::string& display, const std::vector<std::string>& args) {
    sat_test::RunOptions options;
    options.env["DISPLAY"] = display;
    options.timeout_seconds = 30;
    return sat_test::run_sat(args, options);
}

// How many pixels of the peer's pixmap are not black, and how many values it holds.
std::pair<long, size_t> census(const std::string& display, unsigned long pixmap) {
    long lit = 0;
    std::set<unsigned long> values;
    Display* d = XOpenDisplay(display.c_str());
    if (XImage* im = d ? XGetImage(d, pixmap, 0, 0, 640, 480, AllPlanes, ZPixmap) : nullptr) {
        for (int y = 0; y < 480; ++y)
            for (int x = 0; x < 640; ++x) {
                values.insert(XGetPixel(im, x, y));
                lit += XGetPixel(im, x, y) != 0;
            }
        XDestroyImage(im);
    }
    if (d) XCloseDisplay(d);
    return {lit, values.size()};
}

// Resources come from the peer's queue and what the command line set goes back;
// sat draws into the peer's pixmap, asks for a new frame and tells it to stop; a
// peer that does not answer ends the run with 7 when the queue's alarm rings, and
// with no peer there is a message, or exit 4 when its window was asked for.
TEST(LoopPeer, DrawsIntoThePeerTakesItsResourcesAndWaitsForItsAnswers) {
    sat_test::TempDir dir;
    const std::string key = std::to_string(queue_key());
    sat_test::Xvfb server(24, "800x600");
    ASSERT_FALSE(server.display().empty());
    Peer peer(server.display(), dir, "plot_domain=mw");
    ASSERT_NE(peer.pixmap, 0u) << peer.output();
    EXPECT_EQ(census(server.display(), peer.pixmap).first, 0);
    auto r = sat(server.display(), {"-df", "#" + key, "-fp", dir.path(), "-ti", "hello", "-de",
                                    "ps," + dir.file("o.ps"), radar()});
    ASSERT_EQ(r.code, 0) << r.out << r.err;
    // The domain of the window's resources: the Midwest, centred at 43N 93W.
    EXPECT_NE(r.out.find(",43.000,-93.000,"), std::string::npos) << r.out;
    for (const char* said : {"connect\n", "set title=hello\n", "quit\n"})
        EXPECT_NE(peer.output().find(said), std::string::npos) << peer.output();

    r = sat(server.display(), {"-fp", dir.path(), "-de", "w,,w", "-pd", "us", radar()});
    ASSERT_EQ(r.code, 0) << r.out << r.err;
    const auto [lit, values] = census(server.display(), peer.pixmap);
    EXPECT_GT(lit, 640L * 480 / 10);
    EXPECT_GE(values, 4u);
    // "new": the peer keeps the picture as a frame before sat draws again.
    r = sat(server.display(),
            {"-fp", dir.path(), "-de", "w,,w", "-pp", "new", "-pd", "us", radar()});
    ASSERT_EQ(r.code, 0) << r.out << r.err;
    EXPECT_NE(peer.output().find("new 1\n"), std::string::npos) << peer.output();

    kill(peer.pid, SIGSTOP);
    r = sat(server.display(),
            {"-df", "#" + key, "-fp", dir.path(), "-de", "ps," + dir.file("p.ps"), radar()});
    kill(peer.pid, SIGCONT);
    EXPECT_EQ(r.code, 7) << r.out << r.err;
    EXPECT_NE((r.out + r.err).find("Queue not responding!!"), std::string::npos) << r.out << r.err;
    EXPECT_EQ(sat_test::read_file(dir.file("p.ps")), "");

    // "kill": the peer is told to stop at the close; then its window cannot be found.
    r = sat(server.display(),
            {"-fp", dir.path(), "-de", "w,,w", "-pp", "kill", "-pd", "us", radar()});
    ASSERT_EQ(r.code, 0) << r.out << r.err;
    EXPECT_TRUE(peer.ended()) << peer.output();
    EXPECT_NE(peer.output().find("stop\n"), std::string::npos);
    r = sat(server.display(), {"-fp", dir.path(), "-de", "w,,w", radar()});
    EXPECT_EQ(r.code, 4);
    EXPECT_NE((r.out + r.err).find("gopen_ws: unable to open window id file"), std::string::npos);
    r = sat("", {"-df", "#" + key, "-fp", SAT_DATA_DIR, "-de", "ps," + dir.file("q.ps"), radar()});
    EXPECT_EQ(r.code, 0) << r.out << r.err;
    EXPECT_NE(
        (r.out + r.err).find("ZMTloop window: " + key + " not running or no message queue exists"),
        std::string::npos)
        << r.out << r.err;
}

}  // namespace
