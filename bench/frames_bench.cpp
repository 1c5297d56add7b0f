// Looping on a real window (an Xvfb started here): thirty 1280 by 1024 frames
// shown in turn with no delay, as the wait loop shows them; one iteration is one
// frame put on the window, so the rate is frames a second.
#include <benchmark/benchmark.h>
// clang-format off
#include <X11/Xlib.h>
// clang-format on

#include "env/messages.h"
#include "graphics/graphics.h"
#include "../tests/support/xvfb.h"

namespace {

constexpr int FRAMES = 30;

struct Loop {
    sat_test::Xvfb server{24, "1600x1280"};
    bool ok = false;
    Loop() {
        MESS_set(0, MESS_WARN);
        if (server.display().empty()) return;
        gset_geometry("1280x1024+0+0");
        gopen_gks(nullptr);
        if (gopen_ws(1, server.display().c_str(), GWS_WIN) != 0) return;
        for (int i = 0; i < FRAMES; ++i) {
            gselect_frame(gcreate_frame(-1));
            XSetForeground(gget_display(), gget_root_gc(), 0x010203UL * static_cast<unsigned>(i));
            XFillRectangle(gget_display(), gget_draw_window(), gget_root_gc(), i * 10, i * 10, 400,
                           300);
        }
        gset_loop_delay(-4, 0.0f);
        gset_loop_delay(-1, 0.0f);
        gset_looping(1);
        ok = gget_num_images() == FRAMES;
    }
};

void BM_LoopThirtyFrames(benchmark::State& state) {
    static Loop loop;
    if (!loop.ok) {
        state.SkipWithError("no window");
        return;
    }
    ZMT_init_time();
    for (auto _ : state) {
        gloop_sleep();
        gdisplay_frame(ginc_frame(0));
        ZMT_init_time();
        gcheck_event();
    }
    XSync(gget_display(), False);
    state.counters["frames_per_second"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_LoopThirtyFrames)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
