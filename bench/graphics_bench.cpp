// The kernel on a real window (an Xvfb started here): a 1280 by 1024 colour-mapped
// image put into the viewport of a window of that size at depth 24, and the whole
// program from its start to the full-disk file remapped onto a 1280 by 1024
// Lambert window, the hold ended by a Return as soon as the program waits.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>
// clang-format off
#include <X11/Xlib.h>
#include <X11/keysym.h>
// clang-format on

#include <chrono>

#include <cstdlib>
#include <cstring>
#include <string>

#include "env/messages.h"
#include "formats/image.h"
#include "graphics/graphics.h"
#include "../tests/graphics/xserver.h"

namespace {

constexpr int WIDTH = 1280, HEIGHT = 1024;

struct Window {
    sat_test::Xvfb server{24, "1600x1280"};
    bool ok = false;
    Window() {
        MESS_set(0, MESS_WARN);
        if (server.display().empty()) return;
        gset_geometry("1280x1024+0+0");
        gopen_gks(nullptr);
        if (gopen_ws(1, server.display().c_str(), GWS_WIN) != 0) return;
        float xv = 0, yv = 0;
        ginq_maxview(1, &xv, &yv);
        const float full[4] = {0, xv, 0, yv};
        gset_ws_win(1, full);
        gset_vp(1, full);
        gset_win(1, full);
        gsel_norm_tran(1);
        ok = true;
    }
};

Window& window() {
    static Window w;
    return w;
}

void BM_LoadImage24(benchmark::State& state) {
    Window& w = window();
    if (!w.ok) {
        state.SkipWithError("no window");
        return;
    }
    Image image{};
    IMG_init(&image);
    image.width = WIDTH;
    image.height = HEIGHT;
    image.depth = 8;
    image.bits_per_pixel = 8;
    image.bytes_per_line = WIDTH;
    image.num_colors = 256;
    image.colors = static_cast<float*>(std::malloc(sizeof(float) * 3 * 256));
    for (int i = 0; i < 256; ++i) {
        image.colors[3 * i] = static_cast<float>(i) / 255.0f;
        image.colors[3 * i + 1] = static_cast<float>((i * 3) % 256) / 255.0f;
        image.colors[3 * i + 2] = static_cast<float>(255 - i) / 255.0f;
    }
    image.data = static_cast<unsigned char*>(std::malloc(static_cast<size_t>(WIDTH) * HEIGHT));
    for (int i = 0; i < WIDTH * HEIGHT; ++i) image.data[i] = static_cast<unsigned char>(i * 7 / 3);
    for (auto _ : state) {
        gload_image(&image, 0, 0);
        gsync();  // the server has the picture
    }
    IMG_free(&image);
}
BENCHMARK(BM_LoadImage24)->Unit(benchmark::kMillisecond);

// The top-level window of that name, or 0.
::Window find_window(Display* d, const char* name) {
    ::Window root = 0, parent = 0, *children = nullptr;
    unsigned n = 0;
    ::Window found = 0;
    if (!XQueryTree(d, DefaultRootWindow(d), &root, &parent, &children, &n)) return 0;
    for (unsigned i = 0; i < n && !found; ++i) {
        char* title = nullptr;
        if (XFetchName(d, children[i], &title) && title) {
            if (std::strcmp(title, name) == 0) found = children[i];
            XFree(title);
        }
    }
    if (children) XFree(children);
    return found;
}

void press_return(Display* d, ::Window w) {
    XEvent ev{};
    ev.xkey.type = KeyPress;
    ev.xkey.display = d;
    ev.xkey.window = w;
    ev.xkey.root = DefaultRootWindow(d);
    ev.xkey.same_screen = True;
    ev.xkey.keycode = XKeysymToKeycode(d, XK_Return);
    XSendEvent(d, w, True, KeyPressMask, &ev);
    XFlush(d);
}

// Key presses may reach the window after the program has closed it.
int ignore_errors(Display*, XErrorEvent*) {
    return 0;
}

void BM_FullDiskToWindow(benchmark::State& state) {
    Window& w = window();
    const auto previous = XSetErrorHandler(ignore_errors);
    Display* d = XOpenDisplay(w.server.display().c_str());
    if (!d) {
        state.SkipWithError("no display");
        return;
    }
    const std::string file =
        std::string(SAT_TESTDATA_DIR) + "/area/goes8_fulldisk_gvar_synthetic.area";
    const std::string display = "DISPLAY=" + w.server.display();
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const pid_t pid = fork();
        if (pid == 0) {
            char* envp[] = {const_cast<char*>("PATH=/usr/bin:/bin"),
                            const_cast<char*>(display.c_str()), const_cast<char*>("HOME=/tmp"),
                            nullptr};
            if (!freopen("/dev/null", "r", stdin) || !freopen("/dev/null", "w", stdout) ||
                !freopen("/dev/null", "w", stderr))
                _exit(126);
            execle(SAT_BIN, SAT_BIN, "-fp", SAT_DATA_DIR, "-ge", "1280x1024+0+0", "-pd",
                   "lamb,35,-80,1280,1024,0.05,0.05", file.c_str(), static_cast<char*>(nullptr),
                   envp);
            _exit(127);
        }
        int status = 0;
        ::Window sat = 0;
        while (waitpid(pid, &status, WNOHANG) == 0) {
            if (!sat) sat = find_window(d, "sat");
            if (sat) press_return(d, sat);
            usleep(500);
        }
        const auto end = std::chrono::steady_clock::now();
        state.SetIterationTime(std::chrono::duration<double>(end - start).count());
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            state.SkipWithError("sat did not end normally");
            break;
        }
    }
    XCloseDisplay(d);
    XSetErrorHandler(previous);
}
BENCHMARK(BM_FullDiskToWindow)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

}  // namespace
