// Remap of the full-disk file onto a 1000 x 1000 Lambert domain, exact and
// interpolated.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/sat.h"
#include "app/sat_params.h"
#include "app/sat_remap.h"
#include "env/domains.h"
#include "env/messages.h"
#include "formats/image.h"
#include "navigation/area_nav.h"

namespace {

struct Source {
    Image image{};
    std::vector<unsigned char> pixels;
    int tran_sat = 1;
    bool ok = false;
};

const Source& full_disk() {
    static Source src = [] {
        Source s;
        MESS_set(0, MESS_WARN);
        FLAG_set(14, SAT_AREA);
        const std::string name =
            std::string(SAT_TESTDATA_DIR) + "/area/goes8_fulldisk_gvar_synthetic.area";
        if (SAT_read_file(name.c_str(), &s.image) == 1 && s.image.data != nullptr) {
            s.pixels.assign(s.image.data,
                            s.image.data + static_cast<size_t>(s.image.height) * s.image.width);
            std::free(s.image.data);
            s.image.data = nullptr;
            s.tran_sat = SAT_params().tran_sat;
            s.ok = true;
        }
        return s;
    }();
    return src;
}

Domain lambert() {
    Domain d;
    DOM_init(&d);
    d.proj = 4;
    d.plat = d.clat = 30.0f;
    d.plon = d.clon = -75.0f;
    d.dx = d.dy = 0.1f;
    d.nx = d.ny = 1000;
    return d;
}

void remap(benchmark::State& state, int remap_inc, int tran_sat) {
    const Source& src = full_disk();
    if (!src.ok) {
        state.SkipWithError("full-disk file not readable");
        return;
    }
    const Domain target = lambert();
    SAT_params_reset();
    SAT_params().remap_inc = remap_inc;
    SAT_params().tran_sat = tran_sat != 0 ? src.tran_sat : 0;
    for (auto _ : state) {
        state.PauseTiming();
        Image image = src.image;
        image.data = static_cast<unsigned char*>(std::malloc(src.pixels.size()));
        std::memcpy(image.data, src.pixels.data(), src.pixels.size());
        state.ResumeTiming();
        SAT_remap_image(&image, &target);
        benchmark::DoNotOptimize(image.data[500 * 1000 + 500]);
        state.PauseTiming();
        std::free(image.data);
        state.ResumeTiming();
    }
    state.counters["Mpixel/s"] = benchmark::Counter(
        static_cast<double>(target.nx) * target.ny * 1e-6 * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate);
}

void BM_RemapExact(benchmark::State& state) {
    remap(state, 0, 0);
}
void BM_RemapInterpolatedNavigation(benchmark::State& state) {
    remap(state, 20, 1);
}
void BM_RemapInterpolatedDomain(benchmark::State& state) {
    remap(state, 20, 0);
}

BENCHMARK(BM_RemapExact)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_RemapInterpolatedNavigation)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_RemapInterpolatedDomain)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
