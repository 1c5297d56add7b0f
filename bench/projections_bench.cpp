// Cost of switching the current domain, as the remap does at every pixel, and of
// the transforms of the common projections.
#include <benchmark/benchmark.h>

#include "env/domains.h"
#include "maps/projections.h"

namespace {

Domain decoded(const char* text) {
    Domain d;
    DOM_decode(text, &d);
    return d;
}

Domain sat_disk() {
    return decoded("sat:e:0:-75.2:421.64:1,0,-75.2,801,801,0.162,0.162");
}

// The remap's inner loop: target domain, inverse, image domain, forward.
void BM_RemapPixelSwitching(benchmark::State& state) {
    Domain target = decoded("lamb,35,-95,1000,700,0.05,0.05");
    Domain image = sat_disk();
    float x = -10.0f, y = 5.0f;
    for (auto _ : state) {
        float lat, lon, ix, iy;
        MAP_domain(&target);
        MAP_untran(x, y, &lat, &lon);
        MAP_domain(&image);
        MAP_tran(lat, lon, &ix, &iy);
        benchmark::DoNotOptimize(ix);
        x += 0.0001f;
    }
}
BENCHMARK(BM_RemapPixelSwitching);

void BM_DomainSwitchOnly(benchmark::State& state) {
    Domain a = decoded("lamb,35,-95,1000,700,0.05,0.05");
    Domain b = sat_disk();
    for (auto _ : state) {
        MAP_domain(&a);
        MAP_domain(&b);
    }
}
BENCHMARK(BM_DomainSwitchOnly);

// A domain never seen before pays for its constants and limits.
void BM_DomainFresh(benchmark::State& state) {
    Domain a = decoded("lamb,35,-95,1000,700,0.05,0.05");
    for (auto _ : state) {
        a.clon += 1e-3f;
        MAP_domain(&a);
    }
}
BENCHMARK(BM_DomainFresh);

void BM_Forward(benchmark::State& state, const char* text) {
    Domain d = text ? decoded(text) : sat_disk();
    MAP_domain(&d);
    float lat = 30.0f, lon = -90.0f;
    for (auto _ : state) {
        float x, y;
        MAP_tran(lat, lon, &x, &y);
        benchmark::DoNotOptimize(x);
        lon += 1e-4f;
    }
}
BENCHMARK_CAPTURE(BM_Forward, pstereo, "ps,40,-100,25,17,1,1");
BENCHMARK_CAPTURE(BM_Forward, lambert, "lamb,35,-95,25,17,1,1");
BENCHMARK_CAPTURE(BM_Forward, mercator, "me,20,-90,25,17,1,1");
BENCHMARK_CAPTURE(BM_Forward, mollweide, "mo,0,0,41,21,6.4,6.4");
BENCHMARK_CAPTURE(BM_Forward, sat, nullptr);

void BM_Inverse(benchmark::State& state, const char* text) {
    Domain d = text ? decoded(text) : sat_disk();
    MAP_domain(&d);
    float x = -10.0f, y = 5.0f;
    for (auto _ : state) {
        float lat, lon;
        MAP_untran(x, y, &lat, &lon);
        benchmark::DoNotOptimize(lat);
        x += 1e-5f;
    }
}
BENCHMARK_CAPTURE(BM_Inverse, pstereo, "ps,40,-100,25,17,1,1");
BENCHMARK_CAPTURE(BM_Inverse, lambert, "lamb,35,-95,25,17,1,1");
BENCHMARK_CAPTURE(BM_Inverse, sat, nullptr);

}  // namespace
