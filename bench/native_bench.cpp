// Native image read and write, plain and compressed, on a 5000 x 5000 picture
// that looks like a satellite scene: smooth gradients, noise, and a flat space
// background around a disk. Throughput counts image bytes over wall-clock time,
// the file going through the page cache.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "env/messages.h"
#include "formats/image.h"

namespace {

constexpr int kSide = 5000;

Image& scene() {
    static Image image = [] {
        Image im{};
        IMG_init(&im);
        im.width = im.height = im.bytes_per_line = kSide;
        im.depth = 8;
        im.data = static_cast<unsigned char*>(std::malloc(static_cast<size_t>(kSide) * kSide));
        uint32_t noise = 12345;
        for (int y = 0; y < kSide; y++) {
            for (int x = 0; x < kSide; x++) {
                float dx = (x - kSide / 2) / float(kSide / 2),
                      dy = (y - kSide / 2) / float(kSide / 2);
                unsigned char v = 0;
                if (dx * dx + dy * dy < 0.9f) {
                    noise = noise * 1664525u + 1013904223u;
                    v = static_cast<unsigned char>(
                        100 + 60 * std::sin(x * 0.01f) * std::cos(y * 0.013f) + (noise >> 29));
                }
                im.data[static_cast<size_t>(y) * kSide + x] = v;
            }
        }
        std::strcpy(im.date_label, "1200Z 01 JAN 24");
        std::strcpy(im.info, "benchmark scene");
        im.domain.proj = 2;
        im.domain.clat = 0.0f;
        im.domain.clon = 0.0f;
        im.domain.dx = im.domain.dy = 0.01f;
        im.domain.nx = im.domain.ny = kSide;
        return im;
    }();
    return image;
}

std::string path_for(int compress) {
    return "/tmp/native_bench_" + std::to_string(getpid()) + (compress ? "_z.img" : "_p.img");
}

void write_native(benchmark::State& state) {
    const int compress = static_cast<int>(state.range(0));
    Image& im = scene();
    const std::string path = path_for(compress);
    for (auto _ : state) {
        if (IMG_write(path.c_str(), &im, compress) != 1) {
            state.SkipWithError("write failed");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kSide) * kSide);
    std::remove(path.c_str());
}

void read_native(benchmark::State& state) {
    const int compress = static_cast<int>(state.range(0));
    const std::string path = path_for(compress);
    if (IMG_write(path.c_str(), &scene(), compress) != 1) {
        state.SkipWithError("write failed");
        return;
    }
    for (auto _ : state) {
        Image im{};
        if (IMG_read_zmt(path.c_str(), &im) != 1) {
            state.SkipWithError("read failed");
            break;
        }
        benchmark::DoNotOptimize(im.data);
        IMG_free(&im);
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kSide) * kSide);
    std::remove(path.c_str());
}

BENCHMARK(write_native)
    ->Arg(0)
    ->Arg(1)
    ->ArgName("compress")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(read_native)
    ->Arg(0)
    ->Arg(1)
    ->ArgName("compress")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
