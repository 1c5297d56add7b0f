// Raster dumps of a 1280 x 1024 window: GIF, PNG and XWD written from the
// 32-bit true-colour picture that a window read gives, next to ImageMagick's
// convert encoding the same pixels (from a binary PPM) in the same run. The
// picture is the real GOES-8 water-vapour sector in a 64-step grey ramp, cut and
// repeated to the window's size, with a plain margin and a coloured frame, as a
// plot looks.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "env/messages.h"
#include "formats/gif.h"
#include "formats/image.h"
#include "formats/png.h"
#include "formats/xwd.h"

extern char** environ;

namespace {

constexpr int kWidth = 1280, kHeight = 1024;
constexpr int kMargin = 40;
// The sector's size and where its pixels start (2 bytes an element, high byte first).
constexpr int kSectorW = 1800, kSectorH = 400, kSectorData = 2816;

struct Scene {
    Image image{};
    std::vector<unsigned char> pixels;  // the window's bytes, copied in before each write
    std::string dir;
};

// The scratch directory, plain so that it outlives the scene at exit.
char scratch[] = "/tmp/raster_bench_XXXXXX";

void remove_scratch() {
    const std::string d = scratch;
    for (const char* f :
         {"scene.ppm", "out.gif", "out.png", "out.xwd", "im.gif", "im.png", "im.xwd"})
        std::remove((d + "/" + f).c_str());
    rmdir(scratch);
}

Scene& scene() {
    static Scene s = [] {
        Scene sc;
        MESS_set(0, 0);
        std::ifstream in(std::string(SAT_TESTDATA_DIR) + "/area/goes8_wv_gvar_1998260_0745.area",
                         std::ios::binary);
        std::string area((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        sc.pixels.assign(static_cast<size_t>(kWidth) * kHeight * 4, 0);
        for (int y = 0; y < kHeight; y++)
            for (int x = 0; x < kWidth; x++) {
                unsigned char* p = &sc.pixels[(static_cast<size_t>(y) * kWidth + x) * 4];
                unsigned char r = 0, g = 0, b = 0;
                const bool inside =
                    x >= kMargin && x < kWidth - kMargin && y >= kMargin && y < kHeight - kMargin;
                const bool frame = !inside && (x == kMargin - 1 || y == kMargin - 1 ||
                                               x == kWidth - kMargin || y == kHeight - kMargin);
                if (inside) {
                    const size_t at =
                        kSectorData + 2 * (static_cast<size_t>(y % kSectorH) * kSectorW + x);
                    const int v = at < area.size() ? static_cast<unsigned char>(area[at]) : 0;
                    r = g = b = static_cast<unsigned char>((v >> 2) * 255 / 63);
                } else if (frame) {
                    r = 255, g = 255, b = 0;
                }
                p[0] = b, p[1] = g, p[2] = r;  // byte order 0, as an X server gives it
            }
        IMG_init(&sc.image);
        sc.image.width = kWidth;
        sc.image.height = kHeight;
        sc.image.depth = 24;
        sc.image.bits_per_pixel = 32;
        sc.image.bytes_per_line = kWidth * 4;
        sc.image.byte_order = 0;
        sc.image.mapped = 0;
        sc.image.red_mask = 0xFF0000;
        sc.image.green_mask = 0xFF00;
        sc.image.blue_mask = 0xFF;
        std::strcpy(sc.image.info, "raster bench");
        sc.image.data = static_cast<unsigned char*>(std::malloc(sc.pixels.size()));
        std::memcpy(sc.image.data, sc.pixels.data(), sc.pixels.size());

        sc.dir = mkdtemp(scratch) ? scratch : "/tmp";
        std::string ppm =
            "P6\n" + std::to_string(kWidth) + " " + std::to_string(kHeight) + "\n255\n";
        for (size_t i = 0; i < sc.pixels.size(); i += 4)
            ppm += {static_cast<char>(sc.pixels[i + 2]), static_cast<char>(sc.pixels[i + 1]),
                    static_cast<char>(sc.pixels[i])};
        std::ofstream(sc.dir + "/scene.ppm", std::ios::binary) << ppm;
        std::atexit(remove_scratch);
        return sc;
    }();
    return s;
}

void refill(Scene& s) {
    std::memcpy(s.image.data, s.pixels.data(), s.pixels.size());
}

void BM_GifWrite(benchmark::State& state) {
    Scene& s = scene();
    const std::string out = s.dir + "/out.gif";
    for (auto _ : state) {
        state.PauseTiming();
        refill(s);  // the writer puts colour indices over the pixels
        state.ResumeTiming();
        if (!GIF_write(out.c_str(), &s.image)) state.SkipWithError("GIF_write failed");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(s.pixels.size()));
}

void BM_PngWrite(benchmark::State& state) {
    Scene& s = scene();
    refill(s);
    const std::string out = s.dir + "/out.png";
    for (auto _ : state)
        if (!PNG_write(out.c_str(), &s.image)) state.SkipWithError("PNG_write failed");
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(s.pixels.size()));
}

void BM_XwdWrite(benchmark::State& state) {
    Scene& s = scene();
    refill(s);
    const std::string out = s.dir + "/out.xwd";
    for (auto _ : state)
        if (!XWD_write(out.c_str(), &s.image)) state.SkipWithError("XWD_write failed");
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(s.pixels.size()));
}

// ImageMagick's convert, from the same pixels to the same format.
void BM_Convert(benchmark::State& state, const char* ext) {
    Scene& s = scene();
    const std::string in = s.dir + "/scene.ppm", out = s.dir + "/im." + ext;
    std::vector<std::string> args = {"/usr/bin/convert", in, out};
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    for (auto _ : state) {
        pid_t pid;
        int status = 0;
        if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0 ||
            waitpid(pid, &status, 0) != pid || status != 0) {
            state.SkipWithError("convert failed");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(s.pixels.size()));
}

BENCHMARK(BM_GifWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Convert, gif, "gif")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PngWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Convert, png, "png")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_XwdWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Convert, xwd, "xwd")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
