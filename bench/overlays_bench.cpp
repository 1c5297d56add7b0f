// Point overlays: the whole station database into the table, and 5000 stations
// drawn with wind barbs and weather symbols on a 1280 by 1024 window of an Xvfb
// started here. Target: under 50 ms for the two together.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

#include "env/domains.h"
#include "env/messages.h"
#include "graphics/graphics.h"
#include "maps/projections.h"
#include "overlays/cities.h"
#include "overlays/symbols.h"
#include "tests/graphics/xserver.h"

namespace {

constexpr int STATIONS = 5000;

struct Window {
    std::unique_ptr<sat_test::Xvfb> server;
    bool open = false;
    Window() {
        server = std::make_unique<sat_test::Xvfb>(24, "1280x1024");
        if (server->display().empty()) return;
        gopen_gks(nullptr);
        gset_geometry("1280x1024");
        open = gopen_ws(1, server->display().c_str(), GWS_WIN) == 0;
        if (!open) return;
        float xv = 0, yv = 0;
        ginq_maxview(1, &xv, &yv);
        const float full[4] = {0, xv, 0, yv}, vp[4] = {0, xv, 0, yv}, wn[4] = {0, 100, 0, 100};
        gset_ws_win(1, full);
        gset_vp(2, vp);
        gset_win(2, wn);
        gsel_norm_tran(2);
        const float green[3] = {0, 1, 0};
        gset_colr_rep(1, 3, green);
        gset_line_colr_ind(3);
        gset_fill_colr_ind(3);
    }
    ~Window() {
        if (open) gclose_ws();
    }
};

Window& window() {
    static Window w;
    return w;
}

int load_all() {
    Domain plain;
    DOM_init(&plain);
    return CTY_store("sao.cty", CTY_STORE_LOC, &plain, 10);
}

// Stations spread over the window, each with a wind and a weather code.
void plot_stations() {
    const char* codes[] = {"61", "71", "95", "45", "80", "03", "17", "51"};
    for (int i = 0; i < STATIONS; i++) {
        const float x = 1.0f + (i % 100) * 0.98f, y = 1.0f + (i / 100) * 1.96f;
        WIND_barb(x, y, static_cast<float>((i * 37) % 360), static_cast<float>(5 + i % 70), 4.0f,
                  0.8f);
        WX_symb(x, y, codes[i % 8], 1.5f);
    }
    gsync();
}

void BM_LoadStations(benchmark::State& state) {
    MESS_set(0, 0);
    for (auto _ : state) benchmark::DoNotOptimize(load_all());
    state.counters["stations"] = CTY_count();
}
BENCHMARK(BM_LoadStations)->Unit(benchmark::kMillisecond);

void BM_Plot5000Stations(benchmark::State& state) {
    if (!window().open) {
        state.SkipWithError("no window");
        return;
    }
    for (auto _ : state) {
        gclear_ws();
        plot_stations();
    }
}
BENCHMARK(BM_Plot5000Stations)->Unit(benchmark::kMillisecond);

void BM_LoadAndPlot(benchmark::State& state) {
    if (!window().open) {
        state.SkipWithError("no window");
        return;
    }
    MESS_set(0, 0);
    for (auto _ : state) {
        gclear_ws();
        benchmark::DoNotOptimize(load_all());
        plot_stations();
    }
}
BENCHMARK(BM_LoadAndPlot)->Unit(benchmark::kMillisecond);

}  // namespace
