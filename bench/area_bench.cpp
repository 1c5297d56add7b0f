// Reading the synthetic full-disk AREA file (14 MB): plain, and as a framed
// nibble-compressed stream made from it, against cat into /dev/null.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

#include "formats/area.h"
#include "tests/tools/area_tool.cpp"

namespace {

const std::string kFullDisk =
    std::string(SAT_TESTDATA_DIR) + "/area/goes8_fulldisk_gvar_synthetic.area";

// The framed stream holds at most 5000 elements a line, so its copy keeps the
// first 5000 of the 5200.
const std::string& framed_path() {
    static std::string path = [] {
        std::string p = "/tmp/area_bench_framed_" + std::to_string(getpid()) + ".area";
        area_tool::FrameOptions opt;
        opt.crop = 5000;
        std::string bytes = area_tool::framed_copy(area_tool::load(kFullDisk), opt);
        FILE* f = std::fopen(p.c_str(), "wb");
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
        std::atexit([] { std::remove(framed_path().c_str()); });
        return p;
    }();
    return path;
}

void read_area(benchmark::State& state, const std::string& path) {
    size_t pixels = 0;
    for (auto _ : state) {
        FILE* f = std::fopen(path.c_str(), "rb");
        AreaFile area{};
        if (f == nullptr || SAT_read_AREA(f, &area) != 0) {
            state.SkipWithError("unreadable AREA file");
            if (f) std::fclose(f);
            SAT_free_AREA(&area);
            break;
        }
        pixels = static_cast<size_t>(area.dir[8]) * area.dir[9];
        benchmark::DoNotOptimize(area.data);
        SAT_free_AREA(&area);
        std::fclose(f);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * pixels));
    state.counters["file_MB"] =
        benchmark::Counter(static_cast<double>(area_tool::load(path).size()) / 1e6);
}

void BM_ReadPlain(benchmark::State& state) {
    read_area(state, kFullDisk);
}
void BM_ReadFramed(benchmark::State& state) {
    read_area(state, framed_path());
}

void BM_CatToDevNull(benchmark::State& state) {
    std::string command = "cat '" + kFullDisk + "' > /dev/null";
    size_t bytes = area_tool::load(kFullDisk).size();
    for (auto _ : state)
        if (std::system(command.c_str()) != 0) state.SkipWithError("cat failed");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

}  // namespace

BENCHMARK(BM_ReadPlain)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ReadFramed)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_CatToDevNull)->Unit(benchmark::kMillisecond)->UseRealTime();
